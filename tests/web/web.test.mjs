// Speaks to the program through the real web server, as the page does and as other clients do.

import assert from 'node:assert/strict';
import { execSync } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, readdirSync, readFileSync, rmSync, statSync, symlinkSync } from 'node:fs';
import { request } from 'node:http';
import { join } from 'node:path';
import { after, test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';

import { buildFolder, inRoot, inSettings, readSettings, startServer } from '../../server/start.mjs';
import { hold } from '../settings.mjs';

const program = join(buildFolder, 'dtv_manage.cgi');
const server = await startServer();
after(() => server.stop());

// One request of the administrator's, unless told otherwise; the answer with its status, headers and text.
async function send({ user = 'admin', password = server.credentials.password, headers, body = '', ...more }) {
  const type = 'application/x-www-form-urlencoded';
  const options = {
    method: 'POST',
    path: '/dtv_manage.cgi',
    auth: user && `${user}:${password}`,
    headers: { 'Content-Type': type, 'Content-Length': Buffer.byteLength(body), ...headers },
    ...more,
  };
  const [answer] = await once(request(new URL(server.url), options).end(body), 'response');
  const text = Buffer.concat(await answer.toArray()).toString();
  return { status: answer.statusCode, headers: answer.headers, text };
}

const form = (fields) => String(new URLSearchParams(fields));
const perform = async (fields) => JSON.parse((await send({ body: form(fields) })).text);

// The folder in /proc of the process whose command line is `start` and the program's path, or ''.
function processOf(start) {
  const search = `LC_ALL=C grep -lsa '^${start}${program}' /proc/[0-9]*/cmdline; true`;
  return execSync(search, { encoding: 'utf8' }).trim().replace('/cmdline', '');
}

const readLog = (name) => readFileSync(join(buildFolder, name), 'utf8');

async function until(holds) {
  while (!holds()) await pause(50);
}

// Changes whenever a save has written or run something.
function traces() {
  const files = [inSettings(''), inRoot('var/log')].flatMap((folder) =>
    readdirSync(folder).map((name) => join(folder, name)),
  );
  return files.map((file) => `${file} ${statSync(file).ino} ${statSync(file, { bigint: true }).mtimeNs}`);
}

test('a save runs tool and script, signals the daemons, writes private files and logs to the server', async () => {
  const fields = { action: 'save', share: 'tv', subpath: 'rec', passwd: 'geheim', disable_dtv: 'yes' };
  assert.deepEqual(await perform(fields), { success: true });
  for (const name of ['teskindexd', 'teskvideoindexd', 'teskvideometadatad']) {
    const log = `root/var/log/${name}.log`;
    await until(() => existsSync(join(buildFolder, log)) && readLog(log) === `${name} SIGUSR2\n`);
  }
  assert.equal(
    readLog('root/var/log/teskindex.log'),
    `teskindex -A "${inRoot('volume2/tv/rec')}" -P Cinquill\n`,
  );
  assert.equal(readLog('root/var/log/teskdtv.log'), 'teskdtv.sh stop FORCE\n');
  assert.equal(statSync(inSettings('stream.conf')).mode & 0o77, 0);
  const { errinfo } = await perform({ action: 'save', share: 'video', subpath: 'shows/tv' });
  assert.deepEqual(errinfo, { sec: 'error', key: 'error_duplicate_path' });
  assert.match(readLog('server/error.log'), /dtv_manage:\d+ record folder conflicts/);
});

test('what is refused, and the headers of every answer', async (t) => {
  const link = new URL('../../page/linked.html', import.meta.url);
  symlinkSync('/etc/hostname', link);
  t.after(() => rmSync(link));
  const body = 'action=save&disable_dtv=yes';
  const states = traces();
  const get = { method: 'GET', user: null };
  const host = (Host) => ({ headers: { Host }, body });
  const file = { method: 'GET', path: '/main.js' };
  const location = `${server.url}?a=b`;
  const rows = {
    'a wrong password': { password: 'wrong', body, status: 401 },
    'the page without a password': { ...get, path: '/', status: 401 },
    localhost: { ...get, path: '/?a=b', headers: { Host: 'LOCALHOST:80' }, status: 307, has: { location } },
    'another host name': { ...host('evil.example'), status: 403 },
    'a GET of the program': { method: 'GET', path: '/dtv_manage.cgi?action=load', status: 403 },
    'a large body': { body: `${body}&x=${'x'.repeat(70000)}`, status: 413 },
    'a symbolic link': { method: 'GET', path: '/linked.html', status: 403 },
    'the page': { method: 'GET', path: '/', status: 200, has: { 'clear-site-data': '"storage"' } },
    'a file of the page': { ...file, status: 200, has: { 'clear-site-data': undefined } },
  };
  const csp = "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; ";
  const always = {
    'content-security-policy': `${csp}form-action 'none'; base-uri 'none'; frame-ancestors 'none'`,
    'x-content-type-options': 'nosniff',
    'referrer-policy': 'no-referrer',
    'cache-control': 'no-store',
    'cross-origin-resource-policy': 'same-origin',
  };
  for (const [name, { status, has, ...call }] of Object.entries(rows)) {
    const answer = await send(call);
    assert.equal(answer.status, status, name);
    if (status === 413) continue; // the server sends it without these headers
    for (const [header, value] of Object.entries({ ...always, ...has }))
      assert.equal(answer.headers[header], value, `${name}: ${header}`);
  }
  assert.deepEqual(traces(), states);
});

test('a save waits for the one before, and a client that hangs up stops neither', async (t) => {
  const held = hold();
  t.after(held.release);
  const hangUp = new AbortController();
  const first = send({ body: 'action=save&share=photo&subpath=first&disable_dtv=no', signal: hangUp.signal });
  await until(held.isHeld);
  assert.doesNotMatch(held.descriptors(), /request\.lock/, 'a tool that goes on holds no lock');
  hangUp.abort();
  await assert.rejects(first);
  const second = perform({ action: 'save', share: 'music', subpath: 'second', post_recording: 99 });
  await until(() => processOf('flock.*'));
  assert.doesNotMatch(readFileSync(join(processOf('flock.*'), 'environ'), 'utf8'), /AUTHORIZATION/);
  await pause(300);
  assert.equal(readSettings('folder.conf').at(-1).path, '/photo/first');
  held.release();
  assert.deepEqual(await second, { success: true });
  assert.equal(readSettings('folder.conf').at(-1).path, '/music/second');
});
