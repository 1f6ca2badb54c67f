// Whether the host keeps what comes: as it was heard last, and as the reader wished since.

import {api, inTurn} from './api.js';

export class Pause {
  /** `changed()` is called when the host was heard to say it. */
  constructor(changed) {
    Object.assign(this, {changed, turn: inTurn(), on: false, wish: null, wishes: 0});
  }

  heard(on) {
    this.on = on;
    this.changed();
  }

  ask() {
    return this.turn(async () => this.heard((await api.paused()).paused));
  }

  /** Pressed twice it stands as before, also when the host has not answered in between. */
  async toggle() {
    const wish = !(this.wish ?? this.on);
    this.wish = wish;
    this.wishes++;
    try {
      await this.turn(async () => {
        await api.pause(wish);
        this.heard(wish);
      });
    } finally {
      if (--this.wishes === 0) this.wish = null;
    }
  }
}
