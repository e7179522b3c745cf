// load.mjs URL SETTINGS_FOLDER REQUESTS AT_ONCE: sends loads and saves in turn and prints what came
// of them. All values of a save carry one number, so that a load shows which save it saw.
import { readFileSync } from "node:fs";
import http from "node:http";

const [url, folder, count, atOnce] = process.argv.slice(2);
const auth = `admin:${process.env.PASSWORD}`;
const shares = ["music", "photo", "tv"];
const firstNumber = 1000; // far from every default
let nextNumber = firstNumber;
const malformed = [];
const strange = [];
const tally = { succeeded: 0, failed: 0, whole: 0 };

function post(form) {
  const headers = { "Content-Type": "application/x-www-form-urlencoded" };
  return new Promise((resolve) => {
    const request = http.request(url, { method: "POST", headers, auth, agent: false }, (response) => {
      let text = "";
      response.on("data", (part) => (text += part));
      response.on("close", () => resolve({ status: response.statusCode, text }));
    });
    request.on("error", (error) => resolve({ status: 0, text: error.message }));
    request.end(new URLSearchParams(form).toString());
  });
}

async function ask(form) {
  const { status, text } = await post(form);
  try {
    const answer = JSON.parse(text);
    if (status === 200 && typeof answer.success === "boolean") {
      return answer;
    }
  } catch {
    // counted with the others
  }
  malformed.push(`${status} ${text.slice(0, 80)}`);
  return { success: false };
}

async function save() {
  const n = nextNumber++;
  const { success } = await ask({
    action: "save", share: shares[n % 3], subpath: `rec/${n}`, pre_recording: n, post_recording: -n,
    account: `viewer-${n}`, passwd: `secret-${n}`, streaming_limit: n, enableauth: n % 5 === 0,
    disable_dtv: n % 2 === 0 ? "yes" : "no",
  });
  tally[success ? "succeeded" : "failed"]++;
  return success;
}

// What a load shows after save number n.
const shownBy = (n) => [`/${shares[n % 3]}/rec/${n}`, n, -n, `viewer-${n}`, n, n % 5 === 0, n % 2 === 0].join();

async function load() {
  const { success, data } = await ask({ action: "load" });
  if (!success) {
    return NaN;
  }
  const shown = [data.dtv_destination, data.pre_recording, data.post_recording, data.account, data.streaming_limit,
    data.enableauth, data.disable_dtv].join();
  const n = data.pre_recording;
  if (n < firstNumber || n >= nextNumber || shown !== shownBy(n)) {
    strange.push(shown);
    return NaN;
  }
  tally.whole++;
  return n;
}

async function work(requests) {
  while (requests.length > 0) {
    await (requests.pop() % 2 === 0 ? load() : save());
    if (requests.length % 500 === 0) {
      process.stderr.write(`\r${requests.length} requests to go `);
    }
  }
}

function countLibraries() {
  const folders = JSON.parse(readFileSync(`${folder}/folder.conf`, "utf8"));
  return folders.filter(({ section }) => section !== "tv_record").length;
}

await save(); // from here on, no setting is a default
const start = performance.now();
const requests = [...Array(Number(count)).keys()];
await Promise.all(Array.from({ length: atOnce }, () => work(requests)));
const seconds = (performance.now() - start) / 1000;
process.stderr.write("\n");
console.log(`${count} requests, ${atOnce} at once: ${(count / seconds).toFixed(0)} requests/s`);
console.log(`answers that are not well-formed: ${malformed.length}`, ...malformed.slice(0, 3));
console.log(`saves: ${tally.succeeded} succeeded, ${tally.failed} failed`);
console.log(`loads: ${tally.whole} showed the settings of one save, ${strange.length} others`, ...strange.slice(0, 3));
const last = nextNumber;
const isLast = (await save()) && (await load()) === last;
const libraries = countLibraries();
console.log(`at the end: a load shows the last save: ${isLast ? "yes" : "no"}, ${libraries} of 2 libraries are in folder.conf`);
process.exitCode = malformed.length + strange.length + tally.failed === 0 && isLast && libraries === 2 ? 0 : 1;
