import assert from 'node:assert/strict';
import {test} from 'node:test';
import {event} from './support/host.js';
import {setStage} from './support/stage.js';

const stage = setStage((host) => host.send([event('First'), event('Wrong', '1', {uptime: 120}), event('Last')]));

const focused = (page) => page.evaluate(() => {
  const element = document.activeElement;
  return {tag: element.tagName, id: element.id, label: element.getAttribute('aria-label') ?? element.labels?.[0]?.innerText ?? element.innerText?.slice(0, 60)};
});

/** Presses Tab until the focus is on something whose label matches. */
async function tabTo(page, label, most = 80) {
  for (let step = 0; step < most; step++) {
    await page.keyboard.press('Tab');
    const now = await focused(page);
    if (label.test(now.label ?? '')) return now;
  }
  throw new Error(`Tab does not lead to ${label}`);
}

test('everything that Tab leads to shows that it has the focus, and Tab leads through all of it', async () => {
  for (const [view, last] of Object.entries({'#traffic': '.row', '#answers': '.setting', '#faults': '.fault-form'})) {
    const page = await stage.open({view});
    await page.locator(last).first().waitFor();
    const seen = new Set();
    for (let step = 0; step < 150; step++) {
      await page.keyboard.press('Tab');
      const stop = await page.evaluate(() => {
        const element = document.activeElement;
        if (element === document.body) return null;
        const visible = (one) => one && getComputedStyle(one).outlineStyle !== 'none' && parseFloat(getComputedStyle(one).outlineWidth) > 0;
        element.dataset.stop ??= String(Math.random());
        const box = element.getBoundingClientRect();
        return {stop: element.dataset.stop, shown: visible(element) || visible(element.nextElementSibling), what: element.outerHTML.slice(0, 120), size: box.width * box.height};
      });
      if (!stop || seen.has(stop.stop)) break;
      seen.add(stop.stop);
      assert.ok(stop.shown, `no focus is to be seen on ${stop.what}`);
    }
    assert.ok(seen.size >= (view === '#traffic' ? 12 : 15), `${view} has ${seen.size} stops`);
    await page.leave();
  }
});

test('a record is found, read and left again with keys alone', async () => {
  const page = await stage.open();
  await page.locator('.row:visible').first().waitFor();
  await page.keyboard.press('/');
  await page.keyboard.type('wrong');
  await page.getByText('2 of 4 lines').waitFor();
  await page.keyboard.press('ArrowDown');
  assert.equal((await focused(page)).id, 'list');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  await page.getByRole('heading', {name: 'event "Wrong"'}).waitFor();
  const active = await page.locator('#list').getAttribute('aria-activedescendant');
  assert.match(await page.locator(`[id="${active}"]`).innerText(), /Wrong/);
  await page.keyboard.press('Enter');
  assert.equal((await focused(page)).id, 'record');
  await tabTo(page, /Show \/data\/uptime/);
  await page.keyboard.press('Enter');
  await page.locator('.json-line.flash').waitFor();
  await tabTo(page, /^Body/);
  await page.keyboard.press('ArrowRight');
  assert.equal(await page.getByRole('tab', {name: 'Reply'}).getAttribute('aria-selected'), 'true');
  await page.keyboard.press('Escape');
  assert.equal((await focused(page)).id, 'list');
});

test('the keys for the search and the list work on every view', async () => {
  const page = await stage.open();
  for (const view of ['2', '3']) {
    await page.keyboard.press(view);
    await page.keyboard.press('/');
    assert.equal((await focused(page)).id, 'search');
    await page.keyboard.press('Escape');
    await page.getByRole('heading', {name: 'Devices'}).click();
    await page.keyboard.press(view);
    await page.keyboard.press('l');
    assert.equal((await focused(page)).id, 'list');
  }
});

test('answers are edited and applied with keys alone', async () => {
  const page = await stage.open();
  await page.keyboard.press('2');
  await page.getByRole('heading', {name: 'Init reply'}).waitFor();
  await tabTo(page, /^Send mltracker_wait/);
  await page.keyboard.press('Space');
  assert.match((await focused(page)).label, /mltracker_wait/);
  await page.keyboard.press('Control+A');
  await page.keyboard.type('321');
  await page.keyboard.press('Control+Enter');
  await page.getByText('The host answers like this now.').waitFor();
  assert.equal((await stage.host.get('api/answers')).default.init.flags.mltracker_wait, 321);
});

test('faults are switched, added and removed with keys alone', async () => {
  const page = await stage.open();
  await page.keyboard.press('3');
  await tabTo(page, /Offline/);
  await page.keyboard.press('Space');
  await page.getByRole('alert').getByText('plays offline').waitFor();
  await page.keyboard.press('Space');
  await page.getByRole('alert').waitFor({state: 'hidden'});
  await tabTo(page, /What happens/);
  await page.keyboard.press('ArrowDown');
  await tabTo(page, /Add the fault/);
  await page.keyboard.press('Enter');
  await page.getByText('Answer late: 3000 ms').waitFor();
  assert.equal((await stage.host.get('api/faults')).faults.length, 1);
  await page.locator('h1:visible').click();
  await tabTo(page, /^Remove the fault/);
  await page.keyboard.press('Enter');
  await page.getByText('None: every request').waitFor();
  assert.match((await focused(page)).label, /Offline/);
});

test('the keys are listed, pausing and clearing have theirs, and a field keeps its own', async () => {
  const page = await stage.open();
  await page.locator('.row:visible').first().waitFor();
  await page.keyboard.press('?');
  const keys = page.getByRole('dialog', {name: 'Keyboard'});
  await keys.waitFor();
  assert.deepEqual(await keys.locator('kbd').first().allInnerTexts(), ['1']);
  assert.doesNotMatch(await keys.innerText(), /object/);
  await page.keyboard.press('Escape');
  await page.getByRole('dialog').waitFor({state: 'hidden'});
  await page.keyboard.press('p');
  await page.getByText('Paused', {exact: true}).waitFor();
  await page.keyboard.press('p');
  await page.getByText('Live', {exact: true}).waitFor();
  await page.keyboard.press('/');
  await page.keyboard.type('xp?');
  assert.equal(await page.getByRole('searchbox').inputValue(), 'xp?');
  await page.keyboard.press('Control+A');
  await page.keyboard.press('Delete');
  await page.keyboard.press('Tab');
  await page.keyboard.press('Escape');
  await page.getByRole('heading', {name: 'Devices'}).click();
  await page.keyboard.press('x');
  await page.getByRole('dialog', {name: 'Clear everything that came?'}).waitFor();
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await page.getByRole('heading', {name: 'Waiting for the first request'}).waitFor();
});
