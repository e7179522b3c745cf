import assert from 'node:assert/strict';
import { after, afterEach, beforeEach, test } from 'node:test';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { folder, hold, readSettings, startServer, store } from '../server.mjs';

const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];
const looks = {
  light: { width: 1000 }, dark: { width: 1000, media: { colorScheme: 'dark' } }, forced: { width: 320, media: { forcedColors: 'active' } },
  narrow: { width: 320, highestBar: 640 / 3 }, large: { width: 360, font: '32px' },
};

const server = await startServer();
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: flags });
let page;

after(() => Promise.all([browser.close(), server.stop()]));
beforeEach(async () => { store(); await open('en-GB'); });
// Mistakes of the page's own, such as a text that is missing.
afterEach(async () => assert.deepEqual(await page.pageErrors({ filter: 'all' }), []));

async function open(locale) {
  page = await (await browser.newContext({ httpCredentials: server.credentials, locale })).newPage();
  page.setDefaultTimeout(15_000);
  await page.goto(server.url);
  await says({ phase: '' });
}

async function reload(files = {}) {
  store(files);
  await page.reload();
  await says({ phase: '' });
}

// Compares what is expected with what the page shows at rest: the bar's phase and sentence, where the focus
// is, the fields marked as unsaved, what stands beside a field (by the name of its text), and the values.
async function says({ values, ...expected }) {
  if (expected.phase !== 'saving') await page.locator('#bar:not([data-phase=loading], [data-phase=saving])[data-phase]').waitFor({ state: 'attached' });
  const state = await page.evaluate(async () => {
    const names = new Map(Object.entries((await import('/texts.js')).languages.en).map(([name, sentence]) => [sentence, name]));
    const all = (part) => [...document.querySelectorAll(`[id$="-${part}"]:not(:empty)`)].filter((found) => found.checkVisibility());
    const said = (part) => Object.fromEntries(all(part).map(({ id, textContent }) => [id.split('-')[0], names.get(textContent) ?? textContent]));
    return {
      phase: document.getElementById('bar').dataset.phase, sentence: document.getElementById('messages').innerText.trim(),
      focus: document.activeElement.id, unsaved: Object.keys(said('mark')), remarks: said('remark'), notices: said('doubt'),
      values: Object.fromEntries([...document.querySelectorAll('input')].map(({ id, type, value, checked }) => [id, type === 'checkbox' ? checked : value])),
    };
  });
  assert.deepEqual(state, { ...state, ...expected, values: { ...state.values, ...values } });
}

const press = (name) => page.getByRole('button', { name }).press('Enter', { timeout: 5000 });

async function fill(values) {
  for (const [name, value] of Object.entries(values)) await page.locator(`#${name}`)[typeof value === 'boolean' ? 'setChecked' : 'fill'](value);
}

async function save(values = {}, expected = {}) {
  await fill(values);
  if (await page.locator('#save').isDisabled()) await says({ phase: 'one in which Save can be pressed' });
  await page.locator('#save').click();
  await says({ phase: 'saved', ...expected });
}

// Answers requests of one action in the program's place.
const answer = (action, how) => page.route('**/dtv_manage.cgi', (route) => (route.request().postData().includes(`=${action}`) ? how(route) : route.continue()));

// Pictures of a state in every look, each scanned for what keeps people from using it.
async function scan(state) {
  await page.evaluate(axe.source);
  for (const [look, { width, media, font = '', highestBar = Infinity }] of Object.entries(looks)) {
    await page.emulateMedia({ colorScheme: null, forcedColors: null, ...media });
    await page.setViewportSize({ width, height: 4600 });
    const height = await page.evaluate((size) => { document.documentElement.style.fontSize = size; return document.body.offsetHeight; }, font);
    await page.screenshot({ path: `${process.env.BUILD_DIR}/screenshots/settings-${state}-${look}.png`, clip: { x: 0, y: 0, width, height } });
    const found = await page.evaluate(async (highest) => ({
      violations: (await globalThis.axe.run()).violations.flatMap(({ id, nodes }) => nodes.map(({ target }) => `${id}: ${target}`)),
      small: [...document.querySelectorAll('button, .choice')].filter((part) => part.checkVisibility() && part.offsetHeight < 44).map(({ innerText }) => innerText),
      isBarHigh: document.getElementById('bar').offsetHeight > highest,
      width: document.documentElement.scrollWidth,
    }), highestBar);
    assert.deepEqual(found, { violations: [], small: [], isBarHigh: false, width }, `${state}, ${look}`);
  }
}

