// The entries of one folder, fetched a page at a time as they are looked at.

import {listFolder, listShares} from './api.js';
import {pathOf} from './router.js';

export const PAGE = 200;

// How many places are drawn before the folder's size is known.
const GUESS = 24;

export class Catalog extends EventTarget {
  #pages = [];
  #stop = new AbortController();

  constructor(folder, sort) {
    super();
    this.folder = folder;
    this.sort = sort;
    this.total = GUESS;
    this.opened = false;
  }

  get pageCount() {
    return Math.ceil(this.total / PAGE);
  }

  countOf(page) {
    return Math.min(PAGE, this.total - page * PAGE);
  }

  entriesOf(page) {
    return this.#pages[page]?.entries ?? null;
  }

  problemOf(page) {
    return this.#pages[page]?.problem ?? null;
  }

  entry(index) {
    return this.entriesOf(Math.floor(index / PAGE))?.[index % PAGE];
  }

  async fetchEntry(index) {
    await this.load(Math.floor(index / PAGE));
    return this.entry(index);
  }

  // Fetches a page unless it is there or on its way. Does not throw: see problemOf.
  load(page) {
    this.#pages[page] ??= {};
    return (this.#pages[page].arriving ??= this.#fetch(page, this.#pages[page]));
  }

  reload(page) {
    delete this.#pages[page];
    return this.load(page);
  }

  async #fetch(page, slot) {
    const {signal} = this.#stop;
    try {
      const listing = this.folder === '/' ? await listShares(signal) : await listFolder(
          this.folder, {sort: this.sort, offset: page * PAGE, limit: PAGE}, signal);
      // A folder that grew or shrank has moved what was fetched before.
      if (this.opened && listing.total !== this.total) this.#pages = [];
      this.#pages[page] = slot;
      this.total = listing.total;
      this.opened = true;
      slot.entries = listing.entries;
    } catch (error) {
      if (signal.aborted) return;
      slot.problem = error;
    }
    this.dispatchEvent(new Event('change'));
  }

  // The index of the entry with this path among those that are there, or -1.
  locate(path) {
    for (let page = 0; page < this.pageCount; ++page) {
      const at = this.#indexIn(page, (entry) => pathOf(entry) === path);
      if (at >= 0) return at;
    }
    return -1;
  }

  // The same among all.
  async find(path) {
    for (let page = 0; page < this.pageCount; ++page) {
      await this.load(page);
      const at = this.locate(path);
      if (at >= 0 || this.#stop.signal.aborted) return at;
    }
    return -1;
  }

  #indexIn(page, matches) {
    const at = this.entriesOf(page)?.findIndex(matches) ?? -1;
    return at < 0 ? -1 : page * PAGE + at;
  }

  // The index of the first photo or video, or total: folders come first.
  async firstMedia() {
    for (let page = 0; page < this.pageCount; ++page) {
      await this.load(page);
      const at = this.#indexIn(page, (entry) => entry.kind !== 'folder');
      if (at >= 0) return at;
    }
    return this.total;
  }

  close() {
    this.#stop.abort();
  }
}
