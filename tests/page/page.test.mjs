import assert from 'node:assert/strict';
import { after, afterEach, beforeEach, test } from 'node:test';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { folder, hold, readSettings, startServer, store } from './server.mjs';

const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];
const looks = { light: [1000, {}], dark: [1000, { colorScheme: 'dark' }], narrow: [320, {}], forced: [320, { forcedColors: 'active' }] };

const server = await startServer();
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: flags });
let page;

after(() => Promise.all([browser.close(), server.stop()]));
beforeEach(async () => { store(); await open(); });
// Mistakes of the page's own, such as a text that is missing.
afterEach(async () => assert.deepEqual(await page.pageErrors({ filter: 'all' }), []));

async function open(options = {}) {
  page = await (await browser.newContext({ httpCredentials: server.credentials, locale: 'en-GB', ...options })).newPage();
  await page.goto(server.url);
  await reaches('');
}

const reaches = (phase) => page.locator(`[data-phase="${phase}"]`).waitFor();
const sees = (sentence) => page.getByText(sentence).waitFor();
const press = (name) => page.getByRole('button', { name }).click();

async function fill(values) {
  for (const [name, value] of Object.entries(values)) await page.locator(`#${name}`)[typeof value === 'boolean' ? 'setChecked' : 'fill'](value);
}

async function save(values = {}, phase = 'saved') {
  await fill(values);
  await page.locator('#save').click();
  await reaches(phase);
}

async function shows(values) {
  const form = await page.evaluate(() => Object.fromEntries([...document.querySelectorAll('input')].map(
    (input) => [input.name, input.type === 'checkbox' ? input.checked : input.value])));
  assert.deepEqual(form, { ...form, ...values });
}

// Pictures of a state in every look, each scanned for what keeps people from using it.
async function scan(state) {
  await page.evaluate(axe.source);
  for (const [look, [width, media]] of Object.entries(looks)) {
    await page.emulateMedia({ colorScheme: null, forcedColors: null, reducedMotion: 'reduce', ...media });
    await page.setViewportSize({ width, height: 2600 });
    await page.screenshot({ path: `${process.env.BUILD_DIR}/screenshots/settings-${state}-${look}.png` });
    const found = (await page.evaluate('axe.run()')).violations.flatMap(({ id, nodes }) => nodes.map(({ target }) => `${id}: ${target}`));
    assert.deepEqual([found, await page.evaluate('document.documentElement.scrollWidth')], [[], width], `${state}, ${look}`);
  }
}

