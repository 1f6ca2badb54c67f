// Devices, each a lane: its sessions as bars, what it sent as ticks, what is wrong as marks above them.

import {byId, el, icon, svg} from './dom.js';
import {counted, findingsText, shortDevice, timeOfDay, visible} from './format.js';

const spans = [{name: '5 min', seconds: 300}, {name: '1 hour', seconds: 3600}, {name: 'All', seconds: 0}];
const drawEvery = 500;      // milliseconds, at most, while things arrive
const goOnEvery = 1000;     // milliseconds: time goes on without arrivals
const week = 7 * 86400;
const axisSteps = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 21600, 43200, 86400, 604800];

/** When a row happened: a record of a batch says so itself, unless its clock is far off. */
function timeOf(row) {
  const own = row.usertime;
  return own && Math.abs(own - row.request.received) < week ? own : row.request.received;
}

class Lane {
  constructor(timeline, device) {
    this.name = el('b');
    this.about = el('span');
    this.button = el('button', {type: 'button', class: 'lane-name', on: {click: () => timeline.chosen(device)}}, this.name, this.about);
    this.drawing = svg('svg', {class: 'lane-drawing', role: 'img', on: {click: (event) => timeline.clicked(device, event)}});
    const forget = el('button', {type: 'button', class: 'quiet square forget', title: 'Forget this device',
      'aria-label': `Forget device ${shortDevice(device)}`, on: {click: () => timeline.forget(device)}}, icon('close'));
    this.element = el('li', {class: 'lane'}, this.button, this.drawing, forget);
  }

  describe({device, app, model, system, sessions, records, findings}, filtered) {
    this.name.textContent = visible(shortDevice(device));
    this.about.textContent = visible([app, model || system].filter((part) => part).join(' · '));
    this.button.setAttribute('aria-pressed', filtered);
    this.button.title = device;
    this.drawing.setAttribute('aria-label', [counted(sessions.length, 'session'), counted(records, 'record'), findingsText(findings)]
      .filter((part) => part).join(', '));
  }
}

export class Timeline {
  /** `chosen(device)`, `picked(row)` and `forget(device)` are called for what a reader does here; while `still()` holds, nothing
   *  below is to move. */
  constructor(traffic, {chosen, picked, forget, still}) {
    Object.assign(this, {traffic, chosen, picked, forget, still});
    this.box = byId('lanes');
    this.axis = byId('axis');
    this.devices = new Map();
    this.lanes = new Map();
    this.filtered = null;
    this.seconds = 0;
    this.drawnAt = -drawEvery;
    this.offerSpans();
    new ResizeObserver(() => this.draw()).observe(this.box);
    setInterval(() => { if (!document.hidden) this.draw(); }, goOnEvery);
  }

  offerSpans() {
    const choice = byId('span');
    for (const {name, seconds} of spans) {
      choice.append(el('label', {}, el('input', {type: 'radio', name: 'span', checked: seconds === this.seconds,
        on: {change: () => { this.seconds = seconds; this.draw(); }}}), el('span', {text: name})));
    }
  }

  /** A lane keeps its place: what was seen first stands first. */
  update(devices) {
    for (const device of [...devices].sort((one, other) => one.first - other.first)) this.devices.set(device.device, device);
    this.soon();
  }

  remove(device) {
    this.devices.delete(device);
    this.lanes.get(device)?.element.remove();
    this.lanes.delete(device);
    this.soon();
  }

  clear() {
    for (const device of [...this.devices.keys()]) this.remove(device);
  }

  setFilter(device) {
    this.filtered = device;
    this.draw();
  }

  soon() {
    this.pending ??= setTimeout(() => this.draw(), Math.max(0, this.drawnAt + drawEvery - performance.now()));
  }

  draw() {
    clearTimeout(this.pending);
    this.pending = undefined;
    this.drawnAt = performance.now();
    if (!this.box.clientWidth) return;
    const ticks = this.ticksByDevice();
    const end = Math.max(Date.now() / 1000, this.latest);
    const start = this.seconds ? end - this.seconds : Math.min(this.earliest, end - 10);
    this.scale = {start, end: end + (end - start) * 0.01};
    this.addLanes();
    for (const [id, device] of this.devices) {
      const lane = this.lanes.get(id);
      if (!lane) continue;
      lane.describe(device, this.filtered === id);
      this.drawLane(lane.drawing, device, ticks.get(id) ?? []);
    }
    this.drawAxis();
  }

