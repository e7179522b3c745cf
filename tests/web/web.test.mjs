// The program behind the real web server, as a page and as others would speak to it.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { appendFileSync, readFileSync, rmSync, statSync, symlinkSync } from 'node:fs';
import { request } from 'node:http';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';

import { hold, indexTool, readSettings, startServer } from '../page/server.mjs';

const root = join(process.env.BUILD_DIR, 'root');
const settingsFiles = ['folder.conf', 'record.conf', 'stream.conf', 'dtv_setting.conf'];
let server;

before(async () => { server = await startServer(); });
after(() => server.stop());

// One request; the answer with its status, headers and text. Signs in as the administrator unless
// told otherwise.
function send({ method = 'POST', path = '/dtv_manage.cgi', user = 'admin', password, headers = {}, body = '' }) {
  const secret = password ?? server.credentials.password;
  const auth = user === null ? undefined : `${user}:${secret}`;
  return new Promise((resolve, reject) => {
    const type = { 'Content-Type': 'application/x-www-form-urlencoded', 'Content-Length': Buffer.byteLength(body) };
    const call = request(new URL(server.url), { method, path, auth, headers: { ...type, ...headers } }, (answer) => {
      let text = '';
      answer.on('data', (data) => { text += data; });
      answer.on('end', () => resolve({ status: answer.statusCode, headers: answer.headers, text }));
    });
    call.on('error', reject);
    call.end(body);
  });
}

async function perform(action, parameters = {}) {
  const { status, text } = await send({ body: new URLSearchParams({ action, ...parameters }).toString() });
  assert.equal(status, 200);
  return JSON.parse(text);
}

// What the services wrote down since the last call.
function takeTrace() {
  return ['teskindex', 'teskindexd', 'teskvideoindexd', 'teskvideometadatad', 'teskdtv'].flatMap((name) => {
    const file = join(root, 'var/log', `${name}.log`);
    const lines = statSync(file, { throwIfNoEntry: false }) ? readFileSync(file, 'utf8').trim().split('\n') : [];
    rmSync(file, { force: true });
    return lines;
  });
}

const fileStates = () => settingsFiles.map((name) => {
  const { ino, mtimeNs } = statSync(join(root, 'var/packages/Cinquill/etc', name), { bigint: true });
  return `${ino} ${mtimeNs}`;
});

test('a chain of requests stores, shows, repeats and refuses', async () => {
  const parameters = {
    share: 'tv', subpath: 'rec', closestreaming: 'true', pre_recording: 60, post_recording: 90, enableauth: 'true',
    account: 'eve', passwd: 'geheim', password_confirm: 'geheim', enable_viewer_limit: 'true', streaming_limit: 3,
    disable_dtv: 'yes',
  };
  assert.deepEqual(await perform('save', parameters), { success: true });
  await pause(500);
  const daemons = ['teskindexd SIGUSR2', 'teskvideoindexd SIGUSR2', 'teskvideometadatad SIGUSR2'];
  assert.deepEqual(takeTrace(), [`teskindex -A "${root}/volume2/tv/rec" -P Cinquill`, ...daemons, 'teskdtv.sh stop FORCE']);
  assert.equal(readFileSync(join(root, 'var/run/teskdtv.state'), 'utf8'), 'stopped\n');
  assert.equal(readFileSync(join(root, 'var/lib/tesk/index'), 'utf8'), `${root}/volume2/tv/rec\n`);
  assert.deepEqual(readSettings('folder.conf').map(({ path }) => path), ['/video/movies', '/video/shows', '/tv/rec']);
  assert.equal(readSettings('stream.conf').passwd, 'geheim');
  assert.equal(statSync(join(root, 'var/packages/Cinquill/etc/stream.conf')).mode & 0o77, 0);

  const expected = {
    closestreaming: true, pre_recording: 60, post_recording: 90, enableauth: true, account: 'eve', passwd: '24681357',
    password_confirm: '75318642', enable_viewer_limit: true, streaming_limit: 3, dtv_destination: '/tv/rec',
    disable_dtv: true, DVB_conflict: false,
  };
  assert.deepEqual(await perform('load'), { success: true, data: expected });

  const states = fileStates();
  assert.deepEqual(await perform('save', parameters), { success: true });
  const overlapping = { ...parameters, share: 'video', subpath: 'shows/tv', pre_recording: 1 };
  const refusal = { success: false, errinfo: { sec: 'error', key: 'error_duplicate_path' } };
  assert.deepEqual(await perform('save', overlapping), refusal);
  await pause(500);
  assert.deepEqual(fileStates(), states);
  assert.deepEqual(takeTrace(), []);
  assert.deepEqual((await perform('load')).data, expected);

  assert.deepEqual(await perform('save', { ...parameters, share: 'music', subpath: '', disable_dtv: 'no' }), { success: true });
  await pause(500);
  assert.deepEqual(takeTrace(), [
    `teskindex -D "${root}/volume2/tv/rec" -P Cinquill`, `teskindex -A "${root}/volume1/music" -P Cinquill`,
    ...daemons, 'teskdtv.sh start FORCE']);
  assert.equal(readFileSync(join(root, 'var/lib/tesk/index'), 'utf8'), `${root}/volume1/music\n`);
});

