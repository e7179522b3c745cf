// load.mjs URL SETTINGS_FOLDER REQUESTS AT_ONCE: sends loads and saves in turn and prints what came
// of them. All values of a save carry one number, so that a load shows which saves it saw.
import { readFileSync } from "node:fs";
import http from "node:http";

const [url, folder, count, atOnce] = process.argv.slice(2);
const auth = `admin:${process.env.PASSWORD}`;
const shares = ["music", "photo", "tv"];
const firstNumber = 1000; // far from every default
let nextNumber = firstNumber;
const malformed = [];
const strange = [];
const tally = { succeeded: 0, failed: 0, whole: 0, noDestination: 0, defaultOptions: 0 };

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

// The number of a save that carried these values, 0 for defaults, NaN for what no save sent.
function numberOf(text, isDefault, values, valuesOf) {
  const n = Number(/\d+$/.exec(text)?.[0]);
  if (isDefault) {
    return 0;
  }
  return n >= firstNumber && n < nextNumber && String(values) === String(valuesOf(n)) ? n : NaN;
}

// The saves seen: of the destination, the recording options and the access options. The options
// show defaults already when one of their two files cannot be read.
function numbersOf({ dtv_destination: destination, pre_recording: pre, post_recording: post,
  streaming_limit: limit, account }) {
  return [
    numberOf(destination, destination === "", destination, (n) => `/${shares[n % 3]}/rec/${n}`),
    numberOf(pre, ["0,0", "180,120"].includes(`${pre},${post}`), [pre, post], (n) => [n, -n]),
    numberOf(limit, !account && limit <= 1, [limit, account], (n) => [n, `viewer-${n}`]),
  ];
}

async function load() {
  const { success, data } = await ask({ action: "load" });
  const numbers = success ? numbersOf(data) : [];
  if (numbers.includes(NaN)) {
    strange.push(JSON.stringify(data));
  }
  tally.whole += numbers.length > 0 && numbers.every((n) => n > 0);
  tally.noDestination += numbers[0] === 0;
  tally.defaultOptions += numbers[1] === 0 || numbers[2] === 0;
  return numbers;
}

async function work(requests) {
  while (requests.length > 0) {
    await (requests.pop() % 2 === 0 ? load() : save());
  }
}

function parse(name) {
  try {
    return JSON.parse(readFileSync(`${folder}/${name}.conf`, "utf8"));
  } catch {
    return undefined;
  }
}

function reportFiles(when) {
  const files = ["folder", "record", "stream"].map(parse);
  const libraries = (files[0] ?? []).filter(({ section }) => section !== "tv_record").length;
  const parsed = files.filter(Boolean).length;
  console.log(`${when}: ${parsed} of 3 files parse, ${libraries} of 2 libraries are in folder.conf`);
  return parsed === 3;
}

await save(); // from here on, no setting is a default
const start = performance.now();
const requests = [...Array(Number(count)).keys()];
await Promise.all(Array.from({ length: atOnce }, () => work(requests)));
const seconds = (performance.now() - start) / 1000;
console.log(`${count} requests, ${atOnce} at once: ${(count / seconds).toFixed(0)} requests/s`);
console.log(`answers that are not well-formed: ${malformed.length}`, ...malformed.slice(0, 3));
console.log(`saves: ${tally.succeeded} succeeded, ${tally.failed} failed`);
console.log(`loads: ${tally.whole} showed saved settings, ${tally.noDestination} no destination, ` +
  `${tally.defaultOptions} default options, ${strange.length} what no save sent`, ...strange.slice(0, 3));
reportFiles("at the end");
const last = nextNumber;
const isWhole = (await save()) && String(await load()) === String([last, last, last]);
const isParsed = reportFiles("after one more save");
console.log(`a load shows that save: ${isWhole ? "yes" : "no"}`);
process.exitCode = malformed.length === 0 && isWhole && isParsed ? 0 : 1;
