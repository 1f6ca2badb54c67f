import assert from 'node:assert/strict';
import {test} from 'node:test';
import {holdAnswers, holdChanges, latest, said} from './support/browser.js';
import {device, record} from './support/host.js';
import {setStage} from './support/stage.js';

const stage = setStage();

const init = () => record('init', {platform: 'ios'});
const initReply = async () => JSON.parse((await stage.host.send(init())).text);

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
  const page = await stage.open({view: '#answers'});
  await page.getByText('A tracker asks for it at a start of its app: when its last reply is older than its mlinit_wait').waitFor();
  await set(page, 'getattribution_wait', '1');
  await set(page, 'mltracker_wait', '777');
  await apply(page);
  const visit = await stage.app.visit();
  assert.equal(visit.status, 0, visit.errors);
  await page.getByRole('link', {name: 'Traffic'}).click();
  await latest(page, stage.host);
  await page.getByLabel('Action', {exact: true}).selectOption('init');
  await page.getByText(/^1 of/).waitFor();
  await page.locator('.row:visible').click();
  await page.getByRole('tab', {name: 'Reply'}).click();
  await page.getByRole('tabpanel').getByText('"mltracker_wait": 777').waitFor();
});

test('the page says beforehand what a tracker makes of a value that is out of range', async () => {
  const page = await stage.open({view: '#answers'});
  await page.getByText('60 to 604,800 s').first().waitFor();
  await set(page, 'mlinit_wait', '2');
  await page.locator('.effects', {hasText: /mlinit_wait.*60/}).waitFor();
  await page.locator('.effect[data-severity=warning]').first().waitFor();
});

test('a draft is applied as a whole, or discarded', async () => {
  const page = await stage.open({view: '#answers'});
  const before = await initReply();
  await set(page, 'currency', 'EUR');
  await page.getByText('Not applied yet.').waitFor();
  assert.deepEqual(await initReply(), before);
  await page.getByRole('button', {name: 'Discard changes'}).click();
  await page.getByText('The host answers like this now.').waitFor();
  assert.ok(!await page.getByRole('checkbox', {name: 'Send currency'}).isChecked());
});

test('lists, a broken reply, resonance_cascade and a pending attribution are answered as edited', async () => {
  const page = await stage.open({view: '#answers'});
  await set(page, 'blacklist', 'idfa\nidfv');
  await page.getByLabel(/resonance_cascade/).fill('1');
  await page.getByLabel('Pending, so many times').fill('1');
  await page.getByLabel('The attribution', {exact: true}).fill('{"network": "edited"}');
  await page.getByRole('checkbox', {name: 'Send text for batch'}).check();
  await page.getByLabel('batch', {exact: true}).fill('{ broken');
  await apply(page);
  const fresh = {marlune_device_id: 'MIAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA'};
  const ask = async (request) => (await stage.host.send({...request, ...fresh})).text;
  assert.match(await ask(init()), /resonance_cascade/);
  assert.deepEqual(JSON.parse(await ask(init())).blacklist, ['idfa', 'idfv']);
  const question = record('get_attribution');
  assert.equal(JSON.parse(await ask(question)).data.attribution, undefined);
  assert.deepEqual(JSON.parse(await ask(question)).data.attribution, {network: 'edited'});
  assert.equal((await stage.host.send([record('session', {state: 'pause'})])).text, '{ broken');
});

test('an init reply can be any text, and the page says what becomes of a broken one', async () => {
  const page = await stage.open({view: '#answers'});
  await page.getByRole('radio', {name: 'Text, also broken'}).check();
  await page.getByLabel('The init reply as text').fill('{"success": 1, oops');
  await page.locator('.effects [data-severity=error]', {hasText: /column/}).waitFor();
  await apply(page);
  assert.equal((await stage.host.send(init())).text, '{"success": 1, oops');
  await page.getByRole('radio', {name: 'Settings'}).check();
  await apply(page);
  assert.equal((await initReply()).success, 1);
});

