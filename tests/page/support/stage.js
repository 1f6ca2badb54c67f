// What the tests of one file share: a host, a browser and the sample app, and nothing that a test left in them. Each test
// has pages of its own, which are closed behind it: one that stays open goes on drawing.

import assert from 'node:assert/strict';
import {after, afterEach, before, beforeEach} from 'node:test';
import {openBrowser, openPage} from './browser.js';
import {Host, SampleApp} from './host.js';

/** Answers with which the sample app gets everything that it asks for within a visit. */
export const quickAnswers = {rules: [], default: {init: {success: 1, flags: {resend_initial: false, getattribution_wait: 1}}, attribution: {polls: 0, retry: 1, answer: {network: 'example'}}}};

class Stage {
  pages = [];

  async build() {
    [this.host, this.browser] = await Promise.all([Host.start(), openBrowser()]);
  }

  async set(prepare) {
    this.app = new SampleApp(this.host);
    await prepare?.(this.host);
  }

  /** A page on the host; `options` as openPage takes them. */
  async open(options) {
    const page = await openPage(this.browser, this.host, options);
    this.pages.push(page);
    return page;
  }

  async leave() {
    const faults = this.pages.flatMap((page) => page.faults);
    await Promise.all([...this.pages.map((page) => page.leave()), this.app.uninstall()]);
    this.pages = [];
    await this.host.reset();
    assert.deepEqual(faults, [], 'what went wrong within the pages');
  }

  async strike() {
    await this.browser?.close();
    await this.host?.stop();
  }
}

/** For the tests of the file that calls this. `prepare(host)` comes before each of them. */
export function setStage(prepare) {
  const one = new Stage();
  before(() => one.build());
  beforeEach(() => one.set(prepare));
  afterEach(() => one.leave());
  after(() => one.strike());
  return one;
}
