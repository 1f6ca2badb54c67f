// A browser of a test's own, with a profile that is gone afterwards.

import {chromium} from 'playwright-core';

const flags = ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'];
const patience = 30000;  // milliseconds; what a page does takes a few, so that only a page that hangs takes so long

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
  page.leave = () => (Object.keys(options).length > 0 ? context.close() : page.close());
  page.setDefaultTimeout(patience);
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(String(error.stack)));
  page.on('console', (message) => { if (/Content Security Policy/.test(message.text())) page.faults.push(message.text()); });
  await page.goto(host.url + view);
  await page.getByText('Live', {exact: true}).waitFor();
  if (['', '#traffic'].includes(view)) await latest(page, host);
  return page;
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
  await page.getByText(`Copied the ${what}.`).waitFor();
  return page.evaluate(() => navigator.clipboard.readText());
}
