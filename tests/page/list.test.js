import assert from 'node:assert/strict';
import {test} from 'node:test';
import {latest, lines, phone} from './support/browser.js';
import {event, record} from './support/host.js';
import {setStage} from './support/stage.js';

const stage = setStage((host) => host.send(Array.from({length: 200}, (unused, index) => event(`Event ${index}`))));

/** The row that a pointer finds so far below the upper end of the list, once all is drawn. */
const rowAt = (page, below) => page.locator('#list').evaluate(async (list, y) => {
  for (let frame = 0; frame < 2; frame++) await new Promise(requestAnimationFrame);
  const box = list.getBoundingClientRect();
  return document.elementFromPoint(box.left + 200, box.top + y).closest('.row').id;
}, below);

test('what one reads stays where it is while more arrives, and one key leads to the newest', async () => {
  const page = await stage.open();
  const list = page.locator('#list');
  await list.evaluate((box) => { box.scrollTop = 3400; });
  const before = await rowAt(page, 60);
  await stage.host.send([event('Newer'), event('Newer')]);
  const newer = page.getByRole('button', {name: '3 newer lines'});
  await newer.waitFor();
  assert.equal(await rowAt(page, 60), before);
  await newer.press('Enter');
  await lines(page, 'event "Newer"').first().waitFor();
  assert.equal(await list.evaluate((box) => box.scrollTop), 0);
  assert.equal(await newer.isVisible(), false);
});

test('beyond so many lines the page says that the host has older ones, and shows them when asked', async () => {
  for (let number = 0; number < 5; number++) await stage.host.send(Array(4500).fill({action: 'x'}));
  const page = await stage.open();
  await page.getByText('18,004 lines', {exact: true}).waitFor();
  await page.getByRole('button', {name: 'Show older requests'}).press('Enter');
  await page.getByText('22,706 lines', {exact: true}).waitFor();
  assert.equal(await page.getByRole('button', {name: 'Show older requests'}).isVisible(), false);
  await page.locator('#list').press('End');
  await page.getByRole('heading', {name: 'event "Event 199"', exact: true}).waitFor();
});

test('what the host has of others is shown once the only device in the list is forgotten', async () => {
  const other = 'MIFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF';
  for (let number = 0; number < 5; number++) await stage.host.send(Array(4500).fill({action: 'x', marlune_device_id: other}));
  const page = await stage.open();
  await page.getByText('18,004 lines', {exact: true}).waitFor();
  const seen = [];
  await page.route('**/api/events*', async (route) => {  // the page asks anew
    seen.push(await page.getByRole('heading', {name: 'Waiting for the first request'}).isVisible());
    await route.continue();
  });
  await stage.host.tell('DELETE', `api/devices/${other}`);
  await page.getByText('201 lines', {exact: true}).waitFor();
  await lines(page, 'event "Event 0"').waitFor();
  assert.deepEqual(seen, [false]);
  assert.equal(await page.getByRole('button', {name: 'Show older requests'}).isVisible(), false);
});

test('rows that are higher on a narrow page stand below each other there, too', async () => {
  const page = await stage.open();
  await page.setViewportSize(phone);
  await page.waitForFunction(() => {
    const [first, second] = [...document.querySelectorAll('.row:not([hidden])')].map((row) => row.getBoundingClientRect());
    return first.height === 44 && second.top === first.bottom;
  });
});

test('the newest come into sight at the top', async () => {
  const page = await stage.open();
  await stage.host.send([event('Newer')]);
  await latest(page, stage.host);
  await lines(page, 'event "Newer"').waitFor();
});

test('what one clicks is what one pointed at, though more arrives meanwhile', async () => {
  const page = await stage.open();
  const line = lines(page, 'event "Event 3"');
  const {x, y} = await line.boundingBox();
  await page.mouse.move(x + 100, y + 10);
  await page.mouse.down();
  await stage.host.send([event('Newer')]);
  await page.getByText('203 lines').waitFor();
  assert.equal(await lines(page, 'event "Newer"').count(), 0);
  await page.mouse.up();
  await page.getByRole('heading', {name: 'event "Event 3"', exact: true}).waitFor();
  await lines(page, 'event "Newer"').waitFor();
});

test('nothing moves under the pointer when another device sends for the first time', async () => {
  const page = await stage.open();
  const {x, y} = await lines(page, 'event "Event 3"').boundingBox();
  await page.mouse.move(x + 100, y + 10);
  await page.mouse.down();
  await stage.host.send({...event('Elsewhere'), marlune_device_id: 'MIFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF'});
  await stage.host.send(record('update', {}));
  await page.getByRole('img', {name: '201 records'}).waitFor();  // drawn with all that is known
  assert.equal(await page.locator('.lane').count(), 1);
  await page.mouse.up();
  await page.getByRole('heading', {name: 'event "Event 3"', exact: true}).waitFor();
  await page.locator('.lane').nth(1).waitFor();
});
