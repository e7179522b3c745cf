import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { controlScript, folder, hold, readSettings, screenshots, startServer, store } from './server.mjs';

const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];
const program = '**/dtv_manage.cgi';

let server;
let browser;
let mistakes; // the page's own, a text that is missing among them

before(async () => {
  server = await startServer();
  browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: flags });
});

after(async () => {
  await browser?.close();
  await server?.stop();
});

beforeEach(() => {
  mistakes = [];
  store();
});

afterEach(() => assert.deepEqual(mistakes, []));

// Opens the page; `saves` has what it sends to be saved.
async function open(t, options = {}) {
  const context = await browser.newContext({ httpCredentials: server.credentials, locale: 'en-GB', ...options });
  t.after(() => context.close());
  const page = Object.assign(await context.newPage(), { saves: [] });
  page.setDefaultTimeout(10_000);
  page.on('pageerror', ({ message }) => mistakes.push(message));
  page.on('console', (message) => message.text().includes('Content Security Policy') && mistakes.push(message.text()));
  page.on('request', (request) => {
    const sent = new URLSearchParams(request.postData() ?? '');
    if (sent.get('action') === 'save') page.saves.push(sent);
  });
  await page.goto(server.url);
  await reaches(page, '');
  return page;
}

const field = (page, label) => page.getByLabel(label, { exact: true });
const button = (page, name) => page.getByRole('button', { name, exact: true });
const sees = (page, sentence) => page.getByText(sentence).waitFor();
const reaches = (page, phase) => page.locator(`[data-phase="${phase}"]`).waitFor();
const isFocused = (input) => input.evaluate((element) => element === document.activeElement);
const destination = () => readSettings('folder.conf').find(({ section }) => section === 'tv_record').path;

async function fill(page, values) {
  for (const [label, value] of Object.entries(values)) {
    if (typeof value === 'boolean') await field(page, label).setChecked(value);
    else await field(page, label).fill(value);
  }
}

async function save(page, values = {}, phase = 'saved') {
  await fill(page, values);
  await page.locator('#save').click();
  await reaches(page, phase);
}

// What the fields show that `values` has labels of.
async function shown(page, values) {
  const entries = Object.entries(values).map(async ([label, value]) => {
    const input = field(page, label);
    return [label, await (typeof value === 'boolean' ? input.isChecked() : input.inputValue())];
  });
  return Object.fromEntries(await Promise.all(entries));
}

test('shows what is stored and keeps what was not touched', async (t) => {
  const folders = [folder('tv', '/shows//../kids/')];
  const stream = { enableauth: 'yes', account: 42, passwd: 'old', enable_viewer_limit: 'no', streaminglimit: -3 };
  store({ folders, stream, record: { closestreaming: 'no', pre_recording: -60, post_recording: 5430 } });
  const page = await open(t);
  const expected = {
    'Shared folder': 'tv', 'Sub-path': '/shows//../kids/', 'Stop streaming while recording': false, 'Lead time': '-60',
    'Trail time': '5430', 'Require sign-in': true, Account: '42', Password: '', 'Confirm password': '',
    'Limit viewers': false, 'Maximum viewers': '-3', 'DTV service': true,
  };
  await sees(page, 'Leave empty to keep the stored password.');
  assert.deepEqual(await shown(page, expected), expected);
  for (const text of ['/tv//shows//../kids/', 'seconds 1 h 30 min 30 s']) await page.getByText(text, { exact: true }).waitFor();
  assert.ok(await field(page, 'Maximum viewers').isDisabled());

  await save(page, { 'Trail time': '0', Account: 'in vain', Password: 'in vain', 'Require sign-in': false });
  assert.deepEqual(await shown(page, { Account: '', Password: '' }), { Account: '42', Password: '' });
  assert.deepEqual(readSettings('folder.conf'), folders);
  assert.deepEqual(readSettings('stream.conf'), { ...stream, enableauth: 'no' });
  assert.equal(readSettings('record.conf').pre_recording, -60);
  const untouched = ['share', 'subpath', 'account', 'passwd', 'password_confirm'];
  assert.deepEqual(untouched.map((name) => page.saves[0].get(name)), ['', '', '', '24681357', '75318642']);
});

