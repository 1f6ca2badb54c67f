// Which rows are shown.

const rank = {'': 0, note: 1, warning: 2, error: 3};

export const noFilter = {text: '', action: '', device: null, severity: ''};

/** A predicate on rows. Every word of the text must occur in what came, or in the row's own name, device or application. */
export function predicate({text, action, device, severity}) {
  const words = text.toLowerCase().split(/\s+/).filter((word) => word);
  return (row) => {
    if (device !== null && row.device !== device) return false;
    if (action && row.action !== action) return false;
    if (rank[row.severity] < rank[severity]) return false;
    return words.every((word) => row.text.includes(word) || row.name.toLowerCase().includes(word)
      || row.device.toLowerCase().includes(word) || row.app.toLowerCase().includes(word) || row.id === word);
  };
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
