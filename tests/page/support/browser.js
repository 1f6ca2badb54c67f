// A browser of a test's own, with a profile that is gone afterwards.

import './leavings.js';
import {chromium} from 'playwright-core';

const flags = ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'];
const patience = 60000;  // milliseconds; what a page does takes a few, so that only a page that hangs takes so long

export const desktop = {width: 1360, height: 860};
export const phone = {width: 390, height: 844};

export const openBrowser = () => chromium.launch({executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: flags});

/** Pages without wishes of their own share one profile, which is quick. */
async function contextFor(browser, options) {
  const all = {viewport: desktop, permissions: ['clipboard-read', 'clipboard-write'], ...options};
  if (Object.keys(options).length > 0) return browser.newContext(all);
  browser.shared ??= browser.newContext(all);
  return browser.shared;
}

/** A page on `host`; with the traffic in view, it shows all that came so far. What goes wrong in it is in its `faults`. */
export async function openPage(browser, host, {view = '', ...options} = {}) {
  const context = await contextFor(browser, options);
  const page = await context.newPage();
  page.leave = async () => {
    if (page.isClosed()) return;
    await page.unrouteAll({behavior: 'ignoreErrors'});  // the page asks for more while it is being closed
    await (Object.keys(options).length > 0 ? context.close() : page.close());
  };
  page.setDefaultTimeout(patience);
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(String(error.stack)));
  await page.addInitScript(keepMessages);
  page.on('console', (message) => { if (/Content Security Policy/.test(message.text())) page.faults.push(message.text()); });
  const known = Promise.all(['answers', 'faults'].map((what) => page.waitForResponse(`**/api/${what}`)));
  await page.goto(host.url + view);
  await page.getByText('Live', {exact: true}).waitFor();
  await known;
  if (['', '#traffic'].includes(view)) await drawn(page, host);
  return page;
}

/** Within the page: keeps its messages, which go by themselves after a while. */
function keepMessages() {
  window.messages = [];
  addEventListener('DOMContentLoaded', () => new MutationObserver((changes) => {
    for (const {addedNodes} of changes) for (const {textContent} of addedNodes) window.messages.push(textContent);
  }).observe(document.getElementById('toasts'), {childList: true}));
}

/** Once the page has said so. */
export const said = (page, text) => page.waitForFunction((wanted) => window.messages.includes(wanted), text);

/** A lane for each device, too: one that is drawn later moves all that stands below. */
async function drawn(page, host) {
  await latest(page, host);
  const {devices} = await host.get('api/devices');
  if (devices.length) await page.locator('.lane').nth(devices.length - 1).waitFor();
}

/** Something that is waited for until it is let go. */
function gate() {
  let open;
  const opened = new Promise((resolve) => { open = resolve; });
  return {open, opened};
}

/** From here on, what the page asks for at `address` is answered only after `release()`, but as it was when it asked.
 *  `asked` is fulfilled when it has asked once. */
export async function holdAnswers(page, address) {
  const asked = gate();
  const released = gate();
  await page.route(address, async (route) => {
    if (route.request().method() !== 'GET') return route.fallback();
    const reply = await fetch(route.request().url(), {headers: {Connection: 'close'}});
    const held = {status: reply.status, contentType: reply.headers.get('Content-Type'), body: await reply.text()};
    asked.open();
    await released.opened;
    return route.fulfill(held);
  });
  return {asked: asked.opened, release: released.open};
}

/** From here on, what the page changes at `address` reaches the host only after `release()`. `sent` is fulfilled when the
 *  page has sent something. */
export async function holdChanges(page, address) {
  const sent = gate();
  const released = gate();
  await page.route(address, async (route) => {
    if (route.request().method() === 'GET') return route.fallback();
    sent.open();
    await released.opened;
    return route.continue();
  });
  return {sent: sent.opened, release: released.open};
}

/** The lines of the list whose name or detail holds `text`. */
export const lines = (page, text) => page.locator('.row:visible', {hasText: text});

/** The line of the last request that came, once the page has drawn it: a reply says only that the host keeps the request.
 *  For a list that is not filtered; nothing when nothing came. */
export async function latest(page, host) {
  const [request] = (await host.get('api/requests?order=desc&limit=1')).requests;
  if (!request) return null;
  const line = page.locator(`[id="row-${request.id}"]`);
  await line.waitFor();
  return line;
}

/** What `button` puts on the clipboard, once the page says that it has. */
export async function copied(page, button, what) {
  await button.click();
  await said(page, `Copied the ${what}.`);
  return page.evaluate(() => navigator.clipboard.readText());
}
