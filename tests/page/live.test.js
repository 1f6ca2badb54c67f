import assert from 'node:assert/strict';
import {readFile} from 'node:fs/promises';
import {test} from 'node:test';
import {copied, holdChanges, latest, lines} from './support/browser.js';
import {Host, device, event, record, usertime} from './support/host.js';
import {quickAnswers, setStage} from './support/stage.js';

const stage = setStage();
const tutorial = [event('Tutorial'), event('Purchase', '1', {receipt: 'cmVjZWlwdA=='})];

test('before anything came, the page tells how to connect an app, with the address in it', async () => {
  const page = await stage.open();
  await page.getByRole('heading', {name: 'Waiting for the first request'}).waitFor();
  await page.getByText(`{"trackerHostname", "${stage.host.address}"}`).waitFor();
  assert.equal(await copied(page, page.getByRole('button', {name: 'Copy the option'}), 'option'), `{"trackerHostname", "${stage.host.address}"}`);
});

test('a sample app is started as the page tells, and its requests appear without a reload, with its session on the time line', async () => {
  await stage.host.put('api/answers', quickAnswers);
  const page = await stage.open({viewport: {width: 1360, height: 3000}});  // all that it sends is in sight
  let loads = 0;
  page.on('load', () => loads++);
  const visit = await stage.app.startedBy(await copied(page, page.getByRole('button', {name: 'Copy the command'}), 'command'));
  assert.equal(visit.status, 0, visit.errors);
  for (const name of ['init', 'initial', 'get_attribution', 'event "Tutorial"', 'deeplink', 'session "pause"']) {
    await lines(page, name).first().waitFor();
  }
  await page.locator('.lane .session').first().waitFor({state: 'attached'});
  assert.equal(await page.locator('.lane').count(), 1);
  assert.equal(loads, 0);
});

test('a page that is opened later shows what came before', async () => {
  await stage.host.send(tutorial);
  const page = await stage.open();
  await lines(page, 'event "Tutorial"').waitFor();
  await page.locator('.lane').waitFor();
});

test('search and filters show what fits, a batch with those of its records that do', async () => {
  await stage.host.send([...tutorial, record('spatial', {event_name: 'Here', x: '1.000000', y: '2.000000', z: '3.000000', usertime: usertime()})]);
  const page = await stage.open();
  await page.getByRole('searchbox').fill('cmVjZWlwdA==');
  await lines(page, 'event "Tutorial"').waitFor({state: 'hidden'});
  assert.equal(await lines(page, 'event "Purchase"').count(), 1);
  assert.equal(await lines(page, 'batch of').count(), 1);
  await page.getByRole('searchbox').fill('');
  await page.getByLabel('Action', {exact: true}).selectOption('spatial');
  await page.getByText('2 of 4 lines').waitFor();
  await lines(page, 'spatial').waitFor();
  await lines(page, 'event "Purchase"').waitFor({state: 'hidden'});
  assert.equal(await page.locator('.row:visible[data-kind=record]').count(), 1);
  await page.getByRole('searchbox').fill('there is no such thing');
  await page.getByText('Nothing that came matches').waitFor();
  await page.getByRole('button', {name: 'Show everything'}).click();
  await lines(page, 'event "Purchase"').waitFor();
});

test('a search takes the terms of the interface, and what is none is text', async () => {
  await stage.host.send([...tutorial, event('Level Complete', 'shop://cart')]);
  await stage.host.send(record('session', {state: 'resume', usertime: usertime(), uptime: '1'}));
  const page = await stage.open();
  for (const [search, counts] of [['event:Purchase', '2 of 5'], ['event:"Level Complete" action:event', '2 of 5'], ['/data/receipt:cmVjZWlwdA==', '2 of 5'],
    ['state:resume', '1 of 5'], ['status:200 name:SESSION', '1 of 5'], ['status:503', '0 of 5'], ['severity:warning', '1 of 5'], ['shop://cart', '2 of 5'], ['LEVEL', '2 of 5']]) {
    await page.getByRole('searchbox').fill(search);
    assert.equal(await page.locator('#count').innerText(), `${counts} lines`, search);
  }
});

