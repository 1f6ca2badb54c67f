// What the tests of one file share: a host, a browser and the sample app. Each test has pages of its own, which are
// closed behind it: one that stays open goes on drawing.

import {after, afterEach, before} from 'node:test';
import {openBrowser, openPage} from './browser.js';
import {Host, SampleApp} from './host.js';

/** Answers with which the sample app gets everything that it asks for within a visit. */
export const quickAnswers = {rules: [], default: {init: {success: 1, flags: {resend_initial: false, getattribution_wait: 1}}, attribution: {polls: 0, retry: 1, answer: {network: 'example'}}}};

class Stage {
  pages = [];

  async set(prepare) {
    [this.host, this.browser] = await Promise.all([Host.start(), openBrowser()]);
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
    await Promise.all(this.pages.map((page) => page.leave()));
    this.pages = [];
  }

  async strike() {
    await this.browser?.close();
    await this.host?.stop();
    await this.app?.uninstall();
  }
}

/** For the tests of the file that calls this. `prepare(host)` comes before the first of them. */
export function setStage(prepare) {
  const one = new Stage();
  before(() => one.set(prepare));
  afterEach(() => one.leave());
  after(() => one.strike());
  return one;
}
