// The list of rows. Only those in sight are elements, so ten thousand cost as much as forty. Newest first; what one looks
// at, or points at, stays where it is when more arrives above.

import {byId, el, icon} from './dom.js';
import {counted, findingsText, shortDevice, timeOfDay, visible} from './format.js';

const beyond = 6;       // rows kept ready above and below what is in sight
const aimFor = 1000;    // milliseconds after the pointer's last move within which it may be about to click

class RowElement {
  constructor() {
    this.clock = el('span');
    this.thousandths = el('span', {class: 'thousandths'});
    this.detail = el('span', {class: 'detail'});
    this.mark = el('span', {class: 'mark'});
    this.name = el('span', {class: 'name'});
    this.fault = el('span', {class: 'tag fault'});
    this.device = el('span', {class: 'device'});
    this.status = el('span', {class: 'status'});
    this.severity = el('span', {class: 'severity'});
    this.element = el('div', {class: 'row', role: 'option'},
      el('span', {class: 'time'}, this.clock, this.thousandths), this.mark,
      el('span', {class: 'what'}, this.name, this.detail, this.fault), this.severity, this.device, this.status);
    this.row = null;
  }

  hide() {
    this.element.hidden = true;
    this.element.removeAttribute('id');
    this.row = null;
  }

  show(row, position, total, top, selected) {
    this.element.hidden = false;
    this.element.style.transform = `translateY(${top}px)`;
    this.element.setAttribute('aria-posinset', position);
    this.element.setAttribute('aria-setsize', total);
    this.element.setAttribute('aria-selected', selected);
    if (row === this.row) return;
    this.row = row;
    const {request} = row;
    const child = row.index !== null;
    this.element.id = `row-${row.id}`;
    this.element.dataset.kind = child ? 'record' : request.action === 'batch' ? 'batch' : 'request';
    this.element.dataset.action = row.action;
    const time = timeOfDay(child ? row.usertime ?? request.received : request.received);
    this.clock.textContent = time.slice(0, 8);
    this.thousandths.textContent = child ? '' : time.slice(8);
    this.name.textContent = visible(row.name);
    this.detail.textContent = visible(row.detail);
    this.device.textContent = child ? '' : visible(shortDevice(row.device));
    this.fault.textContent = child ? '' : request.fault;
    this.fault.hidden = child || !request.fault;
    this.status.textContent = child ? '' : request.status || 'no reply';
    this.status.dataset.ok = request.status >= 200 && request.status < 300;
    this.severity.dataset.severity = row.severity;
    const found = Object.values(row.findings).reduce((sum, count) => sum + count);
    this.severity.replaceChildren(...(found ? [icon(row.severity), String(found), el('span', {class: 'unseen', text: `: ${findingsText(row.findings)}`})] : []));
  }
}

export class List {
  /** `chosen(row)` is called when a row is selected, `opened(row)` when the reader wants to go into it. */
  constructor({chosen, opened}) {
    this.box = byId('list');
    this.newer = byId('newer');
    this.space = el('div', {class: 'list-space', role: 'presentation'});
    this.box.append(this.space);
    this.chosen = chosen;
    this.opened = opened;
    this.rows = [];
    this.held = [];
    this.pool = [];
    this.selectedId = null;
    this.unseen = 0;
    this.drawn = 0;
    this.box.addEventListener('scroll', () => this.draw(), {passive: true});
    this.box.addEventListener('keydown', (event) => this.key(event));
    this.box.addEventListener('click', (event) => this.clicked(event));
    for (const type of ['pointermove', 'pointerdown', 'pointerup']) this.box.addEventListener(type, (event) => this.aimed(event), {passive: true});
    for (const type of ['pointerleave', 'pointercancel']) this.box.addEventListener(type, () => this.release());
    this.newer.addEventListener('click', () => this.toTop());
    new ResizeObserver(() => this.resized()).observe(this.box);
  }

  get rowHeight() {
    return this.height ??= parseFloat(getComputedStyle(this.box).getPropertyValue('--row')) || 34;
  }

  /** On a narrow page rows are higher. */
  resized() {
    this.height = undefined;
    this.draw();
  }

  /** Other rows altogether. */
  replace(rows) {
    this.rows = rows;
    this.held = [];
    this.unseen = 0;
    this.draw();
  }

