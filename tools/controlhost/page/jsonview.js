// Lines of JSON with their numbers, and each finding below the line that it is about.

import {el, icon} from './dom.js';
import {visible} from './format.js';

const longText = 400;     // characters of a text that are shown before it is asked for
const mostLines = 2000;   // likewise lines

const kindOf = (token) => (token[0] === '"' ? 'text' : '{}[]'.includes(token[0]) ? 'bracket' : /[-\d]/.test(token[0]) ? 'number' : 'word');

function tokenElement(token) {
  const element = el('span', {class: `json-${kindOf(token)}`, text: token});
  if (token.length <= longText) return element;
  element.textContent = `${visible(token.slice(0, longText))}…`;
  const more = el('button', {type: 'button', class: 'link', text: `all ${token.length.toLocaleString('en')} characters`, on: {click: () => {
    element.textContent = visible(token);
    more.remove();
  }}});
  return el('span', {}, element, ' ', more);
}

function lineElement(line, number, findings) {
  const severity = ['error', 'warning', 'note'].find((one) => findings.some((finding) => finding.severity === one));
  const element = el('div', {class: 'json-line', data: {path: line.path, ...(severity && {severity})}},
    el('span', {class: 'json-number-of-line', 'aria-hidden': 'true', text: number}),
    el('span', {class: 'json-content'},
      line.key != null && el('span', {class: 'json-key', text: line.key}), line.key != null && ': ',
      tokenElement(line.token), line.comma && ','));
  element.style.setProperty('--depth', line.depth);
  const notes = findings.map((finding) => {
    const note = el('div', {class: 'json-note', data: {severity: finding.severity}}, icon(finding.severity),
      el('span', {}, el('b', {text: finding.severity}), ' ',
        finding.expected ? `expected ${finding.expected}; got ${finding.got}. ${finding.hint}` : finding.text));
    note.style.setProperty('--depth', line.depth);
    return note;
  });
  return [element, ...notes];
}

/** The line that a finding is about: where its path begins, or the nearest thing around it that is there. */
function placesOf(lines, findings) {
  const first = new Map();
  lines.forEach((line, index) => { if (!line.closes && !first.has(line.path)) first.set(line.path, index); });
  const places = new Map();
  for (const finding of findings) {
    let path = finding.path;
    while (path && !first.has(path)) path = path.slice(0, path.lastIndexOf('/'));
    const index = first.get(path) ?? 0;
    places.set(index, [...(places.get(index) ?? []), finding]);
  }
  return places;
}

export function jsonView(lines, findings) {
  const places = placesOf(lines, findings);
  const view = el('div', {class: 'json'});
  const add = (from, to) => view.append(...lines.slice(from, to).flatMap((line, index) => lineElement(line, from + index + 1, places.get(from + index) ?? [])));
  add(0, mostLines);
  if (lines.length > mostLines) {
    const more = el('button', {type: 'button', class: 'link', text: `Show the other ${(lines.length - mostLines).toLocaleString('en')} lines`,
      on: {click: () => { more.remove(); add(mostLines, lines.length); }}});
    view.append(more);
  }
  return view;
}
