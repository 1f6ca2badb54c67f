import assert from 'node:assert/strict';
import {test} from 'node:test';
import {gzipSync} from 'node:zlib';
import {copied, holdAnswers, latest, lines, phone, said} from './support/browser.js';
import {event, run, record} from './support/host.js';
import {setStage} from './support/stage.js';

const stage = setStage((host) => host.send([event('Right'), event('Wrong', '1', {uptime: 120})]));

test('a wrong record has its finding at its line, in the list, and as a sentence that leads there', async () => {
  const page = await stage.open();
  const line = lines(page, 'event "Wrong"');
  assert.equal(await line.locator('[data-severity=error]').count(), 1);
  assert.equal(await lines(page, 'event "Right"').locator('[data-severity=error]').count(), 0);
  assert.match(await line.textContent(), /1 error/);
  await line.click();
  const finding = page.getByRole('region', {name: 'Findings'}).getByRole('listitem');
  assert.match(await finding.innerText(), /uptime/);
  const marked = page.locator('.json-line[data-severity=error]');
  assert.equal(await marked.count(), 1);
  assert.match(await marked.innerText(), /"uptime": 120/);
  assert.match(await page.locator('.json-line[data-severity=error] + .json-note').innerText(), /expected .*; got /i);
  await page.getByRole('button', {name: 'Show /data/uptime'}).click();
  await page.locator('.json-line.flash', {hasText: '"uptime": 120'}).waitFor();
});

test('only what has findings is shown when asked for', async () => {
  const page = await stage.open();
  assert.equal(await lines(page, 'event "Right"').count(), 1);
  await page.getByLabel('Result').selectOption('error');
  await lines(page, 'event "Right"').waitFor({state: 'hidden'});
  assert.equal(await lines(page, 'event "Wrong"').count(), 1);
});