  append(rows) {
    if (!rows.length) return;
    for (const row of rows) (this.aiming ? this.held : this.rows).push(row);
    if (this.aiming) return;
    if (this.box.scrollTop > this.rowHeight / 2) {
      this.unseen += rows.length;
      this.shift = (this.shift ?? 0) + rows.length * this.rowHeight;
    }
    this.draw();
  }

  /** Rows of older requests, below all others. */
  appendOlder(rows) {
    this.rows = rows.concat(this.rows);
    this.draw();
  }

  /** Those of the oldest requests go, below what one looks at. */
  dropBefore(request) {
    const from = this.rows.findIndex((row) => row.request.id >= request);
    this.rows = from < 0 ? [] : this.rows.slice(from);
    this.draw();
  }

  /** How many rows there are, with those that are not shown yet. */
  get count() { return this.rows.length + this.held.length; }

  /** What is clicked is to be what was seen: while someone aims at a row, or presses on it, nothing moves. */
  aimed({buttons}) {
    this.aiming = true;
    clearTimeout(this.aimEnds);
    if (!buttons) this.aimEnds = setTimeout(() => this.release(), aimFor);
  }

  release() {
    this.aiming = false;
    this.append(this.held.splice(0));
  }

  at(position) { return this.rows[this.rows.length - 1 - position]; }
  positionOf(id) {
    const index = this.rows.findLastIndex((row) => row.id === id);
    return index < 0 ? -1 : this.rows.length - 1 - index;
  }

  draw() {
    if (this.drawn) return;
    this.drawn = requestAnimationFrame(() => {
      this.drawn = 0;
      this.drawNow();
    });
  }

  drawNow() {
    const height = this.rowHeight;
    this.space.style.height = `${this.rows.length * height}px`;
    if (this.shift) this.box.scrollTop += this.shift;
    this.shift = 0;
    const top = this.box.scrollTop;
    if (top <= height / 2) this.unseen = 0;
    this.newer.hidden = this.unseen === 0;
    if (this.unseen) this.newer.replaceChildren(icon('up'), counted(this.unseen, 'newer line'));
    const first = Math.max(0, Math.floor(top / height) - beyond);
    const last = Math.min(this.rows.length, Math.ceil((top + this.box.clientHeight) / height) + beyond);
    while (this.pool.length < last - first) {
      const row = new RowElement();
      this.pool.push(row);
      this.space.append(row.element);
    }
    // The elements stand in the order of the rows: a screen reader reads them so.
    this.pool.forEach((shown, place) => {
      const position = first + place;
      if (position >= last) shown.hide();
      else shown.show(this.at(position), position + 1, this.rows.length, position * height, this.at(position).id === this.selectedId);
    });
    const active = this.selectedId !== null && this.box.querySelector(`.row:not([hidden])[aria-selected=true]`);
    if (active) this.box.setAttribute('aria-activedescendant', active.id);
    else this.box.removeAttribute('aria-activedescendant');
  }

  /** Returns whether there is such a row. */
  select(position, {scroll = true} = {}) {
    const row = this.at(position);
    if (!row) return false;
    this.selectedId = row.id;
    if (scroll) this.reveal(position);
    this.drawNow();
    this.chosen(row);
    return true;
  }

  unselect() {
    this.selectedId = null;
    this.draw();
  }

  reveal(position) {
    const top = position * this.rowHeight;
    if (top < this.box.scrollTop) this.box.scrollTop = top;
    const bottom = top + this.rowHeight - this.box.clientHeight;
    if (bottom > this.box.scrollTop) this.box.scrollTop = bottom;
  }

  toTop() {
    this.box.scrollTop = 0;
    this.box.focus();
    this.draw();
  }

  clicked(event) {
    const row = this.pool.find(({element}) => element === event.target.closest('.row'))?.row;
    if (!row) return;
    if (this.select(this.positionOf(row.id), {scroll: false})) this.opened(row, {byPointer: true});
  }

  key(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const page = Math.max(1, Math.floor(this.box.clientHeight / this.rowHeight) - 1);
    const now = this.selectedId === null ? -1 : this.positionOf(this.selectedId);
    const steps = {ArrowDown: now + 1, ArrowUp: now - 1, PageDown: now + page, PageUp: now - page, Home: 0, End: this.rows.length - 1};
    if (event.key in steps) {
      event.preventDefault();
      this.select(Math.min(Math.max(steps[event.key], 0), this.rows.length - 1));
    } else if ((event.key === 'Enter' || event.key === ' ') && now >= 0) {
      event.preventDefault();
      this.opened(this.at(now), {byPointer: false});
    }
  }
}
