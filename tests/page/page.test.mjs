// What only a browser shows: the real server's answers, the focus, what is said, pictures, accessibility.

import assert from 'node:assert/strict';
import { after, afterEach, beforeEach, test } from 'node:test';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { readSettings, startServer } from '../../server/start.mjs';
import { folder, store } from '../settings.mjs';

const args =
  '--no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking --disable-component-update --disable-sync';
const looks = {
  light: { width: 1000 },
  dark: { width: 1000, colorScheme: 'dark' },
  forced: { width: 320, forcedColors: 'active' },
  large: { width: 360, font: '32px' },
};

const server = await startServer();
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args: args.split(' ') });
after(() => Promise.all([browser.close(), server.stop()]));
let page, languages;

beforeEach(async () => {
  store();
  await open('en-GB');
});
// Mistakes of the page's own, such as a text that is missing.
afterEach(async () => assert.deepEqual(await page.pageErrors({ filter: 'all' }), []));

async function open(locale) {
  page = await (await browser.newContext({ httpCredentials: server.credentials, locale })).newPage();
  page.setDefaultTimeout(15_000);
  await page.addInitScript(() => {
    const { setTimeout } = globalThis;
    globalThis.setTimeout = (work, time) => setTimeout(work, time / 10); // the page's waits are shorter here
  });
  await page.goto(server.url);
  await says({ phase: '' });
  languages = await page.evaluate(async () => (await import('/texts.js')).languages);
}

// A text of the page, with a value in its gap; several texts.
const text = (name, value) =>
  (languages.en[name] ?? languages.en.errors[name]).replace('{}', `\u2068${value}\u2069`);
const texts = (...names) => names.map((name) => text(name)).join(' ');

// Compares what is expected with what the page shows at rest: the bar's phase and sentences, the focus, the
// fields marked as unsaved, remarks and notices by field, hidden files, and values.
async function says(expected) {
  const rest = page.locator('#bar:not([data-phase=loading], [data-phase=saving])[data-phase]');
  if (expected.phase !== 'saving') await rest.waitFor({ state: 'attached' });
  const state = await page.evaluate(() => {
    const isVisible = (part) => part.checkVisibility();
    const all = (selector) => [...document.querySelectorAll(selector)].filter(isVisible);
    const said = (part) => all(`.${part}[id]`).map(({ id, textContent }) => [id.split('-')[0], textContent]);
    const valueOf = ({ role, checked, value }) => (role ? checked : value);
    return {
      phase: document.getElementById('bar').dataset.phase,
      bar: document.getElementById('messages').innerText.trim(),
      focus: document.activeElement.id,
      unsaved: said('mark').map(([id]) => id),
      remarks: Object.fromEntries(said('remark')),
      notices: Object.fromEntries(said('notice')),
      hidden: all('[data-hidden]').map(({ dataset }) => dataset.file),
      values: Object.fromEntries(all('input').map((input) => [input.id, valueOf(input)])),
    };
  });
  assert.deepEqual(state, { ...state, ...expected, values: { ...state.values, ...expected.values } });
}

const press = (name) => page.getByRole('button', { name }).press('Enter', { timeout: 5000 });

async function fill(values) {
  for (const [name, value] of Object.entries(values))
    await page.locator(`#${name}`)[typeof value === 'boolean' ? 'setChecked' : 'fill'](value);
}

async function save(values = {}) {
  await fill(values);
  await page.locator('#save').click();
}

async function reload(files) {
  store(files);
  await page.reload();
  await says({ phase: '' });
}

const setClock = (time) => page.evaluate((now) => (performance.now = () => now), time);

const program = '**/dtv_manage.cgi';
const isSave = (route) => route.request().postData().includes('=save');

// From the next save on, which is `handled`, requests fail.
async function goOffline(handle) {
  let isSaved = false;
  await page.route(program, (route) => {
    if (isSaved) return route.abort();
    isSaved = isSave(route);
    return isSaved ? handle(route) : route.continue();
  });
}

// Pictures of a state in every look, each scanned for what keeps people from using it.
async function scan(state) {
  await page.evaluate(axe.source);
  for (const [look, { width, font = '', ...media }] of Object.entries(looks)) {
    await page.emulateMedia({ colorScheme: null, forcedColors: null, ...media });
    await page.setViewportSize({ width, height: 4600 });
    await page.evaluate((size) => (document.documentElement.style.fontSize = size), font);
    const path = `${process.env.BUILD_DIR}/screenshots/settings-${state}-${look}.png`;
    await page.locator('body').screenshot({ path });
    const found = await page.evaluate(async () => {
      const { violations } = await globalThis.axe.run();
      const isVisible = (part) => part.checkVisibility();
      const all = (selector) => [...document.querySelectorAll(selector)].filter(isVisible);
      return {
        violations: violations.flatMap(({ id, nodes }) => nodes.map(({ target }) => `${id}: ${target}`)),
        small: all('button, .choice').filter((part) => part.offsetHeight < 44).length,
        cut: all('[inputmode]').filter((field) => field.scrollWidth > field.clientWidth).length,
        width: document.documentElement.scrollWidth,
      };
    });
    const expected = { violations: [], small: 0, cut: 0, width };
    assert.deepEqual(found, expected, `${state}, ${look}`);
  }
}

