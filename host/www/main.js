// Shows the stored settings in the form and saves what was changed.

import { request } from './api.js';
import {
  applies, destination, doubtsAfterSave, doubtsNow, duration, effective, formFrom, merge, outcomeOf, problemsOf,
  saveParameters,
} from './settings.js';
import { errorText, language, languages, text } from './texts.js';

const element = (id) => document.getElementById(id);
const inputs = [...document.querySelectorAll('input')];

const SLOW = 5_000; // milliseconds, after which the bar says that this can take longer
const URGENT = ['invalid', 'contested', 'failed', 'doubtful'];
const NOT_DONE = { loading: 'not_loaded', saving: 'nothing_saved' };
const NOTHING_STORED = ['signed_out', 'error_privilege_not_enough', 'error_duplicate_path'];

let phase = ''; // what the bar at the end says, by the name of its text
let stored = null; // the form as the appliance stored it when it was last asked; null until the first answer
let attempt = null; // the form before a save without a clear answer, and what that sent
let theirs = []; // the fields that were changed elsewhere, until the next save or discard
let doubts = { ...history.state?.dtvDoubts }; // what failed saves have left half done; a reload keeps it
let overlapping = false; // the folder was refused because of another library
const checked = new Set(); // the fields whose problems are shown: those that were left, after Save all

const isBusy = () => phase === 'loading' || phase === 'saving';
const editedForm = () => effective(readForm(), stored);
const unsaved = () => inputs.filter(({ id }) => editedForm()[id] !== stored[id]);
const hasChanges = () => stored !== null && (attempt !== null || unsaved().length > 0);

function readForm() {
  return Object.fromEntries(inputs.map((input) => [input.id, input.type === 'checkbox' ? input.checked : input.value]));
}

function writeForm(form) {
  for (const input of inputs) input[input.type === 'checkbox' ? 'checked' : 'value'] = form[input.id];
  showPasswords(false);
}

function showPasswords(visible) {
  for (const id of ['passwd', 'password_confirm']) element(id).type = visible ? 'text' : 'password';
  element('reveal').textContent = text(visible ? 'hide_password' : 'show_password');
}

function shownProblems() {
  const refused = overlapping ? [['share', 'error_duplicate_path']] : [];
  return new Map([...problemsOf(editedForm(), stored), ...refused].filter(([id]) => checked.has(id)));
}

// Live regions speak whenever their text is set, so it is set only when it differs.
function setText(id, ...sentences) {
  const sentence = sentences.filter(Boolean).join(' ');
  if (element(id).textContent !== sentence) element(id).textContent = sentence;
}

function say(newPhase, ...sentences) {
  phase = newPhase;
  element('bar').dataset.phase = phase;
  const isUrgent = URGENT.includes(phase);
  setText('status', ...(isUrgent ? [] : sentences));
  setText('alert', ...(isUrgent ? sentences : []));
  refresh();
}

const sayPhase = (name, ...more) => say(name, name && text(name), ...more);

// Answers the first field that needs correcting.
function sayInvalid() {
  const found = shownProblems();
  say('invalid', text(found.size === 1 ? 'invalid_one' : 'invalid', found.size));
  return inputs.find(({ id }) => found.has(id));
}

function refresh() {
  const known = stored !== null;
  element('fields').hidden = !known;
  element('fields').disabled = isBusy();
  element('retry').hidden = known || isBusy();
  element('discard').hidden = !hasChanges();
  element('discard').disabled = isBusy();
  element('save').hidden = !known;
  element('save').disabled = isBusy() || !(hasChanges() || phase === 'failed');
  if (known) refreshFields();
}

function refreshFields() {
  const form = editedForm();
  const found = shownProblems();
  for (const input of inputs) {
    const { id } = input;
    const isMentioned = doubts[id]?.certain === false;
    input.disabled = !applies(id, form);
    input.setAttribute('aria-invalid', found.has(id));
    element(`${id}-mark`).hidden = form[id] === stored[id];
    setText(`${id}-remark`, found.has(id) && text(found.get(id)), news(id, form), isMentioned && text(`${id}_mention`));
  }
  for (const id of ['pre_recording', 'post_recording']) setText(`${id}-unit`, text('seconds'), duration(form[id]));
  for (const id of ['share', 'dtv_service']) {
    setText(`${id}-doubt`, doubts[id]?.certain && text(`${id}_doubt`, destination(doubts[id].part)));
  }
  const old = destination(stored);
  const folder = found.has('share') || found.has('subpath') ? '' : destination(form);
  setText('destination', folder);
  setText('moving', old && folder && folder !== old && text('moving', old));
  element('passwd-hint').hidden = !stored.account;
  element('reveal').disabled = element('passwd').disabled;
}

// What has become of a field elsewhere.
function news(id, form) {
  if (!theirs.includes(id)) return '';
  if (form[id] === stored[id]) return text('changed');
  const value = typeof stored[id] === 'boolean' ? text(stored[id] ? 'on' : 'off') : stored[id] || text('nothing');
  return text('changed_to', value);
}

// Asks what is stored, which also tells what a save without a clear answer has done.
async function ask() {
  const merged = take(await request('load'));
  theirs = [...theirs, ...merged.theirs];
  return merged;
}