test('stores every change and shows it again, markup as text', async (t) => {
  const page = await open(t);
  const account = '<img src="x" onerror="document.title = \'broken\'">&amp;+';
  const changes = {
    'Shared folder': 'video', 'Sub-path': 'Aufnahmen & mehr/ä', 'Stop streaming while recording': true, 'Lead time': '0',
    'Trail time': '2147483647', Account: account, 'Maximum viewers': '12', 'DTV service': false,
  };
  await fill(page, { ...changes, 'Sub-path': ' Aufnahmen & mehr/ä ', Password: ' new=secret ', 'Confirm password': ' new=secret ' });
  await button(page, 'Show password').click();
  assert.equal(await field(page, 'Password').getAttribute('type'), 'text');
  await save(page);
  assert.equal(await field(page, 'Password').getAttribute('type'), 'password');
  await page.reload();
  await reaches(page, '');
  assert.deepEqual(await shown(page, changes), changes);
  assert.equal(await page.locator('main img').count(), 0);
  assert.equal(destination(), '/video/Aufnahmen & mehr/ä');
  assert.deepEqual(readSettings('record.conf'), { closestreaming: 'yes', pre_recording: 0, post_recording: 2147483647 });
  const stream = { enableauth: 'yes', account, passwd: ' new=secret ', enable_viewer_limit: 'yes', streaminglimit: 12 };
  assert.deepEqual(readSettings('stream.conf'), stream);
  assert.match(readSettings('dtv_setting.conf'), /^disable_dtv="?yes"?$/m);
});

test('stops at the field before sending what could not be stored', async (t) => {
  const page = await open(t);
  const rows = [
    [{ 'Shared folder': ' ' }, 'The recording folder can be changed but not removed.'],
    [{ 'Shared folder': 'tv/rec' }, 'The name of a shared folder has no slash.'],
    [{ 'Shared folder': '..' }, 'A folder can’t be named'],
    [{ 'Shared folder': 't\tv' }, 'There is an invisible character in it'],
    [{ 'Sub-path': '/new' }, 'Leave out the slash at the beginning'],
    [{ 'Sub-path': 'new/' }, 'Leave out the slash at the beginning'],
    [{ 'Sub-path': 'a//b' }, 'Leave out one of two slashes'],
    [{ 'Sub-path': 'a/./b' }, 'A folder can’t be named'],
    [{ 'Sub-path': 'a\u009fb' }, 'There is an invisible character in it'],
    [{ 'Lead time': '1.5' }, 'Enter a whole number.'],
    [{ 'Lead time': '-1' }, 'Enter 0 or more seconds.'],
    [{ 'Trail time': '2147483648' }, 'This number is too large.'],
    [{ Account: '' }, 'The account can be changed but not removed.'],
    [{ Password: '24681357', 'Confirm password': '24681357' }, 'This password can’t be used.'],
    [{ Password: '75318642', 'Confirm password': '75318642' }, 'This password can’t be used.'],
    [{ 'Confirm password': 'two', Password: 'one' }, 'The two passwords are not the same.'],
    [{ 'Maximum viewers': '0' }, 'Enter 1 or more viewers.'],
  ];
  for (const [values, sentence] of rows) {
    const [label] = Object.keys(values);
    const stored = await shown(page, values);
    await save(page, values, 'invalid');
    await sees(page, sentence);
    assert.ok(await isFocused(field(page, label)), `${label}: ${sentence}`);
    await fill(page, stored);
    assert.ok(await button(page, 'Save').isDisabled(), `${label} is as before`);
  }
  store({ stream: { enableauth: 'no' } });
  await page.reload();
  await save(page, { 'Require sign-in': true }, 'invalid');
  for (const sentence of ['Sign-in needs an account.', 'A first account needs a password.', 'Fields to correct: 2']) await sees(page, sentence);
  await fill(page, { Account: 'eve' });
  await sees(page, 'Fields to correct: 1');
  assert.deepEqual(page.saves, []);
});

