// Sends loads and saves in turn and prints the results. One setting of each file carries the number of
// the save, so that a load shows which save it saw.

import { spawnSync } from 'node:child_process';
import { setTimeout as pause } from 'node:timers/promises';

import { buildFolder, readSettings, startServer } from '../server/start.mjs';

const COUNT = 10000;
const AT_ONCE = 8;
let next = 1000; // far from every default
let saved = 0;
let loaded = 0;
const failed = [];

const server = await startServer();
const headers = { Authorization: `Basic ${btoa(`admin:${server.credentials.password}`)}` };

// Returns the data of a successful request, or else undefined.
async function ask(form) {
  let answer = 'no answer';
  try {
    const body = new URLSearchParams(form);
    const response = await fetch(`${server.url}dtv_manage.cgi`, { method: 'POST', headers, body });
    answer = await response.text();
    const { success, data = {} } = JSON.parse(answer);
    if (success) return data;
  } catch {
    // counts as failed, as an answer without success does
  }
  failed.push(answer);
  return undefined;
}

async function save() {
  const n = next++;
  const values = { subpath: n, pre_recording: n, streaming_limit: n, disable_dtv: n % 2 ? 'no' : 'yes' };
  if (await ask({ action: 'save', share: 'tv', ...values })) saved += 1;
}

// Returns the number of the save that the load shows.
async function load() {
  const data = await ask({ action: 'load' });
  if (!data) return undefined;
  const n = data.pre_recording;
  const isOfOneSave =
    data.dtv_destination === `/tv/${n}` && data.streaming_limit === n && data.disable_dtv === (n % 2 === 0);
  if (isOfOneSave) loaded += 1;
  else failed.push(JSON.stringify(data));
  return n;
}

// Command lines of the server and of the program contain the build folder.
const countProcesses = (name) => Number(spawnSync('pgrep', ['-fc', `${buildFolder}/${name}`]).stdout);

await save(); // from here on, no setting is a default
const start = performance.now();
let left = COUNT;
const work = async () => {
  while (left > 0) await (left-- % 2 ? save() : load());
};
await Promise.all(Array.from({ length: AT_ONCE }, work));
const rate = (COUNT / (performance.now() - start)) * 1000;
await save();
const isLast = (await load()) === next - 1;
const libraries = readSettings('folder.conf').filter(({ section }) => section !== 'tv_record').length;
await pause(1000); // for what ends by itself
const programs = countProcesses('dtv_manage.cgi');
await server.stop();
await pause(1000);
const others = countProcesses('');

console.log(`${COUNT} requests, ${AT_ONCE} at once: ${rate.toFixed(0)} requests/s
saves that succeeded: ${saved}
loads that showed the settings of one save: ${loaded}
requests that failed or showed anything else: ${[failed.length, ...failed.slice(0, 3)].join(' ')}
at the end: a load shows the last save: ${isLast ? 'yes' : 'no'}, ${libraries} of 2 libraries are in folder.conf
leftover processes: ${programs} of the program, ${others} of any kind after the server's end`);
process.exitCode = failed.length + programs + others === 0 && isLast && libraries === 2 ? 0 : 1;