test('shows what is stored, and stores every change', async () => {
  await reload({ tunerConflict: true });
  const values = { share: 'video', subpath: `Aufnahmen & mehr/${'ä'.repeat(80)}`, closestreaming: true };
  Object.assign(values, { pre_recording: '5430', post_recording: '2147483647', account: '<b>&amp;+=' });
  Object.assign(values, { enable_viewer_limit: false, dtv_service: false });
  await fill({ ...values, passwd: ' new=secret ', password_confirm: ' new=secret ' });
  for (const said of ['TV tuner', 'Leave empty to keep', '1 h 30 min 30 s', 'Saving stops', 'recordings in'])
    await page.getByText(said).first().waitFor();
  await press('Show password');
  await page.locator('#enable_viewer_limit').focus();
  await page.evaluate('window.scrollTo(0, 0)');
  for (const key of ['Tab', 'Enter']) await page.keyboard.press(key);
  await says({ bar: texts('saved'), focus: 'messages', unsaved: [], values: { ...values, passwd: '' } });
  assert.equal(await page.evaluate('scrollY'), 0);
  assert.equal(await page.locator('[type=password]').count(), 2, 'the password is hidden again');
  await page.reload();
  await says({ phase: '', values });
  assert.equal(readSettings('stream.conf').passwd, ' new=secret ');
});

test('stops at a field that could not be saved', async () => {
  // A field is checked when it is left. A click that leaves it still hits what it was aimed at.
  await fill({ subpath: '/' });
  await says({ phase: 'unsaved', remarks: {} });
  await page.getByRole('group', { name: 'Recording', exact: true }).getByLabel('End late').focus();
  await says({ phase: 'invalid', remarks: { subpath: text('subpath_slash') } });
  assert.equal(await page.locator('#destination').textContent(), '');
  await fill({ subpath: 'a', pre_recording: 'x' });
  await page.locator('#reveal').click({ position: { x: 9, y: 1 } });
  await says({ phase: 'invalid', remarks: { pre_recording: text('number_not_whole') } });
  assert.equal(await page.locator('[type=password]').count(), 0);
  await save();
  await says({ bar: text('invalid', '1'), focus: 'pre_recording' });
  await press('Discard');
  await says({ bar: texts('discarded'), focus: 'messages', remarks: {} });
});

test('says after a save what a load shows', async () => {
  await save({ share: 'video', subpath: 'movies/tv' });
  await says({ focus: 'share', remarks: { share: text('error_duplicate_path', '/video/movies/tv') } });
  await fill({ subpath: 'tv', share: 'unknown', pre_recording: '61', passwd: 'p', password_confirm: 'p' });
  await says({ phase: 'unsaved', remarks: {} });
  await save();
  const notices = { share: text('share_doubt', '/unknown/tv') };
  await says({ bar: texts('unknown', 'not_known', 'not_stored', 'doubtful'), notices, focus: 'share' });
  await says({ unsaved: ['pre_recording'], values: { passwd: 'p' } });
  await scan('failed');
  await save();
  await says({ phase: 'noticed', bar: texts('saved', 'doubtful'), notices, unsaved: [] });
  await page.reload();
  await says({ phase: '', notices });
  await save({ share: 'tv' });
  await says({ phase: 'saved', notices: {} });
  // Another session, which has loaded before, saves right after this one.
  await page.route(program, (route) => {
    if (!isSave(route)) return route.continue();
    store({ 'folder.conf': readSettings('folder.conf'), 'record.conf': { pre_recording: 61 } });
    return route.fulfill({ json: { success: true } });
  });
  await save({ pre_recording: '7' });
  await says({ bar: texts('lost', 'not_stored', 'news'), unsaved: ['pre_recording'] });
  await says({ remarks: { post_recording: text('changed') } });
  await page.unrouteAll();
  await goOffline((route) => route.continue());
  await save();
  await says({ bar: texts('unchecked'), unsaved: [], remarks: {}, values: { pre_recording: '7' } });
  // A page that is left before it knows the outcome.
  await page.unrouteAll();
  await goOffline((route) => route.continue());
  await save({ share: 'unknown' });
  await says({ bar: texts('unknown', 'not_known') });
  await page.unrouteAll();
  page.once('dialog', (warning) => warning.accept());
  await page.reload();
  await says({ phase: '', notices });
});

