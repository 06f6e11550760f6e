// Where every entry of a folder lies, also those that are not yet known, so that the page has its full
// height from the start and only what is seen needs to exist.

import {PAGE} from './catalog.js';
import {justify} from './justify.js';
import {tileRatio} from './thumbnail.js';

const UNKNOWN_RATIO = 1.4;
const CARD_LABEL = 40;

function measures(width) {
  const phone = width < 560;
  return {
    gap: phone ? 4 : 8,
    rowHeight: phone ? 118 : Math.min(Math.max(width / 6, 170), 260),
    cardGap: phone ? 12 : 20,
    cardWidth: phone ? 150 : 210,
  };
}

export class Plan {
  #sections = [];
  #unknown = new Map();

  constructor(catalog) {
    this.catalog = catalog;
    this.width = 0;
    this.height = 0;
  }

  // Lays out again what is known by now, for this width.
  update(width) {
    if (width !== this.width) this.#unknown.clear();
    const {catalog} = this;
    const sections = [];
    let top = 0;
    for (let page = 0; page < catalog.pageCount; ++page) {
      const entries = catalog.entriesOf(page);
      const before = this.#sections[page];
      const kept = entries && before?.entries === entries && width === this.width && before.last === this.#isLast(page);
      const section = kept ? before : this.#lay(page, entries, width);
      section.top = top;
      top += section.height;
      sections.push(section);
    }
    this.width = width;
    this.#sections = sections;
    this.height = top;
  }

  #isLast(page) {
    return page === this.catalog.pageCount - 1;
  }

  #lay(page, entries, width) {
    const last = this.#isLast(page);
    if (entries) return {entries, last, ...layEntries(entries, width, last)};
    const count = this.catalog.countOf(page);
    if (!this.#unknown.has(count)) {
      const rows = {width, ragged: last, ...measures(width)};
      this.#unknown.set(count, justify(new Array(count).fill(UNKNOWN_RATIO), rows));
    }
    return {entries: null, last, ...this.#unknown.get(count)};
  }

  box(index) {
    const section = this.#sections[Math.floor(index / PAGE)];
    const box = section?.boxes[index % PAGE];
    return box && {...box, y: box.y + section.top};
  }

  topOf(page) {
    return this.#sections[page].top;
  }

  pagesBetween(top, bottom) {
    return this.#sections.flatMap(
        (section, page) => (section.top < bottom && section.top + section.height > top ? [page] : []));
  }

  // The indices of the entries that reach into this stretch, in order.
  between(top, bottom) {
    const indices = [];
    for (const page of this.pagesBetween(top, bottom)) {
      const section = this.#sections[page];
      section.boxes.forEach((box, i) => {
        const y = section.top + box.y;
        if (y < bottom && y + box.height > top) indices.push(page * PAGE + i);
      });
    }
    return indices;
  }

  // The entry above or below another: in the nearest row, the one nearest to its middle.
  beside(index, direction) {
    const box = this.box(index);
    const middle = box.x + box.width / 2;
    const reach = 3 * Math.max(box.height, 300);
    const near = direction < 0 ? this.between(box.y - reach, box.y) : this.between(box.y + box.height, box.y + reach);
    let best = index;
    let least = [Infinity, Infinity];
    for (const other of near) {
      const place = this.box(other);
      const rows = direction * (place.y - box.y);
      if (rows <= 0.5) continue;
      const aside = Math.abs(place.x + place.width / 2 - middle);
      if (rows < least[0] - 0.5 || (rows < least[0] + 0.5 && aside < least[1])) {
        best = other;
        least = [rows, aside];
      }
    }
    return best;
  }
}

// Folders are cards of one size; photos and videos follow in justified rows.
function layEntries(entries, width, last) {
  const {gap, rowHeight, cardGap, cardWidth} = measures(width);
  const folders = entries.filter((entry) => entry.kind === 'folder').length;
  const columns = Math.max(2, Math.floor((width + cardGap) / (cardWidth + cardGap)));
  const card = (width - cardGap * (columns - 1)) / columns;
  const cardHeight = card * 0.68 + CARD_LABEL;
  const cards = Array.from({length: folders}, (_, i) => ({
    x: (i % columns) * (card + cardGap),
    y: Math.floor(i / columns) * (cardHeight + cardGap),
    width: card,
    height: cardHeight,
  }));
  const media = justify(entries.slice(folders).map(tileRatio), {width, rowHeight, gap, ragged: last});
  const start = Math.ceil(folders / columns) * (cardHeight + cardGap);
  const pictures = media.boxes.map((box) => ({...box, y: box.y + start}));
  return {boxes: [...cards, ...pictures], height: start + media.height};
}
