// Which rows are shown.

import {termForHost, termsOf} from './terms.js';

const rank = {'': 0, note: 1, warning: 2, error: 3};

export const noFilter = {text: '', action: '', device: null, severity: ''};

/** A predicate on rows: every term of the text must hold. */
export function predicate({text, action, device, severity}) {
  const terms = termsOf(text);
  return (row) => {
    if (device !== null && row.device !== device) return false;
    if (action && row.action !== action) return false;
    if (rank[row.severity] < rank[severity]) return false;
    return terms.every((term) => term.holds(row));
  };
}

/** The same for the host, which knows requests and not rows; '' is everything. */
export function query({text, action, device, severity}) {
  const terms = termsOf(text);
  if (device !== null) terms.push({key: 'device', value: device});
  if (action) terms.push({key: 'action', value: action});
  if (severity) terms.push({key: 'severity', value: severity});
  return terms.map(termForHost).join(' ');
}

/** The rows of one request that are shown: a batch is shown whenever one of its records is. `rows`: as Traffic keeps them. */
export function shownOf(rows, matches) {
  const shown = rows.filter(matches);
  const own = rows[rows.length - 1];
  if (shown.length && shown[shown.length - 1] !== own) shown.push(own);
  return shown;
}

/** The same for many requests. */
export function shownAmong(rows, matches) {
  const shown = [];
  for (let start = 0, end; start < rows.length; start = end) {
    for (end = start + 1; end < rows.length && rows[end].request === rows[start].request;) end++;
    for (const row of shownOf(rows.slice(start, end), matches)) shown.push(row);
  }
  return shown;
}