test('a status and a delay of replies are edited, for everyone or by a rule, and taken back', async () => {
  const page = await stage.open({view: '#answers'});
  await page.getByLabel('Status for batch').fill('503');
  await page.getByLabel('Milliseconds that every reply takes').fill('20');
  await apply(page);
  const pause = [record('session', {state: 'pause'})];
  assert.equal((await stage.host.send(pause)).status, 503);
  assert.equal((await stage.host.send(init())).status, 200);
  const {requests} = await stage.host.get('api/requests?limit=1&order=desc');
  assert.equal((await stage.host.get(`api/requests/${requests[0].id}`)).reply.delay_ms, 20);
  await page.getByRole('button', {name: 'Add a rule'}).click();
  await page.getByLabel('Device identifier').fill(device);
  await page.getByLabel('Status for batch').fill('429');
  await apply(page);
  assert.equal((await stage.host.send(pause)).status, 429);
  await page.getByRole('button', {name: 'Remove this rule'}).click();
  await page.getByLabel('Status for batch').fill('');
  await page.getByLabel('Milliseconds that every reply takes').fill('0');
  await apply(page);
  assert.equal((await stage.host.send(pause)).status, 200);
});

test('a new rule is for the device that sent last', async () => {
  const newer = 'MI99999999999999999999999999999999';
  await stage.host.send(init());
  const page = await stage.open();
  await stage.host.send({...init(), marlune_device_id: newer});
  await page.locator('.lane').nth(1).waitFor();
  await page.getByRole('link', {name: 'Answers'}).click();
  await page.getByRole('button', {name: 'Add a rule'}).click();
  assert.equal(await page.getByLabel('Device identifier').inputValue(), newer);
});

test('a rule answers its device alone', async () => {
  const page = await stage.open({view: '#answers'});
  await page.getByRole('button', {name: 'Add a rule'}).click();
  await page.getByLabel('Device identifier').fill(device);
  await set(page, 'currency', 'JPY');
  await apply(page);
  assert.equal((await initReply()).flags.currency, 'JPY');
  const other = await stage.host.send({...init(), marlune_device_id: 'MI99999999999999999999999999999999'});
  assert.equal(JSON.parse(other.text).flags?.currency, undefined);
  await page.getByRole('button', {name: 'Remove this rule'}).click();
  await apply(page);
  assert.equal((await initReply()).flags?.currency, undefined);
});

test('what another page applied is taken over, but not over a draft', async () => {
  const page = await stage.open({view: '#answers'});
  const other = await stage.open({view: '#answers'});
  await set(other, 'currency', 'CHF');
  await apply(other);
  await page.waitForFunction(() => document.getElementById('setting-currency').value === 'CHF');
  await page.getByLabel('currency', {exact: true}).fill('NOK');
  await other.getByLabel('currency', {exact: true}).fill('SEK');
  const told = page.waitForResponse('**/api/answers');
  await apply(other);
  await told;
  assert.equal(await page.getByLabel('currency', {exact: true}).inputValue(), 'NOK');
  await page.getByRole('button', {name: 'Discard changes'}).click();
  await page.waitForFunction(() => document.getElementById('setting-currency').value === 'SEK');
});

test('what is typed while the answers are applied stays', async () => {
  const page = await stage.open({view: '#answers'});
  await set(page, 'currency', 'CHF');
  await page.route('**/api/answers', async (route) => {
    if (route.request().method() === 'PUT') await page.getByLabel('currency', {exact: true}).fill('NOK');
    await route.continue();
  });
  await page.getByRole('button', {name: 'Apply'}).click();
  await said(page, 'Applied. The next request is answered so.');
  assert.equal((await initReply()).flags.currency, 'CHF');
  assert.equal(await page.getByLabel('currency', {exact: true}).inputValue(), 'NOK');
  await page.getByText('Not applied yet.').waitFor();
});