test('shows a refused folder at its fields until they are edited', async (t) => {
  const page = await open(t);
  await save(page, { 'Shared folder': 'video', 'Sub-path': 'movies/tv', 'Lead time': '61' }, 'invalid');
  await sees(page, 'Another library already uses this folder');
  assert.ok(await isFocused(field(page, 'Shared folder')));
  await save(page, { 'Sub-path': 'tv' });
  assert.equal(await page.locator('[aria-invalid=true]').count(), 0);
  assert.equal(destination(), '/video/tv');
});

test('says what a failed save may have left half done, until another value is saved', async (t) => {
  const page = await open(t);
  const notice = page.getByText('The appliance has stored this folder but may not have set it up.');
  await save(page, { 'Shared folder': 'tvv', 'Lead time': '61' }, 'failed');
  await notice.waitFor();
  assert.ok(await isFocused(field(page, 'Shared folder')));
  await save(page, {}, 'doubtful');
  assert.equal(readSettings('record.conf').pre_recording, 61);
  await page.reload();
  await notice.waitFor();
  await save(page, { 'Shared folder': 'tv' });
  assert.equal(await notice.count(), 0);
});

test('keeps what was typed when the server stops during a save, and finds out what was saved', async (t) => {
  const page = await open(t);
  const service = hold(controlScript);
  t.after(service.release);
  const typed = { 'Sub-path': 'new', Password: 'fresh', 'Confirm password': 'fresh', 'DTV service': false };
  await fill(page, typed);
  await button(page, 'Save').click();
  await service.untilHeld();
  await server.stop();
  await sees(page, 'The connection to the appliance was lost. It is not known what was saved');
  assert.deepEqual(await shown(page, typed), typed);
  service.release();
  await server.startAgain();
  // Back to what was loaded, but not to what the interrupted save has stored.
  await save(page, { 'Sub-path': 'recordings' }, 'doubtful');
  await sees(page, 'may not have started or stopped the service');
  assert.equal(await page.getByText('may not have set it up').count(), 0, 'the steps before the last have had their effect');
  assert.deepEqual([destination(), readSettings('stream.conf').passwd], ['/tv/recordings', 'fresh']);
  await save(page, { 'DTV service': true });
});

test('sends nothing over what somebody else has saved, until told to', async (t) => {
  const page = await open(t);
  for (const [choice, kept] of [['Show the stored settings', '/tv/theirs'], ['Save mine all the same', '/tv/recordings']]) {
    store({ folders: [folder('tv', 'theirs')] });
    await save(page, { 'Lead time': '99' }, 'stale');
    assert.equal(destination(), '/tv/theirs');
    await fill(page, { 'Trail time': '98' });
    await button(page, choice).click();
    await reaches(page, kept === '/tv/theirs' ? '' : 'saved');
    assert.equal(`/tv/${await field(page, 'Sub-path').inputValue()}`, kept);
    assert.equal(destination(), kept);
    store();
    await page.reload();
    await reaches(page, '');
  }
  assert.equal(page.saves.length, 1);
});

