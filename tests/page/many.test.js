import assert from 'node:assert/strict';
import {test} from 'node:test';
import {event} from './support/host.js';
import {setStage} from './support/stage.js';

const batches = 400;
const inBatch = 25;
const senders = 8;
const devices = 5;
const all = (batches * (inBatch + 1)).toLocaleString('en');

const stage = setStage();

async function sendAll() {
  let next = 0;
  await Promise.all(Array.from({length: senders}, async () => {
    while (next < batches) {
      const number = next++;
      await stage.host.send(Array.from({length: inBatch}, (unused, index) => ({...event(`Event ${number}`, String(index)), marlune_device_id: `MI${String(number % devices).repeat(32)}`})));
    }
  }));
}

/** Notes how long the page takes for each frame until `frames()` is called. */
const watchFrames = (page) => page.evaluate(() => {
  const times = [];
  let last = performance.now();
  let on = true;
  const step = (now) => { times.push(now - last); last = now; if (on) requestAnimationFrame(step); };
  requestAnimationFrame((now) => { last = now; requestAnimationFrame(step); });
  window.frames_ = () => { on = false; return times; };
});
const frames = (page) => page.evaluate(() => window.frames_());

function figures(times) {
  const sorted = [...times].sort((one, other) => one - other);
  const at = (share) => Math.round(sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * share))] * 10) / 10;
  return {frames: sorted.length, median: at(0.5), p95: at(0.95), worst: at(1)};
}

/** What the page has cost so far. Processor time of its thread: how busy the machine is does not count. */
async function usage(page) {
  page.profiler ??= await page.context().newCDPSession(page);
  await page.profiler.send('Performance.enable', {timeDomain: 'threadTicks'});
  await page.profiler.send('HeapProfiler.collectGarbage');
  const {metrics} = await page.profiler.send('Performance.getMetrics');
  const value = (name) => metrics.find((one) => one.name === name).value;
  return {heapMB: Math.round(value('JSHeapUsedSize') / 1e5) / 10, nodes: value('Nodes'), milliseconds: Math.round(value('TaskDuration') * 1000)};
}

test('ten thousand records arrive and are scrolled through smoothly, in little memory', async () => {
  const page = await stage.open();
  const atFirst = await usage(page);
  await watchFrames(page);
  const started = performance.now();
  await sendAll();
  await page.getByText(`${all} lines`).waitFor({timeout: 200000});  // a few seconds, where nothing else runs
  const arrival = {seconds: Math.round((performance.now() - started) / 100) / 10, ...figures(await frames(page))};

  const wholeLane = page.getByRole('img', {name: `${(batches * inBatch / devices).toLocaleString('en')} records`});
  await wholeLane.nth(devices - 1).waitFor();
  const arrived = await usage(page);
  await watchFrames(page);
  await page.evaluate(async () => {
    const list = document.getElementById('list');
    for (let step = 1; step <= 150; step++) {
      list.scrollTop = step % 10 === 0 ? (step * 7919 * 34) % list.scrollHeight : list.scrollTop + 400;
      await new Promise(requestAnimationFrame);
    }
  });
  const scrolling = figures(await frames(page));
  const scrolled = await usage(page);

  const begin = performance.now();
  await page.getByRole('searchbox').fill('event 399');
  await page.getByText(`26 of ${all} lines`).waitFor();
  const search = Math.round(performance.now() - begin);
  const use = await usage(page);
  const spent = {arrival: arrived.milliseconds - atFirst.milliseconds, aFrame: (scrolled.milliseconds - arrived.milliseconds) / scrolling.frames, search: use.milliseconds - scrolled.milliseconds};
  console.log(`arrival of 10,000 records: ${JSON.stringify(arrival)}`);
  console.log(`scrolling: ${JSON.stringify(scrolling)}; search: ${search} ms; ${JSON.stringify(use)}`);
  console.log(`processor time in ms: ${JSON.stringify(spent)}`);

  assert.ok(spent.arrival <= 4000, `their arrival took ${spent.arrival} ms of processor time`);
  assert.ok(spent.aFrame <= 16, `a frame while scrolling took ${spent.aFrame} ms of processor time`);
  assert.ok(spent.search <= 500, `a search took ${spent.search} ms of processor time`);
  assert.ok(use.heapMB <= 60, `the page holds ${use.heapMB} MB`);
  assert.ok(use.nodes <= 4000, `the page has ${use.nodes} nodes`);
});
