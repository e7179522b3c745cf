import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { controlScript, folder, hold, readSettings, screenshots, startServer, store } from './server.mjs';

const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];
const program = '**/dtv_manage.cgi';

const server = await startServer();
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: flags });
after(() => Promise.all([browser.close(), server.stop()]));
beforeEach(() => store());

// Opens the page; a mistake of its own, such as a text that is missing, ends the test.
async function open(t, options = {}) {
  const context = await browser.newContext({ httpCredentials: server.credentials, locale: 'en-GB', ...options });
  t.after(() => context.close());
  const page = await context.newPage();
  page.setDefaultTimeout(10_000);
  page.on('pageerror', (error) => { throw error; });
  await page.goto(server.url);
  await reaches(page, '');
  return page;
}

const reaches = (page, phase) => page.locator(`[data-phase="${phase}"]`).waitFor();
const sees = (page, sentence) => page.getByText(sentence).waitFor();
const destination = () => readSettings('folder.conf').find(({ section }) => section === 'tv_record').path;

async function save(page, values = {}, phase = 'saved') {
  await fill(page, values);
  await page.locator('#save').click();
  await reaches(page, phase);
}

async function fill(page, values) {
  for (const [name, value] of Object.entries(values)) {
    const input = page.locator(`#${name}`);
    await (typeof value === 'boolean' ? input.setChecked(value) : input.fill(value));
  }
}

async function shows(page, values) {
  const form = await page.evaluate(() => Object.fromEntries([...document.querySelectorAll('input')].map(
    (input) => [input.name, input.type === 'checkbox' ? input.checked : input.value])));
  assert.deepEqual(form, { ...form, ...values });
}

async function scan(page, name) {
  await page.screenshot({ path: join(screenshots, `settings-${name}.png`), fullPage: true });
  await page.evaluate(axe.source);
  const { violations } = await page.evaluate(() => globalThis.axe.run());
  assert.deepEqual(violations.flatMap(({ id, nodes }) => nodes.map(({ target }) => `${id}: ${target}`)), [], name);
}

test('shows what is stored, keeps what was not touched, and stores every change', async (t) => {
  const folders = [folder('tv', '/shows//../kids\n/')];
  const stream = { enableauth: 'yes', account: 42, passwd: 'old', enable_viewer_limit: 'no', streaminglimit: -3 };
  const record = { closestreaming: 'no', pre_recording: -60, post_recording: 5430 };
  store({ folders, record, stream });
  const page = await open(t);
  const stored = {
    share: 'tv', subpath: '/shows//../kids/', closestreaming: false, pre_recording: '-60', post_recording: '5430', enableauth: true,
    account: '42', passwd: '', password_confirm: '', enable_viewer_limit: false, streaming_limit: '-3', dtv_service: true,
  };
  await shows(page, stored);
  for (const text of ['/tv//shows//../kids/', '1 h 30 min 30 s', 'Leave empty to keep the stored password.']) await sees(page, text);
  await save(page, { post_recording: '0', account: 'in vain', passwd: 'in vain', enableauth: false });
  await shows(page, { ...stored, post_recording: '0', enableauth: false });
  assert.deepEqual(['folder.conf', 'record.conf', 'stream.conf'].map(readSettings),
    [folders, { ...record, post_recording: 0 }, { ...stream, enableauth: 'no' }]);

  const changes = {
    share: 'video', subpath: 'Aufnahmen & mehr/ä', closestreaming: true, pre_recording: '0', post_recording: '2147483647',
    enableauth: true, account: '<b>&amp;+=', enable_viewer_limit: true, streaming_limit: '12', dtv_service: false,
  };
  await fill(page, { ...changes, subpath: ` ${changes.subpath} `, passwd: ' new=secret ', password_confirm: ' new=secret ' });
  await page.locator('#reveal').click();
  assert.equal(await page.locator('[type=password]').count(), 0);
  await save(page);
  assert.equal(await page.locator('[type=password]').count(), 2);
  await shows(page, { ...changes, passwd: '' });
  assert.equal(destination(), '/video/Aufnahmen & mehr/ä');
  assert.deepEqual(readSettings('record.conf'), { closestreaming: 'yes', pre_recording: 0, post_recording: 2147483647 });
  assert.deepEqual(readSettings('stream.conf'),
    { enableauth: 'yes', account: '<b>&amp;+=', passwd: ' new=secret ', enable_viewer_limit: 'yes', streaminglimit: 12 });
  assert.match(readSettings('dtv_setting.conf'), /^disable_dtv="?yes"?$/m);
});

