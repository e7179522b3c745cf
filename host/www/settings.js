// The settings as the form holds them: text for every field, true or false for every choice, under
// the names that the program uses when it saves. Only the DTV service is turned round: the program
// asks whether it is switched off, the form whether it runs.

// What the program takes for "keep the stored password".
const RESERVED_PASSWORDS = ['24681357', '75318642'];

// A field applies only while the choice or text it belongs to is set.
const BELONGS_TO = {
  subpath: 'share',
  account: 'enableauth',
  passwd: 'enableauth',
  password_confirm: 'enableauth',
  streaming_limit: 'enable_viewer_limit',
};

const isEmpty = (text) => text === '';
const isDots = (name) => name === '.' || name === '..';
const hasControlCharacter = (text) => /\p{Cc}/u.test(text);
const isWhole = (text) => /^-?\d+$/.test(text);

const NUMBER_MISTAKES = {
  number_not_whole: (text) => !isWhole(text),
  number_too_large: (text) => Number(text) >= 2 ** 31,
};
const TIME_MISTAKES = { ...NUMBER_MISTAKES, time_negative: (text) => Number(text) < 0 };
const LIMIT_MISTAKES = { ...NUMBER_MISTAKES, limit_below_one: (text) => Number(text) < 1 };

// What newly typed text must not be, by field and by the name of the sentence that says so.
const MISTAKES = {
  share: {
    share_cleared: isEmpty,
    share_slash: (text) => text.includes('/'),
    folder_dots: isDots,
    folder_control: hasControlCharacter,
  },
  subpath: {
    subpath_slash: (text) => text.startsWith('/') || text.endsWith('/'),
    subpath_gap: (text) => text.includes('//'),
    folder_dots: (text) => text.split('/').some(isDots),
    folder_control: hasControlCharacter,
  },
  pre_recording: TIME_MISTAKES,
  post_recording: TIME_MISTAKES,
  account: { account_cleared: isEmpty },
  passwd: { password_reserved: (text) => RESERVED_PASSWORDS.includes(text) },
  streaming_limit: LIMIT_MISTAKES,
};

// The program's steps in their order, each with the units that it stores. The fields of a unit mean
// something only together, so a merge takes all of them from one side.
const STEPS = [
  [['share', 'subpath']],
  [['closestreaming'], ['pre_recording'], ['post_recording']],
  [['enableauth', 'account'], ['passwd', 'password_confirm'], ['enable_viewer_limit'], ['streaming_limit']],
  [['dtv_service']],
];
const UNITS = STEPS.flat();

export function formFrom(data) {
  return {
    ...splitDestination(oneLine(data.dtv_destination)),
    closestreaming: data.closestreaming,
    pre_recording: String(data.pre_recording),
    post_recording: String(data.post_recording),
    enableauth: data.enableauth,
    account: oneLine(data.account),
    passwd: '',
    password_confirm: '',
    enable_viewer_limit: data.enable_viewer_limit,
    streaming_limit: String(data.streaming_limit),
    dtv_service: !data.disable_dtv,
  };
}

function splitDestination(destination) {
  const [, share, , subpath] = destination.match(/^\/?([^/]*)(\/(.*))?$/s);
  return { share, subpath: subpath ?? '' };
}

// An input drops line breaks. They are dropped here too: otherwise the field would seem edited at once.
function oneLine(value) {
  if (value === undefined || value === null) return '';
  const text = typeof value === 'string' ? value : JSON.stringify(value);
  return text.replace(/[\r\n]/g, '');
}

export function destination({ share, subpath }) {
  if (!share) return '';
  return subpath ? `/${share}/${subpath}` : `/${share}`;
}

// 5430 is "= 1 h 30 min 30 s". Nothing for what is no whole number of seconds, or too large.
export function duration(text) {
  const seconds = /^\d+$/.test(text) ? Number(text) : 0;
  if (seconds >= 2 ** 31) return '';
  const parts = [[Math.floor(seconds / 3600), 'h'], [Math.floor(seconds / 60) % 60, 'min'], [seconds % 60, 's']];
  const words = parts.filter(([amount]) => amount > 0).map(([amount, unit]) => `${amount}\u00a0${unit}`);
  return words.length > 0 ? `=\u00a0${words.join('\u00a0')}` : '';
}

export function applies(name, form) {
  return !Object.hasOwn(BELONGS_TO, name) || Boolean(form[BELONGS_TO[name]]);
}

// The form as it would be saved. What was typed into a field that does not apply has no effect.
export function effective(typed, stored) {
  const names = Object.keys(typed);
  const form = Object.fromEntries(names.map((name) => [name, tidy(name, typed[name], stored[name])]));
  return Object.fromEntries(names.map((name) => [name, (applies(name, form) ? form : stored)[name]]));
}

// New text without blanks around it, and numbers in the form that a load shows them in.
function tidy(name, value, stored) {
  if (value === stored || typeof value === 'boolean' || ['passwd', 'password_confirm'].includes(name)) return value;
  const text = value.trim();
  return 'number_not_whole' in MISTAKES[name] && isWhole(text) ? String(BigInt(text)) : text;
}

