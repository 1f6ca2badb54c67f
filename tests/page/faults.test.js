import assert from 'node:assert/strict';
import {test} from 'node:test';
import {lines} from './support/browser.js';
import {event, record} from './support/host.js';
import {quickAnswers, setStage} from './support/stage.js';

const stage = setStage((host) => host.put('api/answers', quickAnswers));
const hang = {kind: 'hang', action: 'init'};

test('an injected fault is seen at the request that met it, and the sample app recovers from it', async () => {
  const page = await stage.open({view: '#faults'});
  await page.getByLabel('What happens').selectOption({label: 'Answer with an HTTP status'});
  await page.getByLabel('Status', {exact: true}).fill('503');
  await page.getByLabel('To', {exact: true}).selectOption('batch');
  await page.getByRole('button', {name: 'Add the fault'}).click();
  await page.getByText('Answer with an HTTP status: 503').waitFor();
  const first = await stage.app.visit();
  assert.equal(first.status, 0, first.errors);
  await page.getByText('over after 1 hit').waitFor();
  await page.getByRole('link', {name: 'Traffic'}).click();
  await page.locator('.row:visible[data-kind=batch]', {hasText: 'status 503'}).waitFor();
  const second = await stage.app.visit('--again');
  assert.equal(second.status, 0, second.errors);
  // The same batch came again and was taken.
  const {requests} = await stage.host.get('api/requests?limit=1000');
  const batches = requests.filter((one) => one.action === 'batch');
  const refused = batches.find((one) => one.status === 503);
  const again = batches.find((one) => one.id > refused.id && one.status === 200 && one.names.join() === refused.names.join());
  assert.ok(again, JSON.stringify(batches));
  await page.locator(`[id="row-${again.id}"] .status[data-ok=true]`).waitFor();
});

test('offline cuts connections, is to be seen on every view, and ends', async () => {
  const page = await stage.open({view: '#faults'});
  await page.getByRole('switch', {name: /Offline/}).check({force: true});
  await page.getByRole('alert').getByText('plays offline').waitFor();
  await assert.rejects(stage.host.send(event('Cut')));
  await page.getByRole('link', {name: 'Traffic'}).click();
  await lines(page, 'no reply').first().waitFor();
  await page.getByRole('link', {name: 'Faults'}).click();
  await page.getByRole('switch', {name: /Offline/}).uncheck({force: true});
  await page.getByRole('alert').waitFor({state: 'hidden'});
  assert.equal((await stage.host.send(event('Through'))).status, 200);
});

test('the offline switch stands where it was put last, whatever the host said before that', async () => {
  const page = await stage.open({view: '#faults'});
  let release;
  const held = new Promise((resolve) => { release = resolve; });
  let asked;
  const offlineIsOnItsWay = new Promise((resolve) => { asked = resolve; });
  await page.route('**/api/faults', async (route) => {
    if (route.request().method() !== 'GET') return route.continue();
    const response = await route.fetch();
    asked();
    await held;
    return route.fulfill({response});
  });
  const offline = page.getByRole('switch', {name: /Offline/});
  await offline.check({force: true});
  await page.getByRole('alert').getByText('plays offline').waitFor();
  await offlineIsOnItsWay;
  await offline.uncheck({force: true});
  release();
  await page.getByRole('alert').waitFor({state: 'hidden'});
  assert.equal(await offline.isChecked(), false);
  assert.equal((await stage.host.get('api/faults')).offline, false);
});

test('a fault is removed', async () => {
  await stage.host.put('api/faults', {faults: [hang]});
  const page = await stage.open({view: '#faults'});
  await page.getByRole('button', {name: /^Remove the fault/}).click();
  await page.getByText('None: every request is answered').waitFor();
  assert.deepEqual((await stage.host.get('api/faults')).faults, []);
});

test('a fault that is over stays so when another one is added', async () => {
  await stage.host.put('api/faults', {faults: [{kind: 'status', status: 418, times: 1}]});
  assert.equal((await stage.host.send(record('init', {}))).status, 418);
  const page = await stage.open({view: '#faults'});
  await page.getByText('over after 1 hit').waitFor();
  await page.getByLabel('What happens').selectOption({label: 'Never answer'});
  await page.getByLabel('To', {exact: true}).selectOption('batch');
  await page.getByRole('button', {name: 'Add the fault'}).click();
  await page.getByRole('button', {name: 'Remove the fault: Never answer'}).waitFor();
  assert.equal((await stage.host.send(record('init', {}))).status, 200);
});

test('who stands on a fault with the keyboard stays there while it is met', async () => {
  await stage.host.put('api/faults', {faults: [{kind: 'status', status: 418}, hang]});
  const page = await stage.open({view: '#faults'});
  const remove = page.getByRole('button', {name: 'Remove the fault: Never answer'});
  await remove.focus();
  await stage.host.send(record('update', {}));
  await page.getByText('1 hit', {exact: true}).waitFor();
  assert.ok(await remove.evaluate((button) => button === document.activeElement));
});
