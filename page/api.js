// Talks to the settings program on the appliance.

const LIMIT = 75_000; // milliseconds; the server gives up after 60 seconds

// Why there is no proper answer, by the name of the error or the status.
const REASONS = {
  TimeoutError: 'no_answer',
  SyntaxError: 'unreadable',
  401: 'signed_out',
  403: 'signed_out',
  500: 'busy',
  504: 'too_slow',
};

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
  const fail = ({ name }) => {
    throw new Failure(REASONS[name] ?? 'unreachable');
  };
  const response = await fetch('/dtv_manage.cgi', {
    method: 'POST',
    body,
    signal: AbortSignal.timeout(LIMIT),
  }).catch(fail);
  if (REASONS[response.status]) throw new Failure(REASONS[response.status]);
  const answer = await response.json().catch(fail);
  if (answer?.success === false) throw new Failure(answer.errinfo?.key);
  if (answer?.success !== true || (action === 'load' && typeof answer.data?.dtv_destination !== 'string'))
    throw new Failure('unreadable');
  return answer.data;
}
