import assert from 'node:assert/strict';
import { after, afterEach, beforeEach, test } from 'node:test';
import axe from 'axe-core';
import { chromium } from 'playwright-core';
import { folder, hold, readSettings, startServer, store } from '../server.mjs';

const args =
  '--no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking --disable-component-update --disable-sync'.split(
    ' ',
  );
const looks = {
  light: { width: 1000 },
  dark: { width: 1000, media: { colorScheme: 'dark' } },
  forced: { width: 320, media: { forcedColors: 'active' } },
  narrow: { width: 320, highestBar: 640 / 3 },
  large: { width: 360, font: '32px' },
};

const server = await startServer();
const browser = await chromium.launch({ executablePath: '/usr/bin/chromium', args });
let page, requests;

after(() => Promise.all([browser.close(), server.stop()]));
beforeEach(async () => {
  store();
  await open('en-GB');
});
// Mistakes of the page's own, such as a text that is missing.
afterEach(async () => assert.deepEqual(await page.pageErrors({ filter: 'all' }), []));

async function open(locale) {
  page = await (await browser.newContext({ httpCredentials: server.credentials, locale })).newPage();
  page.setDefaultTimeout(15_000);
  requests = [];
  page.on('request', (request) => requests.push(request));
  await page.goto(server.url);
  await says({ phase: '' });
}

const reload = (files = {}) => {
  store(files);
  return page.reload().then(() => says({ phase: '' }));
};

// Compares what is expected with what the page shows at rest: the bar's phase, where the focus is, the fields
// marked as unsaved, the values, and what the bar and the places beside fields say, by the names of the texts.
async function says({ values, ...expected }) {
  if (expected.phase !== 'saving')
    await page
      .locator('#bar:not([data-phase=loading], [data-phase=saving])[data-phase]')
      .waitFor({ state: 'attached' });
  const state = await page.evaluate(async () => {
    const { en } = (await import('/texts.js')).languages;
    const texts = [...Object.entries(en), ...Object.entries(en.errors)]
      .filter(([, { length }]) => length > 12)
      .sort(([, a], [, b]) => b.length - a.length);
    const pattern = (sentence) =>
      new RegExp(sentence.replace(/[.?()]/g, '\\$&').replace('{}', '\u2068(.*)\u2069'));
    const name = (said) =>
      texts.reduce(
        (left, [key, sentence]) =>
          left.replace(pattern(sentence), (_, gap) => (gap?.at ? `${key} ${gap}` : key)),
        said.trim(),
      );
    const all = (part) =>
      [...document.querySelectorAll(`[id$="-${part}"]:not(:empty)`)].filter((found) =>
        found.checkVisibility(),
      );
    const said = (part) =>
      Object.fromEntries(all(part).map(({ id, textContent }) => [id.split('-')[0], name(textContent)]));
    return {
      phase: document.getElementById('bar').dataset.phase,
      bar: name(document.getElementById('messages').innerText),
      focus: document.activeElement.id,
      unsaved: Object.keys(said('mark')),
      remarks: said('remark'),
      notices: said('notice'),
      values: Object.fromEntries(
        [...document.querySelectorAll('input')].map(({ id, type, value, checked }) => [
          id,
          type === 'checkbox' ? checked : value,
        ]),
      ),
    };
  });
  assert.deepEqual(state, { ...state, ...expected, values: { ...state.values, ...values } });
}

const press = (name) => page.getByRole('button', { name }).press('Enter', { timeout: 5000 });

const set = (name, value) =>
  page.locator(`#${name}`)[typeof value === 'boolean' ? 'setChecked' : 'fill'](value);
const fill = async (values) => {
  for (const entry of Object.entries(values)) await set(...entry);
};

async function save(values = {}, expected = {}) {
  await fill(values);
  await page.locator('#save').click();
  await says({ phase: 'saved', ...expected });
}

