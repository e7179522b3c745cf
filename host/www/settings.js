// The settings as the form holds them: text for every field, true or false for
// every choice, under the names that the program uses when it saves.

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

const NUMBERS = ['pre_recording', 'post_recording', 'streaming_limit'];

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
    disable_dtv: data.disable_dtv,
  };
}

export function hasStoredPassword(data) {
  return data.passwd === PASSWORD_PLACEHOLDER;
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

export function applies(name, form) {
  return !Object.hasOwn(BELONGS_TO, name) || Boolean(form[BELONGS_TO[name]]);
}

// What was typed into a field that no longer applies must not take effect.
export function effective(form, stored) {
  const names = Object.keys(form);
  return Object.fromEntries(names.map((name) => [name, (applies(name, form) ? form : stored)[name]]));
}

export function differ(form, stored) {
  return Object.keys(form).some((name) => form[name] !== stored[name]);
}

// Answers [field, name of the problem's text] for every field that can't be saved.
export function problemsOf(form, stored) {
  const problems = [];
  for (const name of ['share', 'account']) {
    if (stored[name] && !form[name]) problems.push([name, `${name}_cleared`]);
  }
  for (const name of NUMBERS) problems.push(...numberProblems(name, form[name]));
  if ([PASSWORD_PLACEHOLDER, CONFIRM_PLACEHOLDER].includes(form.passwd)) {
    problems.push(['passwd', 'password_reserved']);
  } else if (form.passwd !== form.password_confirm) {
    problems.push(['password_confirm', 'password_differs']);
  }
  return problems;
}

function numberProblems(name, text) {
  if (!/^-?\d+$/.test(text)) return [[name, 'number_not_whole']];
  const number = Number(text);
  const fits = number >= -(2 ** 31) && number < 2 ** 31;
  return fits ? [] : [[name, 'number_too_large']];
}

// Always all parameters: the program takes one that is missing for a change.
// Nothing is sent for an untouched destination or account, which keeps them
// exactly as stored even where the form can't show them faithfully.
export function saveParameters(form, stored) {
  const moved = form.share !== stored.share || form.subpath !== stored.subpath;
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
    disable_dtv: form.disable_dtv ? 'yes' : 'no',
  };
}