test('asks before it replaces what it cannot see', async () => {
  const hidden = ['record.conf', 'stream.conf'];
  store({ 'record.conf': '' });
  await setClock(0);
  await save({ subpath: 'new' });
  await says({ bar: texts('check_hidden'), focus: 'closestreaming', hidden, unsaved: ['subpath'] });
  await scan('hidden');
  for (const key of ['Enter', 'Enter']) await page.locator('#subpath').press(key);
  await page.locator('#save').dblclick();
  await says({ bar: texts('check_hidden') });
  assert.equal(readSettings('record.conf'), '', 'a question cannot be answered at once');
  await setClock(1000);
  await save();
  await says({ phase: 'saved', hidden: [], unsaved: [], values: { pre_recording: '60', account: 'viewer' } });
  // Without stream.conf there is no password.
  store({ 'folder.conf': readSettings('folder.conf'), 'stream.conf': '' });
  await save({ post_recording: '7' });
  await says({ bar: texts('check_hidden') });
  await setClock(2000);
  await save();
  await says({ phase: 'invalid', focus: 'passwd' });
  await save({ passwd: 'p', password_confirm: 'p' });
  await says({ phase: 'saved', hidden: [], values: { pre_recording: '60' } });
  await reload({ 'folder.conf': [] });
  await save({ share: 'tv' });
  await says({ bar: texts('first_folder'), focus: 'share' });
});

test('keeps what was typed when an answer is lost, and finds out what was saved', async () => {
  const values = { subpath: 'new', passwd: 'fresh', password_confirm: 'fresh', dtv_service: false };
  await fill(values);
  await scan('unsaved');
  let lose;
  const lost = new Promise((resolve) => (lose = resolve));
  await goOffline(async (route) => {
    await route.fetch();
    await lost;
    await route.abort();
  });
  await page.locator('#save').dblclick();
  await says({ phase: 'saving', focus: 'bar' }); // where the second click was
  assert.equal(await page.locator('input:enabled').count(), 0);
  lose();
  await says({ bar: texts('unreachable', 'not_known'), unsaved: [] });
  assert.doesNotMatch(await page.evaluate('JSON.stringify(history.state)'), /fresh/);
  const warned = page.waitForEvent('dialog').then((warning) => warning.dismiss());
  await Promise.all([warned, page.close({ runBeforeUnload: true })]);
  await says({ values });
  await page.unrouteAll();
  // Back to what was loaded, but not to what the save has stored. A tool that it started may still run.
  await setClock(0);
  await save({ subpath: 'recordings' });
  await says({ bar: texts('may_run'), focus: 'share' });
  await setClock(1000);
  await save();
  const notices = { share: text('share_doubt', '/tv/recordings'), dtv_service: text('dtv_service_doubt') };
  await says({ phase: 'noticed', notices });
  assert.equal(readSettings('folder.conf').at(-1).subpath, 'recordings');
});

test('merges what another session has stored', async () => {
  const theirs = [folder('tv', 'theirs')];
  store({ 'folder.conf': theirs, 'stream.conf': { enableauth: 'no' } });
  await setClock(0);
  await save({ subpath: 'mine', post_recording: '7' });
  await says({ bar: texts('contested'), focus: 'subpath', unsaved: ['subpath', 'post_recording'] });
  await scan('asking');
  await setClock(1000);
  await save();
  await says({ bar: texts('saved'), remarks: {}, values: { subpath: 'mine', enableauth: false } });
  // A tab that comes to the front takes over everything.
  await fill({ enableauth: true, account: 'typed' });
  await fill({ enableauth: false });
  store({ 'folder.conf': theirs, 'stream.conf': readSettings('stream.conf') });
  await page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')));
  await page.locator('[data-phase=news]').waitFor();
  await says({ remarks: { subpath: text('changed'), post_recording: text('changed') } });
  await says({ values: { subpath: 'theirs', account: 'typed' } }); // the account does not apply
});

test('shows no value and no control without an answer or without JavaScript', async () => {
  await page.route(program, (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await says({ bar: texts('unexpected', 'not_loaded') });
  await page.unrouteAll();
  assert.deepEqual(await page.locator('button:visible, input:visible').allTextContents(), ['Retry']);
  await press('Retry');
  await says({ bar: texts('loaded'), focus: 'messages' });
  const plain = await browser.newPage({ httpCredentials: server.credentials, javaScriptEnabled: false });
  await plain.goto(server.url);
  const shown = await plain.locator('body').innerText();
  assert.match(shown, /^\s*Digital TV\s+These settings need JavaScript and a current browser\.\s*$/);
});

test('speaks each of its languages', async () => {
  const names = (language) => [language, language.errors].map(Object.keys);
  for (const [name, language] of Object.entries(languages)) {
    assert.deepEqual(names(language), names(languages.en), `the texts of ${name} against those of en`);
    await open(`${name}-AT`);
    assert.equal(await page.locator('html').getAttribute('lang'), name);
    await save({ share: 'a/b', passwd: 'only once' });
    await says({ phase: 'invalid' });
    await scan(`invalid-${name}`);
  }
});