  /** Of more lanes than there is room for, the newest is in sight, unless somebody is about to do something in another. */
  addLanes() {
    byId('device-count').textContent = this.devices.size > 1 ? this.devices.size.toLocaleString('en') : '';
    if (this.still()) return;
    const added = [...this.devices.keys()].filter((id) => !this.lanes.has(id));
    for (const id of added) {
      this.lanes.set(id, new Lane(this, id));
      this.box.append(this.lanes.get(id).element);
    }
    if (added.length && !this.box.matches(':hover, :focus-within')) this.box.scrollTop = this.box.scrollHeight;
  }

  ticksByDevice() {
    const result = new Map();
    this.earliest = Infinity;
    this.latest = 0;
    for (const row of this.traffic.rows) {
      const time = timeOf(row);
      if (time < this.earliest) this.earliest = time;
      if (time > this.latest) this.latest = time;
      if (row.action === 'batch') continue;
      if (!result.has(row.device)) result.set(row.device, []);
      result.get(row.device).push({time, row});
    }
    for (const {sessions} of this.devices.values()) {
      for (const {start} of sessions) this.earliest = Math.min(this.earliest, start);
    }
    return result;
  }

  x(time, width) {
    return (time - this.scale.start) / (this.scale.end - this.scale.start) * width;
  }

  drawLane(drawing, device, ticks) {
    const width = drawing.clientWidth;
    const bars = device.sessions.map((session) => {
      const left = Math.max(-8, this.x(session.start, width));
      const right = Math.min(width + 8, this.x(session.end ?? this.scale.end, width));
      const text = `Session from ${timeOfDay(session.start, false)} ${session.end ? `to ${timeOfDay(session.end, false)}` : 'on'}, ${counted(session.records, 'record')}`;
      return right < 0 || left > width ? null
        : svg('rect', {class: session.end ? 'session' : 'session open', x: left, y: 8, width: Math.max(4, right - left), height: 20, rx: 4}, svg('title', {text}));
    });
    const columns = {};
    for (const {time, row} of ticks) {
      const column = Math.round(this.x(time, width));
      if (column < 0 || column > width) continue;
      (columns[row.action] ??= new Set()).add(column);
      if (row.severity) (columns[row.severity] ??= new Set()).add(column);
    }
    const paths = Object.entries(columns).map(([name, set]) => {
      const mark = ['error', 'warning', 'note'].includes(name);
      const d = [...set].map((column) => (mark ? `M${column - 3.5} 1h7l-3.5 5z` : `M${column} 11V25`)).join('');
      return mark ? svg('path', {class: 'found', 'data-severity': name, d}) : svg('path', {class: 'tick', 'data-action': name, d});
    });
    drawing.replaceChildren(...bars.filter((bar) => bar), ...paths);
  }

  drawAxis() {
    const width = this.axis.clientWidth;
    const length = this.scale.end - this.scale.start;
    const step = axisSteps.find((one) => length / one <= width / 90) ?? length;
    const labels = [];
    const offset = new Date().getTimezoneOffset() * 60;
    for (let time = Math.ceil((this.scale.start - offset) / step) * step + offset; time < this.scale.end; time += step) {
      const x = this.x(time, width);
      if (x > width - 30) break;
      labels.push(svg('path', {d: `M${Math.round(x) + 0.5} 0v4`}),
        svg('text', {x: Math.max(x, 22), y: 15, text: step < 60 ? timeOfDay(time, false) : timeOfDay(time, false).slice(0, 5)}));
    }
    this.axis.replaceChildren(...labels);
  }

  clicked(device, event) {
    const box = event.currentTarget.getBoundingClientRect();
    const time = this.scale.start + (event.clientX - box.left) / box.width * (this.scale.end - this.scale.start);
    let nearest = null;
    for (const row of this.traffic.rows) {
      if (row.device !== device || row.action === 'batch') continue;
      if (!nearest || Math.abs(timeOf(row) - time) < Math.abs(timeOf(nearest) - time)) nearest = row;
    }
    if (nearest) this.picked(nearest);
  }
}
