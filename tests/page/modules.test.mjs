// The page's pure modules, without a browser.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as fields from '../../page/fields.js';
import { doubtsAfter, merge, outcome } from '../../page/merge.js';
import { usualLoad } from '../settings.mjs';

const { formToSave, problemsOf, readLoad, saveParameters } = fields;

// A test for each row, by its name. A row `gives` what differs from the usual result.
function table(title, usualResult, run, rows) {
  for (const [name, { gives = {}, ...row }] of Object.entries(rows))
    test(`${title}: ${name}`, () => assert.deepEqual(run(row), { ...usualResult, ...gives }));
}

// What a load shows without record.conf, without stream.conf, without both.
const off = { closestreaming: false, enableauth: false, enable_viewer_limit: false };
const none = { passwd: undefined, account: undefined, streaming_limit: 1 };
const noFolder = { dtv_destination: '' };
const times = { pre_recording: 180, post_recording: 120 };
const noRecord = { ...off, ...none, pre_recording: 0, post_recording: 0 };
const noStream = { ...off, ...times, account: null, streaming_limit: 0 };
const noFiles = { ...off, ...none, ...times };

const first = (changes) => readLoad({ ...usualLoad, ...changes }, null);
const usual = first({});
const next = (changes, before = usual) => readLoad({ ...usualLoad, ...changes }, before);
const typed = (changes, loaded = usual) => formToSave({ ...loaded.form, ...changes }, loaded.form);

const fresh = { pre_recording: '180', account: '', streaming_limit: '1' };
const both = 'record.conf,stream.conf';
const shown = ({ form, unreadable }) => {
  const { pre_recording, account, streaming_limit } = form;
  return { pre_recording, account, streaming_limit, unreadable: String(unreadable) };
};
table('a load', shown(usual), ({ load }) => shown(load), {
  'of a new device': { load: first({ ...noFiles, ...noFolder }), gives: fresh },
  'that loses stream.conf': { load: next(noStream), gives: { unreadable: 'stream.conf' } },
  'that loses all': { load: next({ ...noFiles, ...noFolder }), gives: { unreadable: `${both},folder.conf` } },
  'without both': { load: first(noFiles), gives: { ...fresh, unreadable: both } },
  'that loses the folder': { load: next(noFolder), gives: { unreadable: 'folder.conf' } },
});

test('a readable stream.conf differs from a lost one', () => {
  const names = 'enableauth account enable_viewer_limit streaming_limit closestreaming post_recording';
  for (const name of names.split(' '))
    assert.deepEqual(first({ ...noStream, [name]: 1 }).unreadable, [], name);
});

const noSignIn = first({ enableauth: false, account: null });
const theirs = { dtv_destination: '/tv/theirs' };
const sentTheirs = { subpath: 'theirs' };
const password = { passwd: 'new', password_confirm: 'new' };
const isOff = { disable_dtv: true };
const bob = { account: 'bob' };
const asks = (name) => ({ marked: name, asked: name });
const signIn = 'enableauth account passwd password_confirm';
const replaced = { taken: signIn, marked: 'enableauth,account' };
const runMerge = ({ form = {}, before = usual, now = {}, attempt }) => {
  const open = attempt ? { sent: typed(attempt), units: fields.UNITS } : null;
  const { taken, marked, asked } = merge(typed(form, before), before, next(now, before), open);
  return { taken: Object.keys(taken).join(' '), marked: String(marked), asked: String(asked) };
};
const options = `pre_recording post_recording ${signIn} enable_viewer_limit streaming_limit`;
const service = 'dtv_service';
const switched = { taken: service, ...asks(service) };
table('a merge', { taken: '', marked: '', asked: '' }, runMerge, {
  'keeps what was typed': { form: { pre_recording: '7' } },
  'takes what was changed elsewhere': { now: theirs, gives: { taken: 'share subpath', marked: 'subpath' } },
  'asks where both changed a unit': { form: { subpath: 'mine' }, now: theirs, gives: asks('subpath') },
  'asks before a password changes accounts': { form: password, now: bob, gives: asks('account') },
  'drops a password that did not apply': { before: noSignIn, form: password, gives: replaced },
  'accepts equal changes': { form: { dtv_service: false }, now: isOff },
  'asks when the service is switched on': { before: first(isOff), gives: switched },
  'takes what is shown again': { before: first(noStream), gives: { taken: options } },
  'does not mark what an attempt stored': { form: { subpath: 'b' }, attempt: sentTheirs, now: theirs },
  'marks only the fields of others': {
    form: { enable_viewer_limit: false },
    attempt: { enable_viewer_limit: false },
    now: { enable_viewer_limit: false, streaming_limit: 5 },
    gives: asks('streaming_limit'),
  },
  'asks about edits since': { form: { subpath: 'mine' }, attempt: {}, now: theirs, gives: asks('subpath') },
  'keeps what was put back after an attempt': { attempt: sentTheirs, now: theirs },
});

