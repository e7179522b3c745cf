// The settings as the form holds them: text for every field, true or false for every flag, under the names
// that the program uses when it saves. Only the DTV service is inverted: the program asks whether it is
// switched off, the form whether it runs.

// Every field, in the order in which a save stores them:
//   kind      how it is shown, stored and checked
//   file      where it is stored
//   unit      fields that mean something only together: they are merged and asked about as one. The first
//             one is a flag or text without which the others do not apply.
//   initial   what a new device has, if neither false nor empty
//   triggers  saving it also triggers an action: the folder is indexed, the service is switched
export const FIELDS = {
  share: { kind: 'text', file: 'folder.conf', unit: 'destination', triggers: true },
  subpath: { kind: 'text', file: 'folder.conf', unit: 'destination' },
  closestreaming: { kind: 'flag', file: 'record.conf' },
  pre_recording: { kind: 'seconds', file: 'record.conf', initial: 180 },
  post_recording: { kind: 'seconds', file: 'record.conf', initial: 120 },
  enableauth: { kind: 'flag', file: 'stream.conf', unit: 'sign-in' },
  account: { kind: 'text', file: 'stream.conf', unit: 'sign-in' },
  passwd: { kind: 'password', file: 'stream.conf', unit: 'sign-in' },
  password_confirm: { kind: 'password', file: 'stream.conf', unit: 'sign-in' },
  enable_viewer_limit: { kind: 'flag', file: 'stream.conf', unit: 'viewer limit' },
  streaming_limit: { kind: 'number', file: 'stream.conf', unit: 'viewer limit', initial: 1 },
  dtv_service: { kind: 'flag', file: 'dtv_setting.conf', triggers: true },
};

const isEmpty = (text) => text === '';
const isDots = (name) => name === '.' || name === '..';
const isWhole = (text) => /^-?\d+$/.test(text);
// A zero-width joiner and non-joiner belong to some scripts.
const hasInvisible = (text) => /(?![\u200c\u200d])[\p{Cc}\p{Cf}\p{Cs}\p{Zl}\p{Zp}]/u.test(text);
const isTooLarge = (text) => Number(text) >= 2 ** 31;
const NUMBER_MISTAKES = { number_not_whole: (text) => !isWhole(text), number_too_large: isTooLarge };

// What newly typed text must not be, by the kind and by the name of its field. Each mistake has the name of
// the sentence that says so.
const MISTAKES = {
  text: { invisible: hasInvisible },
  number: NUMBER_MISTAKES,
  seconds: { ...NUMBER_MISTAKES, time_negative: (text) => Number(text) < 0 },
  share: { share_cleared: isEmpty, share_slash: (text) => text.includes('/'), folder_dots: isDots },
  subpath: {
    subpath_slash: (text) => /^\/|\/\/|\/$/.test(text),
    folder_dots: (text) => text.split('/').some(isDots),
  },
  account: { account_missing: isEmpty },
  // The program takes these for "keep the stored password".
  passwd: { password_reserved: (text) => ['24681357', '75318642'].includes(text) },
  streaming_limit: { limit_below_one: (text) => Number(text) < 1 },
};

// The keys of failures after which nothing is stored, with the fields that they are about.
export const REFUSALS = { signed_out: [], error_privilege_not_enough: [], error_duplicate_path: ['share'] };

export const pick = (names, form) => Object.fromEntries(names.map((name) => [name, form[name]]));
export const differ = (form, other, names) => names.some((name) => form[name] !== other[name]);
export const withoutPasswords = (form) => ({ ...form, passwd: '', password_confirm: '' });

const NAMES = Object.keys(FIELDS);
const OPTIONS = ['record.conf', 'stream.conf']; // where one cannot be read, a load hides the other, too
const NEW_DEVICE = formOf(Object.fromEntries(NAMES.map((name) => [name, FIELDS[name].initial ?? ''])));

const isPassword = (name) => FIELDS[name].kind === 'password';
const unitName = (name) => FIELDS[name].unit ?? name;

// The units, in the order of a save: the file, all fields, and those that a load shows.
export const UNITS = [...new Set(NAMES.map(unitName))].map((unit) => {
  const fields = NAMES.filter((name) => unitName(name) === unit);
  return { file: FIELDS[fields[0]].file, fields, shown: fields.filter((name) => !isPassword(name)) };
});
export const unitOf = (name) => UNITS.find(({ fields }) => fields.includes(name));

