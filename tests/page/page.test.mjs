import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, before, beforeEach, test } from 'node:test';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { controlScript, folder, hold, readSettings, screenshots, startServer, store } from './server.mjs';

const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];
const program = '**/dtv_manage.cgi';

let server;
let browser;

before(async () => {
  server = await startServer();
  browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: flags });
});

after(async () => {
  await browser?.close();
  await server?.stop();
});

beforeEach(() => store());

// Opens the page; `saves` has what it sends to be saved, `troubles` what its console complains of.
async function open(t, options = {}) {
  const context = await browser.newContext({ httpCredentials: server.credentials, locale: 'en-GB', ...options });
  t.after(() => context.close());
  const page = Object.assign(await context.newPage(), { saves: [], troubles: [] });
  page.setDefaultTimeout(10_000);
  page.on('console', (message) => message.type() === 'error' && page.troubles.push(message.text()));
  page.on('request', (request) => {
    const sent = new URLSearchParams(request.postData() ?? '');
    if (sent.get('action') === 'save') page.saves.push(sent);
  });
  await page.goto(server.url);
  await loaded(page);
  return page;
}

const loaded = (page) => page.locator('#share:enabled').waitFor();
const field = (page, label) => page.getByLabel(label, { exact: true });
const button = (page, name) => page.getByRole('button', { name });
const sees = (page, sentence) => page.getByText(sentence).waitFor();

async function fill(page, values) {
  for (const [label, value] of Object.entries(values)) {
    if (typeof value === 'boolean') await field(page, label).setChecked(value);
    else await field(page, label).fill(value);
  }
}

async function save(page) {
  await button(page, 'Save').click();
  await sees(page, 'Settings saved.');
  await loaded(page);
}

// What the fields show that `values` has labels of.
async function shown(page, values) {
  const entries = Object.entries(values).map(async ([label, value]) => {
    const input = field(page, label);
    return [label, await (typeof value === 'boolean' ? input.isChecked() : input.inputValue())];
  });
  return Object.fromEntries(await Promise.all(entries));
}

