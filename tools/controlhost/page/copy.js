// Puts text on the clipboard and says so.

import {inTurn} from './api.js';
import {byId, el} from './dom.js';

const turn = inTurn();

export function toast(text, kind = 'note') {
  const message = el('p', {class: 'toast', data: {kind}, text});
  byId('toasts').append(message);
  setTimeout(() => message.remove(), kind === 'error' ? 9000 : 4000);
}

/** `get()` gives the text, perhaps later; what was asked for last is what the clipboard holds in the end. `what` names it:
 *  "JSON", "curl command". */
export function copy(get, what) {
  const text = Promise.resolve(get());
  text.catch(() => {});  // said when it is its turn
  return turn(async () => write(await text, what)).catch((error) => toast(error.message, 'error'));
}

async function write(text, what) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    if (!copiedTheOldWay(text)) return toast(`The browser did not allow to copy the ${what}.`, 'error');
  }
  toast(`Copied the ${what}.`);
}

/** Where a page came over plain HTTP from another machine, browsers offer only this. */
function copiedTheOldWay(text) {
  const field = el('textarea', {class: 'unseen'});
  field.value = text;
  document.body.append(field);
  const before = document.activeElement;
  field.select();
  const done = document.execCommand('copy');
  field.remove();
  before?.focus();
  return done;
}