test('shows what is stored, keeps what was not touched, and stores every change', async () => {
  const folders = [folder('tv', '/shows//../kids\n/')];
  const stream = { enableauth: 'yes', account: 42, passwd: 'old', enable_viewer_limit: 'no', streaminglimit: -3 };
  const record = { closestreaming: 'no', pre_recording: -60, post_recording: 5430 };
  store({ 'folder.conf': folders, 'record.conf': record, 'stream.conf': stream, tunerConflict: true });
  await page.reload();
  for (const text of ['/tv//shows//../kids/', '1 h 30 min 30 s', 'Leave empty to keep', 'A tuner conflict exists']) await sees(text);
  await shows({
    share: 'tv', subpath: '/shows//../kids/', closestreaming: false, pre_recording: '-60', post_recording: '5430', enableauth: true,
    account: '42', passwd: '', password_confirm: '', enable_viewer_limit: false, streaming_limit: '-3', dtv_service: true,
  });
  await save({ post_recording: '0', account: 'in vain', passwd: 'in vain', enableauth: false });
  assert.deepEqual(['folder.conf', 'record.conf', 'stream.conf'].map(readSettings),
    [folders, { ...record, post_recording: 0 }, { ...stream, enableauth: 'no' }]);

  const changes = {
    share: 'video', subpath: `Aufnahmen & mehr/${'ä'.repeat(80)}`, closestreaming: true, pre_recording: '0', post_recording: '2147483647',
    enableauth: true, account: '<b>&amp;+=', enable_viewer_limit: true, streaming_limit: '12', dtv_service: false,
  };
  await fill({ ...changes, subpath: ` ${changes.subpath} `, passwd: ' new=secret ', password_confirm: ' new=secret ' });
  await press('Show password');
  assert.equal(await page.locator('[type=password]').count(), 0);
  await page.evaluate(() => { document.getElementById('streaming_limit').focus(); window.scrollTo(0, 0); });
  await page.keyboard.press('Enter');
  await reaches('saved');
  assert.deepEqual([await page.evaluate('scrollY'), await page.locator('[type=password]').count()], [0, 2]);
  await shows({ ...changes, passwd: '' });
  assert.equal(readSettings('stream.conf').passwd + readSettings('dtv_setting.conf').match(/disable_dtv="?(\w+)/)[1], ' new=secret yes');
  await scan('saved');
});

test('stops at a field that could not be saved', async () => {
  const refuses = async (values, ...problems) => {
    await save(values, 'invalid');
    const sentences = await page.evaluate(async (names) => names.map((await import('/texts.js')).text), problems);
    assert.deepEqual(await page.locator('.problem:not(:empty)').allTextContents(), sentences);
    await sees(`Fields to correct: ${problems.length}`);
    await page.locator('[aria-invalid=true]:focus').waitFor();
    await press('Discard');
    await reaches('');
  };
  await refuses({ share: ' ', pre_recording: '1.5', passwd: '75318642' }, 'share_cleared', 'number_not_whole', 'password_reserved', 'password_differs');
  await refuses({ share: 'a/b', subpath: '/a', pre_recording: '-1' }, 'share_slash', 'subpath_slash', 'time_negative');
  await refuses({ share: '..', subpath: 'a/./b', post_recording: '2147483648' }, 'folder_dots', 'folder_dots', 'number_too_large');
  await refuses({ subpath: 'a\u009fb', account: '', streaming_limit: '0' }, 'folder_control', 'account_cleared', 'limit_below_one');
  await refuses({ share: 't\tv', subpath: 'a//b', passwd: '24681357' }, 'folder_control', 'subpath_gap', 'password_reserved', 'password_differs');
  store({ 'stream.conf': { enableauth: 'no' } });
  await page.reload();
  await refuses({ subpath: 'a/', enableauth: true }, 'subpath_slash', 'account_missing', 'password_missing');
});

test('shows a refusal at its fields, and what a failed save may have left half done', async () => {
  await save({ share: 'video', subpath: 'movies/tv', pre_recording: '61' }, 'invalid');
  await sees('Another library already uses this folder');
  await page.locator('#share:focus').waitFor();
  await fill({ subpath: 'tv', share: 'unknown' });
  assert.equal(await page.locator('[aria-invalid=true]').count(), 0);

  const notice = page.getByText('The appliance has stored the folder /unknown/tv but may not have set it up.');
  await save({}, 'failed');
  assert.equal(await page.locator('#alert').textContent(), 'Not all settings could be saved and put into effect.');
  await notice.waitFor();
  await page.locator('#share:focus').waitFor();
  await scan('failed');
  await save({}, 'doubtful');
  await scan('doubtful');
  await page.reload();
  await notice.waitFor();
  await save({ share: 'tv' });
  assert.equal(await notice.count(), 0);
});

test('keeps what was typed when the server stops during a save, and finds out what was saved', async (t) => {
  const service = hold('var/packages/Cinquill/scripts/teskdtv.sh');
  t.after(service.release);
  const sent = [];
  page.on('request', (request) => request.postData()?.includes('action=save') && sent.push(request));
  const typed = { subpath: 'new', passwd: 'fresh', password_confirm: 'fresh', dtv_service: false };
  await fill(typed);
  await scan('unsaved');
  await page.locator('#save').dblclick();
  for (let waits = 0; !service.isHeld() && waits < 100; waits += 1) await page.waitForTimeout(50);
  assert.deepEqual([sent.length, await page.locator('input:enabled').count()], [1, 0]);
  await scan('saving');
  await server.stop();
  await sees('The connection to the appliance was lost. It is not known what was saved');
  const warning = page.waitForEvent('dialog');
  await page.close({ runBeforeUnload: true });
  await (await warning).dismiss();
  await shows(typed);
  await server.startAgain();
  // Back to what was loaded, but not to what the interrupted save has stored.
  await fill({ subpath: 'recordings', passwd: '', password_confirm: '', dtv_service: true });
  assert.ok(await page.locator('#save').isEnabled());
  await save({ subpath: 'new', dtv_service: false }, 'doubtful');
  // The steps before the last have had their effect.
  assert.deepEqual(await page.locator('[id$=-doubt]:not(:empty)').evaluateAll((found) => found.map(({ id }) => id)), ['dtv_service-doubt']);
});

test('sends nothing over what somebody else has saved, until told to', async () => {
  store({ 'folder.conf': [folder('tv', 'theirs')] });
  await save({ subpath: 'mine' }, 'stale');
  assert.deepEqual(readSettings('folder.conf').map(({ path }) => path), ['/tv/theirs']);
  await save({ pre_recording: '' }, 'invalid');
  await fill({ pre_recording: '98' });
  await scan('stale');
  await press('Save mine all the same');
  await reaches('saved');
  await shows({ subpath: 'mine' });
  store();
  await save({ pre_recording: '99' }, 'stale');
  await press('Show the stored settings');
  await reaches('');
  await shows({ subpath: 'recordings', pre_recording: '60' });

  // While a save of this page fails.
  await page.route('**/dtv_manage.cgi', (route) => {
    if (!route.request().postData().includes('action=save')) return route.continue();
    store({ 'folder.conf': [folder('tv', 'theirs')] });
    return route.fulfill({ status: 504 });
  });
  await save({ pre_recording: '61' }, 'failed');
  await page.getByRole('button', { name: 'Save mine all the same' }).waitFor();
});

test('shows no value and no control without an answer or without JavaScript', async () => {
  await page.route('**/dtv_manage.cgi', (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await sees('The appliance gave no proper answer.');
  assert.deepEqual([await page.getByRole('button').allTextContents(), await page.getByRole('checkbox').count()], [['Retry'], 0]);
  await scan('unloaded');
  await page.unrouteAll();
  await press('Retry');
  await page.locator('#retry:not(:visible) + #save:visible').waitFor();
  const plain = await browser.newPage({ httpCredentials: server.credentials, javaScriptEnabled: false });
  await plain.goto(server.url);
  assert.match(await plain.locator('body').innerText(), /^\s*Digital TV\s+These settings need JavaScript\.\s*$/);
});

test('speaks English and German', async () => {
  await scan('english');
  await open({ locale: 'de-AT' });
  await page.locator('html[lang=de]').waitFor();
  await scan('german');
  await save({ passwd: 'only once' }, 'invalid');
  await scan('german-invalid');
  assert.deepEqual(...await page.evaluate(async () => Object.values((await import('/texts.js')).languages).map(
    (texts) => Object.keys({ ...texts, ...texts.errors }))), 'each language has the same texts');
});
