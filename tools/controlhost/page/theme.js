// Light, dark, or as the system is; remembered by the browser.

import {icon} from './dom.js';

const themes = [{name: 'system', drawing: 'theme', text: 'as the system'}, {name: 'light', drawing: 'light', text: 'light'},
  {name: 'dark', drawing: 'dark', text: 'dark'}];

export function startTheme(button) {
  let index = Math.max(0, themes.findIndex(({name}) => name === remembered()));
  const show = () => {
    const {name, drawing, text} = themes[index];
    document.documentElement.dataset.theme = name;
    button.setAttribute('aria-label', `Theme: ${text}`);
    button.title = `Theme: ${text}`;
    button.querySelector('[data-icon]').replaceChildren(icon(drawing));
  };
  button.addEventListener('click', () => {
    index = (index + 1) % themes.length;
    show();
    try {
      localStorage.setItem('theme', themes[index].name);
    } catch { /* a browser that keeps nothing still shows it */ }
  });
  show();
}

function remembered() {
  try {
    return localStorage.getItem('theme');
  } catch {
    return null;
  }
}