test('stops at a field that could not be saved', async (t) => {
  const page = await open(t);
  const refuses = async (values, ...problems) => {
    await save(page, values, 'invalid');
    const sentences = await page.evaluate(async (names) => names.map((await import('/texts.js')).text), problems);
    assert.deepEqual(await page.locator('.problem:not(:empty)').allTextContents(), sentences);
    await sees(page, `Fields to correct: ${problems.length}`);
    await page.locator('[aria-invalid=true]:focus').waitFor();
    await page.getByRole('button', { name: 'Discard' }).click();
    await reaches(page, '');
  };
  const reserved = ['24681357', '75318642'].map((word) => ({ passwd: word, password_confirm: word }));
  await refuses({ share: ' ', pre_recording: '1.5', post_recording: '2147483648' }, 'share_cleared', 'number_not_whole', 'number_too_large');
  await refuses({ account: '', password_confirm: 'x', streaming_limit: '0' }, 'account_cleared', 'password_differs', 'limit_below_one');
  await refuses({ share: 'a/b', subpath: '/a', pre_recording: '-1', ...reserved[0] },
    'share_slash', 'subpath_slash', 'time_negative', 'password_reserved');
  await refuses({ share: '..', subpath: 'a/./b', ...reserved[1] }, 'folder_dots', 'folder_dots', 'password_reserved');
  await refuses({ share: 't\tv', subpath: 'a\u009fb' }, 'folder_control', 'folder_control');
  await refuses({ subpath: 'a//b' }, 'subpath_gap');
  await refuses({ subpath: 'a/' }, 'subpath_slash');
  store({ stream: { enableauth: 'no' } });
  await page.reload();
  await refuses({ enableauth: true }, 'account_missing', 'password_missing');
});

test('shows a refusal at its fields, and what a failed save may have left half done', async (t) => {
  const page = await open(t);
  await save(page, { share: 'video', subpath: 'movies/tv', pre_recording: '61' }, 'invalid');
  await sees(page, 'Another library already uses this folder');
  await page.locator('#share:focus').waitFor();
  await fill(page, { subpath: 'tv', share: 'unknown' });
  assert.equal(await page.locator('[aria-invalid=true]').count(), 0);

  const notice = page.getByText('The appliance has stored this folder but may not have set it up.');
  await save(page, {}, 'failed');
  await notice.waitFor();
  await page.locator('#share:focus').waitFor();
  await save(page, {}, 'doubtful');
  assert.equal(readSettings('record.conf').pre_recording, 61);
  await page.reload();
  await notice.waitFor();
  await save(page, { share: 'tv' });
  assert.equal(await notice.count(), 0);
});

test('keeps what was typed when the server stops during a save, and finds out what was saved', async (t) => {
  const page = await open(t);
  const service = hold(controlScript);
  t.after(service.release);
  const typed = { subpath: 'new', passwd: 'fresh', password_confirm: 'fresh', dtv_service: false };
  await save(page, typed, 'saving');
  while (!service.isHeld()) await pause(50);
  await server.stop();
  await sees(page, 'The connection to the appliance was lost. It is not known what was saved');
  await shows(page, typed);
  service.release();
  await server.startAgain();
  // Back to what was loaded, but not to what the interrupted save has stored.
  await save(page, { subpath: 'recordings' }, 'doubtful');
  await sees(page, 'may not have started or stopped the service');
  assert.equal(await page.getByText('may not have set it up').count(), 0, 'the steps before the last have had their effect');
  assert.deepEqual([destination(), readSettings('stream.conf').passwd], ['/tv/recordings', 'fresh']);
});

