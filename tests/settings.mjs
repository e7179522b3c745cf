// The settings that tests store, and a tool that they hold.

import { existsSync, readFileSync, rmSync, writeFileSync } from 'node:fs';

import { inRoot, inSettings } from '../server/start.mjs';

export const folder = (share, subpath, section = 'tv_record') => ({ share, subpath, section });

// What a load shows in the usual state.
export const usualLoad = {
  dtv_destination: '/tv/recordings',
  closestreaming: false,
  pre_recording: 60,
  post_recording: 300,
  enableauth: true,
  account: 'viewer',
  passwd: '24681357',
  password_confirm: '75318642',
  enable_viewer_limit: true,
  streaming_limit: 4,
  disable_dtv: false,
};

// Stores the usual state, with the given files in place of its own.
export function store({ tunerConflict = false, ...files } = {}) {
  const { pre_recording, post_recording, account, streaming_limit } = usualLoad;
  const [, share, subpath] = usualLoad.dtv_destination.split('/');
  const flags = (...names) => Object.fromEntries(names.map((name) => [name, usualLoad[name] ? 'yes' : 'no']));
  const access = flags('enableauth', 'enable_viewer_limit');
  const usual = {
    'folder.conf': [folder('video', 'movies', 'movie'), folder(share, subpath)],
    'record.conf': { ...flags('closestreaming'), pre_recording, post_recording },
    'stream.conf': { ...access, account, passwd: 'old', streaminglimit: streaming_limit },
  };
  for (const [name, content] of Object.entries({ ...usual, ...files }))
    writeFileSync(inSettings(name), JSON.stringify(content));
  writeFileSync(
    inSettings('dtv_setting.conf'),
    `[settings]\ndisable_dtv=${flags('disable_dtv').disable_dtv}\n`,
  );
  rmSync(inRoot('etc/tesk/dvb_conflict'), { force: true });
  if (tunerConflict) writeFileSync(inRoot('etc/tesk/dvb_conflict'), '');
}

// Makes the indexing tool wait until it is released, or until this process is gone.
export function hold() {
  const script = inRoot('usr/tesk/bin/teskindex');
  const held = inRoot('var/run/held');
  const original = readFileSync(script);
  const wait = `while [ -e '${held}' ] && kill -0 ${process.pid}; do sleep 0.1; done`;
  writeFileSync(
    script,
    `#!/bin/sh\nls -l /proc/$$/fd > '${held}.new'; mv '${held}.new' '${held}'\n${wait}\n`,
  );
  const release = () => {
    rmSync(held, { force: true });
    writeFileSync(script, original);
  };
  return { isHeld: () => existsSync(held), descriptors: () => readFileSync(held, 'utf8'), release };
}
