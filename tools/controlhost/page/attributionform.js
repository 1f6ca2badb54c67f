// The attribution answer: pending so many times, then this.

import {el, labelled} from './dom.js';

export function attributionCard(settings, edited) {
  const attribution = () => (settings.attribution ??= {});
  const number = (member, standard) => el('input', {type: 'number', min: 0, max: member === 'retry' ? 604800 : 1000000, value: settings.attribution?.[member] ?? standard, on: {input: (event) => {
    attribution()[member] = Math.max(0, Math.trunc(Number(event.target.value) || 0));
    edited();
  }}});
  const shown = settings.attribution && 'answer' in settings.attribution ? settings.attribution.answer : {network: 'example', campaign: 'example'};
  const text = el('textarea', {class: 'code', rows: 5, spellcheck: 'false', 'aria-label': 'The attribution'});
  const problem = el('p', {class: 'effect', data: {severity: 'warning'}, role: 'status'});
  text.value = JSON.stringify(typeof shown === 'object' && shown ? shown : {network: 'example'}, null, 2);
  const readText = () => {
    try {
      const value = JSON.parse(text.value);
      if (typeof value !== 'object' || value === null || Array.isArray(value)) throw new Error('an attribution is an object');
      problem.textContent = '';
      text.removeAttribute('aria-invalid');
      attribution().answer = value;
    } catch (error) {
      problem.textContent = `Not taken over: ${error.message}.`;
      text.setAttribute('aria-invalid', true);
    }
    edited();
  };
  text.addEventListener('input', readText);
  const now = shown === null ? 'never' : shown === 'false' ? 'none' : 'found';
  const suit = (choice) => { text.hidden = problem.hidden = choice !== 'found'; };
  const option = (value, label) => el('label', {class: 'option'}, el('input', {type: 'radio', name: 'attribution-answer', value, checked: value === now, on: {change: () => {
    suit(value);
    if (value === 'found') return readText();
    text.removeAttribute('aria-invalid');
    attribution().answer = value === 'none' ? 'false' : null;
    edited();
  }}}), el('span', {text: label}));
  suit(now);
  return el('section', {class: 'card', 'aria-labelledby': 'attribution-title'}, el('h2', {id: 'attribution-title', text: 'Attribution'}),
    el('div', {class: 'fields'},
      labelled('Pending, so many times', number('polls', 0)), labelled('Seconds until it asks again', number('retry', 15))),
    el('fieldset', {class: 'options'}, el('legend', {text: 'Then'}),
      option('found', 'this attribution'), option('none', '“false”: the install is not attributed'), option('never', 'nothing: it stays pending')),
    text, problem);
}
