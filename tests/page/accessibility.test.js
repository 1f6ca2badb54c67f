import assert from 'node:assert/strict';
import {test} from 'node:test';
import axe from 'axe-core';
import {desktop, lines, openPage, phone} from './support/browser.js';
import {event, record, usertime} from './support/host.js';
import {setStage} from './support/stage.js';

const stage = setStage();

async function fill(host) {
  await host.send(record('init', {platform: 'ios'}));
  await host.send([record('session', {state: 'resume', usertime: usertime(60), uptime: '1'}), event('Right'), event('Wrong', '1', {uptime: 120, colour: 'red'})]);
  await host.send('{ broken', {raw: true});
  await host.put('api/faults', {offline: false, faults: [{kind: 'status', status: 503, action: 'batch', device: '', app: '', times: 1, percent: 50}]});
}

/** What axe finds serious or critical. Colours are all that differs from one theme to the other. */
async function serious(page, colorsAlone) {
  if (!await page.evaluate(() => 'axe' in window)) await page.evaluate(axe.source);
  const {violations} = await page.evaluate((alone) => window.axe.run(document, {
    resultTypes: ['violations'], ...(alone && {runOnly: {type: 'rule', values: ['color-contrast', 'link-in-text-block']}}),
  }), colorsAlone);
  return violations.filter((one) => ['serious', 'critical'].includes(one.impact))
    .map((one) => `${one.id}: ${one.nodes.map((node) => `${node.html.slice(0, 160)} ${node.failureSummary}`).slice(0, 3).join(' | ')}`);
}

/** Each view with the states that are looked at one after the other. */
const views = {
  'before anything came': ['#traffic', (page) => page.getByRole('heading', {name: 'Waiting for the first request'}).waitFor()],
  'where the traffic is': ['#traffic', async (page) => {
    await lines(page, 'event "Wrong"').click();
    await page.getByRole('tab', {name: 'Body'}).click();
    await page.locator('.json-note').first().waitFor();
  }, (page) => page.getByRole('tab', {name: 'Raw bytes'}).click(), (page) => page.keyboard.press('?')],
  'among the answers': ['#answers', async (page) => {
    await page.getByRole('checkbox', {name: 'Send mlinit_wait'}).check();
    await page.getByLabel('mlinit_wait', {exact: true}).fill('2');
    await page.locator('.effect[data-severity=warning]').first().waitFor();
  }],
  'among the faults': ['#faults', (page) => page.getByText('Answer with an HTTP status: 503').waitFor()],
};

for (const [place, [view, ...states]] of Object.entries(views)) {
  test(`nothing serious stands in anyone's way ${place}: light and dark, wide and narrow`, async () => {
    if (!place.startsWith('before')) await fill(stage.host);
    const page = await stage.open({view});
    for (const viewport of [desktop, phone]) {
      await page.setViewportSize(viewport);
      for (const [number, prepare] of states.entries()) {
        await prepare(page);
        for (const colorScheme of ['light', 'dark']) {
          await page.emulateMedia({colorScheme, reducedMotion: 'reduce'});
          assert.deepEqual(await serious(page, colorScheme === 'dark'), [], `state ${number}, ${viewport.width} wide, ${colorScheme}`);
        }
      }
      await page.keyboard.press('Escape');  // what lies over the page
    }
  });
}

test('the page has its landmarks, and says what arrives', async () => {
  const page = await stage.open();
  await stage.host.send(event('Announced'));
  await page.getByRole('status').getByText('1 new request').waitFor();
  for (const role of ['banner', 'navigation', 'main', 'search']) assert.equal(await page.getByRole(role).count(), 1, role);
});

test('the theme is switched by a button that says which it is, and is remembered', async () => {
  const page = await stage.open({colorScheme: 'light'});
  const background = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  const light = await background();
  await page.getByRole('button', {name: 'Theme: as the system'}).click();
  await page.getByRole('button', {name: 'Theme: light'}).click();
  await page.getByRole('button', {name: 'Theme: dark'}).waitFor();
  assert.notEqual(await background(), light);
  await page.reload();
  await page.getByRole('button', {name: 'Theme: dark'}).waitFor();
});
