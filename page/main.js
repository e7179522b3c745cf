// Shows the stored settings in the form and saves what was changed.

import { request } from './api.js';
import {
  applies,
  destination,
  duration,
  effective,
  FIELDS,
  formFrom,
  isPassword,
  merge,
  possiblyIneffective,
  problemsOf,
  refusedFields,
  REFUSALS,
  saveParameters,
  unreadableSteps,
} from './settings.js';
import { errorText, language, text, texts } from './texts.js';

const element = (id) => document.getElementById(id);
const inputs = Object.keys(FIELDS).map(element);

const SLOW = 5_000; // milliseconds, after which the bar says that this can take longer
const SETTLE = 300; // milliseconds; another session that loaded before this save may save right after it
const NOT_DONE = { loading: 'not_loaded', saving: 'nothing_saved' };
// The urgent phases, with the fields that need attention then.
const URGENT = {
  invalid: () => [...shownProblems().keys()],
  contested: () => Object.keys(changedElsewhere),
  unreadable: () => Object.keys(FIELDS).filter(isUnreadable),
  lost: () => [],
  failed: () => Object.keys(ineffective),
  noticed: () => Object.keys(ineffective),
};

let phase = ''; // what the bar at the end says, by the name of its text
let stored = null; // the form as the appliance stored it when it was last asked; null until the first answer
let attempt = null; // the form before a save, and what that sent, until a load shows what it has done
let refusal = null; // the key of the last save's refusal, and what was sent
let unreadable = {}; // the steps that the last load could not read
let hasAskedToCheck = false; // whether a save was stopped because of unreadable steps
let hasFiles = false; // whether a load has shown that settings files exist
let changedElsewhere = {}; // what `merge` has found, until the next save or discard
let ineffective = { ...history.state?.ineffective }; // what failed saves stored, perhaps without effect; a reload keeps it
const checked = new Set(); // the fields whose problems are shown: those that lost the focus; after Save, all

const isBusy = () => phase === 'loading' || phase === 'saving';
const isAny = (found) => Object.keys(found).length > 0;
const editedForm = () => effective(readForm(), stored);
const unsaved = () => inputs.filter(({ id }) => editedForm()[id] !== stored[id]);
const isUnreadable = (id) => Object.values(unreadable).flat().includes(FIELDS[id].step) && !isPassword(id);
const hasChanges = () => stored !== null && (attempt !== null || unsaved().length > 0);

const valueOf = ({ type }) => (type === 'checkbox' ? 'checked' : 'value');
const readForm = () => Object.fromEntries(inputs.map((input) => [input.id, input[valueOf(input)]]));

function writeForm(form) {
  for (const input of inputs) input[valueOf(input)] = form[input.id];
  showPasswords(false);
}

function showPasswords(visible) {
  for (const id of ['passwd', 'password_confirm']) element(id).type = visible ? 'text' : 'password';
  element('reveal').textContent = text(visible ? 'hide_password' : 'show_password');
}

// The sentences about what can't be saved, by field.
function shownProblems() {
  const form = editedForm();
  const problems = problemsOf(form, stored)
    .filter(([id]) => checked.has(id))
    .map(([id, name]) => [id, text(name)]);
  const refused = refusal ? refusedFields(refusal, form) : [];
  return new Map([...problems, ...refused.map((id) => [id, errorText(refusal.key, destination(form))])]);
}

// Live regions speak whenever their text is set, so it is set only when it differs.
function setText(id, ...sentences) {
  const sentence = sentences.filter(Boolean).join(' ');
  if (element(id).textContent !== sentence) element(id).textContent = sentence;
}

function say(newPhase, ...sentences) {
  phase = newPhase;
  element('bar').dataset.phase = phase;
  const isUrgent = Object.hasOwn(URGENT, phase);
  setText('status', ...(isUrgent ? [] : sentences));
  setText('alert', ...(isUrgent ? sentences : []));
  refresh();
}

const sayPhase = (name, ...more) => say(name, name && text(name), ...more);
const sayInvalid = () => say('invalid', text('invalid', shownProblems().size));

function refresh() {
  const known = stored !== null;
  element('fields').hidden = !known;
  element('fields').disabled = isBusy();
  element('retry').hidden = known || isBusy();
  for (const id of ['save', 'discard']) element(id).hidden = !known;
  element('save').disabled = isBusy() || !(hasChanges() || phase === 'failed' || isAny(unreadable));
  element('discard').disabled = isBusy() || !hasChanges();
  if (known) refreshFields();
}

