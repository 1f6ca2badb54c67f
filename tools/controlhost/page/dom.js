// Every element is made here, from names and texts. Nothing that a device sent is ever read as markup, or turns the direction
// of what is read.

import {visible} from './format.js';

const svgSpace = 'http://www.w3.org/2000/svg';

/** An element. `properties`: `class`, `text`, `on` (listeners by event), `data` (data-*), or any attribute; `true` sets an
 *  attribute without a value, `false`, `null` and `undefined` leave it out. */
export function el(tag, properties = {}, ...children) {
  return filled(document.createElement(tag), properties, children);
}

export function svg(tag, properties = {}, ...children) {
  return filled(document.createElementNS(svgSpace, tag), properties, children);
}

function filled(element, properties, children) {
  for (const [name, value] of Object.entries(properties)) {
    if (value === false || value === null || value === undefined) continue;
    if (name === 'text') element.textContent = visible(String(value));
    else if (name === 'on') for (const [type, listener] of Object.entries(value)) element.addEventListener(type, listener);
    else if (name === 'data') Object.assign(element.dataset, value);
    else element.setAttribute(name, value === true ? '' : value);
  }
  const shown = children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false);
  element.append(...shown.map((child) => (typeof child === 'string' ? visible(child) : child)));
  return element;
}

let fields = 0;

/** A field with its label above it. */
export function labelled(text, input) {
  input.id ||= `field-${++fields}`;
  return el('div', {class: 'field'}, el('label', {for: input.id, text}), input);
}

/** Offers these choices, [value, text] each. Those that stay are not touched: somebody may be about to take one. */
export function offer(select, choices, chosen) {
  const values = new Set(choices.map(([value]) => value));
  for (const option of [...select.options]) if (!values.has(option.value)) option.remove();
  choices.forEach(([value, text], place) => {
    if (select.options[place]?.value !== value) select.insertBefore(el('option', {value, text}), select.options[place] ?? null);
  });
  if (select.value !== chosen) select.value = chosen;
}

export const byId = (id) => document.getElementById(id);

const strokes = {
  pause: 'M6 4v8M10 4v8',
  play: 'M5.5 3.5v9l7-4.5z',
  clear: 'M3.5 4.5h9M6.5 4.5V3h3v1.5M5 4.5l.5 8.5h5l.5-8.5',
  search: 'M7 3.2a3.8 3.8 0 1 0 0 7.6 3.8 3.8 0 0 0 0-7.6M9.9 9.9l3 3',
  copy: 'M6 6h6.5v6.5H6zM3.5 10V3.5H10',
  close: 'M4 4l8 8M12 4l-8 8',
  back: 'M9.5 3.5L5 8l4.5 4.5',
  plus: 'M8 3.5v9M3.5 8h9',
  light: 'M8 5.4a2.6 2.6 0 1 0 0 5.2 2.6 2.6 0 0 0 0-5.2M8 1.8v1.4M8 12.8v1.4M1.8 8h1.4M12.8 8h1.4M3.6 3.6l1 1M11.4 11.4l1 1M12.4 3.6l-1 1M4.6 11.4l-1 1',
  dark: 'M12.6 9.6A5.2 5.2 0 0 1 6.4 3.4a5.2 5.2 0 1 0 6.2 6.2z',
  theme: 'M8 2.5a5.5 5.5 0 1 0 0 11zM8 2.5a5.5 5.5 0 0 1 0 11',
  error: 'M8 2.2l5.8 5.8L8 13.8 2.2 8zM8 5.4v3.2M8 10.3v.2',
  warning: 'M8 2.8l5.6 10H2.4zM8 6.6v2.8M8 11v.2',
  note: 'M8 2.5a5.5 5.5 0 1 0 0 11 5.5 5.5 0 0 0 0-11M8 7.4v3.2M8 5.3v.2',
  ok: 'M3.5 8.5l3 3 6-7',
  up: 'M8 12.5v-9M4.5 7L8 3.5 11.5 7',
};

/** A small line drawing, for eyes only: the words stand beside it or in a label. */
export function icon(name) {
  return svg('svg', {class: 'icon', viewBox: '0 0 16 16', 'aria-hidden': 'true'}, svg('path', {d: strokes[name]}));
}

/** Puts the drawings where the document asks for them. */
export function drawIcons(root = document) {
  for (const place of root.querySelectorAll('[data-icon]')) place.replaceChildren(icon(place.dataset.icon));
}
