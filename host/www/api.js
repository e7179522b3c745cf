// Talks to the settings program on the appliance.

// A request that did not succeed. `key` says why: the program's own error key, which it has for some
// refusals only, or this page's where it could not be asked or gave no proper answer.
export class Failure extends Error {
  constructor(key) {
    super(key ?? 'no reason given');
    this.key = key;
  }
}

export async function request(action, parameters = {}) {
  const response = await send(action, parameters);
  if (response.status === 401 || response.status === 403) throw new Failure('signed_out');
  const answer = await response.json().catch(() => null);
  if (typeof answer?.success !== 'boolean') throw new Failure('unreadable');
  if (!answer.success) throw new Failure(answer.errinfo?.key);
  return answer.data;
}

async function send(action, parameters) {
  try {
    return await fetch('/dtv_manage.cgi', { method: 'POST', body: new URLSearchParams({ action, ...parameters }) });
  } catch {
    throw new Failure('unreachable');
  }
}
