// The settings as the form holds them: text for every field, true or false for every choice, under
// the names that the program uses when it saves. Only the DTV service is turned round: the program
// asks whether it is switched off, the form whether it runs.

// Stand for the stored password, which never leaves the appliance.
const PASSWORD_PLACEHOLDER = '24681357';
const CONFIRM_PLACEHOLDER = '75318642';

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

const NUMBER_MISTAKES = {
  number_not_whole: (text) => !/^-?\d+$/.test(text),
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
  passwd: { password_reserved: (text) => [PASSWORD_PLACEHOLDER, CONFIRM_PLACEHOLDER].includes(text) },
  streaming_limit: LIMIT_MISTAKES,
};

// The program's steps in their order, each with what it stores and a load shows.
const STEPS = [
  ['share', 'subpath'],
  ['closestreaming', 'pre_recording', 'post_recording'],
  ['enableauth', 'account', 'enable_viewer_limit', 'streaming_limit'],
  ['dtv_service'],
];

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

// An input drops line breaks, so they are dropped here too: otherwise the field
// would seem edited as soon as it is shown.
function oneLine(value) {
  if (value === undefined || value === null) return '';
  const text = typeof value === 'string' ? value : JSON.stringify(value);
  return text.replace(/[\r\n]/g, '');
}

export function destination({ share, subpath }) {
  if (!share) return '';
  return subpath ? `/${share}/${subpath}` : `/${share}`;
}

// 5430 is "1 h 30 min 30 s". Nothing for what is no whole number of seconds, or too large.
export function duration(text) {
  if (!/^\d+$/.test(text)) return '';
  const seconds = Number(text);
  if (seconds >= 2 ** 31) return '';
  const parts = [[Math.floor(seconds / 3600), 'h'], [Math.floor(seconds / 60) % 60, 'min'], [seconds % 60, 's']];
  return parts.filter(([amount]) => amount > 0).map(([amount, unit]) => `${amount} ${unit}`).join(' ');
}

export function applies(name, form) {
  return !Object.hasOwn(BELONGS_TO, name) || Boolean(form[BELONGS_TO[name]]);
}

// The form as it would be saved: no blanks around a newly typed folder, and what was typed into a
// field that no longer applies takes no effect.
export function effective(typed, stored) {
  const form = { ...typed };
  for (const name of ['share', 'subpath']) {
    if (form[name] !== stored[name]) form[name] = form[name].trim();
  }
  const names = Object.keys(form);
  return Object.fromEntries(names.map((name) => [name, (applies(name, form) ? form : stored)[name]]));
}

export function differ(form, stored) {
  return Object.keys(form).some((name) => form[name] !== stored[name]);
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

// Always all parameters: the program takes one that is missing for a change.
// Nothing is sent for an untouched destination or account, which keeps them
// exactly as stored even where the form can't show them faithfully.
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
    passwd: form.passwd || PASSWORD_PLACEHOLDER,
    password_confirm: form.password_confirm || CONFIRM_PLACEHOLDER,
    enable_viewer_limit: form.enable_viewer_limit,
    streaming_limit: form.streaming_limit,
    disable_dtv: form.dtv_service ? 'no' : 'yes',
  };
}

// Whether somebody else has stored something: what neither this page has shown nor `attempt`, a save
// of its own without an answer, has sent.
export function isNews(now, shown, attempt) {
  return Object.keys(now).some((name) => now[name] !== shown[name] && now[name] !== attempt?.sent[name]);
}

// What is stored now but may be without effect, as parts of the form: what was so already (`known`),
// and what `attempt`, a save that failed, has left so.
export function halfDoneNow(known, attempt, now) {
  return [...known, ...leftBy(attempt, now)].filter((part) => !differ(part, now));
}

// The first step that fails ends a save. So of the steps that had something to change only the last
// one stored can have failed after it stored, and only two steps do more than to store. Whether a new
// password was what failed instead no load can show.
function leftBy(attempt, now) {
  if (attempt === null) return [];
  const changed = STEPS.map((names) => pick(names, attempt.sent)).filter((part) => differ(part, attempt.before));
  const last = changed.filter((part) => !differ(part, now)).slice(-1);
  return last.filter((part) => 'share' in part || 'dtv_service' in part);
}

function pick(names, form) {
  return Object.fromEntries(names.map((name) => [name, form[name]]));
}
