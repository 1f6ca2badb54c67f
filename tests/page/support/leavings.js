// What a test's programs and its browser write into the home and the temporary folder is gone when the test's process ends.

import {mkdtempSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import path from 'node:path';

const folder = mkdtempSync(path.join(tmpdir(), 'fliprugair-page-'));

for (const name of ['XDG_CONFIG_HOME', 'XDG_CACHE_HOME', 'XDG_DATA_HOME']) delete process.env[name];
for (const name of ['HOME', 'TMPDIR']) process.env[name] = folder;

// The browser is closed by then, but a helper of its own may still be about to end.
process.once('exit', () => rmSync(folder, {recursive: true, force: true, maxRetries: 10, retryDelay: 50}));