// Answers the next request of an action in the program's place.
const answer = (action, how) =>
  page.route('**/dtv_manage.cgi', (route) =>
    route.request().postData().includes(`=${action}`)
      ? how(route).then(() => page.unrouteAll())
      : route.continue(),
  );

// Pictures of a state in every look, each scanned for what keeps people from using it.
async function scan(state) {
  await page.evaluate(axe.source);
  for (const [look, { width, media, font = '', highestBar = Infinity }] of Object.entries(looks)) {
    await page.emulateMedia({ colorScheme: null, forcedColors: null, ...media });
    await page.setViewportSize({ width, height: 4600 });
    const height = await page.evaluate((size) => {
      document.documentElement.style.fontSize = size;
      return document.body.offsetHeight;
    }, font);
    await page.screenshot({
      path: `${process.env.BUILD_DIR}/screenshots/settings-${state}-${look}.png`,
      clip: { x: 0, y: 0, width, height },
    });
    const found = await page.evaluate(
      async ([highest, size]) => ({
        violations: (await globalThis.axe.run()).violations.flatMap(({ id, nodes }) =>
          nodes.map(({ target }) => `${id}: ${target}`),
        ),
        small: [...document.querySelectorAll('button, .choice')]
          .filter((part) => part.checkVisibility() && part.offsetHeight < 44)
          .map(({ innerText }) => innerText),
        cut: [...document.querySelectorAll('[inputmode]')]
          .filter((field) => field.scrollWidth > field.clientWidth)
          .map(({ id }) => id),
        isUneven:
          size > 400 &&
          document.getElementById('pre_recording-hint').offsetTop !==
            document.getElementById('post_recording-hint').offsetTop,
        isBarHigh: document.getElementById('bar').offsetHeight > highest,
        width: document.documentElement.scrollWidth,
      }),
      [highestBar, width],
    );
    assert.deepEqual(
      found,
      { violations: [], small: [], cut: [], isUneven: false, isBarHigh: false, width },
      `${state}, ${look}`,
    );
  }
}

