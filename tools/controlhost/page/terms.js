// The terms of a search, as the host's interface has them: key:value, a JSON pointer with a value, or any text; within
// quotation marks blanks and colons are text. What is no term there is text here.

const rank = {note: 1, warning: 2, error: 3};

/** Whether `text` holds `value`, in upper or lower case. */
function holder(value) {
  const pattern = new RegExp(value.replace(/[\\^$.*+?()[\]{}|]/g, '\\$&'), 'i');
  return (text) => pattern.test(text);
}

/** Parses only what may have it: a row keeps what came as text. */
function memberIs(pointer, value) {
  const steps = pointer.split('/').slice(1);
  const mayHave = JSON.stringify(value).slice(1, -1);
  return ({text}) => {
    if (!text || !text.includes(mayHave)) return false;
    const member = steps.reduce((holding, step) => holding?.[step], JSON.parse(text));
    return member !== undefined && (typeof member === 'string' ? member : JSON.stringify(member)) === value;
  };
}

const number = /^\d+$/;
const properties = {
  action: {test: (value) => (row) => row.action === value},
  name: {test: (value) => { const holds = holder(value); return (row) => holds(row.name); }},
  device: {test: (value) => (row) => row.device === value},
  app: {test: (value) => (row) => row.app === value},
  status: {values: number, test: (value) => (row) => String(row.request.status) === value},
  severity: {values: /^(note|warning|error)$/, test: (value) => (row) => rank[row.severity] >= rank[value]},
  id: {values: number, test: (value) => (row) => String(row.request.id) === value},
  state: {test: (value) => memberIs('/data/state', value)},
  event: {test: (value) => memberIs('/data/event_name', value)},
};

function textTerm(value) {
  const holds = holder(value);
  return {key: '', value, holds: (row) => holds(row.text) || holds(row.name) || holds(row.device) || holds(row.app) || row.id === value
    || (row.index === null && holds(row.request.path))};
}

/** `parts` stand together: [text, whether it is quoted] each. */
function termOf(parts) {
  const text = parts.map(([part]) => part).join('');
  const [first, isQuoted] = parts[0];
  const colon = isQuoted ? -1 : first.indexOf(':');
  const key = text.slice(0, Math.max(colon, 0));
  const value = text.slice(colon + 1);
  // Who is about to write a term has not written its value yet.
  if (!value && parts.length === 1) return textTerm(text);
  if (key.startsWith('/')) return {key, value, holds: memberIs(key, value)};
  const property = Object.hasOwn(properties, key) && properties[key];
  return property && (property.values ?? /^/).test(value) ? {key, value, holds: property.test(value)} : textTerm(text);
}

export function termsOf(text) {
  const terms = [];
  let parts = [];
  const end = () => {
    if (parts.length > 1 || parts[0]?.[0]) terms.push(termOf(parts));
    parts = [];
  };
  text.split('"').forEach((piece, place) => {
    if (place % 2) return parts.push([piece, true]);
    piece.split(/\s+/).forEach((word, index) => {
      if (index > 0) end();
      if (word) parts.push([word, false]);
    });
  });
  end();
  return terms;
}

/** As the host reads it. */
export function termForHost({key, value}) {
  // It knows the actions of the protocol alone; what came may have another.
  if (key === 'action' && value !== 'batch') return `/action:"${value}"`;
  return `${key && `${key}:`}"${value}"`;
}