const moved = { share: 'music', subpath: '' };
const isMoved = { dtv_destination: '/music' };
const later = { ...moved, pre_recording: '7' };
const isLater = { ...isMoved, pre_recording: 7 };
const hidden = { ...noStream, ...isMoved };
const all = { ...moved, ...password, dtv_service: false };
const isAll = { ...isMoved, ...isOff };
const runOutcome = ({ before = usual, sent, now = {}, hasSucceeded = false }) => {
  const attempt = { before, sent: typed(sent, before), units: fields.UNITS, hasSucceeded };
  const units = outcome(attempt, now && next(now, before));
  const names = (found) => found.map(({ fields }) => fields[0]).join(' ');
  return Object.fromEntries(Object.entries(units).map(([name, found]) => [name, names(found)]));
};
table('a failed save', { missing: '', unknown: '', doubted: '' }, runOutcome, {
  'at the folder': { sent: later, now: isMoved, gives: { missing: 'pre_recording', doubted: 'share' } },
  'after the folder': { sent: later, now: isLater },
  'before a reload': { sent: later, now: isLater, hasSucceeded: null, gives: { doubted: 'share' } },
  'without a load': { sent: moved, now: null, gives: { unknown: 'share' } },
  'with hidden files': { sent: later, now: hidden, gives: { unknown: 'pre_recording', doubted: 'share' } },
  'before a password': { sent: { ...password, ...bob }, gives: { missing: 'enableauth' } },
  'of the sign-in and the service': {
    before: first(isOff),
    sent: { enableauth: false, dtv_service: true },
    now: { enableauth: false },
    gives: { unknown: service, doubted: service },
  },
  'with a password': { sent: password, gives: { unknown: 'enableauth' } },
  'of a first folder': { before: first(noFolder), sent: moved, now: noFolder, gives: { unknown: 'share' } },
  'at the service': {
    sent: all,
    now: isAll,
    gives: { unknown: `enableauth ${service}`, doubted: `share ${service}` },
  },
});
const noLimit = { enable_viewer_limit: false };
const limited = { ...noLimit, streaming_limit: 5 };
const runSuccess = (row) => runOutcome({ ...row, hasSucceeded: true });
table('a save', { missing: '', unknown: '', doubted: '' }, runSuccess, {
  'that stored everything': { sent: all, now: isAll },
  'that left open what does not apply': { sent: noLimit, now: limited },
  'that was overtaken': { sent: later, now: isMoved, gives: { missing: 'pre_recording' } },
  'with hidden files': { sent: later, now: hidden, gives: { unknown: 'pre_recording' } },
});

test('a doubt ends when another value is stored', () => {
  const sent = typed(moved);
  const units = [fields.unitOf('share'), fields.unitOf(service)];
  const doubts = doubtsAfter({ share: sentTheirs }, units, sent, { form: sent });
  assert.deepEqual(doubts, { share: moved, dtv_service: { dtv_service: true } });
  for (const now of [next(isAll), first({ ...noFolder, ...isOff })])
    assert.deepEqual(doubtsAfter(doubts, [], sent, now), { share: moved });
});

const needsAccount = { account: 'account_missing' };
const needsPassword = { passwd: 'password_missing' };
const placeholder = { passwd: '75318642', password_confirm: '75318642' };
const runProblems = ({ loaded = usual, ...form }) =>
  Object.fromEntries(problemsOf(typed(form, loaded), loaded));
table('a problem', {}, runProblems, {
  'no share': { share: ' ', gives: { share: 'share_cleared' } },
  'a tab': { share: 't\tv', gives: { share: 'invisible' } },
  'not a stored oddity': { loaded: first({ pre_recording: -1, dtv_destination: '/tv//', account: null }) },
  'no account': { account: ' ', gives: needsAccount },
  'a new sign-in': { loaded: noSignIn, enableauth: true, gives: { ...needsAccount, ...needsPassword } },
  'a lost sign-in': { loaded: next(noStream), gives: needsPassword },
  'not a hidden sign-in': { loaded: first(noRecord), enableauth: true },
  'a placeholder': { ...placeholder, gives: { passwd: 'password_reserved' } },
  'two passwords': { passwd: 'a', gives: { password_confirm: 'password_differs' } },
});

const untouched = { ...typed({}), share: '', subpath: '', account: '', disable_dtv: 'no' };
delete untouched.dtv_service;
const runParameters = ({ loaded = usual, ...form }) => saveParameters(typed(form, loaded), loaded);
table('parameters', untouched, runParameters, {
  'of an untouched form': {},
  'of texts that a form cannot show': { loaded: first({ dtv_destination: '/a/\nb/', account: 'c\nd' }) },
  'of an account': { account: ' bob ', passwd: ' new ', gives: { account: 'bob', passwd: ' new ' } },
  'of the service': { dtv_service: false, gives: { disable_dtv: 'yes' } },
  'after stream.conf was lost': { loaded: next(noStream), gives: { account: 'viewer' } },
  'after it was lost, off': { loaded: next(noStream), enableauth: false, gives: { enableauth: false } },
});

test('durations and destinations', () => {
  const said = { 0: '', 59: '= 59 s', 5430: '= 1 h 30 min 30 s', '-1': '', 2147483648: '' };
  for (const [text, words] of Object.entries(said))
    assert.equal(fields.duration(text).replaceAll('\u00a0', ' '), words);
  assert.deepEqual([usual.form, moved, { share: '' }].map(fields.destination), [
    '/tv/recordings',
    '/music',
    '',
  ]);
});
