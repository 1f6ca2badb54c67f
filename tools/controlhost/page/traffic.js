// What came, as far as the page keeps it: requests in the order of arrival, and a row for each request and for each
// record of a batch. Rows stand oldest first, so that new ones are appended; a list shows them from the end.

import {worst} from './format.js';

/** More rows than this and the oldest go; the host still has them, and the reader can ask for them. */
const mostRows = 20000;

const counts = (findings) => {
  const result = {error: 0, warning: 0, note: 0};
  for (const finding of findings) result[finding.severity]++;
  return result;
};

/** What tells one event of a name from the next: its value. */
function detailOf(json) {
  const detail = json?.data?.event_data;
  return typeof detail === 'string' ? detail.slice(0, 200) : '';
}

function rowOfRequest(request, records) {
  const single = request.action === 'batch' ? null : records[0];
  return {
    id: String(request.id), request, index: null, device: request.device, app: request.app, action: request.action,
    name: request.action === 'batch' ? `batch of ${request.records}` : single?.name || request.names[0] || request.action || 'not a request',
    detail: detailOf(single?.json), severity: worst(request.findings), findings: request.findings, usertime: null,
    text: single ? JSON.stringify(single.json) : '',
  };
}

function rowOfRecord(request, record) {
  const findings = counts(record.findings);
  return {
    id: record.id, request, index: record.index, device: record.device, app: record.app, action: record.action,
    name: record.name, detail: detailOf(record.json), severity: worst(findings), findings, usertime: record.usertime,
    text: JSON.stringify(record.json),
  };
}

/** In the order in which they are kept: the request's own is the last. */
function rowsOf(request, records) {
  const ofRecords = request.action === 'batch' ? records.map((record) => rowOfRecord(request, record)).reverse() : [];
  return [...ofRecords, rowOfRequest(request, records)];
}

export class Traffic {
  constructor() {
    this.actions = new Set();
    this.clear();
  }

  /** The number of the oldest request that is here. */
  get oldest() { return this.rows[0]?.request.id; }

  /** Adds a request with its records; returns its rows in the order in which they are kept: the request's own is the last. */
  add({request, records}) {
    const rows = rowsOf(request, records);
    for (const row of rows) {
      this.rows.push(row);
      this.actions.add(row.action);
    }
    return rows;
  }

  /** Puts older ones, the newest of them first, before all others, and stays as long as it is by then; returns their rows.
   *  `areAll`: the host has none that are older still. */
  addOlder(requests, areAll) {
    const rows = [...requests].reverse().flatMap(({request, records}) => rowsOf(request, records));
    this.rows = rows.concat(this.rows);
    for (const row of rows) this.actions.add(row.action);
    this.room = Math.max(this.room, this.rows.length);
    this.hasOlder = !areAll;
    return rows;
  }

  /** Drops the oldest requests beyond the cap, whole ones and many at a time. Returns whether any went. */
  trim() {
    if (this.rows.length <= this.room * 1.1) return false;
    let cut = this.rows.length - this.room;
    while (cut < this.rows.length && this.rows[cut - 1].request === this.rows[cut].request) cut++;
    this.rows.splice(0, cut);
    this.hasOlder = true;
    return true;
  }

  clear() {
    this.rows = [];
    this.actions.clear();
    this.room = mostRows;
    this.hasOlder = false;  // at the host
  }

  forget(device) {
    this.rows = this.rows.filter((row) => row.device !== device);
  }
}
