// A control host of a test's own, what is sent to it, and the programs that send.

import {spawn} from 'node:child_process';
import {mkdtemp, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import path from 'node:path';
import {createInterface} from 'node:readline';

const programs = process.env.FLIPRUGAIR_BIN;
if (!programs) throw new Error('FLIPRUGAIR_BIN does not say where the built programs are; ctest sets it.');

/** A connection for each request: one that waits for the next is closed by the host after a while, perhaps just then. */
const oneEach = {Connection: 'close'};

export const device = 'MI0123456789ABCDEF0123456789ABCDEF';

export class Host {
  /** A host on `port`; 0 is any free one. */
  static async start(port = 0) {
    const host = new Host();
    host.process = spawn(path.join(programs, 'fliprugair-controlhost'), ['--port', String(port)], {stdio: ['ignore', 'pipe', 'inherit']});
    host.ended = new Promise((resolve) => host.process.once('exit', resolve));
    const lines = createInterface({input: host.process.stdout});  // stays: what it prints must not fill its pipe
    host.address = await new Promise((resolve, reject) => {
      lines.on('line', (line) => {
        const [address] = line.match(/127\.0\.0\.1:\d+/) ?? [];
        if (address) resolve(address);
      });
      lines.once('close', () => reject(new Error('The control host ended before it said where it listens.')));
    });
    host.url = `http://${host.address}/`;
    host.port = Number(host.address.split(':')[1]);
    return host;
  }

  async stop() {
    this.process.kill();
    await this.ended;
  }

  async send(body, {raw = false} = {}) {
    const reply = await fetch(`${this.url}marlune/v4`, {method: 'POST', body: raw ? body : JSON.stringify(body), headers: {...oneEach, 'Content-Type': 'application/json; charset=utf-8'}});
    return {status: reply.status, text: await reply.text()};
  }

  async get(what) {
    return (await fetch(this.url + what, {headers: oneEach})).json();
  }

  /** What it tells who follows from the first request on, until it has told of `last`. */
  async stream(last) {
    const {body} = await fetch(`${this.url}api/events?since=0`, {headers: oneEach});
    let told = '';
    for await (const part of body.pipeThrough(new TextDecoderStream())) {
      told += part;
      if (told.includes(last) && told.endsWith('\n\n')) break;
    }
    return told;
  }

  put(what, value) {
    return this.tell('PUT', what, {body: JSON.stringify(value), headers: {...oneEach, 'Content-Type': 'application/json'}});
  }

  /** As at its start. */
  reset() {
    return this.tell('POST', 'api/reset', {headers: oneEach});
  }

  async tell(method, what, more) {
    const reply = await fetch(this.url + what, {method, ...more});
    if (!reply.ok) throw new Error(`${method} ${what}: ${await reply.text()}`);
  }
}

/** A session or an event as a tracker sends it. */
export function record(action, data, extra = {}) {
  return {marlune_device_id: device, marlune_app_id: 'demo', action, sdk_version: 'ios-20160921', sdk_protocol: '4', data, ...extra};
}

export const usertime = (ago = 0) => String(Math.floor(Date.now() / 1000) - ago);

export function event(name, value = '1', more = {}) {
  return record('event', {usertime: usertime(), uptime: '12', event_name: name, event_data: value, currency: 'USD', ...more});
}

/** Runs a program to its end; `input` goes to it. */
export function run(program, args, input = '') {
  return new Promise((resolve, reject) => {
    const child = spawn(path.resolve(programs, program), args, {stdio: ['pipe', 'pipe', 'pipe']});
    let output = '';
    let errors = '';
    child.stdout.on('data', (text) => { output += text; });
    child.stderr.on('data', (text) => { errors += text; });
    child.once('error', reject);
    child.once('exit', (status) => resolve({status, output, errors}));
    child.stdin.end(input);
  });
}

/** The sample app on visits to `host`, with one folder of its own for all of them. */
export class SampleApp {
  constructor(host) {
    this.host = host;
  }

  async visit(...args) {
    this.folder ??= await mkdtemp(path.join(tmpdir(), 'fliprugair-page-'));
    return run('fliprugair-visit', ['--host', this.host.address, '--folder', this.folder, ...args]);
  }

  /** By a shell command for an app of one's own, "./my-app". */
  async startedBy(command) {
    this.folder ??= await mkdtemp(path.join(tmpdir(), 'fliprugair-page-'));
    return run('/bin/sh', ['-c', command.replace('./my-app', `"$0" --folder "$1"`), path.resolve(programs, 'fliprugair-visit'), this.folder]);
  }

  async uninstall() {
    if (this.folder) await rm(this.folder, {recursive: true});
  }
}
