// Talks to the settings program on the appliance.

const LIMIT = 100_000; // milliseconds; the server gives up after 90 seconds

// Why there is no proper answer, by the name of the error.
const REASONS = { TimeoutError: 'no_answer', SyntaxError: 'unreadable' };

// A request that did not succeed. `key` says why: the program's own error key, which it has for some
// refusals only, or one of this page's.
export class Failure extends Error {
  constructor(key) {
    super(key ?? 'no reason given');
    this.key = key;
  }
}

export async function request(action, parameters = {}) {
  const body = new URLSearchParams({ action, ...parameters });
  const fail = ({ name }) => { throw new Failure(REASONS[name] ?? 'unreachable'); };
  const response = await fetch('/dtv_manage.cgi', { method: 'POST', body, signal: AbortSignal.timeout(LIMIT) }).catch(fail);
  if (response.status === 401 || response.status === 403) throw new Failure('signed_out');
  const answer = await response.json().catch(fail);
  if (typeof answer?.success !== 'boolean') throw new Failure('unreadable');
  if (!answer.success) throw new Failure(answer.errinfo?.key);
  return answer.data;
}
