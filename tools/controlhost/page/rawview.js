// Bytes as they came: offset, hexadecimal, and what is readable of them.

import {el} from './dom.js';
import {size} from './format.js';

const inRow = 16;
const mostBytes = 16384;

export function rawView(base64) {
  const bytes = Uint8Array.from(atob(base64), (character) => character.charCodeAt(0));
  const rows = [];
  for (let start = 0; start < Math.min(bytes.length, mostBytes); start += inRow) {
    const row = [...bytes.subarray(start, start + inRow)];
    const hex = row.map((byte) => byte.toString(16).padStart(2, '0')).join(' ').padEnd(inRow * 3 - 1);
    const readable = row.map((byte) => (byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : '·')).join('');
    rows.push(`${start.toString(16).padStart(6, '0')}  ${hex}  ${readable}`);
  }
  const about = bytes.length > mostBytes ? `${size(bytes.length)}, of which the first ${size(mostBytes)}:` : `${size(bytes.length)}:`;
  return el('div', {}, el('p', {class: 'facts', text: bytes.length ? about : 'Without a body.'}), el('pre', {class: 'hex', tabindex: '0', role: 'group', 'aria-label': 'Bytes', text: rows.join('\n')}));
}
