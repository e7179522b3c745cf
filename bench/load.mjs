// Sends loads and saves in turn and prints the results. All values of a save carry one number, so
// that a load shows which save it saw.

import { existsSync, readdirSync, readFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';

import { readSettings, startServer } from '../tests/server.mjs';

const COUNT = 10000;
const AT_ONCE = 8;
const SHARES = ['music', 'photo', 'tv'];
const FIRST = 1000; // far from every default
let next = FIRST;
const seen = { saved: 0, loaded: 0, failed: [] };

const server = await startServer();
const headers = { Authorization: `Basic ${btoa(`admin:${server.credentials.password}`)}` };

// Returns the data of a successful request, or else undefined.
async function ask(form) {
  let said = '';
  try {
    const response = await fetch(`${server.url}dtv_manage.cgi`, {
      method: 'POST',
      headers,
      body: new URLSearchParams(form),
    });
    said = `${response.status} ${await response.text()}`;
    const { success, data = {} } = JSON.parse(said.replace(/^200 /, ''));
    if (success) return data;
  } catch (error) {
    said ||= error.message;
  }
  seen.failed.push(said);
  return undefined;
}

async function save() {
  const n = next++;
  const data = await ask({
    action: 'save',
    share: SHARES[n % 3],
    subpath: `rec/${n}`,
    pre_recording: n,
    post_recording: -n,
    account: `viewer-${n}`,
    passwd: `secret-${n}`,
    streaming_limit: n,
    enableauth: n % 5 === 0,
    disable_dtv: n % 2 === 0 ? 'yes' : 'no',
  });
  if (data) seen.saved += 1;
}

// Returns the number of the save that the load shows.
async function load() {
  const data = await ask({ action: 'load' });
  if (!data) return undefined;
  const n = data.pre_recording;
  const shown = {
    dtv_destination: `/${SHARES[n % 3]}/rec/${n}`,
    post_recording: -n,
    account: `viewer-${n}`,
    streaming_limit: n,
    enableauth: n % 5 === 0,
    disable_dtv: n % 2 === 0,
  };
  if (n >= FIRST && n < next && Object.entries(shown).every(([name, value]) => data[name] === value))
    seen.loaded += 1;
  else seen.failed.push(JSON.stringify(data));
  return n;
}

// Command lines of the server and of the program contain the build folder.
function countProcesses(name) {
  const files = readdirSync('/proc')
    .filter((pid) => Number(pid) > 0)
    .map((pid) => `/proc/${pid}/cmdline`);
  return files.filter(
    (file) =>
      existsSync(file) && readFileSync(file, 'utf8').includes(`${resolve(process.env.BUILD_DIR)}/${name}`),
  ).length;
}

await save(); // from here on, no setting is a default
const start = performance.now();
const requests = [...Array(COUNT).keys()];
const progress = setInterval(() => process.stderr.write(`\r${requests.length} requests to go `), 1000);
const work = async () => {
  while (requests.length > 0) await (requests.pop() % 2 === 0 ? load() : save());
};
await Promise.all(Array.from({ length: AT_ONCE }, work));
clearInterval(progress);
const rate = (COUNT / (performance.now() - start)) * 1000;
await save();
const isLast = (await load()) === next - 1;
const libraries = readSettings('folder.conf').filter(({ section }) => section !== 'tv_record').length;
await pause(1000); // for what ends by itself
const programs = countProcesses('dtv_manage.cgi');
await server.stop();
await pause(1000);
const others = countProcesses('');

process.stderr.write('\n');
console.log(`${COUNT} requests, ${AT_ONCE} at once: ${rate.toFixed(0)} requests/s
saves that succeeded: ${seen.saved}
loads that showed the settings of one save: ${seen.loaded}
requests that failed or showed anything else: ${[seen.failed.length, ...seen.failed.slice(0, 3)].join(' ')}
at the end: a load shows the last save: ${isLast ? 'yes' : 'no'}, ${libraries} of 2 libraries are in folder.conf
leftover processes: ${programs} of the program, ${others} of any kind after the server's end`);
process.exitCode = seen.failed.length + programs + others === 0 && isLast && libraries === 2 ? 0 : 1;
