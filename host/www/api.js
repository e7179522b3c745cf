// Talks to the settings program on the appliance.

// The program could not be asked, or what came back was not its answer.
export class Unanswered extends Error {
  constructor(key) {
    super(key);
    this.key = key;
  }
}

// The program answered that it did not do what was asked.
export class Refused extends Error {
  constructor(key) {
    super(`refused: ${key}`);
    this.key = key;
  }
}

export async function request(action, parameters = {}) {
  const answer = await readAnswer(await send({ action, ...parameters }));
  if (!answer.success) throw new Refused(answer.errinfo?.key);
  return answer.data;
}

async function send(parameters) {
  try {
    return await fetch('/dtv_manage.cgi', { method: 'POST', body: new URLSearchParams(parameters) });
  } catch {
    throw new Unanswered('unreachable');
  }
}

async function readAnswer(response) {
  if (response.status === 401 || response.status === 403) throw new Unanswered('signed_out');
  const answer = await response.json().catch(() => null);
  if (typeof answer?.success !== 'boolean') throw new Unanswered('unreadable');
  return answer;
}
