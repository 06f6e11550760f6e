// The part of the folder's plan that is near the viewport, as elements. Whatever is scrolled away is
// removed, so that the page holds as much for ten photos as for ten thousand.

import {PAGE} from './catalog.js';
import {make} from './dom.js';
import {Plan} from './plan.js';
import {formatRoute, pathOf} from './router.js';
import {Tile} from './tile.js';

// How far beyond the viewport there are elements, in pixels.
const MARGIN = 500;
const SETTLED = 140;

export class Grid {
  #tiles = new Map();
  #failures = new Map();
  #catalog = null;
  #plan = null;
  #current = 0;
  #frame = 0;
  #lastScroll = 0;
  #hasty = false;
  #settling = 0;
  #anchor = null;

  // settled: called when scrolling has come to rest.
  constructor(list, {settled}) {
    this.list = list;
    this.settled = settled;
    this.changed = () => this.#relay();
    addEventListener('scroll', () => this.#scrolled(), {passive: true});
    new ResizeObserver(() => this.#resized()).observe(list);
    addEventListener('resize', () => this.#draw());
    for (const type of ['wheel', 'touchmove', 'pointerdown', 'keydown']) {
      addEventListener(type, () => (this.#anchor = null), {passive: true});
    }
    list.addEventListener('keydown', (event) => this.#keyPressed(event));
    list.addEventListener('focusin', (event) => this.#focused(event));
  }

  // Shows a folder. anchor: a place from anchor() to come back to, or null for the top.
  show(catalog, anchor) {
    this.#catalog?.removeEventListener('change', this.changed);
    this.#clear();
    this.#catalog = catalog;
    this.#plan = new Plan(catalog);
    this.#current = anchor?.index ?? 0;
    this.#anchor = anchor;
    catalog.addEventListener('change', this.changed);
    this.#measure();
    scrollTo(0, anchor ? this.#scrollOf(anchor) : 0);
    this.#draw();
  }

  #clear() {
    for (const element of [...this.#tiles.values(), ...this.#failures.values()]) element.remove();
    this.#tiles.clear();
    this.#failures.clear();
  }

  // The first entry that is seen and how far it is scrolled away; null at the top.
  anchor() {
    const top = scrollY + this.#barHeight() - this.#top();
    if (!this.#plan || scrollY <= 0) return null;
    const [index] = this.#plan.between(Math.max(top, 0), this.#plan.height);
    return index === undefined ? null : {index, offset: top - this.#plan.box(index).y};
  }

  // The picture that is shown of an entry already, or null.
  shownPicture(entry) {
    const image = [...this.#tiles.values()].find((tile) => tile.entry?.href === entry.href)?.image;
    return image?.dataset.state === 'ready' ? image.currentSrc : null;
  }

  async focus(index) {
    const catalog = this.#catalog;
    await catalog.load(Math.floor(index / PAGE));
    if (catalog !== this.#catalog || !catalog.entry(index)) return;
    this.#current = index;
    this.#reveal(this.#plan.box(index));
    this.#hasty = false;
    this.#draw();
    this.#tiles.get(index)?.link.focus({preventScroll: true});
  }

  #top() {
    return this.list.getBoundingClientRect().top + scrollY;
  }

  #barHeight() {
    return document.querySelector('.bar').offsetHeight;
  }

  #scrollOf({index, offset}) {
    const box = this.#plan.box(Math.min(index, this.#catalog.total - 1));
    return box ? box.y + offset + this.#top() - this.#barHeight() : 0;
  }

  #reveal(box) {
    const top = box.y + this.#top() - this.#barHeight() - 12;
    const bottom = box.y + box.height + this.#top() - innerHeight + 12;
    if (scrollY > top) scrollTo(0, top);
    else if (scrollY < bottom) scrollTo(0, bottom);
  }

  #measure() {
    this.#plan.update(this.list.clientWidth);
    this.list.style.height = `${this.#plan.height}px`;
  }

  // What was seen stays where it was when places above it change; who is at the end stays there.
  #relay() {
    const atEnd = scrollY > 0 && scrollY + innerHeight >= document.documentElement.scrollHeight - 2;
    const anchor = this.#anchor ?? this.anchor();
    this.#measure();
    if (atEnd) scrollTo(0, document.documentElement.scrollHeight);
    else if (anchor) scrollTo(0, this.#scrollOf(anchor));
    this.#draw();
  }

  #resized() {
    if (this.#plan && this.list.clientWidth !== this.#plan.width) this.#relay();
  }

  #scrolled() {
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      // While the scroll bar is dragged far, nothing is asked for that is gone when it arrives.
      this.#hasty = Math.abs(scrollY - this.#lastScroll) > innerHeight;
      this.#lastScroll = scrollY;
      this.#draw();
    });
    clearTimeout(this.#settling);
    this.#settling = setTimeout(() => {
      this.#hasty = false;
      if (this.#catalog?.entry(this.#anchor?.index)) this.#anchor = null;
      this.#draw();
      this.settled();
    }, SETTLED);
  }

  #draw() {
    if (!this.#plan?.width) return;
    const top = scrollY - this.#top();
    const wanted = this.#plan.between(top - MARGIN, top + innerHeight + MARGIN);
    this.#drawTiles(this.#withFocused(wanted));
    if (this.#catalog.opened) this.#drawFailures();
    this.#makeTabbable(wanted.find((index) => this.#plan.box(index).y >= top) ?? wanted[0]);
    if (this.#hasty) return;
    for (const tile of this.#tiles.values()) tile.load();
    for (const page of this.#plan.pagesBetween(top - MARGIN, top + innerHeight + MARGIN)) this.#catalog.load(page);
  }

  // The focused element stays, however far away it is: without it the keyboard would be lost.
  #withFocused(wanted) {
    const focused = this.#tiles.get(this.#current);
    const holds = focused?.element.contains(document.activeElement);
    if (!holds || wanted.includes(this.#current)) return wanted;
    return [...wanted, this.#current].sort((a, b) => a - b);
  }

  #drawTiles(indices) {
    const keep = new Set(indices);
    for (const [index, tile] of this.#tiles) {
      if (keep.has(index) && tile.entry === this.#catalog.entry(index)) continue;
      tile.remove();
      this.#tiles.delete(index);
    }
    let next = this.list.firstElementChild;
    for (const index of indices) {
      const tile = this.#tileOf(index);
      tile.place(this.#plan.box(index));
      if (tile.element === next) next = next.nextElementSibling;
      else this.list.insertBefore(tile.element, next);
    }
  }

  #tileOf(index) {
    if (!this.#tiles.has(index)) {
      const entry = this.#catalog.entry(index);
      const href = entry && formatRoute(pathOf(entry), this.#catalog.sort);
      this.#tiles.set(index, new Tile(entry, {index, total: this.#catalog.total, href}));
    }
    return this.#tiles.get(index);
  }

  // A part of the listing that could not be fetched says so in its place.
  #drawFailures() {
    for (let page = 0; page < this.#catalog.pageCount; ++page) {
      const problem = this.#catalog.problemOf(page);
      if (!problem) {
        this.#failures.get(page)?.remove();
        this.#failures.delete(page);
        continue;
      }
      if (!this.#failures.has(page)) this.#failures.set(page, this.#makeFailure(page, problem));
      this.#failures.get(page).style.top = `${this.#plan.topOf(page)}px`;
    }
  }

  #makeFailure(page, problem) {
    const again = make('button', {className: 'button', text: 'Try again', attributes: {type: 'button'}});
    again.addEventListener('click', () => this.#catalog.reload(page));
    const failure = make('li', {className: 'grid__failure'}, make('span', {text: problem.message}), again);
    this.list.append(failure);
    return failure;
  }

  // One stop for the Tab key: the entry that was used last, else the first that is seen.
  #makeTabbable(firstSeen) {
    const stop = this.#tiles.get(this.#current)?.link ? this.#current : firstSeen;
    for (const [index, tile] of this.#tiles) tile.link?.setAttribute('tabindex', index === stop ? '0' : '-1');
  }

  #focused(event) {
    for (const [index, tile] of this.#tiles) {
      if (tile.link === event.target) this.#current = index;
    }
    this.#makeTabbable();
  }

  #keyPressed(event) {
    if (event.altKey || event.ctrlKey || event.metaKey || !event.target.closest('.tile')) return;
    const last = this.#catalog.total - 1;
    const target = {
      ArrowLeft: () => Math.max(this.#current - 1, 0),
      ArrowRight: () => Math.min(this.#current + 1, last),
      ArrowUp: () => this.#plan.beside(this.#current, -1),
      ArrowDown: () => this.#plan.beside(this.#current, 1),
      Home: () => 0,
      End: () => last,
    }[event.key];
    if (!target) return;
    event.preventDefault();
    this.focus(target());
  }
}
