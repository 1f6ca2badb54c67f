// Pictures of the page, light and dark, for the README: `node pictures.js FOLDER`.

import {mkdir} from 'node:fs/promises';
import path from 'node:path';
import {desktop, lines, openBrowser, openPage} from './browser.js';
import {Host, SampleApp, event, record, usertime} from './host.js';

const devices = ['MI7C41E05B92D84A6FB3C0D1E2F3A4B5C6', 'MI2F9A6C3D1B7E4058A9C8D7E6F5A4B3C2'];

/** A session that began so many seconds ago, with an event every few seconds. */
function session(device, app, ago, names, more = {}) {
  const ids = {marlune_device_id: device, marlune_app_id: app};
  let time = ago;
  const happened = names.map((name, index) => ({...event(name, String(index + 1), {usertime: usertime(time -= 7), ...more[index]}), ...ids}));
  return [
    {...record('session', {state: 'resume', usertime: usertime(ago), uptime: '0'}), ...ids},
    ...happened,
    {...record('session', {state: 'pause', usertime: usertime(time - 5), uptime: '60'}), ...ids},
  ];
}

async function fill(host) {
  await host.put('api/answers', {rules: [], default: {init: {success: 1, flags: {resend_initial: false, getattribution_wait: 1}}, attribution: {polls: 1, retry: 1, answer: {network: 'Example Ads', campaign: 'autumn'}}}});
  await host.send(session(devices[0], 'com.example.game', 250, ['Level', 'Level', 'Coins', 'Level', 'Rating']));
  await host.send(session(devices[1], 'com.example.shop', 215, ['Search', 'Search', 'Basket', 'Search']));
  await host.send(session(devices[0], 'com.example.game', 150, ['Level', 'Level', 'Level', 'Coins', 'Level', 'Level']));
  const app = new SampleApp(host);
  await app.visit();
  await app.uninstall();
  await host.send(session(devices[1], 'com.example.shop', 70, ['Search', 'Basket', 'Purchase', 'Rating', 'Search'], {2: {uptime: 120}}));
}

const folder = process.argv[2];
await mkdir(folder, {recursive: true});
const host = await Host.start();
const browser = await openBrowser();
await fill(host);
for (const colorScheme of ['light', 'dark']) {
  const page = await openPage(browser, host, {colorScheme, viewport: desktop});
  await lines(page, 'event "Purchase"').first().click();
  await page.locator('.json-note').first().waitFor();
  await page.waitForTimeout(1500);  // until the time line is drawn whole
  await page.screenshot({path: path.join(folder, `controlhost-${colorScheme}.png`)});
}
await browser.close();
await host.stop();
