// Speaks to the program through the real web server, as the page does and as other clients do.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { appendFileSync, readdirSync, readFileSync, rmSync, statSync, symlinkSync, writeFileSync } from 'node:fs';
import { request } from 'node:http';
import { basename, dirname, join } from 'node:path';
import { after, before, test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';

import { hold, indexTool, readSettings, startServer } from '../server.mjs';

const buildFolder = process.env.BUILD_DIR;
const root = join(buildFolder, 'root');
const program = join(buildFolder, 'dtv_manage.cgi');
let server;

before(async () => { server = await startServer(); });
after(() => server.stop());

// One request; the answer with its status, headers and text. Signs in as the administrator unless
// told otherwise.
function send({ method = 'POST', path = '/dtv_manage.cgi', user = 'admin', password, headers = {}, body = '', signal }) {
  const auth = user && `${user}:${password ?? server.credentials.password}`;
  return new Promise((resolve, reject) => {
    const type = { 'Content-Type': 'application/x-www-form-urlencoded', 'Content-Length': Buffer.byteLength(body) };
    const call = request(new URL(server.url), { method, path, auth, headers: { ...type, ...headers }, signal }, async (answer) => {
      resolve({ status: answer.statusCode, headers: answer.headers, text: Buffer.concat(await answer.toArray()).toString() });
    });
    call.on('error', reject).on('upgrade', resolve).end(body);
  });
}

async function perform(action, parameters = {}) {
  return JSON.parse((await send({ body: new URLSearchParams({ action, ...parameters }).toString() })).text);
}

// The process, as its folder in /proc, whose command line is the program, after such a start.
const processOf = (start) => dirname(execFileSync('sh', ['-c', `LC_ALL=C grep -lsa '^${start}${program}' /proc/[0-9]*/cmdline; true`], { encoding: 'utf8' }).trim());

const readLog = (name) => readFileSync(join(root, 'var/log', name), 'utf8');

// Changes whenever a save has written or run something.
const traces = () => ['var/packages/Cinquill/etc', 'var/log'].flatMap((folder) => readdirSync(join(root, folder)).map((name) => {
  const { ino, mtimeNs } = statSync(join(root, folder, name), { bigint: true });
  return `${name} ${ino} ${mtimeNs}`;
}));

const values = { share: 'tv', subpath: 'rec', pre_recording: 60, passwd: 'geheim', password_confirm: 'geheim', disable_dtv: 'yes' };

test('a chain of requests stores, shows, repeats and refuses', async () => {
  assert.deepEqual(await perform('save', values), { success: true });
  await pause(500);
  assert.deepEqual(['teskindex.log', 'teskvideometadatad.log', 'teskdtv.log'].map(readLog),
    [`teskindex -A "${root}/volume2/tv/rec" -P Cinquill\n`, 'teskvideometadatad SIGUSR2\n', 'teskdtv.sh stop FORCE\n']);
  assert.equal(statSync(join(root, 'var/packages/Cinquill/etc/stream.conf')).mode & 0o77, 0);

  const states = traces();
  assert.deepEqual(await perform('save', values), { success: true });
  const refusal = await perform('save', { ...values, share: 'video', subpath: 'shows/tv', pre_recording: 1 });
  assert.deepEqual(refusal.errinfo, { sec: 'error', key: 'error_duplicate_path' });
  assert.match(readFileSync(join(buildFolder, 'server/error.log'), 'utf8'), /dtv_manage:\d+ record folder conflicts/);
  await pause(500);
  assert.deepEqual(traces(), states);
  const { data } = await perform('load');
  assert.deepEqual([data.dtv_destination, data.pre_recording, data.disable_dtv], ['/tv/rec', 60, true]);
});

test('what is refused, and the headers of every answer', async (t) => {
  const hash = execFileSync('openssl', ['passwd', '-6', 'guest-word'], { encoding: 'utf8' });
  appendFileSync(join(buildFolder, 'server/htpasswd'), `alice:${hash}`);
  const link = new URL('../../host/www/linked.html', import.meta.url);
  symlinkSync('/etc/hostname', link);
  t.after(() => rmSync(link));
  const body = 'action=save&disable_dtv=yes';
  const states = traces();
  const get = { method: 'GET' };
  const table = [
    ['a wrong password', { password: 'wrong', body }, 401],
    ['the page without a password', { ...get, user: null, path: '/' }, 401],
    ['localhost', { ...get, user: null, path: '/?a=b', headers: { Host: 'LOCALHOST:80' } }, 307, ['location', `${server.url}?a=b`]],
    ['another host name', { headers: { Host: 'evil.example' }, body }, 403],
    ['a host name that begins like ours', { headers: { Host: 'localhost.evil.example' }, body }, 403],
    ['the program to read', { ...get, path: '/dtv_manage.cgi?action=load' }, 403],
    ['POST to the page', { path: '/', body }, 403],
    ['something after the program', { ...get, path: '/dtv_manage.cgi/more' }, 404],
    ['a large body', { body: `${body}&x=${'x'.repeat(70000)}` }, 413],
    ['a symbolic link', { ...get, path: '/linked.html' }, 403],
    ['HTTP/2', { ...get, path: '/', headers: { Connection: 'Upgrade, HTTP2-Settings', Upgrade: 'h2c', 'HTTP2-Settings': 'AAMAAABk' } }, 200],
    ['the page', { ...get, path: '/' }, 200, ['clear-site-data', '"storage"']],
    ['a file of the page', { ...get, path: '/main.js' }, 200, ['clear-site-data', undefined]],
  ];
  for (const [name, call, status, [header, value] = []] of table) {
    const answer = await send(call);
    assert.equal(answer.status, status, name);
    if (status === 413) continue; // the server sends it without these headers
    assert.match(answer.headers['content-security-policy'], /^default-src 'none';.*frame-ancestors 'none'$/, name);
    const others = ['x-content-type-options', 'referrer-policy', 'cache-control', 'cross-origin-resource-policy'].map((header) => answer.headers[header]);
    assert.deepEqual(others, ['nosniff', 'no-referrer', 'no-store', 'same-origin'], name);
    assert.equal(answer.headers[header], value, name);
  }
  for (const call of [{ user: 'alice', password: 'guest-word' }, { headers: { Origin: 'http://evil.example' } }]) {
    assert.equal(JSON.parse((await send({ ...call, body })).text).errinfo.key, 'error_privilege_not_enough');
  }
  assert.deepEqual(traces(), states);
});

test('a save waits for the one before, and a client that hangs up stops neither', async (t) => {
  const held = hold(indexTool);
  t.after(held.release);
  const hangUp = new AbortController();
  const first = send({ body: 'action=save&share=photo&subpath=first&disable_dtv=no', signal: hangUp.signal });
  while (!held.isHeld()) await pause(50);
  hangUp.abort();
  await assert.rejects(first);
  const second = perform('save', { share: 'music', subpath: 'second', post_recording: 99 });
  await pause(500);
  assert.equal(readSettings('folder.conf').at(-1).path, '/photo/first');
  assert.doesNotMatch(readFileSync(join(processOf('flock.*'), 'environ'), 'utf8'), /AUTHORIZATION/);
  held.release();
  assert.deepEqual(await second, { success: true });
  const { data } = await perform('load');
  assert.deepEqual([data.dtv_destination, data.post_recording, data.disable_dtv], ['/music/second', 99, false]);
});

test('a tool that outlives its program keeps no request waiting', async (t) => {
  const held = hold(indexTool);
  t.after(held.release);
  const save = send({ body: 'action=save&share=photo&subpath=third' });
  while (!held.isHeld()) await pause(50);
  const running = processOf('');
  assert.match(readFileSync(join(running, 'limits'), 'utf8'), /core file size +0 +0 /);
  process.kill(basename(running));
  assert.equal((await save).status, 500);
  const load = await send({ body: 'action=load', signal: AbortSignal.timeout(5000) }); // the tool takes longer
  assert.match(load.text, /"dtv_destination":"\/photo\/third"/);
});

test('a request that waits too long is answered with an error', async () => {
  const wrapper = join(buildFolder, 'server/one_at_a_time');
  writeFileSync(wrapper, readFileSync(wrapper, 'utf8').replace('--wait 30', '--wait 1'));
  const states = traces();
  const other = spawn('flock', [join(buildFolder, 'server/request.lock'), 'sleep', '3']);
  await pause(300);
  assert.equal((await send({ body: 'action=save&pre_recording=5' })).status, 500);
  assert.deepEqual(traces(), states);
  await once(other, 'exit');
});
