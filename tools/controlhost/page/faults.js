// What goes wrong on purpose. Everything here holds at once: there is no draft.

import {api} from './api.js';
import {byId, el, icon, labelled} from './dom.js';
import {counted, shortDevice} from './format.js';

const kinds = [
  {kind: 'status', text: 'Answer with an HTTP status', member: 'status', label: 'Status', value: 503, least: 200, most: 599},
  {kind: 'delay', text: 'Answer late', member: 'delay_ms', label: 'Milliseconds', value: 3000, least: 0, most: 600000},
  {kind: 'hang', text: 'Never answer'},
  {kind: 'reset_before', text: 'Cut the connection before the reply'},
  {kind: 'reset_during', text: 'Cut the connection in the middle of the reply'},
  {kind: 'truncate', text: 'Send half of the body'},
  {kind: 'garbage', text: 'Send a body that is no JSON'},
];
const actions = ['', 'init', 'initial', 'update', 'get_attribution', 'batch'];

function described(fault) {
  const {text, member} = kinds.find(({kind}) => kind === fault.kind) ?? {text: fault.kind};
  const what = member ? `${text}: ${fault[member]}${member === 'delay_ms' ? ' ms' : ''}` : text;
  const whom = [fault.action || 'every request', fault.device && `of ${shortDevice(fault.device)}`, fault.app && `of app ${fault.app}`];
  const often = [fault.times ? `${counted(fault.times, 'time')}` : 'without end', fault.percent < 100 ? `${fault.percent} % of them` : ''];
  return {what, whom: whom.filter((part) => part).join(' '), often: often.filter((part) => part).join(', ')};
}

export class FaultsView {
  /** `change(call)` makes the call to the host when it is its turn, and shows what the host says then. */
  constructor(box, devices, change) {
    Object.assign(this, {devices, change, offline: false, faults: [], switching: 0, leaving: new Set()});
    this.offlineSwitch = el('input', {type: 'checkbox', role: 'switch', id: 'offline', on: {change: ({target}) => this.switchOffline(target.checked)}});
    this.list = el('ul', {class: 'fault-list'});
    this.nothing = el('p', {class: 'facts', text: 'None: every request is answered as it should be.'});
    box.append(
      el('h1', {id: 'faults-title', text: 'Faults'}),
      el('p', {class: 'lead', text: 'What if the network, or the host, does not do its part? The first fault that fits a request and has times left is what the request meets.'}),
      el('section', {class: 'card offline', 'aria-labelledby': 'offline-title'},
        el('label', {class: 'switch'}, this.offlineSwitch, el('span', {class: 'switch-track', 'aria-hidden': 'true'}),
          el('span', {}, el('b', {id: 'offline-title', text: 'Offline'}), el('span', {text: 'Cut every connection of a tracker, as if there were no network.'})))),
      el('section', {class: 'card', 'aria-labelledby': 'active-title'}, el('h2', {id: 'active-title', text: 'In force'}), this.nothing, this.list),
      this.form());
  }

  form() {
    const kind = el('select', {name: 'kind'}, kinds.map((one) => el('option', {value: one.kind, text: one.text})));
    const value = el('input', {type: 'number', name: 'value', required: true});
    const valueField = labelled('Status', value);
    const suit = () => {
      const chosen = kinds.find((one) => one.kind === kind.value);
      valueField.hidden = !chosen.member;
      value.disabled = !chosen.member;
      if (!chosen.member) return;
      valueField.firstChild.textContent = chosen.label;
      value.value = chosen.value;
      value.min = chosen.least;
      value.max = chosen.most;
    };
    kind.addEventListener('change', suit);
    suit();
    const known = el('datalist', {id: 'fault-devices'});
    const device = el('input', {name: 'device', placeholder: 'every device', list: 'fault-devices', autocomplete: 'off', spellcheck: 'false',
      on: {focus: () => known.replaceChildren(...this.devices().map((one) => el('option', {value: one.device})))}});
    const action = el('select', {name: 'action'}, actions.map((one) => el('option', {value: one, text: one || 'every request'})));
    const app = el('input', {name: 'app', placeholder: 'every application', autocomplete: 'off', spellcheck: 'false'});
    const times = el('input', {type: 'number', name: 'times', min: 0, max: 1000000, value: 1, required: true});
    const percent = el('input', {type: 'number', name: 'percent', min: 1, max: 100, value: 100, required: true});
    const form = el('form', {class: 'card fault-form', 'aria-labelledby': 'new-title'},
      el('h2', {id: 'new-title', text: 'Another one'}),
      el('div', {class: 'fields'}, labelled('What happens', kind), valueField, labelled('To', action), labelled('Of device', device),
        labelled('Of application', app), labelled('How often (0: without end)', times), labelled('Per cent of what fits', percent)),
      known,
      el('div', {class: 'buttons'}, el('button', {class: 'primary'}, icon('plus'), 'Add the fault')));
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      const {member} = kinds.find((one) => one.kind === kind.value);
      const fault = {kind: kind.value, ...(member && {[member]: Number(value.value)}), action: action.value, device: device.value.trim(),
        app: app.value.trim(), times: Number(times.value), percent: Number(percent.value)};
      this.change(() => api.addFault(fault));
    });
    return form;
  }

  /** Until the host has taken it, the switch stands where the reader put it: what is heard meanwhile is older. */
  async switchOffline(offline) {
    this.switching++;
    await this.change(() => api.putFaults({offline}));
    this.switching--;
    this.showSwitch();
  }

  showSwitch() {
    if (this.switching === 0) this.offlineSwitch.checked = this.offline;
  }

  received({offline, faults}) {
    Object.assign(this, {offline, faults});
    this.showSwitch();
    this.nothing.hidden = faults.length > 0;
    this.showList();
    const badge = byId('faults-badge');
    const live = faults.filter((fault) => !fault.times || fault.hits < fault.times).length;
    badge.hidden = !offline && live === 0;
    badge.textContent = offline ? 'offline' : live;
  }

  /** Once for each fault, however often it is asked for: the one that takes its place is another. */
  async remove(id) {
    if (this.leaving.has(id)) return;
    this.leaving.add(id);
    await this.change(() => api.removeFault(id));
    this.leaving.delete(id);
  }

  /** Who stands on a fault with the keyboard stands there afterwards, though it counts its hits or goes. */
  showList() {
    const text = JSON.stringify(this.faults);
    if (text === this.shown) return;
    this.shown = text;
    const items = [...this.list.children];
    const place = items.findIndex((item) => item.contains(document.activeElement));
    const id = items[place]?.dataset.id;
    this.list.replaceChildren(...this.faults.map((fault) => this.item(fault)));
    if (place < 0) return;
    const now = [...this.list.children];
    const next = now.find((item) => item.dataset.id === id) ?? now[Math.min(place, now.length - 1)];
    (next?.querySelector('button') ?? this.offlineSwitch).focus();
  }

  item(fault) {
    const {what, whom, often} = described(fault);
    const over = fault.times > 0 && fault.hits >= fault.times;
    return el('li', {class: 'fault-item', data: {over, id: fault.id}}, el('div', {}, el('b', {text: what}), el('span', {text: `${whom}, ${often}`})),
      el('span', {class: 'hits', text: over ? `over after ${counted(fault.hits, 'hit')}` : counted(fault.hits ?? 0, 'hit')}),
      el('button', {type: 'button', 'aria-label': `Remove the fault: ${what}`, on: {click: () => this.remove(fault.id)}}, icon('close'), 'Remove'));
  }
}
