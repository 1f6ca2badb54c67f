// The page's one dialog: a question, or the list of keys.

import {byId, el} from './dom.js';
import {shortcuts} from './shortcuts.js';

/** Resolves to what was answered; "" at once while another one is open, whose answer is not to be taken for this one's. */
function show(title, content, buttons) {
  const dialog = byId('dialog');
  if (dialog.open) return Promise.resolve('');
  dialog.replaceChildren(el('form', {method: 'dialog'}, el('h2', {id: 'dialog-title', text: title}), ...content, el('div', {class: 'dialog-buttons'}, buttons)));
  dialog.returnValue = '';
  dialog.showModal();
  return new Promise((resolve) => dialog.addEventListener('close', () => resolve(dialog.returnValue), {once: true}));
}

/** Resolves to whether the reader said yes. */
export async function confirmed(title, text, yes) {
  return await show(title, [el('p', {text})], [el('button', {value: '', autofocus: true, text: 'Leave it'}), el('button', {value: 'yes', class: 'primary', text: yes})]) === 'yes';
}

export function showShortcuts() {
  const rows = shortcuts.map(([keys, what]) => el('tr', {}, el('th', {scope: 'row'}, keys.split('  ').map((key) => [el('kbd', {text: key}), ' '])), el('td', {text: what})));
  show('Keyboard', [el('table', {class: 'keys'}, el('tbody', {}, rows))], [el('button', {value: '', autofocus: true, class: 'primary', text: 'Close'})]);
}
