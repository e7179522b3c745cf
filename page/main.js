// Shows the stored settings in the form and saves what was changed.

import { request } from './api.js';
import { applies, destination, duration, FIELDS, isHidden, problemsOf, unitOf, UNITS } from './fields.js';
import { differ, formToSave, pick, withoutPasswords } from './fields.js';
import { readLoad, refusedFields, REFUSALS, saveParameters } from './fields.js';
import { doubtsAfter, merge, namesOf, outcome } from './merge.js';
import { errorText, language, text, texts } from './texts.js';

const element = (id) => document.getElementById(id);
const inputs = [...document.querySelectorAll('.card input')];

const SETTLE = 300; // milliseconds; another session that loaded before this save may save right after it
const QUESTION = 1_000; // milliseconds before a question can be answered
const TOOL = 600_000; // milliseconds after which a tool that a save started has probably ended
const NOT_DONE = { loading: 'not_loaded', saving: 'nothing_saved' };
const URGENT = ['invalid', 'failed', 'lost', 'asking', 'noticed', 'unreadable', 'unchecked'];
let phase = ''; // the state that the bar at the end shows
let attention = []; // the fields that the bar's sentence is about
let loaded = null; // the result of readLoad() for the last load; null until the first answer
let attempt = history.state?.attempt ?? null; // a save whose outcome is not known yet: see merge.js
let marked = []; // the fields that another session has changed, until the next save or discard
let asked = []; // the fields in which something else is stored, about which the person was asked
let refusal = null; // the key of the last save's refusal, and what was sent
let confirmedRisk = ''; // what the next save may destroy, if the person was asked about it
let askedAt = -Infinity; // when the last question was asked
let doubts = { ...history.state?.doubts }; // see doubtsAfter(); a reload keeps them
let toolEnds = history.state?.toolEnds ?? 0; // when the tool of a save without a proper answer has ended
const checked = new Set(); // the fields whose problems are shown: those that lost the focus; after Save, all

const isBusy = () => phase === 'loading' || phase === 'saving';
const editedForm = () => formToSave(readForm(), loaded.form);
const isChanged = (id) => editedForm()[id] !== loaded.form[id];
const isUnknown = (id) =>
  attempt?.units.some(({ fields }) => fields.includes(id) && !differ(editedForm(), attempt.sent, fields));
const isUnread = (id) => isHidden(FIELDS[id].file, loaded.unreadable);
const changedTriggers = (form) =>
  Object.keys(FIELDS).filter((id) => FIELDS[id].triggers && differ(form, loaded.form, unitOf(id).fields));
const hasChanges = () => loaded !== null && (attempt !== null || inputs.some(({ id }) => isChanged(id)));

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
  const problems = problemsOf(form, loaded).filter(([id]) => checked.has(id));
  const refused = refusal ? refusedFields(refusal, form) : [];
  const refusedFolder = (id) => [id, errorText(refusal.key, destination(form))];
  return new Map([...problems.map(([id, name]) => [id, text(name)]), ...refused.map(refusedFolder)]);
}

// Live regions speak whenever their text is set, so it is set only when it differs.
function setText(place, ...sentences) {
  const sentence = sentences.filter(Boolean).join(' ');
  if (place.textContent !== sentence) place.textContent = sentence;
}

function say(newPhase, sentences, fields = []) {
  [phase, attention] = [newPhase, fields];
  element('bar').dataset.phase = phase;
  const isUrgent = URGENT.includes(phase);
  setText(element('status'), ...(isUrgent ? [] : sentences));
  setText(element('alert'), ...(isUrgent ? sentences : []));
  refresh();
}

const sayPhase = (name, ...more) => say(name, [name && text(name), ...more]);

function sayInvalid() {
  const fields = [...shownProblems().keys()];
  say('invalid', [text('invalid', fields.length)], fields);
}

function ask(questions, fields) {
  askedAt = performance.now();
  const sentences = questions.map((name) => text(name));
  say('asking', sentences, fields);
}

function sayFailed(error, sentences, fields) {
  console.error(error);
  say('failed', [errorText(error.key ?? 'unexpected'), ...sentences], fields);
}

function refresh() {
  const known = loaded !== null;
  element('fields').hidden = !known;
  element('fields').disabled = isBusy();
  element('retry').hidden = known || isBusy();
  for (const id of ['save', 'discard']) element(id).hidden = !known;
  const canSave = known && (hasChanges() || phase === 'failed' || loaded.unreadable.length > 0);
  element('save').disabled = isBusy() || !canSave;
  element('discard').disabled = isBusy() || !hasChanges();
  if (known) refreshFields();
}

