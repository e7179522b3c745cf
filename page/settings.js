// The settings as the form holds them: text for every field, true or false for every flag, under the
// names that the program uses when it saves. Only the DTV service is inverted: the program asks
// whether it is switched off, the form whether it runs.

// What the program takes for "keep the stored password".
const RESERVED_PASSWORDS = ['24681357', '75318642'];

const isEmpty = (text) => text === '';
const isDots = (name) => name === '.' || name === '..';
const isWhole = (text) => /^-?\d+$/.test(text);
// A zero-width joiner and non-joiner belong to some scripts.
const hasInvisible = (text) => /(?![\u200c\u200d])[\p{Cc}\p{Cf}\p{Cs}\p{Zl}\p{Zp}]/u.test(text);

const NUMBER_MISTAKES = {
  number_not_whole: (text) => !isWhole(text),
  number_too_large: (text) => Number(text) >= 2 ** 31,
};

// What newly typed text of a kind must not be, by the name of the sentence that says so.
const MISTAKES = {
  text: { invisible: hasInvisible },
  number: NUMBER_MISTAKES,
  seconds: { ...NUMBER_MISTAKES, time_negative: (text) => Number(text) < 0 },
};

// Every field, by its name in the page:
//   kind       how it is shown, stored and checked
//   step       the step of a save that stores it
//   unit       the first of several fields that mean something only together: a merge takes all of them
//              from one side
//   belongsTo  the flag or text without which the field does not apply
//   not        further mistakes
//   initial    what a new device has, if not false
//   acts       storing it is not all that the appliance does: it sets up a folder, stops a service
export const FIELDS = {
  dtv_service: { kind: 'flag', step: 'switch', acts: true },
  share: {
    kind: 'text',
    step: 'destination',
    acts: true,
    not: { share_cleared: isEmpty, share_slash: (text) => text.includes('/'), folder_dots: isDots },
  },
  subpath: {
    kind: 'text',
    step: 'destination',
    unit: 'share',
    belongsTo: 'share',
    not: {
      subpath_slash: (text) => /^\/|\/\/|\/$/.test(text),
      folder_dots: (text) => text.split('/').some(isDots),
    },
  },
  closestreaming: { kind: 'flag', step: 'recording' },
  pre_recording: { kind: 'seconds', step: 'recording', initial: 180 },
  post_recording: { kind: 'seconds', step: 'recording', initial: 120 },
  enableauth: { kind: 'flag', step: 'streaming' },
  account: {
    kind: 'text',
    step: 'streaming',
    unit: 'enableauth',
    belongsTo: 'enableauth',
    initial: '',
    not: { account_missing: isEmpty },
  },
  passwd: {
    kind: 'password',
    step: 'streaming',
    belongsTo: 'enableauth',
    not: { password_reserved: (text) => RESERVED_PASSWORDS.includes(text) },
  },
  password_confirm: { kind: 'password', step: 'streaming', unit: 'passwd', belongsTo: 'enableauth' },
  enable_viewer_limit: { kind: 'flag', step: 'streaming' },
  streaming_limit: {
    kind: 'number',
    step: 'streaming',
    belongsTo: 'enable_viewer_limit',
    initial: 1,
    not: { limit_below_one: (text) => Number(text) < 1 },
  },
};

// The keys of failures after which nothing is stored, with the fields that they are about.
export const REFUSALS = {
  signed_out: [],
  error_privilege_not_enough: [],
  error_duplicate_path: ['share'],
};

const NAMES = Object.keys(FIELDS);
const NEW_DEVICE = Object.fromEntries(NAMES.map((name) => [name, FIELDS[name].initial ?? false]));
const ofSteps = (steps) => NAMES.filter((name) => steps.includes(FIELDS[name].step));
const unitOf = (name) => NAMES.filter((other) => other === name || FIELDS[other].unit === name);
const UNITS = NAMES.filter((name) => !FIELDS[name].unit).map(unitOf);

