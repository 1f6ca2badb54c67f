// Text that goes out instead of a reply, whatever it is.

import {el} from './dom.js';

const replies = [
  ['initial', 'Install report'], ['update', 'Update'], ['get_attribution', 'Attribution'], ['batch', 'Batch'],
];

export function rawCard(settings, edited) {
  const row = ([action, name]) => {
    const id = `raw-${action}`;
    const text = el('textarea', {class: 'code', id, rows: 2, spellcheck: 'false'});
    const now = settings.raw?.[action];
    text.value = now ?? '{ "success": 1, ';
    text.disabled = now === undefined;
    const write = () => {
      const raw = (settings.raw ??= {});
      if (onOff.checked) raw[action] = text.value;
      else delete raw[action];
      edited();
    };
    const onOff = el('input', {type: 'checkbox', checked: now !== undefined, 'aria-label': `Send text for ${action}`, on: {change: () => {
      text.disabled = !onOff.checked;
      write();
    }}});
    text.addEventListener('input', write);
    return el('div', {class: 'setting'}, onOff, el('div', {class: 'setting-name'}, el('label', {for: id, text: action}), el('span', {text: name})), el('div', {class: 'setting-value broad'}, text));
  };
  return el('section', {class: 'card', 'aria-labelledby': 'raw-title'}, el('h2', {id: 'raw-title', text: 'Text instead of a reply'}),
    el('p', {class: 'hint', text: 'Sent as it stands, JSON or not. A reply that is not a JSON object reaches no handler of the tracker.'}),
    el('div', {class: 'settings'}, replies.map(row)));
}
