// A field for one setting. What cannot be read as its kind is given on as it was typed: what the host and a tracker make of
// that stands beside it.

import {el} from './dom.js';

const asInteger = (text) => (/^-?\d{1,15}$/.test(text.trim()) ? Number(text) : text);
const asLines = (text) => text.split('\n').map((line) => line.trim()).filter((line) => line);
const asJson = (text) => { try { return JSON.parse(text); } catch { return text; } };
const jsonText = (value) => (typeof value === 'string' ? value : JSON.stringify(value, null, 1));

/** `read()` gives the value that stands in `element`; `changed(value)` is called when it changes. */
export function settingInput({kind, choices, default: standard, min}, value, id, changed) {
  if (kind === 'boolean' && (value === undefined || typeof value === 'boolean')) {
    const element = el('select', {id}, el('option', {value: 'true', text: 'true'}), el('option', {value: 'false', text: 'false'}));
    element.value = String(value ?? standard ?? false);
    return bound(element, 'change', () => element.value === 'true', changed);
  }
  if (kind === 'texts' && (value === undefined || Array.isArray(value))) {
    const element = el('textarea', {id, rows: 2, spellcheck: 'false'});
    element.value = (value ?? []).join('\n');
    return bound(element, 'input', () => asLines(element.value), changed);
  }
  if (kind === 'object') {
    const element = el('textarea', {id, rows: 3, spellcheck: 'false', class: 'code'});
    element.value = jsonText(value ?? {});
    return bound(element, 'input', () => asJson(element.value), changed);
  }
  const list = choices?.length ? `${id}-choices` : null;
  const element = el('input', {id, list, autocomplete: 'off', spellcheck: 'false', inputmode: kind === 'integer' ? 'numeric' : null});
  const known = value ?? standard ?? min ?? choices?.[0] ?? '';
  element.value = typeof known === 'object' ? JSON.stringify(known) : known;
  const result = bound(element, 'input', () => (kind === 'integer' ? asInteger(element.value) : element.value), changed);
  if (list) element.addEventListener('focus', () => element.after(el('datalist', {id: list}, choices.map((choice) => el('option', {value: choice})))), {once: true});
  return result;
}

function bound(element, type, read, changed) {
  element.addEventListener(type, () => changed(read()));
  return {element, read};
}
