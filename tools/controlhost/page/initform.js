// The init reply: each setting with its range and with what a tracker makes of the value, or the whole reply as text.

import {api} from './api.js';
import {el, icon, labelled} from './dom.js';
import {jsonLines} from './jsonlines.js';
import {jsonView} from './jsonview.js';
import {setAt, valueAt} from './pointer.js';
import {settingInput} from './settinginput.js';

const explainAfter = 150;  // milliseconds without a keystroke

function rangeText({min, max, unit, choices, kind, absent}) {
  if (choices?.length) return choices.join(' or ');
  if (min != null && max != null) return `${min.toLocaleString('en')} to ${max.toLocaleString('en')}${unit ? ` ${unit}` : ''}`;
  return {boolean: 'true or false', texts: 'one a line', object: 'JSON', text: 'text', integer: 'whole number'}[kind] ?? '';
}

export class InitForm {
  constructor(settings, descriptions, edited) {
    Object.assign(this, {settings, descriptions, edited, effects: new Map()});
    settings.init ??= {success: 1};
    this.form = el('div', {class: 'settings', role: 'group', 'aria-label': 'Settings of the init reply'});
    this.text = el('textarea', {class: 'code', rows: 14, spellcheck: 'false', 'aria-label': 'The init reply as text'});
    this.preview = el('div', {class: 'preview-json', tabindex: '0', role: 'group', 'aria-label': 'The reply as it goes out'});
    this.verdict = el('ul', {class: 'effects'});
    this.element = el('section', {class: 'card init-card', 'aria-labelledby': 'init-title'},
      el('header', {class: 'card-head'}, el('h2', {id: 'init-title', text: 'Init reply'}), this.modes()),
      el('p', {class: 'hint', text: 'A tracker asks for it at a start of its app: when its last reply is older than its mlinit_wait, 60 seconds or more, or when the app’s version has changed.'}),
      el('div', {class: 'init'}, el('div', {class: 'init-edit'}, this.form, this.text, this.cascade()),
        el('div', {class: 'init-out'}, el('h3', {text: 'What goes out'}), this.preview, el('h3', {text: 'What a tracker makes of it'}), el('div', {role: 'status'}, this.verdict))));
    this.text.addEventListener('input', () => { (this.settings.raw ??= {}).init = this.text.value; this.changed(); });
    this.fillForm();
    this.showMode();
    this.explain();
  }

  get isText() { return this.settings.raw?.init !== undefined; }

  modes() {
    const choice = (text, asText) => el('label', {}, el('input', {type: 'radio', name: 'init-mode', checked: this.isText === asText, on: {change: () => this.setMode(asText)}}), el('span', {text}));
    return el('fieldset', {class: 'segments'}, el('legend', {class: 'unseen', text: 'How to edit it'}), choice('Settings', false), choice('Text, also broken', true));
  }

  setMode(asText) {
    if (asText) (this.settings.raw ??= {}).init = JSON.stringify(this.settings.init, null, 2);
    else {
      this.adoptText();
      delete this.settings.raw.init;
    }
    this.fillForm();
    this.showMode();
    this.changed();
  }

  /** A text that is an object after all goes on as settings. */
  adoptText() {
    try {
      const value = JSON.parse(this.settings.raw.init);
      if (typeof value === 'object' && value !== null && !Array.isArray(value)) this.settings.init = value;
    } catch { /* broken: the settings stay as they were before */ }
  }

  showMode() {
    this.form.hidden = this.isText;
    this.text.hidden = !this.isText;
    if (this.isText) this.text.value = this.settings.raw.init;
  }

  fillForm() {
    this.form.replaceChildren(...this.descriptions.map((description) => this.settingRow(description)));
  }

  settingRow(description) {
    const {path, key, what, absent} = description;
    const id = `setting-${key}`;
    const {init} = this.settings;
    const sent = valueAt(init, path) !== undefined;
    const effect = el('p', {class: 'effect', id: `${id}-effect`});
    this.effects.set(path, {element: effect, absent});
    const input = settingInput(description, valueAt(init, path), id, (value) => { setAt(init, path, value); this.changed(); });
    const onOff = el('input', {type: 'checkbox', checked: sent, 'aria-label': `Send ${key}`, on: {change: () => {
      setAt(init, path, onOff.checked ? input.read() : undefined);
      input.element.disabled = !onOff.checked;
      this.changed();
      if (onOff.checked) input.element.focus();
    }}});
    input.element.disabled = !sent;
    input.element.setAttribute('aria-describedby', `${id}-effect`);
    return el('div', {class: 'setting'}, onOff,
      el('div', {class: 'setting-name'}, el('label', {for: id, text: key}), el('span', {text: what})),
      el('div', {class: 'setting-value'}, input.element, el('span', {class: 'range', text: rangeText(description)})), effect);
  }

  cascade() {
    const input = el('input', {type: 'number', min: 0, max: 1000000, value: this.settings.resonance_cascade ?? 0, on: {input: () => {
      this.settings.resonance_cascade = Math.max(0, Math.trunc(Number(input.value) || 0));
      this.edited();
    }}});
    return el('div', {class: 'cascade'}, labelled('Answer “resonance_cascade” first, so many times', input),
      el('p', {class: 'hint', text: 'Before its install report has gone, a device then asks again after 10, 20, 30 and from then on 60 seconds, and adopts nothing meanwhile.'}));
  }

  changed() {
    this.edited();
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.explain(), explainAfter);
  }

  async explain() {
    const text = this.isText ? this.settings.raw.init : JSON.stringify(this.settings.init);
    this.preview.replaceChildren(this.shownReply(text));
    const asked = this.asked = {};
    let said;
    try {
      said = await api.explain(text);
    } catch (error) {
      said = {problem: '', effects: [{path: '', severity: 'warning', text: error.message}]};
    }
    if (asked === this.asked) this.showEffects(said);
  }

  shownReply(text) {
    try {
      JSON.parse(text);
      return jsonView(jsonLines(text), []);
    } catch {
      return el('pre', {class: 'text', text});
    }
  }

  showEffects({problem, effects, refused = []}) {
    const byPath = new Map(effects.map((effect) => [effect.path, effect]));
    for (const [path, {element, absent}] of this.effects) {
      const effect = byPath.get(path);
      element.textContent = effect && effect.severity !== 'ok' ? effect.text : valueAt(this.settings.init, path) === undefined ? absent ?? '' : '';
      element.dataset.severity = effect?.severity ?? 'absent';
    }
    const item = (severity, text) => el('li', {data: {severity}}, icon(severity), el('span', {text}));
    // As text it goes out whatever it is.
    const slips = this.isText ? [] : refused.map((slip) => item('error', `The host refuses this as a slip: ${slip}. “Text, also broken” sends it all the same.`));
    this.verdict.replaceChildren(...(problem ? [item('error', problem)] : []), ...slips, ...effects.map(({severity, text}) => item(severity, text)));
  }
}
