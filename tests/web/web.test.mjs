// Speaks to the program through the real web server, as the page does and as other clients do.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, readdirSync, readFileSync, rmSync, statSync, symlinkSync, writeFileSync } from 'node:fs';
import { request } from 'node:http';
import { basename, join } from 'node:path';
import { after, test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';

import { hold, indexTool, readSettings, startServer } from '../server.mjs';

const buildFolder = process.env.BUILD_DIR;
const root = join(buildFolder, 'root');
const program = join(buildFolder, 'dtv_manage.cgi');
const server = await startServer();
after(() => server.stop());

// One request; the answer with its status, headers and text. Signs in as the administrator unless
// told otherwise.
function send({
  method = 'POST',
  path = '/dtv_manage.cgi',
  user = 'admin',
  password,
  headers = {},
  body = '',
  signal,
}) {
  const auth = user && `${user}:${password ?? server.credentials.password}`;
  return new Promise((resolve, reject) => {
    const type = {
      'Content-Type': 'application/x-www-form-urlencoded',
      'Content-Length': Buffer.byteLength(body),
    };
    const call = request(
      new URL(server.url),
      { method, path, auth, headers: { ...type, ...headers }, signal },
      async (answer) => {
        resolve({
          status: answer.statusCode,
          headers: answer.headers,
          text: Buffer.concat(await answer.toArray()).toString(),
        });
      },
    );
    call.on('error', reject).on('upgrade', resolve).end(body);
  });
}

const perform = async (action, parameters = {}) =>
  JSON.parse((await send({ body: new URLSearchParams({ action, ...parameters }).toString() })).text);

// The folder in /proc of the process whose command line matches `start` followed by the program's path, or ''.
const processOf = (start) =>
  execFileSync('sh', ['-c', `LC_ALL=C grep -lsa '^${start}${program}' /proc/[0-9]*/cmdline; true`], {
    encoding: 'utf8',
  })
    .trim()
    .replace('/cmdline', '');

const readLog = (name) => readFileSync(join(buildFolder, name), 'utf8');

const until = async (holds) => {
  while (!holds()) await pause(50);
};

// Changes whenever a save has written or run something.
const traces = () =>
  ['var/packages/Cinquill/etc', 'var/log'].flatMap((folder) =>
    readdirSync(join(root, folder)).map((name) => {
      const { ino, mtimeNs } = statSync(join(root, folder, name), { bigint: true });
      return `${name} ${ino} ${mtimeNs}`;
    }),
  );

test('a save runs tool and script, signals the daemons, writes private files and logs to the server', async () => {
  assert.deepEqual(
    await perform('save', { share: 'tv', subpath: 'rec', passwd: 'geheim', disable_dtv: 'yes' }),
    { success: true },
  );
  for (const name of ['teskindexd', 'teskvideoindexd', 'teskvideometadatad']) {
    await until(
      () =>
        existsSync(join(root, `var/log/${name}.log`)) &&
        readLog(`root/var/log/${name}.log`) === `${name} SIGUSR2\n`,
    );
  }
  assert.equal(readLog('root/var/log/teskindex.log'), `teskindex -A "${root}/volume2/tv/rec" -P Cinquill\n`);
  assert.equal(readLog('root/var/log/teskdtv.log'), 'teskdtv.sh stop FORCE\n');
  assert.equal(statSync(join(root, 'var/packages/Cinquill/etc/stream.conf')).mode & 0o77, 0);
  const { errinfo } = await perform('save', { share: 'video', subpath: 'shows/tv' });
  assert.deepEqual(errinfo, { sec: 'error', key: 'error_duplicate_path' });
  assert.match(readLog('server/error.log'), /dtv_manage:\d+ record folder conflicts/);
});

test('what is refused, and the headers of every answer', async (t) => {
  const link = new URL('../../page/linked.html', import.meta.url);
  symlinkSync('/etc/hostname', link);
  t.after(() => rmSync(link));
  const body = 'action=save&disable_dtv=yes';
  const states = traces();
  const get = { method: 'GET' };
  const table = [
    ['a wrong password', { password: 'wrong', body }, 401],
    ['the page without a password', { ...get, user: null, path: '/' }, 401],
    [
      'localhost',
      { ...get, user: null, path: '/?a=b', headers: { Host: 'LOCALHOST:80' } },
      307,
      ['location', `${server.url}?a=b`],
    ],
    ['another host name', { headers: { Host: 'evil.example' }, body }, 403],
    ['a host name that begins like ours', { headers: { Host: 'localhost.evil.example' }, body }, 403],
    ['a GET of the program', { ...get, path: '/dtv_manage.cgi?action=load' }, 403],
    ['POST to the page', { path: '/', body }, 403],
    ['a path below the program', { ...get, path: '/dtv_manage.cgi/more' }, 404],
    ['a large body', { body: `${body}&x=${'x'.repeat(70000)}` }, 413],
    ['a symbolic link', { ...get, path: '/linked.html' }, 403],
    [
      'HTTP/2',
      {
        ...get,
        path: '/',
        headers: { Connection: 'Upgrade, HTTP2-Settings', Upgrade: 'h2c', 'HTTP2-Settings': 'AAMAAABk' },
      },
      200,
    ],
    ['the page', { ...get, path: '/' }, 200, ['clear-site-data', '"storage"']],
    ['a file of the page', { ...get, path: '/main.js' }, 200, ['clear-site-data', undefined]],
  ];
  for (const [name, call, status, [header, value] = []] of table) {
    const answer = await send(call);
    assert.equal(answer.status, status, name);
    if (status === 413) continue; // the server sends it without these headers
    assert.match(
      answer.headers['content-security-policy'],
      /^default-src 'none';.*frame-ancestors 'none'$/,
      name,
    );
    const others = [
      'x-content-type-options',
      'referrer-policy',
      'cache-control',
      'cross-origin-resource-policy',
    ].map((header) => answer.headers[header]);
    assert.deepEqual(others, ['nosniff', 'no-referrer', 'no-store', 'same-origin'], name);
    assert.equal(answer.headers[header], value, name);
  }
  assert.deepEqual(traces(), states);
});

test('a save waits for the one before, and a client that hangs up stops neither', async (t) => {
  const held = hold(indexTool);
  t.after(held.release);
  const hangUp = new AbortController();
  const first = send({ body: 'action=save&share=photo&subpath=first&disable_dtv=no', signal: hangUp.signal });
  await until(held.isHeld);
  hangUp.abort();
  await assert.rejects(first);
  const second = perform('save', { share: 'music', subpath: 'second', post_recording: 99 });
  await until(() => processOf('flock.*'));
  assert.doesNotMatch(readFileSync(join(processOf('flock.*'), 'environ'), 'utf8'), /AUTHORIZATION/);
  await pause(300);
  assert.equal(readSettings('folder.conf').at(-1).path, '/photo/first');
  held.release();
  assert.deepEqual(await second, { success: true });
  const { data } = await perform('load');
  assert.deepEqual(
    [data.dtv_destination, data.post_recording, data.disable_dtv],
    ['/music/second', 99, false],
  );
});

test('a tool that outlives its program keeps no request waiting', async (t) => {
  const held = hold(indexTool);
  t.after(held.release);
  const save = send({ body: 'action=save&share=photo&subpath=third' });
  await until(held.isHeld);
  const running = processOf('');
  assert.match(readFileSync(join(running, 'limits'), 'utf8'), /core file size +0 +0 /);
  process.kill(basename(running));
  assert.equal((await save).status, 500);
  assert.equal((await perform('load')).data.dtv_destination, '/photo/third'); // while the tool still runs
});

test('a request that waits too long is answered with an error', async (t) => {
  const wrapper = join(buildFolder, 'server/one_at_a_time');
  writeFileSync(wrapper, readFileSync(wrapper, 'utf8').replace('--wait 30', '--wait 1'));
  const states = traces();
  const other = spawn('flock', [join(buildFolder, 'server/request.lock'), 'cat'], {
    stdio: ['pipe', 'pipe', 'inherit'],
  });
  t.after(() => other.stdin.end());
  other.stdin.write('locked');
  await once(other.stdout, 'data');
  assert.equal((await send({ body: 'action=save&pre_recording=5' })).status, 500);
  assert.deepEqual(traces(), states);
});