function refreshFields() {
  const form = editedForm();
  const stored = loaded.form;
  const found = shownProblems();
  for (const input of inputs) {
    const { id } = input;
    input.disabled = !applies(id, form);
    input.setAttribute('aria-invalid', found.has(id));
    element(`${id}-mark`).hidden = !isChanged(id) || isUnknown(id) || isUnread(id);
    setText(element(`${id}-remark`), found.get(id), ...storedRemarks(id, form));
    if (FIELDS[id].kind === 'seconds') setText(element(`${id}-unit`), text('seconds'), duration(form[id]));
    const doubt = doubts[id] && text(`${id}_doubt`, destination(doubts[id]));
    if (FIELDS[id].triggers) setText(element(`${id}-notice`), doubt);
  }
  for (const place of document.querySelectorAll('[data-hidden]')) {
    const { file, hidden } = place.dataset;
    setText(place, isHidden(file, loaded.unreadable) && text(hidden));
  }
  const old = destination(stored);
  const folder = found.has('share') || found.has('subpath') ? '' : destination(form);
  setText(element('destination'), folder && text('destination', folder));
  setText(element('moving'), old && folder && folder !== old && text('moving', old));
  setText(element('stopping'), stored.dtv_service && !form.dtv_service && text('stopping'));
  element('passwd-hint').hidden = !stored.account || loaded.unreadable.includes('stream.conf');
  element('reveal').disabled = element('passwd').disabled;
}

function storedRemarks(id, form) {
  const stored = loaded.form[id];
  const isMarked = marked.includes(id);
  if (isMarked && id === 'dtv_service') return [text('switched')];
  const isOther = (isMarked || asked.includes(id)) && form[id] !== stored;
  const value = typeof stored === 'boolean' ? text(stored ? 'on' : 'off') : stored || text('empty');
  return [isMarked && text('changed'), isOther && text('stored_now', value)];
}

// Takes over what a load says, also of an attempt. Returns the results of merge() and outcome().
function takeOver(data) {
  const form = loaded && editedForm();
  const before = loaded;
  loaded = readLoad(data, before);
  const merged = merge(form, before, loaded, attempt);
  const result = attempt && outcome(attempt, loaded);
  noteDoubts(result?.doubted);
  attempt = result?.unknown.length > 0 ? { ...attempt, units: result.unknown } : null;
  marked = [...marked, ...merged.marked].filter((id) => !isUnread(id));
  asked = merged.asked;
  setText(element('conflict'), data.DVB_conflict && text('conflict'));
  writeForm({ ...readForm(), ...merged.taken });
  return { ...merged, ...result };
}

// Marks only what was changed elsewhere since the load before.
async function reload() {
  const data = await request('load');
  marked = [];
  takeOver(data);
}

function noteDoubts(doubted = []) {
  doubts = doubtsAfter(doubts, doubted, attempt?.sent, loaded);
  history.replaceState({ doubts, toolEnds }, ''); // survives a reload
}

// Shows what is stored, and drops what was typed.
const startOver = (end) =>
  run('loading', async () => {
    await reload();
    [attempt, refusal, confirmedRisk, asked] = [null, null, '', []];
    checked.clear();
    writeForm(loaded.form);
    sayPhase(loaded.unreadable.length > 0 ? 'unreadable' : end, marked.length > 0 && text('news'));
  });

async function save() {
  refusal = null;
  for (const { id } of inputs) checked.add(id);
  if (shownProblems().size > 0) return sayInvalid();
  await reload();
  if (asked.length > 0) return ask(['contested'], asked);
  const { questions, fields } = risksOf(editedForm());
  const risk = `${loaded.unreadable} ${fields}`;
  const isConfirmed = risk === confirmedRisk;
  confirmedRisk = risk;
  if (fields.length > 0 && !isConfirmed) return ask(questions, fields);
  if (shownProblems().size > 0) return sayInvalid();
  return send();
}

// The questions before a save, and the fields that they are about. A save may destroy hidden settings. Where no
// recording folder is shown, it may destroy an unreadable list of folders. An earlier save's tool may undo it.
function risksOf(form) {
  const hidden = inputs.map(({ id }) => id).filter(isUnread);
  const first = form.share && !loaded.form.share ? ['share'] : [];
  const undone = Date.now() < toolEnds ? changedTriggers(form) : [];
  const risks = { check_hidden: hidden, first_folder: first, may_run: undone };
  const questions = Object.keys(risks).filter((name) => risks[name].length > 0);
  return { questions, fields: Object.values(risks).flat() };
}

// Only the load after the save shows what is stored.
async function send() {
  const earlier = { attempt, toolEnds };
  const sent = editedForm();
  attempt = { before: loaded, sent, units: UNITS, mayBeUndone: Date.now() < toolEnds };
  confirmedRisk = '';
  if (changedTriggers(sent).length > 0) toolEnds = Date.now() + TOOL;
  // If the page is reloaded before it knows the outcome, the new page judges the save from this note.
  history.replaceState({ doubts, toolEnds, attempt: { ...attempt, sent: withoutPasswords(sent) } }, '');
  const failure = await request('save', saveParameters(sent, loaded)).catch((error) => error);
  attempt.hasSucceeded = !failure;
  if (!failure || failure.key === 'unknown') ({ toolEnds } = earlier);
  if (Object.hasOwn(REFUSALS, failure?.key)) {
    refusal = { key: failure.key, sent };
    ({ attempt, toolEnds } = earlier);
    noteDoubts();
    return shownProblems().size > 0 ? sayInvalid() : sayFailed(failure, [text('nothing_saved')]);
  }
  await new Promise((resolve) => setTimeout(resolve, SETTLE));
  const data = await request('load').catch(() => null);
  checked.clear();
  return data ? sayOutcome(failure, takeOver(data)) : sayUnchecked(failure);
}

