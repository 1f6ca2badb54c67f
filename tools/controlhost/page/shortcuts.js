// Keys that work anywhere but in a field. The list is what the help shows.

export const shortcuts = [
  ['1  2  3', 'Traffic, answers, faults'],
  ['/', 'Search'],
  ['L', 'The list of what came'],
  ['↑ ↓  Page Up  Page Down  Home  End', 'Move in the list'],
  ['Enter', 'Go into the chosen record'],
  ['← →', 'Body, reply, headers, raw bytes of the record'],
  ['Esc', 'Back to the list; close a dialog'],
  ['P', 'Pause, and go on'],
  ['X', 'Clear'],
  ['Ctrl Enter', 'Apply the answers, in their form'],
  ['?', 'These keys'],
];

export function listenForShortcuts(actions) {
  addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || event.defaultPrevented) return;
    if (event.target.closest('input, textarea, select, dialog, [contenteditable]')) return;
    const keys = {
      '1': () => actions.views(0), '2': () => actions.views(1), '3': () => actions.views(2),
      '/': actions.search, l: actions.list, p: actions.pause, x: actions.clear, '?': actions.help,
    };
    const action = keys[event.key.toLowerCase()];
    if (!action) return;
    event.preventDefault();
    action();
  });
}