function differ(form, other, names = Object.keys(form)) {
  return names.some((name) => form[name] !== other[name]);
}

// Answers [field, name of the problem's sentence] for every field that can't be saved. What is stored
// already is kept as it is, so only what was typed can be a mistake.
export function problemsOf(form, stored) {
  const problems = Object.entries(MISTAKES)
    .filter(([name]) => form[name] !== stored[name])
    .map(([name, mistakes]) => [name, Object.keys(mistakes).find((key) => mistakes[key](form[name]))]);
  if (form.enableauth && !stored.account && (!stored.enableauth || form.account || form.passwd)) {
    if (!form.account) problems.push(['account', 'account_missing']);
    if (!form.passwd) problems.push(['passwd', 'password_missing']);
  }
  if (form.passwd !== form.password_confirm) problems.push(['password_confirm', 'password_differs']);
  return problems.filter(([, problem]) => problem !== undefined);
}

// Always all parameters: the program takes one that is missing for a change. Nothing is sent for an
// untouched destination or account: they stay as stored even where the form can't show them faithfully.
export function saveParameters(form, stored) {
  const moved = destination(form) !== destination(stored);
  return {
    share: moved ? form.share : '',
    subpath: moved ? form.subpath : '',
    closestreaming: form.closestreaming,
    pre_recording: form.pre_recording,
    post_recording: form.post_recording,
    enableauth: form.enableauth,
    account: form.account === stored.account ? '' : form.account,
    passwd: form.passwd,
    password_confirm: form.password_confirm,
    enable_viewer_limit: form.enable_viewer_limit,
    streaming_limit: form.streaming_limit,
    disable_dtv: form.dtv_service ? 'no' : 'yes',
  };
}

// Merges what is stored `now` into the form as `typed`, where `shown` was stored before. A unit that was
// touched keeps what was typed, any other one takes what is stored now. What `attempt`, a save of this
// page without a clear answer, has sent was touched, and is nobody else's change. Answers
//   taken      the fields that take what is stored now
//   theirs     the names of the fields that somebody else has changed
//   contested  whether what was typed is in the way of such a change, or the change makes it void
export function merge(typed, shown, now, attempt) {
  const sent = attempt?.sent ?? shown;
  const isTouched = (unit) => differ(typed, shown, unit) || differ(sent, shown, unit);
  const isTheirs = (unit) => differ(now, shown, unit) && differ(now, sent, unit);
  const taken = pick(UNITS.filter((unit) => !isTouched(unit)).flat(), now);
  const form = { ...typed, ...taken };
  const isVoid = (unit) => differ(typed, shown, unit) && differ(form, effective(form, now), unit);
  return {
    taken,
    theirs: UNITS.filter(isTheirs).flat().filter((name) => now[name] !== shown[name]),
    contested: UNITS.some((unit) => isTouched(unit) && (isVoid(unit) || (isTheirs(unit) && differ(typed, now, unit)))),
  };
}

// What a load after a failed save tells of it, as the name of its sentence. A load shows no password;
// that was not stored if another setting of its step or of a step before was not.
export function outcomeOf({ before, sent }, now) {
  const changed = Object.keys(sent).filter((name) => sent[name] !== before[name] && !/^passw/.test(name));
  const missing = changed.filter((name) => sent[name] !== now[name]);
  if (sent.passwd && missing.every((name) => name === 'dtv_service')) return 'password_unknown';
  if (missing.length === 0) return doubtFrom({ before, sent }, now) ? 'doubtful' : 'all_stored';
  return missing.length === changed.length ? 'nothing_saved' : 'partly_saved';
}

// The settings that failed saves may have stored without effect, by the name of their first field:
// the ones known before that are stored still, and what `attempt`, if there is one, has left.
export function doubtsNow(known, attempt, now) {
  const all = { ...known, ...(attempt && doubtFrom(attempt, now)) };
  return Object.fromEntries(Object.entries(all).filter(([, { part }]) => !differ(part, now)));
}

// The first step that fails ends a save. So of the steps that had something to change only the last
// one stored can have failed after it stored, and only two steps do more than to store. It is certain
// that it failed where nothing was left that a later step could have failed to store.
function doubtFrom({ before, sent }, now) {
  const changed = STEPS.map((units) => units.flat()).filter((names) => differ(sent, before, names));
  const last = changed.findLast((names) => !differ(sent, now, names)) ?? [];
  if (!['share', 'dtv_service'].includes(last[0])) return null;
  return { [last[0]]: { part: pick(last, sent), certain: last[0] === 'dtv_service' || !differ(sent, now) } };
}

// A save that succeeds after one that failed ends what was not certain.
export function doubtsAfterSave(doubts) {
  return Object.fromEntries(Object.entries(doubts).filter(([, { certain }]) => certain));
}

function pick(names, form) {
  return Object.fromEntries(names.map((name) => [name, form[name]]));
}