test('shows what is stored, keeps what was not touched, and stores every change', async () => {
  const folders = [folder('tv', '/shows//../kids\n/')];
  const stream = { enableauth: 'yes', account: 42, passwd: 'old', enable_viewer_limit: 'no', streaminglimit: -3 };
  const record = { closestreaming: 'no', pre_recording: -60, post_recording: 5430 };
  await reload({ 'folder.conf': folders, 'record.conf': record, 'stream.conf': stream, tunerConflict: true });
  for (const text of ['/tv//shows//../kids/', '1 h 30 min 30 s', 'Leave empty to keep', 'Stop that program']) await page.getByText(text).waitFor();
  await says({ values: {
    share: 'tv', subpath: '/shows//../kids/', closestreaming: false, pre_recording: '-60', post_recording: '5430', enableauth: true,
    account: '42', passwd: '', password_confirm: '', enable_viewer_limit: false, streaming_limit: '-3', dtv_service: true,
  } });
  await save({ post_recording: '0', account: 'in vain', passwd: 'in vain', enableauth: false });
  assert.deepEqual(['folder.conf', 'record.conf', 'stream.conf'].map(readSettings),
    [folders, { ...record, post_recording: 0 }, { ...stream, enableauth: 'no' }]);

  const values = {
    share: 'video', subpath: `Aufnahmen & mehr/${'ä'.repeat(80)}`, closestreaming: true, pre_recording: '7', post_recording: '2147483647',
    enableauth: true, account: '<b>&amp;+=', enable_viewer_limit: true, streaming_limit: '12', dtv_service: false,
  };
  await fill({ ...values, subpath: ` ${values.subpath} `, account: ` ${values.account} `, pre_recording: ' 007 ', passwd: ' new=secret ', password_confirm: ' new=secret ' });
  await page.getByText('Saving removes /tv//shows//../kids/ from the media index.').waitFor();
  await press('Show password');
  assert.equal(await page.locator('[type=password]').count(), 0);
  await page.evaluate(() => { document.getElementById('streaming_limit').focus(); window.scrollTo(0, 0); });
  await page.keyboard.press('Enter');
  await says({ phase: 'saved', focus: 'streaming_limit', unsaved: [], remarks: {}, values: { ...values, passwd: '' } });
  assert.deepEqual([await page.evaluate('scrollY'), await page.locator('[type=password]').count()], [0, 2]);
  assert.equal(readSettings('stream.conf').passwd + readSettings('dtv_setting.conf').match(/disable_dtv="?(\w+)/)[1], ' new=secret yes');
});

test('stops at a field that could not be saved', async () => {
  const refuses = async (values, remarks) => {
    const [focus, ...others] = Object.keys(remarks);
    await save(values, { phase: 'invalid', sentence: others.length > 0 ? `${others.length + 1} fields need correcting` : '1 field needs correcting', remarks, focus });
    await press('Discard');
    await says({ phase: 'discarded', focus: 'messages', remarks: {} });
  };
  await refuses({ share: ' ', pre_recording: '1.5', streaming_limit: '0' },
    { share: 'share_cleared', pre_recording: 'number_not_whole', streaming_limit: 'limit_below_one' });
  await refuses({ share: 'a/b', subpath: '/a', pre_recording: '-1' }, { share: 'share_slash', subpath: 'subpath_slash', pre_recording: 'time_negative' });
  await refuses({ share: '..', subpath: 'a/./b', account: ' ' }, { share: 'folder_dots', subpath: 'folder_dots', account: 'account_cleared' });
  await refuses({ share: 't\tv', subpath: 'a//b', post_recording: '2147483648' },
    { share: 'folder_control', subpath: 'subpath_gap', post_recording: 'number_too_large' });
  await refuses({ subpath: 'a\u009fb', passwd: '75318642' }, { subpath: 'folder_control', passwd: 'password_reserved', password_confirm: 'password_differs' });
  await refuses({ passwd: '24681357', password_confirm: '24681357' }, { passwd: 'password_reserved' });
  await reload({ 'stream.conf': { enableauth: 'no' } });
  await refuses({ subpath: 'a/', enableauth: true }, { subpath: 'subpath_slash', account: 'account_missing', passwd: 'password_missing' });

  // A field is checked when it is left. A click that leaves it still hits what it was aimed at.
  await fill({ subpath: '/' });
  await says({ phase: 'unsaved', remarks: {} });
  await page.locator('#post_recording').focus();
  await says({ phase: 'invalid', remarks: { subpath: 'subpath_slash' } });
  assert.equal(await page.locator('#destination').textContent(), '');
  await fill({ subpath: 'a', enableauth: true, pre_recording: 'x' });
  await page.locator('#reveal').click({ position: { x: 9, y: 1 } });
  await says({ phase: 'invalid', remarks: { pre_recording: 'number_not_whole' } });
  assert.equal(await page.locator('[type=password]').count(), 0);
});

test('says of a failed save what is not stored, and what may be half done', async () => {
  await save({ share: 'video', subpath: 'movies/tv', pre_recording: '61' }, { phase: 'invalid', focus: 'share', remarks: { share: 'error_duplicate_path' } });
  store({ 'folder.conf': [folder('tv', 'recordings')] });
  await save();
  const notices = { share: 'The appliance has stored the folder /unknown/tv but may not have set it up. Check that the shared folder exists; then save another folder, and this one again.' };
  const error = 'The appliance reported an error.';
  await save({ subpath: 'tv', share: 'unknown' },
    { phase: 'failed', sentence: `${error} Saved, but the setting with a notice may have no effect.`, notices, focus: 'share', remarks: {} });
  await scan('failed');
  await save({}, { phase: 'doubtful' });
  await page.reload();
  await says({ phase: '', notices });
  await save({ share: 'tv' }, { notices: {} });

  // Fails where the program has stored the given files.
  const fails = async (values, files, expected) => {
    await answer('save', (route) => { store(files); return route.fulfill({ json: { success: false } }); });
    await save(values, { phase: 'failed', notices: {}, ...expected });
    await page.unrouteAll();
  };
  await page.evaluate(() => history.replaceState({ idx: 0 }, '')); // another program's
  await reload();
  await fails({ subpath: 'new', pre_recording: '61', streaming_limit: '5' }, { 'folder.conf': [folder('tv', 'new')] },
    { sentence: `${error} The settings marked “unsaved” are not stored.`, unsaved: ['pre_recording', 'streaming_limit'], focus: 'pre_recording', remarks: { share: 'share_mention' } });
  await save({}, { remarks: {}, notices: {} });
  await reload();
  await fails({ pre_recording: '61' }, {}, { sentence: `${error} Nothing was saved.`, unsaved: ['pre_recording'] });
  await fails({ passwd: 'new', password_confirm: 'new', pre_recording: '60' }, {},
    { sentence: `${error} It is not known whether the new password was saved.`, unsaved: ['passwd', 'password_confirm'] });
  await fails({ passwd: '', password_confirm: '', post_recording: '7' }, { 'record.conf': { pre_recording: 60, post_recording: 7 } },
    { sentence: `${error} Your changes are stored. Perhaps the switch of the DTV service cannot be read or stored.`, unsaved: [] });
  // The same can be tried again. From that save on nothing can be asked.
  await answer('save', async (route) => { await answer('', (next) => next.fulfill({ status: 401 })); return route.fulfill({ status: 401 }); });
  await save({}, { phase: 'failed', sentence: 'The appliance did not accept your sign-in. Nothing was saved.' });
});

test('keeps what was typed when the server stops during a save, and finds out what was saved', async (t) => {
  const service = hold('var/packages/Cinquill/scripts/teskdtv.sh');
  t.after(async () => { service.release(); await server.startAgain(); });
  const sent = [];
  page.on('request', (request) => request.postData()?.includes('action=save') && sent.push(request));
  const values = { subpath: 'new', passwd: 'fresh', password_confirm: 'fresh', dtv_service: false };
  await fill(values);
  await scan('unsaved');
  await page.locator('#save').dblclick();
  for (let waits = 0; !service.isHeld() && waits < 400; waits += 1) await page.waitForTimeout(50);
  assert.deepEqual([sent.length, await page.locator('input:enabled').count()], [1, 0]);
  await says({ phase: 'saving', focus: 'bar' }); // where the second click was
  await scan('saving');
  await server.stop();
  await says({ phase: 'failed', sentence: 'The appliance can’t be reached. It is not known what was saved. Try to save again.' });
  const warning = page.waitForEvent('dialog');
  await page.close({ runBeforeUnload: true });
  await (await warning).dismiss();
  await says({ values });
  service.release();
  await server.startAgain();
  // Back to what was loaded, but not to what the interrupted save has stored. The steps before the last have had their effect.
  await save({ subpath: 'recordings', passwd: '', password_confirm: '' }, { phase: 'doubtful', notices: { dtv_service: 'dtv_service_doubt' }, values: { subpath: 'recordings' } });
});

test('merges what was changed elsewhere', async () => {
  const others = { 'folder.conf': [folder('tv', 'theirs')], 'stream.conf': { enableauth: 'no', account: 'viewer', enable_viewer_limit: 'yes', streaminglimit: 9 } };
  const news = { subpath: 'changed', enableauth: 'changed', streaming_limit: 'changed' };
  store(others);
  await save({ pre_recording: '98' }, { sentence: 'Settings saved. What was changed elsewhere is marked.', remarks: news, unsaved: [],
    values: { subpath: 'theirs', enableauth: false, streaming_limit: '9', pre_recording: '98' } });

  // Stops where both have changed something. A folder's fields belong together, and those of a sign-in.
  store();
  const remarks = { ...news, subpath: 'Changed elsewhere. Stored now: recordings', pre_recording: 'changed' };
  await save({ subpath: 'mine', post_recording: '7' }, { phase: 'contested', remarks, unsaved: ['subpath', 'post_recording'], focus: 'subpath' });
  assert.equal(readSettings('record.conf').post_recording, 300);
  await scan('contested');
  await save({}, { sentence: 'Settings saved.', remarks: {}, values: { subpath: 'mine', post_recording: '7' } });
  store(others);
  await save({ account: 'me', share: 'music' }, { phase: 'contested', values: { subpath: 'mine', enableauth: true } });
  await press('Discard');
  await says({ remarks: {} });
  // The same change is in nobody's way; one that makes void what was typed is.
  store();
  await save({ subpath: 'recordings' });
  store(others);
  await save({ passwd: 'p', password_confirm: 'p' }, { phase: 'contested' });

  // While a save fails, and between the question and the save.
  await reload();
  await answer('save', (route) => { store(others); return route.fulfill({ status: 504 }); });
  await save({ pre_recording: '61' }, { phase: 'failed', remarks: news, unsaved: ['pre_recording'] });
  await answer('save', (route) => { store({ 'record.conf': { pre_recording: 61, post_recording: 1 } }); return route.fulfill({ json: { success: true } }); });
  await save({}, { remarks: { ...news, post_recording: 'changed' } });

  // A tab that comes to the front takes over everything, unless it has changes to lose.
  await page.unrouteAll();
  const comesToFront = (asks) => Promise.all([asks, page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')))]);
  store(others);
  await comesToFront(page.waitForResponse('**/dtv_manage.cgi'));
  await page.waitForFunction(() => document.getElementById('subpath').value === 'theirs');
  await fill({ pre_recording: '5' });
  const asked = [];
  page.on('request', (request) => asked.push(request.postData()));
  await comesToFront(page.waitForTimeout(300));
  assert.deepEqual(asked, [], 'a tab with changes asks for nothing');
});

test('shows no value and no control without an answer or without JavaScript', async () => {
  await answer('load', (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await says({ sentence: 'The appliance gave no proper answer. The stored settings could not be loaded.' });
  assert.deepEqual([await page.getByRole('button').allTextContents(), await page.getByRole('checkbox').count()], [['Retry'], 0]);
  await scan('unloaded');
  await page.unrouteAll();
  await press('Retry');
  await says({ phase: 'loaded', focus: 'messages', sentence: 'Settings loaded.' });
  const plain = await browser.newPage({ httpCredentials: server.credentials, javaScriptEnabled: false });
  await plain.goto(server.url);
  assert.match(await plain.locator('body').innerText(), /^\s*Digital TV\s+These settings need JavaScript\.\s*$/);
});

test('gives up a request without an answer', async () => {
  await page.clock.install();
  // The page's clock does not drive the browser's own timeout.
  await page.addInitScript(() => {
    const give = (control, time) => { setTimeout(() => control.abort(new DOMException('', 'TimeoutError')), time); return control.signal; };
    AbortSignal.timeout = (time) => give(new AbortController(), time);
  });
  await reload();
  await answer('save', () => undefined);
  await fill({ pre_recording: '61' });
  await Promise.all([page.waitForRequest((request) => request.postData()?.includes('=save')), press('Save')]);
  await page.clock.runFor(5_000);
  await says({ phase: 'saving', sentence: 'Saving… This can take a minute.', focus: 'messages' });
  await page.clock.runFor(90_000);
  await says({ phase: 'saving' });
  await page.clock.runFor(5_000);
  await says({ sentence: 'The appliance has not answered. It is not known what was saved. Try to save again.', focus: 'save' });
});

test('speaks each of its languages', async () => {
  const languages = await page.evaluate(async () => (await import('/texts.js')).languages);
  const names = (texts) => Object.keys({ ...texts, ...texts.errors });
  for (const [language, texts] of Object.entries(languages)) {
    assert.deepEqual(names(texts), names(languages.en), `the texts of ${language} against those of en`);
    await open(`${language}-AT`);
    assert.equal(await page.locator('html').getAttribute('lang'), language);
    await save({ share: 'a/b', passwd: 'only once' }, { phase: 'invalid' });
    await scan(`invalid-${language}`);
  }
});
