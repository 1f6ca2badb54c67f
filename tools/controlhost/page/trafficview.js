// The view of what came: time line, filters, list and the chosen record, over one Traffic.

import {api} from './api.js';
import {copy, toast} from './copy.js';
import {byId, el, icon, offer} from './dom.js';
import {noFilter, predicate, query, shownAmong, shownOf} from './filter.js';
import {counted, shortDevice} from './format.js';
import {List} from './list.js';
import {RecordPane} from './record.js';
import {Timeline} from './timeline.js';
import {Traffic} from './traffic.js';

const announceAfter = 500;    // milliseconds; what comes together is told together
const announceEvery = 5000;   // milliseconds; a screen reader is not to be talked over
const showEmptyAfter = 300;   // milliseconds; what a host kept comes within that

export class TrafficView {
  constructor({forget}) {
    this.traffic = new Traffic();
    this.filter = {...noFilter};
    this.matches = predicate(this.filter);
    this.waiting = [];
    this.news = {requests: 0, wrong: 0};
    this.announcedAt = -announceEvery;
    this.record = new RecordPane({closed: () => byId('list').focus()});
    this.list = new List({chosen: (row) => this.record.show(row), opened: (row, how) => this.open(how)});
    this.timeline = new Timeline(this.traffic, {forget, chosen: (device) => this.toggleDevice(device), picked: (row) => this.pick(row), still: () => this.list.aiming});
    this.fillEmpty();
    this.fillFilters();
    byId('unfilter').addEventListener('click', () => { this.setFilter({...noFilter}); byId('search').focus(); });
    byId('show-older').addEventListener('click', () => this.showOlder().catch((error) => toast(`${error.message} ${error.hint ?? ''}`, 'error')));
    byId('filters').addEventListener('submit', (event) => event.preventDefault());
    byId('export').addEventListener('keydown', (event) => {
      if (event.key !== 'Escape') return;
      byId('export').open = false;
      byId('export').querySelector('summary').focus();
    });
  }

  devices() { return [...this.timeline.devices.values()]; }

  open({byPointer}) {
    // At a desk the record stands beside the list; what was clicked need not be gone to.
    if (!byPointer || this.record.covering) this.record.open();
  }

  greeted() {
    setTimeout(() => this.showOrEmpty(), showEmptyAfter);
  }

  shown() {
    this.list.draw();
    this.timeline.draw();
  }

  /** What arrives within a frame is taken in at once. */
  arrived(data) {
    this.waiting.push(data);
    this.frame ??= setTimeout(() => this.takeIn(), 16);
  }

  takeIn() {
    this.frame = undefined;
    if (!this.waiting.length) return;  // they were cleared
    const shown = [];
    const actions = this.traffic.actions.size;
    for (const data of this.waiting) {
      for (const row of shownOf(this.traffic.add(data), this.matches)) shown.push(row);
      this.news.requests++;
      if (data.request.findings.error || data.request.findings.warning) this.news.wrong++;
    }
    this.waiting = [];
    if (actions !== this.traffic.actions.size) this.offerActions();
    this.list.append(shown);
    if (this.traffic.trim()) this.list.dropBefore(this.traffic.rows[0].request.id);
    this.showOrEmpty();
    this.count();
    this.timeline.soon();
    this.announcing ??= setTimeout(() => this.announce(), Math.max(announceAfter, this.announcedAt + announceEvery - performance.now()));
  }

  async showOlder() {
    const {oldest} = this.traffic;
    const {requests, areAll} = await api.requestsBefore(oldest);
    if (oldest !== this.traffic.oldest) return;  // others have gone meanwhile
    this.list.appendOlder(shownAmong(this.traffic.addOlder(requests, areAll), this.matches));
    this.offerActions();
    this.count();
    this.timeline.soon();
    if (areAll) byId('list').focus();  // the button is gone
  }

  update(devices) {
    const before = this.timeline.devices.size;
    this.timeline.update(devices);
    if (before !== this.timeline.devices.size) this.offerDevices();
  }

  cleared() {
    this.drop();
    this.showOrEmpty();
  }

  drop() {
    this.waiting = [];
    this.traffic.clear();
    this.timeline.clear();
    this.list.unselect();
    this.record.rest();
    this.offerDevices();
    this.offerActions();
    this.refilter();
  }

  /** Returns as `lacksOlder` whether nothing is left here, but perhaps at the host. */
  forgotten(device) {
    this.waiting = this.waiting.filter(({request}) => request.device !== device);
    this.traffic.forget(device);
    this.timeline.remove(device);
    if (this.record.row?.device === device) {
      this.list.unselect();
      this.record.rest();
    }
    this.offerDevices();
    if (this.filter.device === device) this.setFilter({...this.filter, device: null});
    this.refilter();
    const lacksOlder = this.traffic.hasOlder && !this.traffic.rows.length && !this.waiting.length;
    if (!lacksOlder) this.showOrEmpty();
    return {lacksOlder};
  }

