// One request or record, whole: what it says with its findings marked in place, the reply, headers, raw bytes.

import {api} from './api.js';
import {copy} from './copy.js';
import {byId, el, icon} from './dom.js';
import {size, timeOfDay} from './format.js';
import {jsonLines, jsonText, linesAt} from './jsonlines.js';
import {jsonView} from './jsonview.js';
import {rawView} from './rawview.js';

const parts = ['Body', 'Reply', 'Headers', 'Raw bytes'];

/** Findings as the view of `record` needs them: with paths into what is shown. */
function findingsFor(request, record) {
  if (record) return request.problems.filter((one) => one.record === record.index);
  return request.problems.map((one) => (one.record !== null && Array.isArray(request.body.json)
    ? {...one, path: `/${one.record}${one.path}`} : one));
}

export class RecordPane {
  /** `closed()` is called when the reader goes back to the list. */
  constructor({closed}) {
    this.box = byId('record');
    this.closed = closed;
    this.part = parts[0];
    this.narrow = matchMedia('(max-width: 860px)');
    this.narrow.addEventListener('change', () => this.uncover());
    this.box.addEventListener('keydown', (event) => {
      if (event.key === 'Escape' && !event.defaultPrevented) this.close();
    });
    this.rest();
  }

  rest() {
    this.row = this.asked = null;
    this.uncover();
    this.box.replaceChildren(el('div', {class: 'record-rest'},
      el('h2', {id: 'record-title', text: 'Nothing selected'}),
      el('p', {text: 'Choose a line to see what it says, what is wrong with it, and what was answered.'})));
  }

  close() {
    this.uncover();
    this.closed();
  }

  /** On a narrow page the record lies over everything else. */
  get covering() { return this.narrow.matches; }

  uncover() {
    delete this.box.dataset.open;
    for (const covered of this.covered ?? []) covered.inert = false;
    this.covered = [];
  }

  async show(row) {
    this.row = row;
    const asked = this.asked = {};
    try {
      const request = await api.request(row.request.id);
      if (asked === this.asked) this.draw(row, request);
    } catch (error) {
      if (asked === this.asked) this.failed(row, error);
    }
  }

  failed(row, error) {
    const gone = error.status === 404;
    this.box.replaceChildren(el('div', {class: 'record-rest'}, el('h2', {id: 'record-title', text: row.name}),
      el('p', {text: gone ? 'The host no longer keeps this request: newer ones took its place.' : `${error.message} ${error.hint}`})));
  }

  open() {
    this.box.dataset.open = '';
    if (this.covering) {
      this.covered = document.querySelectorAll('.top, .banner, .timeline, .filters, .listing');
      for (const covered of this.covered) covered.inert = true;
    }
    this.box.focus({preventScroll: true});
  }

  draw(row, request) {
    const record = row.index === null ? null : request.items[row.index];
    const findings = findingsFor(request, record);
    this.box.replaceChildren(
      this.head(row, request, record),
      findings.length ? this.findingsList(findings) : this.allRight(request),
      this.tabs(request, record, findings));
    this.box.scrollTop = 0;
  }

  head(row, request, record) {
    const facts = [`#${row.id}`, timeOfDay(request.received), size(request.bytes), row.app && `app ${row.app}`, `from ${request.remote}`];
    const button = (text, what, get) => el('button', {type: 'button', on: {click: () => copy(get, what)}}, icon('copy'), text);
    const id = record?.id ?? (request.items.length === 1 ? request.items[0].id : null);
    return el('header', {class: 'record-head'},
      el('button', {type: 'button', class: 'quiet back', on: {click: () => this.close()}}, icon('back'), 'All requests'),
      el('h2', {id: 'record-title', data: {action: row.action}}, el('span', {class: 'mark'}), row.name),
      el('p', {class: 'facts', text: facts.filter((fact) => fact).join('  ·  ')}),
      el('p', {class: 'facts device-id', text: row.device || 'without a device identifier'}),
      el('div', {class: 'tags'},
        el('span', {class: 'tag', data: {ok: request.status >= 200 && request.status < 300}, text: request.status ? `answered ${request.status}` : 'no reply'}),
        request.fault && el('span', {class: 'tag fault', text: request.fault}),
        request.reply.rule >= 0 && el('span', {class: 'tag', text: `rule ${request.reply.rule + 1}`})),
      el('div', {class: 'copies', role: 'group', 'aria-label': 'Copy'},
        button('JSON', 'JSON', () => (record ? jsonText(linesOf(request, record)) : request.body.text ?? atob(request.body.base64))),
        button('curl command', 'curl command', async () => (record ? (await api.record(record.id)).curl : api.requestCurl(request.id))),
        id && this.simButton(button, id)));
  }