// Takes over what was changed elsewhere. Answers what `merge` answers.
function take(data) {
  const now = formFrom(data);
  const merged = stored === null ? { taken: now, theirs: [] } : merge(editedForm(), stored, now, attempt);
  doubts = doubtsNow(doubts, attempt, now);
  history.replaceState({ ...history.state, dtvDoubts: doubts }, '');
  setText('conflict', data.DVB_conflict && text('conflict'));
  stored = now;
  attempt = null;
  writeForm({ ...readForm(), ...merged.taken });
  return merged;
}

function show(form) {
  stored = form;
  checked.clear();
  writeForm(form);
}

const load = (end) => run('loading', async () => {
  await ask();
  overlapping = false;
  theirs = [];
  show(stored);
  sayPhase(end);
});

// Answers the field that needs attention, if one does.
async function save() {
  overlapping = false;
  for (const { id } of inputs) checked.add(id);
  if (shownProblems().size > 0) return sayInvalid();
  const merged = await ask();
  theirs = merged.theirs;
  if (merged.contested) {
    sayPhase('contested');
    return unsaved().find(({ id }) => theirs.includes(id));
  }
  await send(editedForm());
  return saySaved();
}

async function send(form) {
  const tried = { before: stored, sent: form };
  attempt = tried;
  try {
    await request('save', saveParameters(form, stored));
  } catch (error) {
    if (NOTHING_STORED.includes(error.key)) attempt = null;
    else if (error.key !== 'no_answer') error.outcome = await ask().then(() => outcomeOf(tried, stored), console.error);
    throw error;
  }
  attempt = null;
  doubts = doubtsAfterSave(doubts);
  show({ ...form, passwd: '', password_confirm: '' });
}

// Loads once more, for what was changed elsewhere between the question and the save.
async function saySaved() {
  try {
    await ask();
  } catch (error) {
    console.error(error);
    return say('doubtful', text('saved'), text('not_loaded'));
  }
  return sayPhase(Object.keys(doubts).length > 0 ? 'doubtful' : 'saved', theirs.length > 0 && text('news'));
}

// Answers the field that the program may have failed at.
function showFailure(error) {
  console.error(error);
  overlapping = error.key === 'error_duplicate_path';
  if (overlapping) return sayInvalid();
  const outcome = error.outcome ?? (attempt ? 'outcome_unknown' : NOT_DONE[phase]);
  say('failed', errorText(error.key), text(outcome), theirs.length > 0 && text('news'));
  return error.key === undefined ? unsaved()[0] ?? element(Object.keys(doubts)[0]) : undefined;
}

// Locks the form during the work. A locked control loses the focus, so the messages have it meanwhile, and
// keep it if the control is off afterwards. The page scrolls only to a field that needs attention.
async function run(progress, work) {
  const focused = document.activeElement;
  sayPhase(progress);
  if (focused !== document.body) element('messages').focus({ preventScroll: true });
  const slow = setTimeout(() => sayPhase(progress, text('slow')), SLOW);
  const field = await work().catch(showFailure);
  clearTimeout(slow);
  if (field) {
    field.focus();
    element(`${field.id}-doubt`)?.scrollIntoView({ block: 'nearest' });
  } else {
    (focused.matches(':disabled, [hidden]') ? element('messages') : focused).focus({ preventScroll: true });
  }
}

// A tab that comes back to the front shows what is stored now, unless it has changes to lose.
async function follow() {
  const shown = stored;
  const isIdle = () => shown !== null && stored === shown && !document.hidden && !isBusy() && !hasChanges();
  if (!isIdle()) return;
  const data = await request('load');
  if (isIdle()) take(data);
  refresh();
}

// Shows the problems of fields that were left. Their sentences move what is below, so a click that leaves a
// field comes first.
function check() {
  if (stored !== null && !isBusy() && !document.querySelector(':active') && shownProblems().size > 0) sayInvalid();
}

// Gives an input its title with a mark, its hint, and a place for remarks.
function equip(input) {
  const { id } = input;
  const part = (kind, className, textContent) =>
    Object.assign(document.createElement(kind), { id: `${id}-${className}`, className, textContent });
  const title = part('b', 'title', `${text(id)} `);
  title.append(part('mark', 'mark', text('mark')));
  input.before(title);
  input.parentElement.append(part('small', 'hint', languages[language][`${id}_hint`] ?? ''), part('small', 'remark', ''));
  input.setAttribute('aria-labelledby', title.id);
  const describing = ['unit', 'hint', 'remark', 'doubt'].map((name) => `${id}-${name}`).filter(element);
  input.setAttribute('aria-describedby', describing.join(' '));
}

element('settings').addEventListener('submit', (event) => {
  event.preventDefault();
  run('saving', save);
});

element('settings').addEventListener('input', ({ target }) => {
  if (['share', 'subpath'].includes(target.id)) overlapping = false;
  if (shownProblems().size > 0) sayInvalid();
  else sayPhase(hasChanges() ? 'unsaved' : '');
});

element('settings').addEventListener('focusout', ({ target }) => {
  checked.add(target.id);
  check();
});

element('retry').addEventListener('click', () => load('loaded'));
element('discard').addEventListener('click', () => load('discarded'));
element('reveal').addEventListener('click', () => showPasswords(element('passwd').type === 'password'));

addEventListener('click', check);
document.addEventListener('visibilitychange', () => follow().catch(console.error));
addEventListener('beforeunload', (event) => {
  if (hasChanges()) event.preventDefault();
});

document.documentElement.lang = language;
for (const shown of document.querySelectorAll('[data-text]')) shown.textContent = text(shown.dataset.text);
inputs.forEach(equip);
element('settings').hidden = false;
load('');