test('sends a double click once, keeps its place, and loses no change unasked', async (t) => {
  const page = await open(t, { viewport: { width: 1000, height: 500 } });
  const service = hold(controlScript);
  t.after(service.release);
  await fill(page, { 'DTV service': false, 'Stop streaming while recording': true });
  const place = await page.evaluate(() => window.scrollY);
  await button(page, 'Save').dblclick();
  await service.untilHeld();
  assert.ok(await field(page, 'Lead time').isDisabled());
  service.release();
  await reaches(page, 'saved');
  assert.deepEqual([page.saves.length, await page.evaluate(() => window.scrollY)], [1, place]);

  await fill(page, { 'Lead time': '99' });
  const warning = page.waitForEvent('dialog');
  await page.close({ runBeforeUnload: true });
  assert.equal((await warning).type(), 'beforeunload');
  await (await warning).dismiss();
  assert.deepEqual(await shown(page, { 'Lead time': '' }), { 'Lead time': '99' });
  await button(page, 'Discard').click();
  await reaches(page, '');
  assert.deepEqual(await shown(page, { 'Lead time': '' }), { 'Lead time': '60' });
});

const looks = {
  light: { viewport: { width: 1000, height: 1650 } },
  dark: { viewport: { width: 1000, height: 1650 }, colorScheme: 'dark' },
  narrow: { viewport: { width: 320, height: 2250 } },
  german: { viewport: { width: 320, height: 2450 }, colorScheme: 'dark', locale: 'de-AT' },
  forced: { viewport: { width: 1000, height: 1650 }, forcedColors: 'active' },
};

test('can be used by everybody in every state: light, dark, narrow, German, forced colours', async (t) => {
  const textNames = new Set();
  for (const [name, options] of Object.entries(looks)) {
    store({ tunerConflict: true });
    const page = await open(t, { ...options, reducedMotion: 'reduce' });
    const input = (id) => page.locator(`#${id}`);
    const scan = async (state) => {
      await reaches(page, state);
      await page.screenshot({ path: join(screenshots, `settings-${name}${state && `-${state}`}.png`), fullPage: true });
      assert.deepEqual(await violations(page), [], `${name}: ${state}`);
      assert.ok((await page.evaluate(() => document.documentElement.scrollWidth)) <= options.viewport.width, `${name}: ${state}`);
    };
    await scan('');
    await input('passwd').fill('only once');
    await scan('unsaved');
    await input('save').click();
    await scan('invalid');
    await input('passwd').fill('');
    await input('share').fill('unknown');
    await input('save').click();
    await scan('failed');
    await input('pre_recording').fill('5430');
    await input('save').click();
    await scan('doubtful');
    store();
    await input('pre_recording').fill('1');
    await input('save').click();
    await scan('stale');
    await page.route(program, () => {});
    await input('save').click();
    await scan('saving');
    await page.unroute(program);
    await page.reload();
    await input('pre_recording').fill('1');
    await input('save').click();
    await scan('saved');
    assert.equal(await page.locator('html').getAttribute('lang'), name === 'german' ? 'de' : 'en');
    textNames.add(await page.evaluate(namesOfTexts));
  }
  assert.equal(textNames.size, 1, 'each language has the same texts');
});

test('shows no value and no control without an answer or without JavaScript', async (t) => {
  const page = await open(t);
  await page.route(program, (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await sees(page, 'The appliance gave no proper answer.');
  assert.deepEqual(await page.getByRole('button').allTextContents(), ['Retry']);
  assert.deepEqual([await page.getByRole('checkbox').count(), await violations(page)], [0, []]);
  await page.unroute(program);
  await button(page, 'Retry').click();
  await reaches(page, '');

  const plain = await browser.newPage({ httpCredentials: server.credentials, javaScriptEnabled: false });
  t.after(() => plain.close());
  await plain.goto(server.url);
  assert.match(await plain.locator('body').innerText(), /^\s*Digital TV\s+These settings need JavaScript\.\s*$/);
});

async function violations(page) {
  await page.evaluate(axe.source);
  const found = await page.evaluate(() => globalThis.axe.run());
  return found.violations.flatMap(({ id, nodes }) => nodes.map(({ target }) => `${id}: ${target}`));
}

// Runs in the page.
async function namesOfTexts() {
  const { texts } = await import('/texts.js');
  return JSON.stringify(texts, (name, text) => (typeof text === 'string' ? '' : text));
}
