import assert from 'node:assert/strict';
import {test} from 'node:test';
import {holdAnswers, holdChanges, lines} from './support/browser.js';
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
  await page.getByLabel('Action', {exact: true}).selectOption('batch');
  await lines(page, 'status 503').waitFor();
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
  const {asked, release} = await holdAnswers(page, '**/api/faults');
  const offline = page.getByRole('switch', {name: /Offline/});
  await offline.check({force: true});
  await page.getByRole('alert').getByText('plays offline').waitFor();
  await asked;  // it was told that it is offline, which is on its way
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

test('faults are removed one after the other, each of them once, though the host has not answered yet', async () => {
  await stage.host.put('api/faults', {faults: [hang, {kind: 'status', status: 418}, {kind: 'garbage'}]});
  const page = await stage.open({view: '#faults'});
  const {sent, release} = await holdChanges(page, '**/api/faults/*');
  const remove = (what) => page.getByRole('button', {name: `Remove the fault: ${what}`}).click();
  await remove('Never answer');
  await remove('Never answer');
  await remove('Answer with an HTTP status: 418');
  await sent;
  release();
  await page.getByText('HTTP status: 418').waitFor({state: 'detached'});
  assert.deepEqual((await stage.host.get('api/faults')).faults.map(({kind}) => kind), ['garbage']);
  assert.equal(await page.getByRole('button', {name: /^Remove the fault/}).count(), 1);
});

test('a fault is added to those that hold, also to one of which the page has not heard', async () => {
  const page = await stage.open({view: '#faults'});
  const {asked, release} = await holdAnswers(page, '**/api/faults');
  await stage.host.put('api/faults', {faults: [hang]});
  await asked;
  await stage.host.put('api/faults', {faults: [hang, {kind: 'garbage'}]});
  await page.getByRole('button', {name: 'Add the fault'}).click();
  release();
  await page.getByText('Answer with an HTTP status: 503').waitFor();
  assert.deepEqual((await stage.host.get('api/faults')).faults.map(({kind}) => kind), ['hang', 'garbage', 'status']);
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

test('who stands on a fault with the keyboard stays there while another one is met, and goes', async () => {
  await stage.host.put('api/faults', {faults: [{kind: 'status', status: 418}, hang]});
  const page = await stage.open({view: '#faults'});
  const remove = page.getByRole('button', {name: 'Remove the fault: Never answer'});
  await remove.focus();
  await stage.host.send(record('update', {}));
  await page.getByText('1 hit', {exact: true}).waitFor();
  assert.ok(await remove.evaluate((button) => button === document.activeElement));
  const {faults} = await stage.host.get('api/faults');
  await stage.host.tell('DELETE', `api/faults/${faults[0].id}`);
  await page.getByText('HTTP status: 418').waitFor({state: 'detached'});
  assert.ok(await remove.evaluate((button) => button === document.activeElement));
});
