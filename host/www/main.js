// Shows the stored settings in the form and saves what was changed.

import { Failure, request } from './api.js';
import {
  applies, destination, differ, duration, effective, formFrom, halfDoneNow, isNews, problemsOf, saveParameters,
} from './settings.js';
import { errorText, language, text } from './texts.js';

const element = (id) => document.getElementById(id);
const inputs = [...document.querySelectorAll('input')];

const URGENT = ['invalid', 'failed', 'stale', 'doubtful'];
const NOTHING_STORED = ['signed_out', 'error_privilege_not_enough', 'error_duplicate_path'];

let phase = ''; // what the bar at the end says, by the name of its text
let stored = null; // the form as the appliance stored it when it was last asked; null while that is not known
let attempt = null; // the form before a save without a clear answer, and what that sent
let halfDone = history.state ?? []; // parts of the form that failed saves have stored; a reload keeps them
let overlapping = false; // the folder was refused because of another library
let stale = false; // somebody else has stored what the form does not show; saving it now reverts that

function showTexts() {
  document.documentElement.lang = language;
  for (const shown of document.querySelectorAll('[data-text]')) {
    shown.textContent = text(shown.dataset.text);
  }
}

function readForm() {
  const value = (input) => (input.type === 'checkbox' ? input.checked : input.value);
  return Object.fromEntries(inputs.map((input) => [input.name, value(input)]));
}

function writeForm(form) {
  for (const input of inputs) {
    input[input.type === 'checkbox' ? 'checked' : 'value'] = form[input.name];
  }
  showPasswords(false);
}

const editedForm = () => effective(readForm(), stored);
const hasChanges = () => stored !== null && (attempt !== null || differ(editedForm(), stored));

function problems() {
  const refused = overlapping ? [['share', 'error_duplicate_path']] : [];
  return new Map([...problemsOf(editedForm(), stored), ...refused]);
}

function showPasswords(visible) {
  for (const id of ['passwd', 'password_confirm']) element(id).type = visible ? 'text' : 'password';
  element('reveal').textContent = text(visible ? 'hide_password' : 'show_password');
}

// Live regions speak whenever their text is set, so it is set only when it differs.
function setText(id, sentence) {
  if (element(id).textContent !== sentence) element(id).textContent = sentence;
}

function say(newPhase, sentence = newPhase && text(newPhase)) {
  phase = newPhase;
  element('bar').dataset.phase = phase;
  setText('status', URGENT.includes(phase) ? '' : sentence);
  setText('alert', URGENT.includes(phase) ? sentence : '');
  refresh();
}

const sayStale = () => say('stale', `${text('news')} ${text('stale')}`);
const sayInvalid = () => say('invalid', text('invalid').replace('{count}', problems().size));

function refresh() {
  const busy = phase === 'loading' || phase === 'saving';
  const known = stored !== null;
  element('fields').hidden = !known;
  element('retry').hidden = known || busy;
  element('discard').hidden = !hasChanges();
  element('discard').disabled = busy;
  element('discard').textContent = text(stale ? 'show_stored' : 'discard');
  element('save').hidden = !known;
  element('save').disabled = busy || !hasChanges();
  element('save').textContent = text(stale ? 'save_mine' : 'save');
  if (known) refreshFields(busy);
}

function refreshFields(busy) {
  const form = editedForm();
  const found = phase === 'invalid' ? problems() : new Map();
  for (const input of inputs) {
    input.disabled = busy || !applies(input.name, form);
    if (input.type === 'checkbox') continue;
    input.setAttribute('aria-invalid', found.has(input.name));
    setText(`${input.name}-problem`, found.has(input.name) ? text(found.get(input.name)) : '');
  }
  setText('destination', destination(form));
  for (const name of ['pre_recording', 'post_recording']) setText(`${name}-duration`, duration(form[name]));
  for (const name of ['share', 'dtv_service']) {
    const part = halfDone.find((each) => name in each);
    setText(`${name}-doubt`, part ? text(`${name}_doubt`).replace('{folder}', () => destination(part)) : '');
  }
  setText('passwd-hint', stored.account && text('passwd_hint'));
  element('reveal').disabled = element('passwd').disabled;
}

// Asks what is stored, which also tells what a save without a clear answer has done. Answers
// whether somebody else has stored something since the last time.
async function ask() {
  const data = await request('load');
  const now = formFrom(data);
  const news = stored !== null && isNews(now, stored, attempt);
  stale = stale || news;
  halfDone = halfDoneNow(halfDone, attempt, now);
  history.replaceState(halfDone, '');
  setText('conflict', data.DVB_conflict ? text('conflict') : '');
  stored = now;
  attempt = null;
  return news;
}

async function load() {
  await ask();
  overlapping = false;
  stale = false;
  writeForm(stored);
  say('');
}

async function save() {
  overlapping = false;
  if (problems().size > 0) return sayInvalid();
  if (await ask()) return hasChanges() ? sayStale() : sayStored();
  await send(editedForm());
  stored = null; // until it is known how the appliance took it
  await load().catch(() => { throw new Failure('saved_unseen'); });
  sayStored();
}

function sayStored() {
  stale = false;
  say(halfDone.length > 0 ? 'doubtful' : 'saved');
}

async function send(form) {
  attempt = { before: stored, sent: form };
  try {
    await request('save', saveParameters(form, stored));
    attempt = null;
  } catch (error) {
    if (NOTHING_STORED.includes(error.key)) attempt = null;
    else await ask().catch(console.error); // without an answer the next save asks again
    throw error;
  }
}

function showFailure(error) {
  console.error(error);
  overlapping = error.key === 'error_duplicate_path';
  if (overlapping) return sayInvalid();
  const sentence = errorText(error.key, stored === null ? 'load' : 'save');
  const more = [attempt !== null && 'outcome_unknown', stale && 'news'].filter(Boolean);
  say('failed', [sentence, ...more.map(text)].join(' '));
}

// Locks the form during the work and then gives the focus back, which a locked control loses; where
// it can't have it any more, the messages get it. Nothing scrolls but to a field that needs attention.
async function run(progress, work) {
  const focused = document.activeElement;
  const known = halfDone;
  say(progress);
  await work().catch(showFailure);
  const doubt = halfDone.find((part) => !known.includes(part));
  const field = document.querySelector('[aria-invalid=true]') ?? (doubt && element(Object.keys(doubt)[0]));
  if (field) {
    field.focus();
    element(`${field.name}-doubt`)?.scrollIntoView({ block: 'nearest' });
  } else {
    (focused.disabled || focused.hidden ? element('messages') : focused).focus({ preventScroll: true });
  }
}

const runLoad = () => run('loading', load);

element('settings').addEventListener('submit', (event) => {
  event.preventDefault();
  run('saving', save);
});

element('settings').addEventListener('input', ({ target }) => {
  if (['share', 'subpath'].includes(target.name)) overlapping = false;
  if (!hasChanges()) stale = false;
  if (phase === 'invalid' && problems().size > 0) sayInvalid();
  else if (!hasChanges()) say('');
  else if (stale) sayStale();
  else say('unsaved');
});

element('retry').addEventListener('click', runLoad);
element('discard').addEventListener('click', runLoad);
element('reveal').addEventListener('click', () => showPasswords(element('passwd').type === 'password'));

addEventListener('beforeunload', (event) => {
  if (hasChanges()) event.preventDefault();
});

showTexts();
element('settings').hidden = false;
runLoad();
