// Times, sizes and names as people read them.

const two = (number) => String(number).padStart(2, '0');

/** "14:03:27.120", local time. */
export function timeOfDay(seconds, thousandths = true) {
  const time = new Date(seconds * 1000);
  const whole = `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
  return thousandths ? `${whole}.${String(time.getMilliseconds()).padStart(3, '0')}` : whole;
}

/** "812 B", "3.4 kB", "1.2 MB". */
export function size(bytes) {
  if (bytes < 1000) return `${bytes} B`;
  return bytes < 1e6 ? `${(bytes / 1e3).toFixed(1)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

/** A device identifier with its middle left out: "MI0123…CDEF". */
export function shortDevice(device) {
  if (!device) return 'no device';
  return device.length > 14 ? `${device.slice(0, 6)}…${device.slice(-4)}` : device;
}

export function counted(number, one, many = `${one}s`) {
  return `${number.toLocaleString('en')} ${number === 1 ? one : many}`;
}

/** "2 errors, 1 warning"; "" when there is nothing. */
export function findingsText(findings) {
  return ['error', 'warning', 'note'].filter((severity) => findings[severity])
    .map((severity) => counted(findings[severity], severity)).join(', ');
}

/** The worst of what was found: "error", "warning", "note" or "". */
export function worst(findings) {
  return ['error', 'warning', 'note'].find((severity) => findings[severity]) ?? '';
}

const unseen = /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u206f\ufeff\ufff9-\ufffb]/g;

/** A text with what would turn its direction, or would not be seen, escaped as in JSON: "\u202E". */
export function visible(text) {
  return text.replace(unseen, (character) => `\\u${character.charCodeAt(0).toString(16).toUpperCase().padStart(4, '0')}`);
}