test('shows what is stored, keeps what was not touched, and stores every change', async () => {
  const stream = {
    enableauth: 'yes',
    account: 42,
    passwd: 'old',
    enable_viewer_limit: 'no',
    streaminglimit: -3,
  };
  const record = { closestreaming: 'no', pre_recording: -60, post_recording: 5430 };
  const files = {
    'folder.conf': [folder('tv', '/shows//../kids\n/')],
    'record.conf': record,
    'stream.conf': stream,
  };
  await reload({ ...files, tunerConflict: true });
  for (const text of ['/tv//shows//../kids/', '1 h 30 min 30 s', 'Leave empty to keep', 'Stop that program'])
    await page.getByText(text).waitFor();
  await says({
    values: {
      share: 'tv',
      subpath: '/shows//../kids/',
      closestreaming: false,
      pre_recording: '-60',
      post_recording: '5430',
      enableauth: true,
      account: '42',
      passwd: '',
      password_confirm: '',
      enable_viewer_limit: false,
      streaming_limit: '-3',
      dtv_service: true,
    },
  });
  await save({ post_recording: '0', account: 'in vain', passwd: 'in vain', enableauth: false });
  assert.deepEqual(Object.keys(files).map(readSettings), [
    files['folder.conf'],
    { ...record, post_recording: 0 },
    { ...stream, enableauth: 'no' },
  ]);

  const values = {
    share: 'video',
    subpath: `Aufnahmen & mehr/${'ä'.repeat(80)}`,
    closestreaming: true,
    pre_recording: '7',
    post_recording: '2147483647',
    enableauth: true,
    account: '<b>&amp;+=',
    enable_viewer_limit: true,
    streaming_limit: '12',
    dtv_service: false,
  };
  await fill({
    ...values,
    subpath: ` ${values.subpath} `,
    account: ` ${values.account} `,
    pre_recording: ' 007 ',
    passwd: ' new=secret ',
    password_confirm: ' new=secret ',
  });
  await page.getByText('Saving removes \u2068/tv//shows//../kids/\u2069 from the media index.').waitFor();
  await press('Show password');
  await page.evaluate(() => {
    document.getElementById('streaming_limit').focus();
    window.scrollTo(0, 0);
  });
  for (const key of ['Tab', 'Enter']) await page.keyboard.press(key);
  await says({
    phase: 'saved',
    focus: 'messages',
    unsaved: [],
    remarks: {},
    values: { ...values, passwd: '' },
  });
  assert.deepEqual(
    [
      await page.evaluate('scrollY'),
      await page.locator('[type=password]').count(),
      await page.getByRole('switch').count(),
    ],
    [0, 2, 4],
  );
  assert.equal(
    readSettings('stream.conf').passwd + readSettings('dtv_setting.conf').match(/disable_dtv="?(\w+)/)[1],
    ' new=secret yes',
  );
});

test('stops at a field that could not be saved', async () => {
  const refuses = async (values, remarks) => {
    const [focus, ...others] = Object.keys(remarks);
    await save(values, { phase: 'invalid', bar: `invalid ${others.length + 1}`, remarks, focus });
    await press('Discard');
    await says({ phase: 'discarded', focus: 'messages', remarks: {} });
  };
  await refuses(
    {
      share: ' ',
      pre_recording: '1.5',
      post_recording: '2147483648',
      passwd: '24681357',
      password_confirm: '24681357',
      streaming_limit: '0',
    },
    {
      share: 'share_cleared',
      pre_recording: 'number_not_whole',
      post_recording: 'number_too_large',
      passwd: 'password_reserved',
      streaming_limit: 'limit_below_one',
    },
  );
  await refuses(
    { share: 'a/b', subpath: '/a', pre_recording: '-1', account: ' ' },
    {
      share: 'share_slash',
      subpath: 'subpath_slash',
      pre_recording: 'time_negative',
      account: 'account_missing',
    },
  );
  await refuses(
    { share: '..', subpath: 'a/./b', account: '\u200b' },
    { share: 'folder_dots', subpath: 'folder_dots', account: 'invisible' },
  );
  await refuses({ share: 't\tv', subpath: 'a//b' }, { share: 'invisible', subpath: 'subpath_slash' });
  await refuses(
    { subpath: 'a\u202eb', passwd: '75318642' },
    { subpath: 'invisible', passwd: 'password_reserved', password_confirm: 'password_differs' },
  );
  await reload({ 'stream.conf': { enableauth: 'no' } });
  await refuses(
    { subpath: 'a/', enableauth: true },
    { subpath: 'subpath_slash', account: 'account_missing', passwd: 'password_missing' },
  );

  // A field is checked when it is left. A click that leaves it still hits what it was aimed at.
  await fill({ subpath: '/' });
  await says({ phase: 'unsaved', remarks: {} });
  await page
    .getByRole('group', { name: 'Digital TV', exact: true })
    .getByRole('textbox', { name: 'End late', exact: true })
    .focus();
  await says({ phase: 'invalid', remarks: { subpath: 'subpath_slash' } });
  assert.equal(await page.locator('#destination').textContent(), '');
  await fill({ subpath: 'a', enableauth: true, pre_recording: 'x' });
  await page.locator('#reveal').click({ position: { x: 9, y: 1 } });
  await says({ phase: 'invalid', remarks: { pre_recording: 'number_not_whole' } });
  assert.equal(await page.locator('[type=password]').count(), 0);
  // A clicked field comes out from below the bar.
  await page.setViewportSize({ width: 640, height: 450 });
  const { x, y } =
    await page.evaluate(`window.scrollBy(0, share.getBoundingClientRect().bottom - bar.getBoundingClientRect().y - 30);
    ({ x: share.getBoundingClientRect().x + 9, y: bar.getBoundingClientRect().y - 9 })`);
  await page.mouse.click(x, y);
  await page.waitForFunction(
    ([field, bar]) =>
      document.activeElement === field &&
      field.getBoundingClientRect().bottom < bar.getBoundingClientRect().y,
    await Promise.all(['#share', '#bar'].map((part) => page.$(part))),
  );
});

test('says after a save only what a load shows', async () => {
  await save(
    { share: 'video', subpath: 'movies/tv', pre_recording: '61' },
    { phase: 'invalid', focus: 'share', remarks: { share: 'error_duplicate_path /video/movies/tv' } },
  );
  const notices = { share: 'share_ineffective /unknown/tv' };
  await fill({ subpath: 'tv', share: 'unknown' });
  await says({ phase: 'unsaved', remarks: {} });
  await save(
    {},
    {
      phase: 'failed',
      bar: 'unknown not_stored ineffective',
      notices,
      focus: 'share',
      unsaved: ['pre_recording'],
    },
  );
  await scan('failed');
  await save({}, { phase: 'noticed', bar: 'saved ineffective', notices, unsaved: [] });
  await page.reload();
  await says({ phase: '', notices });
  await save({ share: 'tv' }, { notices: {} });

  // Answers, with success or not, where the program has stored the given record.conf.
  const answers = async (success, record, values, expected) => {
    await answer('save', (route) => {
      store({ 'record.conf': record });
      return route.fulfill({ json: { success } });
    });
    await save(values, { notices: {}, ...expected });
  };
  const passwords = { passwd: 'new', password_confirm: 'new' };
  await reload();
  await answers(
    false,
    { post_recording: 7 },
    { ...passwords, pre_recording: '0' },
    { phase: 'failed', bar: 'unknown password_unknown news', unsaved: Object.keys(passwords) },
  );
  await answers(
    false,
    { post_recording: 8 },
    { passwd: '', password_confirm: '', post_recording: '8' },
    { phase: 'failed', bar: 'unknown all_stored', unsaved: [] },
  );
  // Another session, which has loaded before, saves right after this one.
  await answers(
    true,
    { post_recording: 1 },
    { ...passwords, pre_recording: '2147483647' },
    {
      phase: 'lost',
      bar: 'lost not_stored password_unknown news',
      unsaved: ['pre_recording', 'passwd', 'password_confirm'],
      remarks: { post_recording: 'changed' },
    },
  );
  await scan('lost');
  await save({}, { unsaved: [], remarks: {}, values: { pre_recording: '2147483647' } });
  assert.ok(
    requests.at(-1).timing().startTime - requests.at(-2).timing().startTime >= 300,
    'leaves the other session time',
  );
  assert.equal(readSettings('stream.conf').passwd, 'new');
  // The file turns out empty.
  await answers(
    true,
    '',
    { pre_recording: '62' },
    { phase: 'unreadable', bar: 'not_stored unreadable', unsaved: ['pre_recording', 'post_recording'] },
  );
  await save({}, { unsaved: [], values: { pre_recording: '62', post_recording: '1' } });
});

test('asks before it stores over what a load hides', async () => {
  const names = [
    'closestreaming',
    'pre_recording',
    'post_recording',
    'enableauth',
    'account',
    'enable_viewer_limit',
    'streaming_limit',
  ];
  const unread = {
    phase: 'unreadable',
    bar: 'nothing_saved unreadable',
    focus: 'closestreaming',
    remarks: Object.fromEntries(names.map((name) => [name, 'unread'])),
  };
  const known = {
    pre_recording: '60',
    post_recording: '300',
    enableauth: true,
    account: 'viewer',
    streaming_limit: '4',
  };
  const fresh = {
    ...known,
    pre_recording: '180',
    post_recording: '120',
    enableauth: false,
    account: '',
    streaming_limit: '1',
  };
  // Keeps what was shown, and stores it again. A password is not known.
  store({ 'record.conf': '' });
  await save(
    { subpath: 'new' },
    { ...unread, values: known, unsaved: ['subpath', 'pre_recording', 'post_recording'] },
  );
  assert.equal(readSettings('folder.conf')[1].subpath, 'recordings');
  await save({}, { remarks: {}, unsaved: [], values: known });
  store({ 'folder.conf': [folder('tv', 'new')], 'stream.conf': '' });
  await save({ subpath: 'other' }, { ...unread, values: known, unsaved: ['subpath', ...names.slice(3)] });
  await scan('unreadable');
  await save({}, { phase: 'invalid', focus: 'passwd' });
  await save({ passwd: 'p', password_confirm: 'p' }, { remarks: {}, unsaved: [], values: known });
  // Offers what a new device has where nothing was shown.
  for (const [file, account] of [
    ['record.conf', 'viewer'],
    ['stream.conf', ''],
  ]) {
    await reload({ [file]: '' });
    await save({}, { ...unread, values: fresh, unsaved: [] });
    await save({}, { remarks: {}, values: { ...fresh, account } });
  }
  // Both files are lost under an open page. The second click of a double click does not answer the question.
  store({ 'record.conf': '', 'stream.conf': '' });
  await save({ subpath: 'other' }, unread);
  await page.locator('#save').dispatchEvent('click', { detail: 2 });
  await says(unread);
  await reload({ 'record.conf': '', 'stream.conf': '' });
  await says({ remarks: {}, values: fresh });
});

test('says why a request failed, and gives up one without an answer', async () => {
  for (const [action, reply, bar] of [
    ['load', { json: { success: true } }, 'unreadable nothing_saved'],
    ['save', { status: 500 }, 'busy not_stored'],
    ['save', { status: 504 }, 'too_slow not_stored'],
    ['save', { status: 401 }, 'signed_out nothing_saved'],
    [
      'save',
      { json: { success: false, errinfo: { key: 'error_privilege_not_enough' } } },
      'error_privilege_not_enough nothing_saved',
    ],
  ]) {
    await answer(action, (route) => route.fulfill(reply));
    await save({ pre_recording: '61' }, { phase: 'failed', bar, unsaved: ['pre_recording'], focus: 'save' });
  }
  await page.evaluate(() => {
    const give = AbortSignal.timeout.bind(AbortSignal);
    AbortSignal.timeout = (limit) => give((globalThis.limit = limit / 50));
  });
  await answer('save', () => new Promise(() => undefined));
  await save({}, { phase: 'failed', bar: 'no_answer outcome_unknown', focus: 'save' });
  assert.ok((await page.evaluate('limit * 50')) > 62_000, 'waits longer than the server does');
});

test('keeps what was typed when the server stops during a save, and finds out what was saved', async (t) => {
  const service = hold('var/packages/Cinquill/scripts/teskdtv.sh');
  t.after(async () => {
    service.release();
    await server.startAgain();
  });
  const values = { subpath: 'new', passwd: 'fresh', password_confirm: 'fresh', dtv_service: false };
  await fill(values);
  await scan('unsaved');
  await page.locator('#save').dblclick();
  for (let waits = 0; !service.isHeld() && waits < 400; waits += 1) await page.waitForTimeout(50);
  assert.deepEqual(
    [
      requests.filter((request) => request.postData()?.includes('action=save')).length,
      await page.locator('input:enabled').count(),
    ],
    [1, 0],
  );
  await says({ phase: 'saving', focus: 'bar' }); // where the second click was
  await scan('saving');
  await page.getByText('Saving… This can take a minute.').waitFor();
  await server.stop();
  await says({ phase: 'failed', bar: 'unreachable outcome_unknown' });
  await Promise.all([
    page.waitForEvent('dialog').then((warning) => warning.dismiss()),
    page.close({ runBeforeUnload: true }),
  ]);
  await says({ values });
  service.release();
  await server.startAgain();
  // Back to what was loaded, but not to what the interrupted save has stored. The steps before the last have had their effect.
  await save(
    { subpath: 'recordings', passwd: '', password_confirm: '' },
    {
      phase: 'noticed',
      notices: { dtv_service: 'dtv_service_ineffective' },
      values: { subpath: 'recordings' },
    },
  );
});

test('merges what was changed elsewhere', async () => {
  const others = {
    'folder.conf': [folder('tv', 'theirs')],
    'stream.conf': { enableauth: 'no', account: 'viewer', enable_viewer_limit: 'yes', streaminglimit: 9 },
  };
  const news = { subpath: 'changed', enableauth: 'changed', streaming_limit: 'changed' };
  store(others);
  await save(
    { pre_recording: '98' },
    {
      bar: 'saved news',
      remarks: news,
      unsaved: [],
      values: { subpath: 'theirs', enableauth: false, streaming_limit: '9', pre_recording: '98' },
    },
  );

  // Stops where both have changed something. A folder's fields belong together, and those of a sign-in.
  store();
  await save(
    { subpath: 'mine', post_recording: '7' },
    {
      phase: 'contested',
      unsaved: ['subpath', 'post_recording'],
      focus: 'subpath',
      remarks: { ...news, subpath: 'changed_to recordings', pre_recording: 'changed' },
    },
  );
  await scan('contested');
  await save({}, { bar: 'saved', remarks: {}, values: { subpath: 'mine', post_recording: '7' } });
  store(others);
  await save(
    { account: 'me', share: 'music' },
    { phase: 'contested', values: { subpath: 'mine', enableauth: true } },
  );
  await press('Discard');
  await says({ remarks: {} });
  // Equal changes do not conflict. A change after which the typed value no longer applies does.
  store();
  await save({ subpath: 'recordings' });
  store({
    'stream.conf': { enableauth: 'yes', account: 'viewer', enable_viewer_limit: 'no', streaminglimit: 4 },
  });
  await save(
    { streaming_limit: '7' },
    {
      phase: 'contested',
      bar: 'void',
      focus: 'enable_viewer_limit',
      values: { streaming_limit: '4' },
      unsaved: [],
      remarks: { enable_viewer_limit: 'changed', streaming_limit: 'void' },
    },
  );

  // A tab that comes to the front takes over everything, unless it has changes to lose.
  const comesToFront = (asks) =>
    Promise.all([asks, page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')))]);
  store(others);
  await comesToFront(page.locator('[data-phase=news]').waitFor());
  await says({ remarks: { ...news, enable_viewer_limit: 'changed' }, values: { subpath: 'theirs' } });
  await fill({ pre_recording: '5' });
  const asked = requests.length;
  await comesToFront(page.waitForTimeout(300));
  assert.equal(requests.length, asked, 'a tab with changes asks for nothing');
});

test('shows no value and no control without an answer or without JavaScript', async () => {
  await answer('load', (route) => route.fulfill({ status: 400, body: 'no such thing' }));
  await page.reload();
  await says({ bar: 'unreadable not_loaded' });
  assert.deepEqual(
    [await page.getByRole('button').allTextContents(), await page.getByRole('switch').count()],
    [['Retry'], 0],
  );
  await scan('unloaded');
  await press('Retry');
  await says({ phase: 'loaded', focus: 'messages', bar: 'loaded' });
  const plain = await browser.newPage({ httpCredentials: server.credentials, javaScriptEnabled: false });
  await plain.goto(server.url);
  assert.match(
    await plain.locator('body').innerText(),
    /^\s*Digital TV\s+These settings need JavaScript\.\s*$/,
  );
});

test('speaks each of its languages', async () => {
  const languages = await page.evaluate(async () => (await import('/texts.js')).languages);
  const names = (texts) => [texts, texts.errors].map(Object.keys);
  for (const [language, texts] of Object.entries(languages)) {
    assert.deepEqual(names(texts), names(languages.en), `the texts of ${language} against those of en`);
    await open(`${language}-AT`);
    assert.equal(await page.locator('html').getAttribute('lang'), language);
    await save({ share: 'a/b', passwd: 'only once' }, { phase: 'invalid' });
    await scan(`invalid-${language}`);
  }
});