  /** What no tracker sends has no line, and the page says why. */
  simButton(button, id) {
    const place = el('span', {class: 'sim-copy'});
    api.record(id).then(({sim, sim_reason}) => {
      const what = sim?.includes('\n') ? 'lines for fliprugair-sim' : 'line for fliprugair-sim';
      place.replaceChildren(sim ? button(what, what, () => sim) : el('span', {class: 'facts', text: `No line for fliprugair-sim. ${sim_reason}`}));
    }).catch(() => {});
    return place;
  }

  allRight(request) {
    return el('p', {class: 'all-right'}, icon('ok'), request.action ? 'Nothing is wrong with it.' : 'No findings.');
  }

  findingsList(findings) {
    return el('section', {class: 'findings', 'aria-label': 'Findings'}, el('ul', {}, findings.map((finding) => el('li', {class: 'finding', data: {severity: finding.severity}},
      icon(finding.severity), el('div', {}, el('b', {text: finding.severity}), ' ', el('span', {text: finding.text}),
        finding.path && el('button', {type: 'button', class: 'link', on: {click: () => this.goTo(finding.path)}}, `Show ${finding.path}`))))));
  }

  goTo(path) {
    this.choose(parts[0]);
    const lines = [...this.box.querySelectorAll('.json-line')];
    const line = lines.find((one) => one.dataset.path === path) ?? lines.find((one) => path.startsWith(`${one.dataset.path}/`));
    line?.scrollIntoView({block: 'center'});
    line?.classList.remove('flash');
    requestAnimationFrame(() => line?.classList.add('flash'));
  }

  tabs(request, record, findings) {
    const contents = {
      'Body': () => this.body(request, record, findings),
      'Reply': () => this.reply(request.reply),
      'Headers': () => el('table', {class: 'headers'}, el('caption', {text: `${request.method} ${request.path}`}),
        el('tbody', {}, request.headers.map(([name, value, coding]) => el('tr', {}, el('th', {scope: 'row', text: name}),
          el('td', {}, value, coding && el('span', {class: 'facts', text: '  no UTF-8: each character is a byte'})))))),
      'Raw bytes': () => rawBytes(request.body),
    };
    const panel = el('div', {class: 'panel', role: 'tabpanel', id: 'record-panel', tabindex: '0', 'aria-label': this.part});
    const buttons = parts.map((part) => el('button', {type: 'button', role: 'tab', 'aria-controls': 'record-panel', text: part, data: {part}}));
    this.choose = (part) => {
      this.part = part;
      for (const button of buttons) {
        button.setAttribute('aria-selected', button.dataset.part === part);
        button.tabIndex = button.dataset.part === part ? 0 : -1;
      }
      panel.setAttribute('aria-label', part);
      panel.replaceChildren(contents[part]());
    };
    const list = el('div', {class: 'tabs', role: 'tablist', 'aria-label': 'Parts', on: {
      click: (event) => event.target.dataset.part && this.choose(event.target.dataset.part),
      keydown: (event) => {
        const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
        if (!step) return;
        event.preventDefault();
        this.choose(parts[(parts.indexOf(this.part) + step + parts.length) % parts.length]);
        buttons[parts.indexOf(this.part)].focus();
      },
    }}, buttons);
    this.choose(this.part);
    return el('div', {class: 'record-parts'}, list, panel);
  }

  body(request, record, findings) {
    const {body} = request;
    if (body.json === undefined || body.text === undefined) return rawText(body);
    return jsonView(linesOf(request, record), findings);
  }

  reply(reply) {
    const sent = [reply.status ? `Status ${reply.status}` : 'No reply was sent.', reply.delay_ms ? `after ${reply.delay_ms} ms` : ''].filter((one) => one).join(' ');
    return el('div', {}, el('p', {class: 'facts', text: reply.cut ? `${sent}, ${reply.cut}:` : sent}),
      reply.json === undefined || reply.text === undefined ? rawText(reply) : jsonView(jsonLines(reply.text), []));
  }
}

/** Of a batch those of the one record, if there is one. */
function linesOf({body}, record) {
  const lines = jsonLines(body.text);
  return record && Array.isArray(body.json) ? linesAt(lines, `/${record.index}`) : lines;
}

/** As they came, and below it what was compressed. */
function rawBytes({base64, compressed}) {
  if (!compressed) return rawView(base64);
  return el('div', {}, el('h3', {text: 'As they came'}), rawView(compressed.base64), el('h3', {text: 'Without their compression'}), rawView(base64));
}

function rawText({text, base64}) {
  if (!base64) return el('p', {class: 'facts', text: 'Without a body.'});
  return text === undefined ? rawView(base64) : el('pre', {class: 'text', text});
}