test('who may not, and what is not there, is refused', async () => {
  const hash = execFileSync('openssl', ['passwd', '-6', 'guest-word'], { encoding: 'utf8' });
  appendFileSync(join(process.env.BUILD_DIR, 'server/htpasswd'), `alice:${hash}`);
  const link = new URL('../../host/www/linked.html', import.meta.url);
  symlinkSync('/etc/hostname', link);
  const body = 'action=save&disable_dtv=yes';
  await server.stop();
  await server.startAgain(); // a start that has no password to sign in with makes an account for itself
  assert.doesNotMatch(readFileSync(join(process.env.BUILD_DIR, 'server/htpasswd'), 'utf8'), /startup-check/);
  const states = fileStates();
  const get = { method: 'GET' };
  const table = [
    ['no password', { user: null, body }, 401],
    ['a wrong password', { password: 'wrong', body }, 401],
    ['the page without a password', { ...get, user: null, path: '/' }, 401],
    ['another host name', { headers: { Host: 'evil.example' }, body }, 403],
    ['a host name that begins like ours', { headers: { Host: 'localhost.evil.example' }, body }, 403],
    ['GET of the program', { ...get, path: '/dtv_manage.cgi?action=load' }, 403],
    ['POST to the page', { path: '/', body }, 403],
    ['DELETE of the page', { method: 'DELETE', path: '/' }, 403],
    ['something after the program', { path: '/dtv_manage.cgi/more', body }, 403],
    ['the same to read', { ...get, path: '/dtv_manage.cgi/more' }, 404],
    ['a large body', { body: `${body}&x=${'x'.repeat(70000)}` }, 413],
    ['a bad escape', { body: `${body}&x=%zz` }, 400],
    ['another content type', { headers: { 'Content-Type': 'application/json' }, body: '{}' }, 400],
    ['a way out of the pages', { ...get, path: '/../serve' }, 404],
    ['an escaped way out', { ...get, path: '/%2e%2e/serve' }, 404],
    ['a symbolic link', { ...get, path: '/linked.html' }, 403],
    ['the page', { ...get, path: '/' }, 200],
    ['the head of the page', { method: 'HEAD', path: '/' }, 200],
  ];
  try {
    for (const [name, call, status] of table) assert.equal((await send(call)).status, status, name);
  } finally {
    rmSync(link);
  }
  for (const call of [{ user: 'alice', password: 'guest-word' }, { headers: { Origin: 'http://evil.example' } }]) {
    assert.deepEqual(JSON.parse((await send({ ...call, body })).text),
      { success: false, errinfo: { sec: 'error', key: 'error_privilege_not_enough' } });
  }
  assert.deepEqual(fileStates(), states);
  for (const call of [{ ...get, path: '/' }, { body: 'action=load' }, { user: null }, { ...get, path: '/dtv_manage.cgi' }]) {
    const { headers } = await send(call);
    assert.match(headers['content-security-policy'], /^default-src 'none';.*frame-ancestors 'none'$/);
    assert.deepEqual([headers['x-content-type-options'], headers['referrer-policy'], headers['cache-control']],
      ['nosniff', 'no-referrer', 'no-store']);
  }
});

test('a client that hangs up stops no save', async () => {
  const held = hold(indexTool);
  try {
    const body = 'action=save&share=photo&subpath=last&pre_recording=77&disable_dtv=yes';
    const headers = { 'Content-Type': 'application/x-www-form-urlencoded' };
    const call = request(new URL('/dtv_manage.cgi', server.url), { method: 'POST', auth: `admin:${server.credentials.password}`, headers });
    call.on('error', () => {});
    call.end(body);
    while (!held.isHeld()) await pause(50);
    call.destroy();
    await pause(500);
  } finally {
    held.release();
  }
  // The steps that were still to come have run all the same.
  let data;
  for (let tries = 0; !data?.disable_dtv && tries < 50; tries += 1) {
    await pause(100);
    ({ data } = await perform('load'));
  }
  assert.deepEqual([data.dtv_destination, data.pre_recording, data.disable_dtv], ['/photo/last', 77, true]);
});
