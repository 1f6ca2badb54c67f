// A browser of a test's own, with a profile that is gone afterwards.

import {chromium} from 'playwright-core';

const flags = ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'];

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

/** A page on `host` that has received what the host kept. Whatever goes wrong in the page is in its `faults`. */
export async function openPage(browser, host, {view = '', ...options} = {}) {
  const context = await contextFor(browser, options);
  const page = await context.newPage();
  page.leave = () => (Object.keys(options).length > 0 ? context.close() : page.close());
  page.setDefaultTimeout(Number(process.env.PAGE_TIMEOUT ?? 60000));
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(String(error.stack)));
  page.on('console', (message) => { if (/Content Security Policy/.test(message.text())) page.faults.push(message.text()); });
  await page.goto(host.url + view);
  await page.getByText('Live', {exact: true}).waitFor();
  return page;
}

/** The lines of the list whose name or detail holds `text`. */
export const lines = (page, text) => page.locator('.row:visible', {hasText: text});

/** The line of what `send` brings, once the list shows it: a reply says that it is kept, not that the page has it. */
export async function arrival(page, send) {
  const newest = page.locator('.row:visible').first();
  const before = await newest.getAttribute('id');
  await send();
  await page.waitForFunction((id) => document.querySelector('.row:not([hidden])').id !== id, before);
  return newest;
}

export const clipboard = (page) => page.evaluate(() => navigator.clipboard.readText());
