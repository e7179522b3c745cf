// Talks to the settings program on the device.

const LIMIT = 75_000; // milliseconds; the server gives up after 60 seconds

// Why there is no proper answer, by the name of the error or the status.
const REASONS = {
  TimeoutError: 'no_answer',
  SyntaxError: 'unexpected',
  401: 'signed_out',
  403: 'signed_out',
  500: 'busy',
  504: 'too_slow',
};

// `key` says why a request did not succeed: the program's own error key, or one of this page's.
const failure = (key) => Object.assign(new Error(key), { key });

export async function request(action, parameters = {}) {
  const body = new URLSearchParams({ action, ...parameters });
  const fail = (error) => Promise.reject(failure(REASONS[error.name] ?? 'unreachable'));
  const options = { method: 'POST', body, signal: AbortSignal.timeout(LIMIT) };
  const response = await fetch('/dtv_manage.cgi', options).catch(fail);
  if (REASONS[response.status]) throw failure(REASONS[response.status]);
  const { success, errinfo, data } = (await response.json().catch(fail)) ?? {};
  if (success === false) throw failure(errinfo?.key ?? 'unknown');
  const isWhole = action === 'save' || typeof data?.dtv_destination === 'string';
  if (success !== true || !isWhole) throw failure('unexpected');
  return data;
}
