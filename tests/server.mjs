// The real web server with the page and the program, and the appliance's files that they use.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { join, resolve } from 'node:path';
import { createInterface } from 'node:readline';

if (!process.env.BUILD_DIR) throw new Error('BUILD_DIR must name the build folder');
const buildFolder = resolve(process.env.BUILD_DIR);
const inRoot = (path) => join(buildFolder, 'root', path);
const inSettings = (name) => join(inRoot('var/packages/Cinquill/etc'), name);

async function findFreePort() {
  const probe = createServer().listen(0, '127.0.0.1');
  await once(probe, 'listening');
  const { port } = probe.address();
  probe.close();
  return port;
}

// The server ends with this process, also when this one is killed.
export async function startServer() {
  const port = await findFreePort();
  const serve = new URL('../server/serve.sh', import.meta.url).pathname;
  const command = ['--pdeathsig', 'TERM', serve, buildFolder, '--port', port, '--reset'];
  const child = spawn('setpriv', command, { stdio: ['ignore', 'pipe', 'inherit'] });
  const stop = async () => child.kill() && once(child, 'exit');
  let password;
  for await (const line of createInterface({ input: child.stdout })) {
    password ??= line.match(/^password: (.*)$/)?.[1];
    const credentials = { username: 'admin', password };
    if (line.startsWith('ready: ')) return { url: `http://127.0.0.1:${port}/`, credentials, stop };
  }
  throw new Error('the server ended before it was ready');
}

export const readSettings = (name) => JSON.parse(readFileSync(inSettings(name), 'utf8'));

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
  writeFileSync(script, `#!/bin/sh\ntouch '${held}'\n${wait}\n`);
  const release = () => {
    rmSync(held, { force: true });
    writeFileSync(script, original);
  };
  return { isHeld: () => existsSync(held), release };
}