function refreshFields() {
  const form = editedForm();
  const found = shownProblems();
  for (const input of inputs) {
    const { id } = input;
    const { kind, acts } = FIELDS[id];
    input.disabled = !applies(id, form);
    input.setAttribute('aria-invalid', found.has(id));
    element(`${id}-mark`).hidden = form[id] === stored[id];
    setText(`${id}-remark`, found.get(id), elsewhereRemark(id, form), isUnreadable(id) && text('unread'));
    if (kind === 'seconds') setText(`${id}-unit`, text('seconds'), duration(form[id]));
    if (acts)
      setText(`${id}-notice`, ineffective[id] && text(`${id}_ineffective`, destination(ineffective[id])));
  }
  const old = destination(stored);
  const folder = found.has('share') || found.has('subpath') ? '' : destination(form);
  setText('destination', folder);
  setText('moving', old && folder && folder !== old && text('moving', old));
  setText('unreadable', isAny(unreadable) && text('unreadable_notice'));
  element('passwd-hint').hidden = !stored.account;
  element('reveal').disabled = element('passwd').disabled;
}

// The remark for a field that another session changed.
function elsewhereRemark(id, form) {
  const name = changedElsewhere[id];
  if (name !== 'changed' || form[id] === stored[id]) return name && text(name);
  const value =
    typeof stored[id] === 'boolean' ? text(stored[id] ? 'on' : 'off') : stored[id] || text('nothing');
  return text('changed_to', value);
}

const loadAndMerge = async () => mergeLoaded(await request('load'));

// Takes over and marks what was changed elsewhere. Returns the result of merge().
function mergeLoaded(data) {
  const { hidden, gone } = unreadable;
  unreadable = unreadableSteps(data, hasFiles);
  hasFiles ||= 'passwd' in data || isAny(unreadable);
  const now = formFrom(data, stored, unreadable);
  const merged =
    stored === null
      ? { taken: now, elsewhere: {} }
      : merge(editedForm(), stored, now, attempt, hidden, unreadable.gone);
  ineffective = possiblyIneffective(ineffective, attempt, now);
  history.replaceState({ ineffective }, '');
  changedElsewhere = { ...changedElsewhere, ...merged.elsewhere };
  hasAskedToCheck &&= String(unreadable.gone) === String(gone);
  setText('conflict', data.DVB_conflict && text('conflict'));
  stored = now;
  attempt = null;
  checked.clear();
  writeForm({ ...readForm(), ...merged.taken });
  return merged;
}

const load = (end) =>
  run('loading', async () => {
    await loadAndMerge();
    [refusal, hasAskedToCheck, changedElsewhere] = [null, false, {}];
    writeForm(stored);
    sayPhase(end);
  });

async function save() {
  refusal = null;
  for (const { id } of inputs) checked.add(id);
  if (shownProblems().size > 0) return sayInvalid();
  const data = await request('load');
  changedElsewhere = {};
  if (mergeLoaded(data).contested) return say('contested', text(hasChanges() ? 'contested' : 'void'));
  if (isAny(unreadable) && !hasAskedToCheck) return askToCheck(text('nothing_saved'));
  return send(editedForm());
}

function askToCheck(...sentences) {
  hasAskedToCheck = true;
  say('unreadable', ...sentences, text('unreadable'));
}

// Only the load after the save shows what is stored.
async function send(sent) {
  attempt = { before: stored, sent };
  history.replaceState({ ineffective: { ...ineffective, ...possiblyIneffective({}, attempt, sent) } }, ''); // if the page is reloaded meanwhile
  let failure;
  try {
    await request('save', saveParameters(sent, stored));
    attempt.hasSucceeded = true;
  } catch (error) {
    if (Object.hasOwn(REFUSALS, error.key)) [attempt, refusal] = [null, { key: error.key, sent }];
    if (shownProblems().size > 0) return sayInvalid();
    if (refusal || error.key === 'no_answer') throw error;
    failure = error;
  }
  await new Promise((resolve) => {
    setTimeout(resolve, SETTLE);
  });
  await loadAndMerge().catch((error) => {
    throw failure ?? error;
  });
  return failure ? sayFailed(failure, ...outcome('all_stored')) : saySucceeded();
}

// If a value is not stored as sent, another session has replaced it, or its file is unreadable. No load shows the
// password, so it counts as stored if everything else is.
function saySucceeded() {
  if (isAny(unreadable)) return askToCheck(...outcome());
  const isLost =
    Object.values(changedElsewhere).includes('void') || unsaved().some(({ id }) => !isPassword(id));
  if (isLost) return say('lost', text('lost'), ...outcome());
  writeForm(stored);
  return say(isAny(ineffective) ? 'noticed' : 'saved', ...outcome('saved'));
}

