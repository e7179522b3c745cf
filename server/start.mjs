// Serves the page and the program of the build folder BUILD_DIR, for programs in JavaScript.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { join, resolve } from 'node:path';
import { createInterface } from 'node:readline';

if (!process.env.BUILD_DIR) throw new Error('BUILD_DIR must name the build folder');
export const buildFolder = resolve(process.env.BUILD_DIR);

// The place of a file of the stand-in's root, and of a settings file.
export const inRoot = (path) => join(buildFolder, 'root', path);
export const inSettings = (name) => join(inRoot('var/packages/Cinquill/etc'), name);

export const readSettings = (name) => JSON.parse(readFileSync(inSettings(name), 'utf8'));

async function findFreePort() {
  const probe = createServer().listen(0, '127.0.0.1');
  await once(probe, 'listening');
  const { port } = probe.address();
  probe.close();
  return port;
}

// Starts over with fresh settings on a free port. The server ends with this process, also when this one is
// killed.
export async function startServer() {
  const port = await findFreePort();
  const serve = new URL('serve.sh', import.meta.url).pathname;
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