export const isPassword = (name) => FIELDS[name].kind === 'password';

const pick = (names, form) => Object.fromEntries(names.map((name) => [name, form[name]]));
const differ = (form, other, names) => names.some((name) => form[name] !== other[name]);

// The form for what a load has returned. Settings that the load hides stay as they were `shown`, if they were.
// Settings that are gone get the values of a new device.
export function formFrom(data, shown, { hidden = [], gone = [] }) {
  const folder = splitDestination(oneLine(data.dtv_destination));
  const values = { ...data, ...pick(ofSteps(gone), NEW_DEVICE), ...folder, dtv_service: !data.disable_dtv };
  const convert = { flag: Boolean, text: oneLine, number: oneLine, seconds: oneLine, password: () => '' };
  const form = Object.fromEntries(NAMES.map((name) => [name, convert[FIELDS[name].kind](values[name])]));
  return { ...form, ...(shown && pick(ofSteps(hidden), shown)) };
}

// Returns the steps whose stored settings a load does not show. Recording and streaming have a file each. Where
// only one of the files can be read, the settings of the other are `gone`, and a load shows defaults for those of
// this one: they are `hidden`. Where neither can, the device is new, unless an earlier load has shown `hasFiles`.
export function unreadableSteps(data, hasFiles) {
  const hasDefaultTimes = !differ(data, NEW_DEVICE, ofSteps(['recording']));
  if (!('passwd' in data) && hasDefaultTimes) return hasFiles ? { gone: ['recording', 'streaming'] } : {};
  if (!('passwd' in data)) return { hidden: ['streaming'], gone: ['recording'] };
  const hasAccess = ofSteps(['streaming']).some(
    (name) => !isPassword(name) && ![false, null, 0].includes(data[name]),
  );
  return hasDefaultTimes && !hasAccess ? { hidden: ['recording'], gone: ['streaming'] } : {};
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

export const destination = ({ share = '', subpath }) =>
  share && (subpath ? `/${share}/${subpath}` : `/${share}`);

// 5430 is "= 1 h 30 min 30 s". Nothing for what is no whole number of seconds, or too large.
export function duration(text) {
  const seconds = /^\d+$/.test(text) ? Number(text) : 0;
  if (seconds >= 2 ** 31) return '';
  const parts = [
    [Math.floor(seconds / 3600), 'h'],
    [Math.floor(seconds / 60) % 60, 'min'],
    [seconds % 60, 's'],
  ];
  const words = parts.filter(([amount]) => amount > 0).map(([amount, unit]) => `${amount}\u00a0${unit}`);
  return words.length > 0 ? `=\u00a0${words.join('\u00a0')}` : '';
}

export const applies = (name, form) => !FIELDS[name].belongsTo || Boolean(form[FIELDS[name].belongsTo]);

// The form as it would be saved. What was typed into a field that does not apply has no effect.
export function effective(typed, stored) {
  const form = Object.fromEntries(NAMES.map((name) => [name, tidy(name, typed[name], stored[name])]));
  return Object.fromEntries(NAMES.map((name) => [name, (applies(name, form) ? form : stored)[name]]));
}

// New text without blanks around it, and numbers in the form that a load shows them in.
function tidy(name, value, stored) {
  const { kind } = FIELDS[name];
  if (value === stored || kind === 'flag' || kind === 'password') return value;
  const text = value.trim();
  return kind !== 'text' && isWhole(text) ? String(BigInt(text)) : text;
}

// Returns [field, name of the problem's sentence] for every field that can't be saved. What is stored
// already is kept as it is, so only what was typed can be a mistake.
export function problemsOf(form, stored) {
  const problems = NAMES.filter((name) => form[name] !== stored[name]).map((name) => {
    const mistakes = { ...MISTAKES[FIELDS[name].kind], ...FIELDS[name].not };
    return [name, Object.keys(mistakes).find((key) => mistakes[key](form[name]))];
  });
  if (form.enableauth && !stored.account && (!stored.enableauth || form.account || form.passwd)) {
    if (!form.account) problems.push(['account', 'account_missing']);
    if (!form.passwd) problems.push(['passwd', 'password_missing']);
  }
  if (form.passwd !== form.password_confirm) problems.push(['password_confirm', 'password_differs']);
  return problems.filter(([, problem]) => problem !== undefined);
}

// The fields that a save was refused for, until they are edited.
export function refusedFields({ key, sent }, form) {
  return REFUSALS[key].filter((name) => !differ(form, sent, unitOf(name)));
}

// Sends all parameters: the program gives a missing one its default. Nothing is sent for an
// untouched destination or account: they stay as stored even where the form can't show them faithfully.
export function saveParameters({ dtv_service, ...form }, stored) {
  const moved = destination(form) !== destination(stored);
  return {
    ...form,
    share: moved ? form.share : '',
    subpath: moved ? form.subpath : '',
    account: form.account === stored.account ? '' : form.account,
    disable_dtv: dtv_service ? 'no' : 'yes',
  };
}

// Merges what is stored `now` into the form as `typed`, where `shown` was stored before. A unit that was touched
// keeps what was typed, any other one takes what is stored now. A unit also counts as touched if `attempt`, a save
// of this page, has sent it or if it is `gone`: the form then offers it as unsaved. Units that this page has sent,
// that were `hidden` before or that are `gone` do not count as changed elsewhere. Returns
//   taken      the fields that take what is stored now
//   elsewhere  the fields that another session has changed ("changed"), or whose change no longer applies
//              after that ("void"), by their name
//   contested  whether what was typed conflicts with such a change or no longer applies, or another session has
//              switched the service off: a switch that cannot be read looks the same
export function merge(typed, shown, now, attempt, hidden = [], gone = []) {
  const sent = attempt?.sent ?? shown;
  const isOf = (steps, [name]) => steps.includes(FIELDS[name].step);
  const isTouched = (unit) => isOf(gone, unit) || differ(typed, shown, unit) || differ(sent, shown, unit);
  const isChangedElsewhere = (unit) =>
    !isOf([...hidden, ...gone], unit) && differ(now, shown, unit) && differ(now, sent, unit);
  const merged = { ...typed, ...pick(UNITS.filter((unit) => !isTouched(unit)).flat(), now) };
  const isVoid = (unit) =>
    differ(typed, now, unit) && unit.some((name) => typed[name] !== shown[name] && !applies(name, merged));
  const isContested = (unit) => isTouched(unit) && isChangedElsewhere(unit) && differ(typed, now, unit);
  const changed = UNITS.filter(isChangedElsewhere)
    .flat()
    .filter((name) => now[name] !== shown[name] && now[name] !== typed[name]);
  const voided = UNITS.filter(isVoid).flat();
  return {
    taken: pick(UNITS.filter((unit) => !isTouched(unit) || isVoid(unit)).flat(), now),
    elsewhere: Object.fromEntries([
      ...changed.map((name) => [name, 'changed']),
      ...voided.map((name) => [name, 'void']),
    ]),
    contested:
      voided.length > 0 ||
      UNITS.some(isContested) ||
      (isChangedElsewhere(['dtv_service']) && !now.dtv_service),
  };
}

// Returns the units that a failed save has stored, perhaps without effect, by their first field: those `known` so
// far, and those of `attempt` if it failed. A unit is dropped once another value is stored.
export function possiblyIneffective(known, attempt, now) {
  const { before, sent } = !attempt || attempt.hasSucceeded ? { before: now, sent: now } : attempt;
  const units = UNITS.filter((unit) => FIELDS[unit[0]].acts && differ(sent, before, unit));
  const all = [...Object.entries(known), ...units.map((unit) => [unit[0], pick(unit, sent)])];
  return Object.fromEntries(all.filter(([name, part]) => !differ(part, now, unitOf(name))));
}