test('an export holds the requests that the filters show', async () => {
  await stage.host.send(tutorial);
  await stage.host.send([event('Level Complete', 'a: b & c')]);
  await stage.host.send(record('something', {}));
  const page = await stage.open();
  const exported = async () => {
    const link = page.getByRole('link', {name: 'NDJSON'});
    if (!await link.isVisible()) await page.getByText('Export', {exact: true}).click();
    const [download] = await Promise.all([page.waitForEvent('download'), link.click()]);
    return (await readFile(await download.path(), 'utf8')).split('\n').filter((line) => line).map((line) => JSON.parse(line).names[0]);
  };
  assert.equal((await exported()).length, 3);
  await page.getByRole('searchbox').fill('event:"Level Complete" "a: b & c"');
  assert.deepEqual(await exported(), ['event "Level Complete"']);
  await page.getByRole('searchbox').fill('purchase');
  await page.getByLabel('Device', {exact: true}).selectOption(device);
  assert.deepEqual(await exported(), ['event "Tutorial"']);
  await page.getByRole('searchbox').fill('');
  await page.getByLabel('Action', {exact: true}).selectOption('something');
  assert.deepEqual(await exported(), ['something']);
});

test('a device can be chosen on the time line, and forgotten', async () => {
  const other = 'MIFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF';
  await stage.host.send(tutorial);
  await stage.host.send([{...event('Elsewhere'), marlune_device_id: other}]);
  const page = await stage.open();
  await page.locator('.lane-name', {hasText: 'MIFFFF'}).click();
  await lines(page, 'event "Tutorial"').waitFor({state: 'hidden'});
  await page.getByRole('button', {name: 'Forget device MIFFFF'}).click();
  await page.getByRole('button', {name: 'Forget', exact: true}).click();
  await lines(page, 'event "Tutorial"').waitFor();
  assert.equal(await lines(page, 'event "Elsewhere"').count(), 0);
  assert.equal((await stage.host.get('api/devices')).devices.filter((one) => one.device === other).length, 0);
});

test('of more devices than there is room for the newest is in sight', async () => {
  const from = (number) => stage.host.send({...record('session', {state: 'resume', usertime: usertime(), uptime: '1'}), marlune_device_id: `MI${String(number).padStart(32, '0')}`});
  for (let number = 1; number <= 9; number++) await from(number);
  const page = await stage.open();
  const inSight = (name) => page.waitForFunction((text) => {
    const lane = [...document.querySelectorAll('.lane')].find((one) => one.textContent.includes(text));
    return lane && lane.getBoundingClientRect().bottom <= document.getElementById('lanes').getBoundingClientRect().bottom + 1;
  }, name);
  await inSight('0009');
  await from(10);
  await inSight('0010');
  assert.equal(await page.locator('#device-count').innerText(), '10');
});

test('while paused nothing new is shown, and one sees that it is paused', async () => {
  const page = await stage.open();
  await page.getByRole('button', {name: 'Pause'}).click();
  await page.getByText('Paused', {exact: true}).waitFor();
  await page.getByRole('alert').getByText('The host is paused: it answers what comes, and keeps nothing of it.').waitFor();
  await stage.host.send(event('Unseen'));
  await page.getByRole('button', {name: 'Pause'}).click();
  await page.getByText('Live', {exact: true}).waitFor();
  await stage.host.send(event('Seen again'));
  await latest(page, stage.host);
  assert.equal(await lines(page, 'event "Seen again"').count(), 1);
  assert.equal(await lines(page, 'event "Unseen"').count(), 0);
});