test('sends nothing over what somebody else has saved, until told to', async (t) => {
  const page = await open(t);
  for (const [choice, phase, kept] of [['Show the stored settings', '', 'theirs'], ['Save mine all the same', 'saved', 'typed']]) {
    store({ folders: [folder('tv', 'theirs')] });
    await save(page, { subpath: 'typed' }, 'stale');
    assert.equal(destination(), '/tv/theirs');
    await fill(page, { pre_recording: '98' });
    await page.getByRole('button', { name: choice }).click();
    await reaches(page, phase);
    await shows(page, { subpath: kept });
    assert.equal(destination(), `/tv/${kept}`);
    store();
    await page.reload();
    await reaches(page, '');
  }
});

test('sends a double click once, keeps its place, and loses no change unasked', async (t) => {
  const page = await open(t, { viewport: { width: 1000, height: 500 } });
  const sent = [];
  page.on('request', (request) => request.postData()?.includes('action=save') && sent.push(request));
  await fill(page, { dtv_service: false, closestreaming: true });
  const place = await page.evaluate(() => window.scrollY);
  await page.locator('#save').dblclick();
  await reaches(page, 'saved');
  assert.deepEqual([sent.length, await page.evaluate(() => window.scrollY)], [1, place]);
  await fill(page, { pre_recording: '99' });
  const warning = page.waitForEvent('dialog');
  await page.close({ runBeforeUnload: true });
  await (await warning).dismiss();
  await shows(page, { pre_recording: '99' });
});

test('shows no value and no control without an answer or without JavaScript', async (t) => {
  const page = await open(t);
  await page.route(program, (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await sees(page, 'The appliance gave no proper answer.');
  assert.deepEqual([await page.getByRole('button').allTextContents(), await page.getByRole('checkbox').count()], [['Retry'], 0]);
  await scan(page, 'unloaded');
  await page.unroute(program);
  await page.getByRole('button', { name: 'Retry' }).click();
  await reaches(page, '');
  const plain = await browser.newPage({ httpCredentials: server.credentials, javaScriptEnabled: false });
  await plain.goto(server.url);
  assert.match(await plain.locator('body').innerText(), /^\s*Digital TV\s+These settings need JavaScript\.\s*$/);
});

const looks = {
  light: { viewport: { width: 1000, height: 1650 } },
  dark: { viewport: { width: 1000, height: 1650 }, colorScheme: 'dark' },
  narrow: { viewport: { width: 320, height: 2250 } },
  german: { viewport: { width: 320, height: 2450 }, colorScheme: 'dark', locale: 'de-AT' },
  forced: { viewport: { width: 1000, height: 1650 }, forcedColors: 'active' },
};
// In this order each state is reached from the one before.
const states = {
  loaded: () => {},
  unsaved: (page) => fill(page, { passwd: 'only once' }),
  invalid: (page) => save(page, {}, 'invalid'),
  failed: (page) => save(page, { passwd: '', share: 'unknown' }, 'failed'),
  doubtful: (page) => save(page, { pre_recording: '5430' }, 'doubtful'),
  stale: (page) => store() ?? save(page, { share: 'tv', pre_recording: '1' }, 'stale'),
  saved: (page) => save(page),
  saving: (page) => page.route(program, () => {}).then(() => save(page, { pre_recording: '2' }, 'saving')),
};

test('can be used by everybody in every state: light, dark, narrow, in German, in forced colours', async (t) => {
  const textNames = new Set();
  for (const [look, options] of Object.entries(looks)) {
    store({ tunerConflict: true });
    const page = await open(t, { ...options, reducedMotion: 'reduce' });
    for (const [state, reach] of Object.entries(states)) {
      await reach(page);
      await scan(page, `${look}-${state}`);
      assert.ok((await page.evaluate(() => document.documentElement.scrollWidth)) <= options.viewport.width, `${look}: ${state}`);
    }
    assert.equal(await page.locator('input:enabled').count(), 0);
    assert.equal(await page.locator('html').getAttribute('lang'), look === 'german' ? 'de' : 'en');
    textNames.add(await page.evaluate(async () => JSON.stringify(
      (await import('/texts.js')).texts, (name, text) => (typeof text === 'string' ? '' : text))));
  }
  assert.equal(textNames.size, 1, 'each language has the same texts');
});