function sayUnchecked(failure) {
  attempt.units = outcome(attempt, null).unknown;
  if (failure) return sayFailed(failure, [text('not_known')]);
  loaded = { ...loaded, form: withoutPasswords(attempt.sent) };
  attempt = null;
  noteDoubts();
  showStored(UNITS);
  return sayPhase('unchecked');
}

// Shows these units as stored. Typed passwords go, and what was typed into fields that do not apply.
function showStored(units) {
  const fields = units.flatMap((unit) => unit.fields);
  writeForm({ ...readForm(), ...pick(fields, loaded.form) });
}

function sayOutcome(failure, { missing, unknown, doubted }) {
  const isOpen = unknown.length > 0 || isUnread('enableauth');
  showStored(UNITS.filter((unit) => ![...missing, ...unknown].includes(unit)));
  const hasDoubts = Object.keys(doubts).length > 0;
  const sentences = [
    failure && missing.length === 0 && !isOpen && text('all_stored'),
    isOpen && text(failure ? 'not_known' : 'unchecked'),
    missing.length > 0 && text('not_stored'),
    hasDoubts && text('doubtful'),
    marked.length > 0 && text('news'),
  ];
  if (failure) return sayFailed(failure, sentences, namesOf(doubted));
  if (missing.length > 0) return say('lost', [text('lost'), ...sentences]);
  if (isOpen) return say('unchecked', sentences);
  return say(hasDoubts ? 'noticed' : 'saved', [text('saved'), ...sentences]);
}

// Locks the form during the work. A locked control loses the focus, so the messages have it meanwhile, and
// keep it if the control is off afterwards. The page scrolls only to a field that needs attention.
async function run(progress, work) {
  const focused = document.activeElement;
  sayPhase(progress);
  if (focused !== document.body) element('messages').focus({ preventScroll: true });
  await work().catch((error) =>
    sayFailed(error, [text(attempt && loaded ? 'not_known' : NOT_DONE[progress])]),
  );
  const field = inputs.find(({ id, disabled }) => attention.includes(id) && !disabled);
  const target = field ?? (focused.matches(':disabled, [hidden]') ? element('messages') : focused);
  target.focus({ preventScroll: !field });
  if (field) element(`${field.id}-notice`)?.scrollIntoView({ block: 'nearest' });
}

// A tab that comes back to the front shows what is stored now, unless it has changes to lose. It asks nothing;
// remarks name what was changed elsewhere, the service too.
async function refreshIdleTab() {
  const shown = loaded;
  const isIdle = () => shown !== null && loaded === shown && !document.hidden && !isBusy() && !hasChanges();
  if (!isIdle()) return;
  const data = await request('load');
  if (!isIdle()) return;
  const news = takeOver(data).marked;
  if (loaded.unreadable.length > 0) sayPhase('unreadable');
  else if (news.length > 0) sayPhase('news');
  else if (['unreadable', 'asking'].includes(phase)) sayPhase('');
  else refresh();
}

// Shows the problems of fields that lost the focus. The sentences shift the page, so they wait until the click
// that left the field is over.
function check() {
  const isReady = loaded !== null && !isBusy() && !document.querySelector(':active');
  if (isReady && shownProblems().size > 0) sayInvalid();
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
  if (FIELDS[id].triggers)
    input.closest('.card').append(Object.assign(part('p', 'notice'), { role: 'status' }));
  input.setAttribute('aria-labelledby', title.id);
  const describing = ['unit', 'hint', 'remark', 'notice'].map((name) => `${id}-${name}`).filter(element);
  input.setAttribute('aria-describedby', describing.join(' '));
}

element('settings').addEventListener('submit', (event) => {
  event.preventDefault();
  if (performance.now() - askedAt >= QUESTION) run('saving', save);
});
element('settings').addEventListener('input', () => {
  if (shownProblems().size > 0) sayInvalid();
  else sayPhase(hasChanges() ? 'unsaved' : '');
});
element('fields').addEventListener('focusout', ({ target }) => {
  checked.add(target.id);
  check();
});
element('retry').addEventListener('click', () => startOver('loaded'));
element('discard').addEventListener('click', () => startOver(attempt ? 'loaded' : 'discarded'));
element('reveal').addEventListener('click', () => showPasswords(element('passwd').type === 'password'));
addEventListener('click', check);
document.addEventListener('visibilitychange', () => refreshIdleTab().catch(console.error));
addEventListener('beforeunload', (event) => hasChanges() && event.preventDefault());

document.documentElement.lang = language;
for (const shown of document.querySelectorAll('[data-text]')) shown.textContent = text(shown.dataset.text);
inputs.forEach(addLabels);
element('unsupported').remove();
document.querySelector('main').hidden = false;
startOver('');
