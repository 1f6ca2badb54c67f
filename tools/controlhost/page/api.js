// The host's interface. Every failure is an ApiError whose message can be shown as it is.

export class ApiError extends Error {
  constructor(message, hint, status) {
    super(message);
    this.hint = hint;
    this.status = status;
  }
}

async function call(method, path, body, type = 'application/json') {
  let reply;
  try {
    reply = await fetch(path, {method, body, headers: body === undefined ? {} : {'Content-Type': type}});
  } catch {
    throw new ApiError('The host did not answer.', 'Is it still running?', 0);
  }
  const text = await reply.text();
  const isJson = (reply.headers.get('Content-Type') ?? '').includes('json');
  const value = isJson && text ? JSON.parse(text) : text;
  if (!reply.ok) throw new ApiError(value.error ?? `The host answered with status ${reply.status}.`, value.hint ?? '', reply.status);
  return value;
}

/** Does one thing after the other: what is asked after a change was answered is never older than that change. */
export function inTurn() {
  let last = Promise.resolve();
  return (what) => (last = last.catch(() => {}).then(what));
}

const put = (path, value) => call('PUT', path, JSON.stringify(value));
const post = (path, value) => call('POST', path, value === undefined ? undefined : JSON.stringify(value));

/** Requests before the one of that number, the newest first, as the stream tells of them; `areAll`: there are no others. */
async function requestsBefore(id) {
  const page = `before=${id}&order=desc&limit=100`;
  const [{requests, next}, {records}] = await Promise.all([call('GET', `api/requests?${page}`), call('GET', `api/records?${page}`)]);
  return {requests: requests.map((request) => ({request, records: records.filter((record) => record.request === request.id)})), areAll: next === null};
}

export const api = {
  requestsBefore,
  request: (id) => call('GET', `api/requests/${id}`),
  requestCurl: (id) => call('GET', `api/requests/${id}/curl`),
  record: (id) => call('GET', `api/records/${id}`),
  answers: () => call('GET', 'api/answers'),
  faults: () => call('GET', 'api/faults'),
  settings: () => call('GET', 'api/settings'),
  explain: (text) => call('POST', 'api/explain', text, 'text/plain; charset=utf-8'),
  putAnswers: (answers) => put('api/answers', answers),
  putFaults: (faults) => put('api/faults', faults),
  addFault: (fault) => post('api/faults', fault),
  removeFault: (id) => call('DELETE', `api/faults/${id}`),
  paused: () => call('GET', 'api/pause'),
  pause: (paused) => post('api/pause', {paused}),
  clear: () => post('api/clear'),
  reset: () => post('api/reset'),
  forget: (device) => call('DELETE', `api/devices/${encodeURIComponent(device)}`),
};