async function until(holds) {
  for (let tries = 0; !holds(); tries += 1) {
    assert.ok(tries < 100, 'waited too long');
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
}

test('shows what is stored and keeps what was not touched', async (t) => {
  const folders = [folder('tv', '/shows//kids')];
  const stream = { enableauth: 'yes', account: 42, passwd: 'old', enable_viewer_limit: 'no', streaminglimit: -3 };
  store({ folders, stream, tunerConflict: true });
  const page = await open(t);
  const expected = {
    'Shared folder': 'tv', 'Sub-path': '/shows//kids', 'Close streaming while recording': false, 'Lead time': '60',
    'Trail time': '300', 'Require sign-in': true, Account: '42', Password: '', 'Confirm password': '',
    'Limit viewers': false, 'Maximum viewers': '-3', 'Switch off the DTV service': false,
  };
  assert.deepEqual(await shown(page, expected), expected);
  await sees(page, 'A tuner conflict exists');
  await sees(page, 'A password is stored.');
  assert.ok(await field(page, 'Maximum viewers').isDisabled());

  await fill(page, { 'Lead time': '-5', Account: 'typed in vain', Password: 'in vain', 'Require sign-in': false });
  assert.ok(await field(page, 'Account').isDisabled());
  await save(page);
  assert.equal((await shown(page, { Account: '' })).Account, '42');
  assert.deepEqual(readSettings('folder.conf'), folders);
  assert.deepEqual(readSettings('stream.conf'), { ...stream, enableauth: 'no' });
  assert.equal(readSettings('record.conf').pre_recording, -5);
  const untouched = ['share', 'subpath', 'account', 'passwd', 'password_confirm'];
  assert.deepEqual(untouched.map((name) => page.saves[0].get(name)), ['', '', '', '24681357', '75318642']);
});

test('stores every change and shows it again, markup as text', async (t) => {
  const page = await open(t);
  const account = '<img src="x" onerror="document.title = \'broken\'">&amp;+';
  const changes = {
    'Shared folder': 'video', 'Sub-path': 'Aufnahmen & mehr/ä', 'Close streaming while recording': true, 'Lead time': '0',
    'Trail time': '2147483647', Account: account, 'Maximum viewers': '12', 'Switch off the DTV service': true,
  };
  await fill(page, { ...changes, Password: ' new=secret ', 'Confirm password': ' new=secret ' });
  await save(page);
  page.on('dialog', (dialog) => page.troubles.push(dialog.type()) && dialog.accept());
  await page.reload();
  await loaded(page);
  assert.deepEqual(await shown(page, changes), changes);
  assert.equal(await page.locator('main img').count(), 0);
  assert.equal(await page.title(), 'Digital TV');
  assert.deepEqual(page.troubles, []);
  const { share, subpath } = readSettings('folder.conf').find(({ section }) => section === 'tv_record');
  assert.deepEqual([share, subpath], ['video', 'Aufnahmen & mehr/ä']);
  assert.deepEqual(readSettings('record.conf'), { closestreaming: 'yes', pre_recording: 0, post_recording: 2147483647 });
  const stream = { enableauth: 'yes', account, passwd: ' new=secret ', enable_viewer_limit: 'yes', streaminglimit: 12 };
  assert.deepEqual(readSettings('stream.conf'), stream);
  assert.match(readSettings('dtv_setting.conf'), /^disable_dtv="?yes"?$/m);
});

test('says why a save was refused, and nothing is stored', async (t) => {
  const page = await open(t);
  const files = ['folder.conf', 'record.conf', 'stream.conf'];
  const before = files.map(readSettings);
  await fill(page, { 'Shared folder': 'video', 'Sub-path': 'movies', 'Lead time': '61' });
  await button(page, 'Save').click();
  await sees(page, 'Another library already uses this recording folder.');
  assert.deepEqual(files.map(readSettings), before);

  const unknown = { success: false, errinfo: { sec: 'error', key: 'constructor' } };
  await page.route(program, (route) => route.fulfill({ json: unknown }));
  await button(page, 'Save').click();
  await sees(page, 'Not all settings could be saved.');
});

test('stops before sending what could not be stored', async (t) => {
  const page = await open(t);
  const mistakes = [
    ['Confirm password', { Password: 'one', 'Confirm password': 'two' }, 'The two passwords are not the same.'],
    ['Password', { Password: '24681357', 'Confirm password': '24681357' }, 'This password can’t be used.'],
    ['Password', { Password: '75318642', 'Confirm password': '75318642' }, 'This password can’t be used.'],
    ['Shared folder', { 'Shared folder': '' }, 'The recording folder can be changed but not removed.'],
    ['Account', { Account: '' }, 'The account can be changed but not removed.'],
    ['Lead time', { 'Lead time': '1.5' }, 'Enter a whole number.'],
    ['Trail time', { 'Trail time': '2147483648' }, 'This number is too large.'],
  ];
  for (const [label, values, sentence] of mistakes) {
    const stored = await shown(page, values);
    await fill(page, values);
    await button(page, 'Save').click();
    await sees(page, sentence);
    assert.ok(await field(page, label).evaluate((input) => input === document.activeElement), label);
    await fill(page, stored);
    assert.ok(await button(page, 'Save').isDisabled(), `${label} is as before`);
  }
  assert.deepEqual(page.saves, []);
});

test('keeps what was typed when the server stops during a save, and can try again', async (t) => {
  const page = await open(t);
  const service = hold(controlScript);
  t.after(service.release);
  const typed = { 'Sub-path': 'new', Password: 'fresh', 'Confirm password': 'fresh', 'Switch off the DTV service': true };
  await fill(page, typed);
  await button(page, 'Save').click();
  await until(service.isHeld);
  await server.stop();
  await sees(page, 'The connection to the appliance was lost.');
  assert.deepEqual(await shown(page, typed), typed);

  service.release();
  await server.startAgain();
  // Back to what was loaded, but not to what the interrupted save has stored.
  await fill(page, { 'Sub-path': 'recordings' });
  await button(page, 'Retry').click();
  await sees(page, 'Settings saved.');
  assert.equal(readSettings('folder.conf').find(({ section }) => section === 'tv_record').subpath, 'recordings');
  assert.equal(readSettings('stream.conf').passwd, 'fresh');

  await page.route(program, (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await sees(page, 'The appliance gave no proper answer.');
  await page.unroute(program);
  await button(page, 'Retry').click();
  await loaded(page);
});

test('sends a double click once and warns before unsaved changes are lost', async (t) => {
  const page = await open(t);
  const service = hold(controlScript);
  t.after(service.release);
  await fill(page, { 'Switch off the DTV service': true });
  await button(page, 'Save').dblclick();
  await sees(page, 'Saving…');
  await until(service.isHeld);
  assert.ok(await field(page, 'Lead time').isDisabled());
  service.release();
  await sees(page, 'Settings saved.');
  await loaded(page);
  assert.equal(page.saves.length, 1);

  await fill(page, { 'Lead time': '99' });
  const warning = page.waitForEvent('dialog');
  await page.close({ runBeforeUnload: true });
  assert.equal((await warning).type(), 'beforeunload');
  await (await warning).dismiss();
  assert.deepEqual(await shown(page, { 'Lead time': '' }), { 'Lead time': '99' });
});

test('can be used by everybody: light, dark, narrow, in English and in German', async (t) => {
  store({ tunerConflict: true });
  const looks = {
    light: { viewport: { width: 1000, height: 1600 } },
    dark: { viewport: { width: 1000, height: 1600 }, colorScheme: 'dark' },
    narrow: { viewport: { width: 320, height: 2150 } },
    german: { viewport: { width: 320, height: 2300 }, colorScheme: 'dark', locale: 'de-AT' },
  };
  const textNames = new Set();
  for (const [name, options] of Object.entries(looks)) {
    const page = await open(t, { ...options, reducedMotion: 'reduce' });
    await page.screenshot({ path: join(screenshots, `settings-${name}.png`), fullPage: true });
    assert.deepEqual(await violations(page), [], name);
    await page.locator('#passwd').fill('only once');
    await page.locator('#save').click();
    assert.deepEqual(await violations(page), [], `${name}, with a problem shown`);
    assert.ok((await page.evaluate(() => document.documentElement.scrollWidth)) <= options.viewport.width, name);
    assert.equal(await page.locator('html').getAttribute('lang'), name === 'german' ? 'de' : 'en');
    assert.deepEqual(page.troubles, []);
    textNames.add(await page.evaluate(namesOfTexts));
  }
  assert.equal(textNames.size, 1, 'each language has the same texts');
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
