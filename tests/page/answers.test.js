import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {lines, openBrowser, openPage} from './support/browser.js';
import {Host, SampleApp, device, record} from './support/host.js';

let host, browser;
const apps = [];
before(async () => {
  host = await Host.start();
  browser = await openBrowser();
});
after(async () => {
  await browser?.close();
  await host?.stop();
  for (const app of apps) await app.uninstall();
});

const init = () => record('init', {platform: 'ios'});
const initReply = async () => JSON.parse((await host.send(init())).text);

/** Ticks a setting and types its value. */
async function set(page, key, value) {
  await page.getByRole('checkbox', {name: `Send ${key}`, exact: true}).check();
  await page.getByLabel(key, {exact: true}).fill(value);
}

async function apply(page) {
  await page.getByRole('button', {name: 'Apply'}).click();
  await page.getByText('The host answers like this now.').waitFor();
}

test('an edited setting reaches the init reply that a sample app gets next', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  await set(page, 'getattribution_wait', '1');
  await set(page, 'mltracker_wait', '777');
  await apply(page);
  const app = new SampleApp(host);
  apps.push(app);
  const visit = await app.visit();
  assert.equal(visit.status, 0, visit.errors);
  await page.getByRole('link', {name: 'Traffic'}).click();
  await page.locator('.row:visible[data-action=init]').first().click();
  await page.getByRole('tab', {name: 'Reply'}).click();
  await page.getByRole('tabpanel').getByText('"mltracker_wait": 777').waitFor();
});

test('the page says beforehand what a tracker makes of a value that is out of range', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  await page.getByText('60 to 604,800 s').first().waitFor();
  await set(page, 'mlinit_wait', '2');
  await page.locator('.effects', {hasText: /mlinit_wait.*60/}).waitFor();
  await page.locator('.effect[data-severity=warning]').first().waitFor();
});

test('a draft is applied as a whole, or discarded', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  const before = await initReply();
  await set(page, 'currency', 'EUR');
  await page.getByText('Not applied yet.').waitFor();
  assert.deepEqual(await initReply(), before);
  await page.getByRole('button', {name: 'Discard changes'}).click();
  await page.getByText('The host answers like this now.').waitFor();
  assert.ok(!await page.getByRole('checkbox', {name: 'Send currency'}).isChecked());
});

test('lists, a broken reply, resonance_cascade and a pending attribution are answered as edited', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  await set(page, 'blacklist', 'idfa\nidfv');
  await page.getByLabel(/resonance_cascade/).fill('1');
  await page.getByLabel('Pending, so many times').fill('1');
  await page.getByLabel('The attribution', {exact: true}).fill('{"network": "edited"}');
  await page.getByRole('checkbox', {name: 'Send text for batch'}).check();
  await page.getByLabel('batch', {exact: true}).fill('{ broken');
  await apply(page);
  const fresh = {marlune_device_id: 'MIAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA'};
  const ask = async (request) => (await host.send({...request, ...fresh})).text;
  assert.match(await ask(init()), /resonance_cascade/);
  assert.deepEqual(JSON.parse(await ask(init())).blacklist, ['idfa', 'idfv']);
  const question = record('get_attribution');
  assert.equal(JSON.parse(await ask(question)).data.attribution, undefined);
  assert.deepEqual(JSON.parse(await ask(question)).data.attribution, {network: 'edited'});
  assert.equal((await host.send([record('session', {state: 'pause'})])).text, '{ broken');
});

test('an init reply can be any text, and the page says what becomes of a broken one', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  await page.getByRole('radio', {name: 'Text, also broken'}).check();
  await page.getByLabel('The init reply as text').fill('{"success": 1, oops');
  await page.locator('.effects [data-severity=error]', {hasText: /column/}).waitFor();
  await apply(page);
  assert.equal((await host.send(init())).text, '{"success": 1, oops');
  await page.getByRole('radio', {name: 'Settings'}).check();
  await apply(page);
  assert.equal((await initReply()).success, 1);
});

test('a rule answers its device alone', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  await page.getByRole('button', {name: 'Add a rule'}).click();
  await page.getByLabel('Device identifier').fill(device);
  await set(page, 'currency', 'JPY');
  await apply(page);
  assert.equal((await initReply()).flags.currency, 'JPY');
  const other = await host.send({...init(), marlune_device_id: 'MI99999999999999999999999999999999'});
  assert.equal(JSON.parse(other.text).flags?.currency, undefined);
  await page.getByRole('button', {name: 'Remove this rule'}).click();
  await apply(page);
  assert.equal((await initReply()).flags?.currency, undefined);
});

test('what another page applied is taken over, but not over a draft', async () => {
  const page = await openPage(browser, host, {view: '#answers'});
  const other = await openPage(browser, host, {view: '#answers'});
  await set(other, 'currency', 'CHF');
  await apply(other);
  await page.waitForFunction(() => document.getElementById('setting-currency').value === 'CHF');
  await page.getByLabel('currency', {exact: true}).fill('NOK');
  await other.getByLabel('currency', {exact: true}).fill('SEK');
  await apply(other);
  await page.getByText('Not applied yet.').waitFor();
  assert.equal(await page.getByLabel('currency', {exact: true}).inputValue(), 'NOK');
  assert.deepEqual([...page.faults, ...other.faults], []);
});