// What a load says. `before` is the result for the load before, or null.
//   form        the stored settings. What is hidden stays as it was before, or is as on a new device.
//   unreadable  the files that may be unreadable
//   isNew       whether every load so far looked like a new device's: neither record.conf nor stream.conf, and
//               no destination at the first load
export function readLoad(data, before) {
  const [, share, , subpath] = data.dtv_destination.match(/^\/?([^/]*)(\/(.*))?$/s);
  const form = formOf({ ...data, share, subpath, dtv_service: !data.disable_dtv });
  const hasDefaultTimes = !differ(form, NEW_DEVICE, ['pre_recording', 'post_recording']);
  const isNew = data.passwd === undefined && hasDefaultTimes && (before?.isNew ?? !share);
  const unreadable = isNew ? [] : unreadableOptions(data, form, hasDefaultTimes);
  if (before?.form.share && !share) unreadable.push('folder.conf');
  const hidden = NAMES.filter((name) => isHidden(FIELDS[name].file, unreadable));
  return { form: { ...form, ...pick(hidden, before?.form ?? NEW_DEVICE) }, unreadable, isNew };
}

// A load shows the defaults of a group where the file of the other one cannot be read. A readable stream.conf
// with everything off, no account and a limit of 0 looks like a lost one.
function unreadableOptions(data, form, hasDefaultTimes) {
  if (data.passwd === undefined) return hasDefaultTimes ? [...OPTIONS] : ['record.conf'];
  const isOff = !form.enableauth && data.account === null && !form.enable_viewer_limit;
  const isLost = isOff && data.streaming_limit === 0 && !form.closestreaming && hasDefaultTimes;
  return isLost ? ['stream.conf'] : [];
}

// Whether a load does not show what is in the file.
export const isHidden = (file, unreadable) =>
  unreadable.includes(file) || (OPTIONS.includes(file) && OPTIONS.some((each) => unreadable.includes(each)));

function formOf(values) {
  const convert = ({ kind }, value) => (kind === 'flag' ? Boolean(value) : oneLine(value));
  const form = Object.entries(FIELDS).map(([name, field]) => [name, convert(field, values[name])]);
  return withoutPasswords(Object.fromEntries(form));
}

// An input drops line breaks. They are dropped here too: otherwise the field would seem edited at once.
function oneLine(value = null) {
  if (value === null) return '';
  return (typeof value === 'string' ? value : JSON.stringify(value)).replace(/[\r\n]/g, '');
}

export const destination = ({ share, subpath }) => share && (subpath ? `/${share}/${subpath}` : `/${share}`);

// 5430 is "= 1 h 30 min 30 s". Nothing for what is no whole number of seconds, or too large.
export function duration(text) {
  const seconds = /^\d+$/.test(text) && !isTooLarge(text) ? Number(text) : 0;
  const amounts = { h: Math.floor(seconds / 3600), min: Math.floor(seconds / 60) % 60, s: seconds % 60 };
  const words = Object.entries(amounts).filter(([, amount]) => amount > 0);
  return words.length > 0
    ? ['=', ...words.map(([unit, amount]) => `${amount}\u00a0${unit}`)].join('\u00a0')
    : '';
}

export function applies(name, form) {
  const [first] = unitOf(name).fields;
  return name === first || Boolean(form[first]);
}

// The form as it would be saved. What was typed into a field that does not apply has no effect.
export function formToSave(typed, stored) {
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
export function problemsOf(form, loaded) {
  const problems = NAMES.filter((name) => form[name] !== loaded.form[name]).flatMap((name) => {
    const mistakes = { ...MISTAKES[FIELDS[name].kind], ...MISTAKES[name] };
    const mistake = Object.keys(mistakes).find((key) => mistakes[key](form[name]));
    return mistake ? [[name, mistake]] : [];
  });
  if (needsSignIn(form, loaded) && !form.account) problems.push(['account', 'account_missing']);
  if (needsSignIn(form, loaded) && !form.passwd) problems.push(['passwd', 'password_missing']);
  if (form.passwd !== form.password_confirm) problems.push(['password_confirm', 'password_differs']);
  return problems;
}

// Whether the form must have an account and a password because none is stored. Where stream.conf is only
// hidden, the program keeps what it holds.
function needsSignIn(form, { form: stored, unreadable }) {
  if (!form.enableauth || unreadable.includes('stream.conf')) return form.enableauth;
  if (isHidden('stream.conf', unreadable) || stored.account) return false;
  return !stored.enableauth || Boolean(form.account || form.passwd);
}

// The fields that a save was refused for, until they are edited.
export const refusedFields = ({ key, sent }, form) =>
  REFUSALS[key].filter((name) => !differ(form, sent, unitOf(name).fields));

// Sends all parameters: the program gives a missing one its default. Nothing is sent for an untouched
// destination or account: they stay as stored even where the form can't show them faithfully. A lost account
// is sent only with the sign-in on, because that needs a new password. A load shows no missing password.
export function saveParameters({ dtv_service, ...form }, { form: stored, unreadable }) {
  const isMoved = differ(form, stored, ['share', 'subpath']);
  const isLost = form.enableauth && unreadable.includes('stream.conf');
  const isAccountStored = form.account === stored.account && !isLost;
  return {
    ...form,
    share: isMoved ? form.share : '',
    subpath: isMoved ? form.subpath : '',
    account: isAccountStored ? '' : form.account,
    disable_dtv: dtv_service ? 'no' : 'yes',
  };
}