test('pause that is pressed twice stands as before, though the host has not answered in between', async () => {
  const page = await stage.open();
  const {sent, release} = await holdChanges(page, '**/api/pause');
  await page.keyboard.press('p');
  await page.keyboard.press('p');
  await sent;
  const last = page.waitForResponse((reply) => reply.request().postDataJSON()?.paused === false);
  release();
  await last;
  assert.equal((await stage.host.get('api/pause')).paused, false);
  await page.getByText('Live', {exact: true}).waitFor();
});

test('a question that is open is answered by what is said to it, and not by a key for another one', async () => {
  await stage.host.send(tutorial);
  const page = await stage.open();
  await page.getByRole('button', {name: /^Forget device/}).click();
  await page.getByText('to the host it is new again').click();
  await page.keyboard.press('x');
  await page.keyboard.press('?');
  await page.getByRole('dialog', {name: 'Forget this device?'}).waitFor();
  await page.getByRole('button', {name: 'Leave it'}).click();
  await page.getByRole('dialog').waitFor({state: 'hidden'});
  assert.equal((await stage.host.get('api/requests')).requests.length, 1);
});

test('what was cleared while a page was away is not shown when it is back', async () => {
  await stage.host.send(tutorial);
  const page = await stage.open();
  const untilThen = await stage.host.stream('"Purchase"');
  let streams = 0;
  let isAway = true;
  await page.route('**/api/events*', (route) => (streams++ === 0 ? route.fulfill({contentType: 'text/event-stream', body: untilThen})
    : isAway ? route.abort() : route.continue()));
  await page.reload();
  await lines(page, 'event "Tutorial"').waitFor();
  await page.getByText('The host does not answer.').waitFor();
  await stage.host.tell('POST', 'api/clear');
  await stage.host.send(event('After'));
  isAway = false;
  await lines(page, 'event "After"').waitFor();
  await page.getByText('1 line', {exact: true}).waitFor();
  assert.equal(await lines(page, 'event "Tutorial"').count(), 0);
});

test('what a device sends is never markup', async () => {
  const page = await stage.open();
  const hostile = '<img src=x onerror="document.title=1"><script>document.title=2</script>';
  await stage.host.send([record('event', {usertime: usertime(), uptime: '1', event_name: hostile, event_data: hostile}, {marlune_app_id: hostile, marlune_device_id: `MI${hostile}`})]);
  await latest(page, stage.host);
  await page.locator('.lane').waitFor();
  await lines(page, hostile).first().click();
  await page.locator('.json-line', {hasText: 'onerror'}).first().waitFor();
  assert.equal(await page.title(), 'Control host');
  assert.equal(await page.locator('main img, main script').count(), 0);
});

test('a page that lost its host says so, comes back by itself, and shows only what that host has', async () => {
  await stage.host.send(tutorial);
  await stage.host.send(tutorial);
  const page = await stage.open({locale: 'en'});
  const {last} = await stage.host.get('api/requests');
  await page.context().setOffline(true);
  await stage.host.stop();
  await page.getByText('The host does not answer.').waitFor();
  stage.host = await Host.start(stage.host.port);
  // The new host has come further than the old one had, and counts from 1 again.
  for (let number = 0; number <= last; number++) await stage.host.send(event('After'));
  await page.context().setOffline(false);
  await page.getByText('Live', {exact: true}).waitFor();
  await page.getByText(`${last + 1} lines`, {exact: true}).waitFor();
  await lines(page, 'event "After"').first().waitFor();
  assert.equal(await lines(page, 'event "Tutorial"').count(), 0);
});

test('what came can be cleared', async () => {
  await stage.host.send(tutorial);
  const page = await stage.open();
  await page.getByRole('button', {name: 'Clear'}).click();
  await page.getByRole('dialog').getByRole('button', {name: 'Clear'}).click();
  await page.getByRole('heading', {name: 'Waiting for the first request'}).waitFor();
  assert.deepEqual((await stage.host.get('api/requests')).requests, []);
});
