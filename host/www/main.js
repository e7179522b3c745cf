// Shows the stored settings in the form and saves what was changed.

import { Refused, request } from './api.js';
import { applies, differ, effective, formFrom, hasStoredPassword, problemsOf, saveParameters } from './settings.js';
import { errorSentence, language, texts } from './texts.js';

const element = (id) => document.getElementById(id);
const inputs = [...document.querySelectorAll('input')];

let stored = null; // the form as the appliance stores it, null while that is not known
let doubtful = false; // a save failed, so some of it may be stored all the same
let busy = false;

function showTexts() {
  document.documentElement.lang = language;
  for (const shown of document.querySelectorAll('[data-text]')) {
    shown.textContent = texts[shown.dataset.text];
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
}

function hasChanges() {
  return stored !== null && (doubtful || differ(effective(readForm(), stored), stored));
}

function refreshControls() {
  const form = readForm();
  for (const input of inputs) {
    input.disabled = busy || stored === null || !applies(input.name, form);
  }
  element('save').disabled = busy || !hasChanges();
}

function firstInvalid() {
  return document.querySelector('[aria-invalid=true]');
}

// Shows what is wrong beside each field; answers whether the form can be saved.
function checkFields() {
  const problems = new Map(problemsOf(effective(readForm(), stored), stored));
  for (const input of inputs.filter((each) => each.type !== 'checkbox')) {
    const problem = problems.get(input.name);
    element(`${input.name}-problem`).textContent = problem ? texts.problems[problem] : '';
    input.setAttribute('aria-invalid', problem !== undefined);
  }
  return problems.size === 0;
}

function say(sentence) {
  element('status').textContent = sentence;
}

async function load() {
  const data = await request('load');
  const form = formFrom(data);
  writeForm(form);
  element('conflict').textContent = data.DVB_conflict ? texts.conflict : '';
  element('passwd-hint').textContent = hasStoredPassword(data) ? texts.passwordStored : texts.passwordMissing;
  stored = form;
  doubtful = false;
}

async function save() {
  if (doubtful) stored = formFrom(await request('load'));
  if (!checkFields()) return;
  doubtful = true;
  await request('save', saveParameters(effective(readForm(), stored), stored));
  stored = null;
  say(texts.saved);
  await load();
}

// Until something is loaded, loading is what failed; after that it is saving, and
// an answer that refused it leaves the Save button to try again with.
function showFailure(error) {
  console.error(error);
  const action = stored === null ? 'load' : 'save';
  element('failure').textContent = errorSentence(error.key, action);
  element('retry').hidden = action === 'save' && error instanceof Refused;
}

function showBusy(progress) {
  busy = progress !== '';
  element('progress').textContent = progress;
  refreshControls();
}

// Locks the form during the work and then gives the focus back, which a locked
// control loses; where it can't have it any more, the messages get it.
async function run(work, progress) {
  const focused = document.activeElement;
  say('');
  element('failure').textContent = '';
  element('retry').hidden = true;
  showBusy(progress);
  await work().catch(showFailure);
  showBusy('');
  const target = firstInvalid() ?? focused;
  (target.disabled || target.hidden ? element('messages') : target).focus();
}

const runLoad = () => run(load, texts.loading);
const runSave = () => run(save, texts.saving);

element('settings').addEventListener('submit', (event) => {
  event.preventDefault();
  runSave();
});

element('settings').addEventListener('input', () => {
  if (firstInvalid()) checkFields();
  refreshControls();
  say(hasChanges() ? texts.unsaved : '');
});

element('retry').addEventListener('click', () => (stored === null ? runLoad() : runSave()));

addEventListener('beforeunload', (event) => {
  if (hasChanges()) event.preventDefault();
});

showTexts();
runLoad();