test('of a compressed body the bytes are shown as they came, and without their compression', async () => {
  const page = await stage.open();
  const body = gzipSync(JSON.stringify([event('Small')]));
  await fetch(`${stage.host.url}marlune/v4`, {method: 'POST', body, headers: {'Content-Encoding': 'gzip', 'Content-Type': 'application/json; charset=utf-8'}});
  await lines(page, 'event "Small"').click();
  await page.getByRole('tab', {name: 'Raw bytes'}).click();
  const bytes = page.getByRole('group', {name: 'Bytes'});
  await page.getByRole('heading', {name: 'Without their compression'}).waitFor();
  assert.match(await bytes.first().innerText(), /^000000 {2}1f 8b /);
  assert.match(await bytes.last().innerText(), /^000000 {2}5b 7b .* \[\{"marlune_devi/);
});

test('a body that is not JSON is shown as it came, with what is wrong', async () => {
  const page = await stage.open();
  await stage.host.send('{"action": "init", oops', {raw: true});
  await (await latest(page, stage.host)).click();
  await page.getByRole('region', {name: 'Findings'}).waitFor();
  assert.equal(await page.locator('pre.text').first().innerText(), '{"action": "init", oops');
});

test('a body that is not UTF-8 is shown byte by byte, with where it is not', async () => {
  const page = await stage.open();
  await stage.host.send(Buffer.from('{"action":"caf\xe9"}', 'latin1'), {raw: true});
  await (await latest(page, stage.host)).click();
  await page.getByRole('region', {name: 'Findings'}).getByText('The body is not UTF-8: line 1, column 15: byte 15 is 0xE9.').waitFor();
  assert.match(await page.getByRole('group', {name: 'Bytes'}).innerText(), /^000000 {2}7b 22 .* {2}{"action":"caf·"/);
});

test('numbers, escapes and the order of keys are shown exactly as they came', async () => {
  const page = await stage.open();
  const body = '{"action":"event","data":{"b":1.50,"10":1,"2":12345678901234567890,"text":"\\u00e9\\/","a":1e3}}';
  await stage.host.send(body, {raw: true});
  await (await latest(page, stage.host)).click();
  await page.locator('.json-line', {hasText: '12345678901234567890'}).waitFor();
  const shown = await page.locator('.panel .json-content').allInnerTexts();
  assert.equal(shown.map((line) => line.replace(': ', ':')).join(''), body);
});

test('reply, headers and raw bytes can be seen', async () => {
  const page = await stage.open();
  await lines(page, 'event "Right"').click();
  await page.getByRole('tab', {name: 'Reply'}).click();
  await page.getByRole('tabpanel').getByText('"success"').waitFor();
  await page.getByRole('tab', {name: 'Headers'}).click();
  await page.getByRole('row', {name: /content-type application\/json/i}).waitFor();
  await page.getByRole('tab', {name: 'Raw bytes'}).click();
  await page.getByRole('tabpanel').getByText('000000  5b 7b 22').waitFor();
});

test('the record that was chosen last is shown, whichever the host answers first', async () => {
  const page = await stage.open();
  await stage.host.send(event('Later'));
  await latest(page, stage.host);
  const [first, second] = (await stage.host.get('api/requests')).requests;
  const {asked, release} = await holdAnswers(page, `**/api/requests/${first.id}`);
  await lines(page, 'event "Right"').click();
  await asked;
  await lines(page, 'event "Later"').click();
  await page.getByRole('heading', {name: 'event "Later"'}).waitFor();
  const late = page.waitForResponse(`**/api/requests/${first.id}`);
  release();
  await (await late).finished();
  await page.locator(`[id="row-${second.id}"][aria-selected=true]`).waitFor();
  assert.equal(await page.locator('#record-title').innerText(), 'event "Later"');
});

test('what was asked for last is what the clipboard holds, whichever the host answers first', async () => {
  const page = await stage.open();
  await lines(page, 'event "Right"').click();
  await page.getByRole('heading', {name: 'event "Right"'}).waitFor();
  const {asked, release} = await holdAnswers(page, '**/api/records/*');
  await page.getByRole('button', {name: 'curl command'}).click();
  await asked;
  await page.getByRole('button', {name: 'JSON', exact: true}).click();
  release();
  await said(page, 'Copied the curl command.');
  await said(page, 'Copied the JSON.');
  assert.equal(JSON.parse(await page.evaluate(() => navigator.clipboard.readText())).data.event_name, 'Right');
});

test('a record is copied as JSON', async () => {
  const page = await stage.open();
  const sent = event('Copied', 'yes');
  await stage.host.send([sent]);
  await lines(page, 'event "Copied"').click();
  assert.deepEqual(JSON.parse(await copied(page, page.getByRole('button', {name: 'JSON', exact: true}), 'JSON')), sent);
});

test('what is copied as JSON has every number, escape and repeated key as it came', async () => {
  const page = await stage.open();
  const sent = '{"action":"event","data":{"b":1.50,"2":12345678901234567890,"text":"\\u00e9","b":1e3,"none":{}}}';
  await stage.host.send(`[${sent}]`, {raw: true});
  const batch = await latest(page, stage.host);
  await page.locator(`[id="${await batch.getAttribute('id')}.0"]`).click();
  const text = await copied(page, page.getByRole('button', {name: 'JSON', exact: true}), 'JSON');
  assert.equal(text.replace(/\n */g, '').replaceAll('": ', '":'), sent);
});

test('of a reply that broke off, what went out is shown, and that it was cut off', async () => {
  const page = await stage.open();
  await stage.host.put('api/faults', {faults: [{kind: 'truncate'}]});
  await assert.rejects(stage.host.send(event('Cut')));
  await (await latest(page, stage.host)).click();
  await page.getByRole('tab', {name: 'Reply'}).click();
  await page.getByRole('tabpanel').getByText('Status 200, cut off after 6 of 13 bytes:').waitFor();
  assert.equal(await page.getByRole('tabpanel').locator('pre.text').innerText(), '{"succ');
});

test('a request is copied as a curl command, which sends it again', async () => {
  const page = await stage.open();
  await stage.host.send(record('update', {language: "fr 'quoted'"}));
  await (await latest(page, stage.host)).click();
  const command = await copied(page, page.getByRole('button', {name: 'curl command'}), 'curl command');
  const {status, errors} = await run('/bin/sh', ['-c', `${command.trim()} --silent --show-error --output /dev/null`]);
  assert.equal(status, 0, errors);
  await latest(page, stage.host);
  assert.equal(await lines(page, 'update').count(), 2);
});

/** What a tracker sends when `script` is run on a virtual device. */
async function sentBy(script) {
  const {status, output, errors} = await run('fliprugair-sim', [], script);
  assert.equal(status, 0, errors);
  return output.trim().split('\n').map((line) => JSON.parse(line)).filter((one) => one.event === 'send').flatMap((one) => one.payload);
}

test('an event is copied as a line for fliprugair-sim, which makes the tracker send the same', async () => {
  const page = await stage.open();
  await stage.host.send([event('Simulated', 'once more', {currency: 'usd'})]);
  await lines(page, 'event "Simulated"').click();
  const line = await copied(page, page.getByRole('button', {name: 'line for fliprugair-sim'}), 'line for fliprugair-sim');
  const sent = await sentBy(['{"do":"installed"}', '{"do":"construct","options":{"marluneAppId":"demo"}}', line, '{"do":"advance","seconds":60}'].join('\n'));
  assert.deepEqual(sent.map(({action, data}) => [action, data.event_name, data.event_data]), [['event', 'Simulated', 'once more']]);
});

test('a request is copied as lines for fliprugair-sim, which make a tracker send the same', async () => {
  const page = await stage.open();
  const asked = record('get_attribution');
  await stage.host.send(asked);
  await (await latest(page, stage.host)).click();
  const script = await copied(page, page.getByRole('button', {name: 'lines for fliprugair-sim'}), 'lines for fliprugair-sim');
  assert.deepEqual(await sentBy(script), [JSON.parse(JSON.stringify(asked))]);
});

test('a record that no tracker sends has no line for fliprugair-sim, and the page says why', async () => {
  const page = await stage.open();
  await stage.host.send([event(5)]);
  await (await latest(page, stage.host)).click();
  await page.getByText('No line for fliprugair-sim. A tracker does not send this: /data/event_name is the number 5').waitFor();
  assert.equal(await page.getByRole('button', {name: /fliprugair-sim/}).count(), 0);
});

test('on a phone the record lies over the list, which comes back with it closed', async () => {
  const page = await stage.open({viewport: phone, hasTouch: true});
  await lines(page, 'event "Wrong"').tap();
  await page.getByRole('heading', {name: 'event "Wrong"'}).waitFor();
  assert.ok(await page.locator('.listing').evaluate((listing) => listing.inert));
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'nothing is wider than the page');
  await page.getByRole('button', {name: 'All requests'}).tap();
  await lines(page, 'event "Right"').waitFor();
  assert.ok(!await page.locator('.listing').evaluate((listing) => listing.inert));
});

test('what would turn the direction of a name is seen, and turns nothing', async () => {
  const page = await stage.open();
  await stage.host.send([event('gpj\u202e.exe')]);
  await latest(page, stage.host);
  await lines(page, 'event "gpj\\u202E.exe"').click();
  await page.getByRole('heading', {name: 'event "gpj\\u202E.exe"', exact: true}).waitFor();
  await page.locator('.json-line', {hasText: '"gpj\\u202E.exe"'}).waitFor();
});
