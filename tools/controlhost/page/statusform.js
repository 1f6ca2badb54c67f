// The HTTP status of each reply, and the time that all of them take.

import {el, labelled} from './dom.js';

const requests = [
  ['init', 'Init'], ['initial', 'Install report'], ['update', 'Update'], ['get_attribution', 'Attribution'], ['batch', 'Batch'],
];
const least = 200, most = 599, longestDelay = 600000;

/** A whole number within bounds; undefined for an empty field. */
function numberIn(input) {
  const text = input.value.trim();
  if (!text) return undefined;
  return Math.min(Math.max(Math.trunc(Number(text) || 0), Number(input.min)), Number(input.max));
}

export function statusCard(settings, edited) {
  const status = ([action, name]) => {
    const input = el('input', {type: 'number', min: least, max: most, placeholder: 200, value: settings.status?.[action], on: {input: () => {
      const wanted = numberIn(input);
      const all = {...settings.status, [action]: wanted};
      if (wanted === undefined) delete all[action];
      settings.status = all;
      edited();
    }, change: () => { input.value = numberIn(input) ?? ''; }}});
    return labelled(`Status for ${name.toLowerCase()}`, input);
  };
  const delay = el('input', {type: 'number', min: 0, max: longestDelay, value: settings.delay_ms ?? 0, on: {input: () => {
    settings.delay_ms = numberIn(delay) ?? 0;
    edited();
  }, change: () => { delay.value = numberIn(delay) ?? 0; }}});
  return el('section', {class: 'card', 'aria-labelledby': 'status-title'}, el('h2', {id: 'status-title', text: 'Status and delay'}),
    el('p', {class: 'hint', text: `${least} to ${most}; empty is 200. From 300 on the tracker was refused: it sends again what it must not lose. These last; a fault passes.`}),
    el('div', {class: 'fields'}, requests.map(status), labelled('Milliseconds that every reply takes', delay)));
}