// Returns the sentences for what a load after a save has shown.
function outcome(allStored) {
  const passwords = unsaved().filter(({ id }) => isPassword(id));
  return [
    unsaved().length === 0 && allStored,
    unsaved().length > passwords.length && 'not_stored',
    isAny(passwords) && 'password_unknown',
    isAny(ineffective) && 'ineffective',
    isAny(changedElsewhere) && 'news',
  ]
    .filter(Boolean)
    .map((name) => text(name));
}

function sayFailed(error, ...sentences) {
  console.error(error);
  say('failed', errorText(error.key), ...sentences);
}

// Locks the form during the work. A locked control loses the focus, so the messages have it meanwhile, and
// keep it if the control is off afterwards. The page scrolls only to a field that needs attention.
async function run(progress, work) {
  const focused = document.activeElement;
  sayPhase(progress);
  if (focused !== document.body) element('messages').focus({ preventScroll: true });
  const slow = setTimeout(() => sayPhase(progress, text('slow')), SLOW);
  await work().catch((error) => sayFailed(error, text(attempt ? 'outcome_unknown' : NOT_DONE[phase])));
  clearTimeout(slow);
  const needsAttention = URGENT[phase]?.() ?? [];
  const field = inputs.find(({ id, disabled }) => needsAttention.includes(id) && !disabled);
  if (field) {
    field.focus();
    element(`${field.id}-notice`)?.scrollIntoView({ block: 'nearest' });
  } else {
    (focused.matches(':disabled, [hidden]') ? element('messages') : focused).focus({ preventScroll: true });
  }
}

// A tab that comes back to the front shows what is stored now, unless it has changes to lose.
async function refreshIdleTab() {
  const shown = stored;
  const isIdle = () => shown !== null && stored === shown && !document.hidden && !isBusy() && !hasChanges();
  if (!isIdle()) return;
  const data = await request('load');
  if (!isIdle()) return;
  if (isAny(mergeLoaded(data).elsewhere)) sayPhase('news');
  else if (hasChanges()) sayPhase('unsaved');
  else refresh();
}

// Shows the problems of fields that lost the focus. The sentences shift the page, so they wait until the click
// that left the field is over.
function check() {
  if (stored !== null && !isBusy() && !document.querySelector(':active') && shownProblems().size > 0)
    sayInvalid();
}

// Scrolls to a clicked field that the bar covers.
function uncover({ target }) {
  const isCovered = target.getBoundingClientRect().bottom > element('bar').getBoundingClientRect().top;
  if (target.matches('.card input') && isCovered) target.scrollIntoView({ block: 'center' });
}

// Gives an input its title with a mark, its unit and hint, and places for a remark and a notice.
function addLabels(input) {
  const { id } = input;
  const part = (tag, className, textContent = '') =>
    Object.assign(document.createElement(tag), { id: `${id}-${className}`, className, textContent });
  const title = part('b', 'title', `${text(id)} `);
  title.append(part('mark', 'mark', text('mark')));
  input.before(title);
  if (FIELDS[id].kind === 'seconds') input.after(part('span', 'unit'));
  input.parentElement.append(part('small', 'hint', texts[`${id}_hint`]), part('small', 'remark'));
  if (FIELDS[id].acts) input.closest('.card').append(Object.assign(part('p', 'notice'), { role: 'status' }));
  input.setAttribute('aria-labelledby', title.id);
  const describing = ['unit', 'hint', 'remark', 'notice'].map((name) => `${id}-${name}`).filter(element);
  input.setAttribute('aria-describedby', describing.join(' '));
}

element('settings').addEventListener('submit', (event) => {
  event.preventDefault();
  run('saving', save);
});
// A second click, or Enter that is held, must not answer what the first one has asked.
element('save').addEventListener('click', (event) => event.detail > 1 && event.preventDefault());
element('settings').addEventListener(
  'keydown',
  (event) => event.key === 'Enter' && event.repeat && event.preventDefault(),
);
element('settings').addEventListener('input', () => {
  if (shownProblems().size > 0) sayInvalid();
  else sayPhase(hasChanges() ? 'unsaved' : '');
});
element('settings').addEventListener('focusout', ({ target }) => {
  if (!Object.hasOwn(FIELDS, target.id)) return;
  checked.add(target.id);
  check();
});
element('retry').addEventListener('click', () => load('loaded'));
element('discard').addEventListener('click', () => load('discarded'));
element('reveal').addEventListener('click', () => showPasswords(element('passwd').type === 'password'));
addEventListener('click', (event) => {
  check();
  uncover(event);
});
document.addEventListener('visibilitychange', () => refreshIdleTab().catch(console.error));
addEventListener('beforeunload', (event) => hasChanges() && event.preventDefault());

document.documentElement.lang = language;
for (const shown of document.querySelectorAll('[data-text]')) shown.textContent = text(shown.dataset.text);
inputs.forEach(addLabels);
element('settings').hidden = false;
load('');
