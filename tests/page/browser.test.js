import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {mkdtemp, readdir, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import path from 'node:path';
import {test} from 'node:test';
import {fileURLToPath} from 'node:url';

const failing = `
import {test} from 'node:test';
import {setStage} from './support/stage.js';
const stage = setStage();
test('fails with a page open', async () => {
  await stage.open();
  throw new Error('on purpose');
});`;

test('a browser leaves nothing in the temporary folder, without a home and after a failure', async (context) => {
  const folder = await mkdtemp(path.join(tmpdir(), 'fliprugair-browser-'));
  context.after(() => rm(folder, {recursive: true}));
  const env = {...process.env, TMPDIR: folder};
  delete env.HOME;
  delete env.NODE_TEST_CONTEXT;
  const child = spawn(process.execPath, ['--input-type=module', '--eval', failing], {cwd: fileURLToPath(new URL('.', import.meta.url)), env});
  let output = '';
  for (const stream of [child.stdout, child.stderr]) stream.on('data', (text) => { output += text; });
  await new Promise((resolve) => child.once('close', resolve));
  assert.match(output, /on purpose/);
  assert.deepEqual(await readdir(folder, {recursive: true}), []);
});