test('a draft is applied over what another one applied just before, and stays on the page', async () => {
  const page = await stage.open({view: '#answers'});
  await set(page, 'currency', 'NOK');
  const {asked, release} = await holdAnswers(page, '**/api/answers');
  await stage.host.put('api/answers', {default: {init: {success: 1, flags: {currency: 'CHF'}}}});
  await asked;
  await page.getByRole('button', {name: 'Apply'}).click();
  await page.getByText('On its way to the host.').waitFor();
  release();
  await page.getByText('The host answers like this now.').waitFor();
  assert.equal(await page.getByLabel('currency', {exact: true}).inputValue(), 'NOK');
  assert.equal((await initReply()).flags.currency, 'NOK');
});

test('answers that are on their way are sent once, and only what is newer is discarded', async () => {
  const page = await stage.open({view: '#answers'});
  await set(page, 'currency', 'NOK');
  const puts = [];
  page.on('request', (request) => { if (request.method() === 'PUT') puts.push(request.postDataJSON().default.init.flags.currency); });
  const {sent, release} = await holdChanges(page, '**/api/answers');
  await page.getByRole('button', {name: 'Apply'}).click();
  await sent;
  assert.ok(await page.getByRole('button', {name: 'Apply'}).isDisabled());
  await page.keyboard.press('Control+Enter');
  await page.getByLabel('currency', {exact: true}).fill('SEK');
  await page.getByText('Not applied yet.').waitFor();
  await page.getByRole('button', {name: 'Discard changes'}).click();
  assert.equal(await page.getByLabel('currency', {exact: true}).inputValue(), 'NOK');
  release();
  await page.getByText('The host answers like this now.').waitFor();
  assert.deepEqual(puts, ['NOK']);
  assert.equal((await initReply()).flags.currency, 'NOK');
});

test('answers that the host refused are a draft again', async () => {
  const page = await stage.open({view: '#answers'});
  await page.route('**/api/answers', (route) => (route.request().method() === 'PUT'
    ? route.fulfill({status: 400, json: {error: 'That cannot be.', hint: 'Try another one.'}}) : route.fallback()));
  await set(page, 'currency', 'NOK');
  await page.getByRole('button', {name: 'Apply'}).click();
  await page.getByRole('alert').getByText('That cannot be. Try another one.').waitFor();
  await page.getByText('Not applied yet.').waitFor();
  assert.ok(await page.getByRole('button', {name: 'Apply'}).isEnabled());
});

test('text that cannot be taken over yet is not lost to what another one applies', async () => {
  const page = await stage.open({view: '#answers'});
  const text = page.getByLabel('The attribution', {exact: true});
  await text.fill('{"network": "half');
  const told = page.waitForResponse('**/api/answers');
  await stage.host.put('api/answers', {default: {init: {success: 1, flags: {currency: 'CHF'}}}});
  await (await told).finished();
  await page.getByLabel('Pending, so many times').fill('3');  // which the page takes in behind what it was told
  await page.getByText('Not applied yet.').waitFor();
  assert.equal(await text.inputValue(), '{"network": "half');
  await page.getByRole('button', {name: 'Discard changes'}).click();
  assert.equal(await page.getByLabel('currency', {exact: true}).inputValue(), 'CHF');
});

test('who stands on a field stands there still when another one has applied something', async () => {
  const page = await stage.open({view: '#answers'});
  await page.getByLabel('Status for batch').focus();
  await stage.host.put('api/answers', {default: {init: {success: 1, flags: {currency: 'CHF'}}}});
  await page.waitForFunction(() => document.getElementById('setting-currency').value === 'CHF');
  assert.ok(await page.getByLabel('Status for batch').evaluate((field) => field === document.activeElement));
});

test('the message that the answers are applied does not lie over the button that applies the next ones', async () => {
  const page = await stage.open({view: '#answers'});
  await set(page, 'currency', 'CHF');
  assert.ok(await page.getByRole('button', {name: 'Apply'}).evaluate(async (button) => {
    const {toast} = await import('/copy.js');
    toast('Applied. The next request is answered so.');
    const {x, y, width, height} = button.getBoundingClientRect();
    return button.contains(document.elementFromPoint(x + width / 2, y + height / 2));
  }));
});
