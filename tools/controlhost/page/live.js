// The stream of server-sent events, opened again by itself after it broke, from where it had come to.

const longestWait = 5000;

/** Calls `handlers[event](data)` for every event, and `handlers.state` with "live" or "lost"; `handlers.anew()` before all
 *  that the host has is told once more. */
export class Live {
  constructor(handlers) {
    this.handlers = handlers;
    this.last = 0;
    this.wait = 500;
    this.open();
  }

  open() {
    const source = new EventSource(`api/events?since=${this.last}`);
    source.addEventListener('hello', (event) => this.greeted(source, JSON.parse(event.data)));
    source.addEventListener('request', (event) => {
      const data = JSON.parse(event.data);
      this.last = data.request.id;
      this.handlers.request(data);
    });
    for (const type of ['cleared', 'forgotten']) source.addEventListener(type, (event) => this.erased(source, type, JSON.parse(event.data)));
    for (const type of ['devices', 'missed', 'answers', 'faults', 'paused']) {
      source.addEventListener(type, (event) => this.handlers[type](JSON.parse(event.data)));
    }
    source.addEventListener('error', () => this.broken(source));
  }

  greeted(source, hello) {
    this.wait = 500;
    // A host that was started anew counts its requests from 1 again: what is shown is not its. Likewise what was cleared or
    // forgotten while this page was away.
    if (this.run !== undefined && (this.run !== hello.run || this.erasures !== hello.erasures)) return this.anew(source);
    this.run = hello.run;
    this.erasures = hello.erasures;
    this.handlers.state('live');
    this.handlers.hello(hello);
  }

  erased(source, type, data) {
    this.erasures = data.erasures;
    if (this.handlers[type](data)?.lacksOlder) this.anew(source);
  }

  anew(source) {
    source.close();
    this.handlers.anew();
    this.run = undefined;
    this.last = 0;
    this.open();
  }

  broken(source) {
    source.close();
    this.handlers.state('lost');
    setTimeout(() => this.open(), this.wait);
    this.wait = Math.min(this.wait * 2, longestWait);
  }
}
