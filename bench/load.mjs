// Sends loads and saves in turn and prints what came of them. All values of a save carry one number, so
// that a load shows which save it saw.

import { existsSync, readdirSync, readFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';

import { readSettings, startServer } from '../tests/page/server.mjs';

const COUNT = 10000;
const AT_ONCE = 8;
const SHARES = ['music', 'photo', 'tv'];
const FIRST_NUMBER = 1000; // far from every default
let nextNumber = FIRST_NUMBER;
const malformed = [];
const strange = [];
const tally = { succeeded: 0, failed: 0, whole: 0 };

const server = await startServer();
const headers = { Authorization: `Basic ${btoa(`admin:${server.credentials.password}`)}` };

async function ask(form) {
  let said = '';
  try {
    const response = await fetch(`${server.url}dtv_manage.cgi`, { method: 'POST', headers, body: new URLSearchParams(form) });
    said = `${response.status} ${await response.text()}`;
    const answer = JSON.parse(said.replace(/^200 /, ''));
    if (typeof answer.success === 'boolean') return answer;
  } catch (error) {
    said ||= error.message;
  }
  malformed.push(said.slice(0, 80));
  return { success: false };
}

async function save() {
  const n = nextNumber++;
  const { success } = await ask({
    action: 'save', share: SHARES[n % 3], subpath: `rec/${n}`, pre_recording: n, post_recording: -n,
    account: `viewer-${n}`, passwd: `secret-${n}`, streaming_limit: n, enableauth: n % 5 === 0,
    disable_dtv: n % 2 === 0 ? 'yes' : 'no',
  });
  tally[success ? 'succeeded' : 'failed'] += 1;
}

// What a load shows after save number n.
const shownBy = (n) => [`/${SHARES[n % 3]}/rec/${n}`, n, -n, `viewer-${n}`, n, n % 5 === 0, n % 2 === 0].join();

// Answers the number of the save that the load shows.
async function load() {
  const { success, data } = await ask({ action: 'load' });
  if (!success) return NaN;
  const shown = [data.dtv_destination, data.pre_recording, data.post_recording, data.account, data.streaming_limit,
    data.enableauth, data.disable_dtv].join();
  const n = data.pre_recording;
  if (n < FIRST_NUMBER || n >= nextNumber || shown !== shownBy(n)) {
    strange.push(shown);
    return NaN;
  }
  tally.whole += 1;
  return n;
}

async function work(requests) {
  while (requests.length > 0) await (requests.pop() % 2 === 0 ? load() : save());
}

// The server's processes and the program's name the build folder.
function countProcesses(path) {
  const files = readdirSync('/proc').filter((name) => Number(name) > 0).map((pid) => `/proc/${pid}/cmdline`);
  return files.filter((file) => existsSync(file) && readFileSync(file, 'utf8').includes(path)).length;
}

await save(); // from here on, no setting is a default
const start = performance.now();
const requests = [...Array(COUNT).keys()];
const progress = setInterval(() => process.stderr.write(`\r${requests.length} requests to go `), 1000);
await Promise.all(Array.from({ length: AT_ONCE }, () => work(requests)));
clearInterval(progress);
const seconds = (performance.now() - start) / 1000;
await save();
const isLast = (await load()) === nextNumber - 1;
const libraries = readSettings('folder.conf').filter(({ section }) => section !== 'tv_record').length;
const buildFolder = resolve(process.env.BUILD_DIR);
await pause(1000); // for what ends by itself
const programs = countProcesses(`${buildFolder}/dtv_manage.cgi`);
await server.stop();
await pause(1000);
const others = countProcesses(`${buildFolder}/`);

process.stderr.write('\n');
console.log(`${COUNT} requests, ${AT_ONCE} at once: ${(COUNT / seconds).toFixed(0)} requests/s`);
console.log(`answers that are not well-formed: ${malformed.length}`, ...malformed.slice(0, 3));
console.log(`saves: ${tally.succeeded} succeeded, ${tally.failed} failed`);
console.log(`loads: ${tally.whole} showed the settings of one save, ${strange.length} others`, ...strange.slice(0, 3));
console.log(`at the end: a load shows the last save: ${isLast ? 'yes' : 'no'}, ${libraries} of 2 libraries are in folder.conf`);
console.log(`processes left over: ${programs} of the program, ${others} in all after the server's end`);
const mistakes = malformed.length + strange.length + tally.failed + programs + others;
process.exitCode = mistakes === 0 && isLast && libraries === 2 ? 0 : 1;