  showOrEmpty() {
    const empty = this.traffic.rows.length === 0;
    if (byId('empty').hidden === !empty && byId('came').hidden === empty) return;
    byId('empty').hidden = !empty;
    byId('came').hidden = empty;
    this.shown();
  }

  refilter() {
    this.list.replace(shownAmong(this.traffic.rows, this.matches));
    this.count();
  }

  count() {
    const all = this.traffic.rows.length;
    const shown = this.list.count;
    byId('count').textContent = shown === all ? counted(all, 'line') : `${shown.toLocaleString('en')} of ${counted(all, 'line')}`;
    byId('no-match').hidden = shown > 0 || all === 0;
    byId('older').hidden = !this.traffic.hasOlder;
  }

  setFilter(filter) {
    this.filter = filter;
    this.matches = predicate(filter);
    byId('search').value = filter.text;
    byId('filter-action').value = filter.action;
    byId('filter-device').value = filter.device ?? '*';
    byId('filter-findings').value = filter.severity;
    this.timeline.setFilter(filter.device);
    this.suitExport(query(filter));
    this.refilter();
  }

  suitExport(terms) {
    for (const link of byId('export').querySelectorAll('a')) {
      link.search = terms && new URLSearchParams({q: terms});
    }
    byId('export-what').hidden = !terms;
  }

  toggleDevice(device) {
    this.setFilter({...this.filter, device: this.filter.device === device ? null : device});
  }

  pick(row) {
    if (this.list.positionOf(row.id) < 0) this.setFilter({...noFilter});
    this.list.select(this.list.positionOf(row.id));
    this.open({byPointer: true});
  }

  fillFilters() {
    const listen = (id, type, member, read = (value) => value) => byId(id).addEventListener(type, (event) => {
      this.setFilter({...this.filter, [member]: read(event.target.value)});
    });
    listen('search', 'input', 'text');
    listen('filter-action', 'change', 'action');
    listen('filter-device', 'change', 'device', (value) => (value === '*' ? null : value));
    listen('filter-findings', 'change', 'severity');
    byId('filter-findings').append(el('option', {value: '', text: 'All results'}), el('option', {value: 'note', text: 'With any finding'}),
      el('option', {value: 'warning', text: 'Warnings and errors'}), el('option', {value: 'error', text: 'Errors'}));
    byId('search').addEventListener('keydown', (event) => {
      if (event.key === 'ArrowDown' || event.key === 'Enter') {
        event.preventDefault();
        byId('list').focus();
      }
    });
    this.offerActions();
    this.offerDevices();
  }

  offerActions() {
    const actions = [...this.traffic.actions].filter((action) => action).sort();
    offer(byId('filter-action'), [['', 'All actions'], ...actions.map((action) => [action, action])], this.filter.action);
  }

  offerDevices() {
    offer(byId('filter-device'), [['*', 'All devices'], ...this.devices().map(({device}) => [device, shortDevice(device)])], this.filter.device ?? '*');
  }

  announce() {
    this.announcing = undefined;
    this.announcedAt = performance.now();
    const {requests, wrong} = this.news;
    byId('announcer').textContent = `${counted(requests, 'new request')}${wrong ? `, ${wrong} with findings` : ''}`;
    this.news = {requests: 0, wrong: 0};
  }

  /** Before anything came: how to make something come. */
  fillEmpty() {
    const snippet = (text, what) => el('div', {class: 'snippet'}, el('pre', {}, el('code', {text})),
      el('button', {type: 'button', 'aria-label': `Copy the ${what}`, on: {click: () => copy(() => text, what)}}, icon('copy'), 'Copy'));
    const host = location.host;
    byId('empty').append(
      el('p', {class: 'pulse', 'aria-hidden': 'true'}, el('span'), el('span'), el('span')),
      el('h2', {text: 'Waiting for the first request'}),
      el('p', {text: 'Give your app’s tracker this host, and start the app. What it sends appears here by itself.'}),
      snippet(`{"trackerHostname", "${host}"}`, 'option'),
      el('p', {text: 'An app that allows it takes the host from its environment; nothing is built anew:'}),
      snippet(`FLIPRUGAIR_CONTROL_HOST=${host} ./my-app`, 'command'),
      el('p', {text: 'No app at hand? Send a request, a wrong one, and see what is said about it:'}),
      snippet(`curl -H 'Content-Type: application/json' -d '{"action":"init"}' http://${host}/marlune/v4`, 'curl command'));
  }
}
