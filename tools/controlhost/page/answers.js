// What the host answers, and to whom: a draft that the reader edits and applies as a whole.

import {api, inTurn} from './api.js';
import {attributionCard} from './attributionform.js';
import {toast} from './copy.js';
import {byId, el, icon, labelled} from './dom.js';
import {shortDevice} from './format.js';
import {InitForm} from './initform.js';
import {rawCard} from './rawform.js';
import {statusCard} from './statusform.js';

const everyoneElse = -1;

const inOrder = (key, value) => (typeof value === 'object' && value !== null && !Array.isArray(value)
  ? Object.fromEntries(Object.entries(value).sort(([one], [other]) => (one < other ? -1 : 1))) : value);
const same = (one, other) => JSON.stringify(one, inOrder) === JSON.stringify(other, inOrder);

export class AnswersView {
  constructor(box, devices) {
    Object.assign(this, {box, devices, turn: inTurn(), chosen: everyoneElse, live: null, sent: null, draft: null, descriptions: null});
    this.rules = el('ol', {class: 'rules'});
    this.editor = el('div', {class: 'answers-editor'});
    this.problem = el('p', {class: 'problem', role: 'alert', hidden: true});
    this.apply = el('button', {type: 'button', class: 'primary', disabled: true, on: {click: () => this.send()}}, 'Apply');
    this.revert = el('button', {type: 'button', disabled: true, on: {click: () => this.take(this.base)}}, 'Discard changes');
    this.add = el('button', {type: 'button', disabled: true, on: {click: () => this.addRule()}}, icon('plus'), 'Add a rule');
    this.state = el('p', {class: 'draft-state', role: 'status'});
    box.append(
      el('h1', {id: 'answers-title', text: 'Answers'}),
      el('p', {class: 'lead', text: 'What does a device do when the host says this? The first rule that fits a device or an application answers it; the rest get what stands under “Everyone else”.'}),
      el('div', {class: 'answers'},
        el('section', {class: 'card rules-card', 'aria-label': 'Rules'}, this.rules, this.add),
        this.editor),
      el('div', {class: 'apply-bar'}, this.problem, this.state, this.revert, this.apply));
    box.addEventListener('keydown', (event) => {
      if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) this.send();
    });
  }

  /** What the draft changes: what the host says, or will say once it has taken what is on its way to it. */
  get base() { return this.sent ?? this.live; }
  get changed() { return this.draft !== null && !same(this.draft, this.base); }
  /** Text that cannot be taken over yet is somebody's work, too. */
  get inWork() { return this.changed || this.editor.querySelector('[aria-invalid=true]') !== null; }

  /** At the start, and whenever anyone changed them. A draft in work is left alone. */
  ask() {
    return this.turn(async () => {
      this.descriptions ??= (await api.settings()).settings;
      this.received(await api.answers());
    });
  }

  received(answers) {
    const isNew = !this.sent && !this.inWork && !same(answers, this.live);
    this.live = answers;
    if (isNew) this.take(answers);
    else this.showState();
  }

  take(answers) {
    const rule = this.draft?.rules[this.chosen];
    this.draft = structuredClone(answers);
    this.chosen = rule ? this.draft.rules.findIndex((one) => one.name === rule.name && one.device === rule.device && one.app === rule.app) : everyoneElse;
    this.problem.hidden = true;
    this.add.disabled = false;
    this.showRules();
    this.showEditor();
  }

  edited() {
    this.problem.hidden = true;
    this.showState();
  }

  showState() {
    this.apply.disabled = !this.changed;
    this.revert.disabled = !this.inWork;
    this.state.textContent = this.changed ? 'Not applied yet.' : this.sent ? 'On its way to the host.' : 'The host answers like this now.';
    this.box.querySelector('.apply-bar').dataset.changed = this.changed;
    const badge = byId('answers-badge');
    badge.hidden = !this.changed;
    badge.textContent = 'draft';
  }

  async send() {
    if (!this.changed) return;
    const sent = this.sent = structuredClone(this.draft);
    this.edited();
    try {
      this.live = await this.turn(() => api.putAnswers(sent));
      const last = this.arrived(sent);
      // What is being typed stays, and so does the focus, unless the host understood it in another way.
      if (last && same(this.draft, sent) && !same(sent, this.live)) this.take(this.live);
      toast('Applied. The next request is answered so.');
    } catch (error) {
      this.arrived(sent);
      this.problem.textContent = `${error.message} ${error.hint}`;
      this.problem.hidden = false;
    }
  }

  /** Returns whether nothing was sent behind it. */
  arrived(sent) {
    const last = this.sent === sent;
    if (last) this.sent = null;
    this.showState();
    return last;
  }

  showRules() {
    const entry = (index, name, whom) => el('li', {}, el('button', {type: 'button', class: 'rule', 'aria-current': index === this.chosen ? 'true' : null,
      on: {click: () => this.choose(index)}}, el('b', {text: name}), el('span', {text: whom})));
    this.rules.replaceChildren(
      ...this.draft.rules.map((rule, index) => entry(index, rule.name || `Rule ${index + 1}`,
        [rule.device && shortDevice(rule.device), rule.app && `app ${rule.app}`].filter((part) => part).join(', ') || 'every device')),
      entry(everyoneElse, 'Everyone else', 'what no rule fits'));
    this.showState();
  }

  choose(index) {
    this.chosen = index;
    this.showRules();
    this.showEditor();
    this.rules.querySelector('[aria-current]').focus();
  }

  addRule() {
    const newest = this.devices().sort((one, other) => other.last - one.last)[0]?.device ?? '';
    this.draft.rules.push({name: `Rule ${this.draft.rules.length + 1}`, device: newest, app: '', settings: structuredClone(this.draft.default)});
    this.chosen = this.draft.rules.length - 1;
    this.showRules();
    this.showEditor();
    this.editor.querySelector('input')?.focus();
  }

  showEditor() {
    const rule = this.draft.rules[this.chosen];
    const settings = rule ? rule.settings : this.draft.default;
    const edited = () => this.edited();
    const place = this.fields().indexOf(document.activeElement);
    this.editor.replaceChildren(
      rule ? this.ruleCard(rule) : '',
      new InitForm(settings, this.descriptions, edited).element,
      attributionCard(settings, edited),
      rawCard(settings, edited),
      statusCard(settings, edited));
    this.fields()[place]?.focus();  // who stands on a field stands there afterwards
    this.showState();
  }

  fields() { return [...this.editor.querySelectorAll('input, select, textarea, button')]; }

  ruleCard(rule) {
    const field = (label, member, placeholder, list) => labelled(label, this.bound(el('input', {placeholder, list, autocomplete: 'off', spellcheck: 'false'}), rule, member));
    const known = el('datalist', {id: 'rule-devices'}, this.devices().map(({device}) => el('option', {value: device})));
    const move = (step, text) => el('button', {type: 'button', disabled: !this.draft.rules[this.chosen + step], on: {click: () => this.move(step)}}, text);
    return el('section', {class: 'card', 'aria-label': 'Whom this rule answers'}, el('h2', {text: 'Whom this rule answers'}),
      el('div', {class: 'fields'}, field('Name', 'name', 'a name for you'), field('Device identifier', 'device', 'every device', 'rule-devices'), field('Application identifier', 'app', 'every application')),
      known,
      el('div', {class: 'buttons'}, move(-1, 'Earlier'), move(1, 'Later'), el('button', {type: 'button', class: 'danger', on: {click: () => this.removeRule()}}, 'Remove this rule')));
  }

  bound(input, object, member) {
    input.value = object[member] ?? '';
    input.addEventListener('input', () => {
      object[member] = input.value.trim();
      this.showRules();
      this.edited();
    });
    return input;
  }

  move(step) {
    const [rule] = this.draft.rules.splice(this.chosen, 1);
    this.draft.rules.splice(this.chosen + step, 0, rule);
    this.choose(this.chosen + step);
  }

  removeRule() {
    this.draft.rules.splice(this.chosen, 1);
    this.choose(everyoneElse);
  }
}
