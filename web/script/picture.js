// One <img> that is loaded, asked for again while the server is busy, or given up with a reason.

import {pause, Problem, whyNoPicture} from './api.js';

const TRIES = 5;

export class Picture {
  #stop = new AbortController();
  #attempts = 0;

  // settled: called once, with null when the picture is there, else with the Problem.
  constructor(image, source, settled) {
    this.image = image;
    this.source = source;
    this.settled = settled;
    const {signal} = this.#stop;
    image.dataset.state = 'loading';
    image.addEventListener('load', () => this.#settle(null), {signal});
    image.addEventListener('error', () => this.#inquire(), {signal});
    this.#load();
  }

  // Also ends the transfer of a picture that is no longer wanted.
  stop() {
    if (this.image.dataset.state === 'loading') {
      this.image.removeAttribute('srcset');
      this.image.removeAttribute('src');
    }
    this.#stop.abort();
  }

  #load() {
    ++this.#attempts;
    const {src, srcset, sizes} = this.source;
    if (sizes) this.image.sizes = sizes;
    if (srcset) this.image.srcset = srcset;
    this.image.src = src;
  }

  #settle(problem) {
    this.image.dataset.state = problem ? 'failed' : 'ready';
    this.#stop.abort();
    this.settled(problem);
  }

  async #inquire() {
    const {signal} = this.#stop;
    try {
      const problem = await whyNoPicture(this.image.currentSrc || this.source.src, signal);
      if (problem && problem.status !== 503) return this.#settle(problem);
      if (this.#attempts >= TRIES) {
        return this.#settle(problem ?? new Problem(0, 'This picture cannot be shown by the browser.'));
      }
      await pause(problem ? problem.retryAfter : 250, signal);
      this.#load();
    } catch (error) {
      if (!signal.aborted) this.#settle(error);
    }
  }
}
