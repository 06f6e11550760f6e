// One place in the grid: a folder's card, a photo or video, or a blank while the entry is not known.

import {thumbUrl} from './api.js';
import {coverOf} from './cover.js';
import {icon, make} from './dom.js';
import {formatCount, formatNumber} from './format.js';
import {Picture} from './picture.js';
import {isAnimated, sourceSet, sourceSizes} from './thumbnail.js';

const blankImage = (alt) => make('img', {className: 'tile__image', attributes: {alt, decoding: 'async'}});

const badge = (content) => make('span', {className: 'tile__badge', attributes: {'aria-hidden': 'true'}}, content);

export class Tile {
  #stop = new AbortController();
  #picture = null;
  #started = false;

  constructor(entry, {index, total, href}) {
    this.entry = entry;
    this.element = make('li', {className: 'tile'});
    if (!entry) {
      this.element.classList.add('tile--blank');
      this.element.setAttribute('aria-hidden', 'true');
      return;
    }
    this.element.setAttribute('aria-setsize', total);
    this.element.setAttribute('aria-posinset', index + 1);
    this.element.dataset.kind = entry.kind;
    this.link = make('a', {className: 'tile__link', attributes: {href, tabindex: '-1'}});
    this.link.title = entry.name;
    if (entry.kind === 'folder') this.#buildFolder();
    else this.#buildMedia();
    this.element.append(this.link);
  }

  #buildFolder() {
    this.element.classList.add('tile--folder');
    this.cover = make('span', {className: 'tile__cover'}, icon('folder'));
    this.totalText = make('span', {className: 'tile__total'});
    this.link.append(this.cover, make('span', {className: 'tile__label'},
                                      make('bdi', {text: this.entry.name}), this.totalText));
  }

  #buildMedia() {
    const {entry} = this;
    this.image = blankImage(entry.kind === 'video' ? `${entry.name}, video` : entry.name);
    const name = make('bdi', {className: 'tile__name', text: entry.name, attributes: {'aria-hidden': 'true'}});
    this.link.append(this.image, name);
    if (entry.kind === 'video') this.link.append(badge(icon('play')));
    else if (entry.damaged) this.#markDamaged();
    else if (isAnimated(entry)) this.link.append(badge('GIF'));
  }

  // What can be read of it is shown all the same.
  #markDamaged() {
    this.link.append(badge('damaged'));
    this.image.alt += ', damaged';
  }

  place(box) {
    const before = this.box;
    if (before && ['x', 'y', 'width', 'height'].every((side) => before[side] === box[side])) return;
    const {style} = this.element;
    style.transform = `translate(${box.x}px, ${box.y}px)`;
    style.width = `${box.width}px`;
    style.height = `${box.height}px`;
    this.box = box;
    if (this.image?.srcset) this.image.sizes = sourceSizes(this.entry, box.width, box.height);
  }

  // Asks for what the place shows, once.
  load() {
    if (this.#started || !this.entry) return;
    this.#started = true;
    if (this.entry.kind === 'folder') this.#loadCover();
    else this.#loadPicture(this.entry, this.image, this.box.height, (problem) => this.#explain(problem));
  }

  #loadPicture(entry, image, height, failed) {
    const source = {
      src: thumbUrl(entry, {size: 'medium'}),
      srcset: sourceSet(entry),
      sizes: sourceSizes(entry, this.box.width, height),
    };
    this.#picture = new Picture(image, source, (problem) => problem && failed(problem));
  }

  async #loadCover() {
    const cover = await coverOf(this.entry, this.#stop.signal);
    if (!cover || this.#stop.signal.aborted) return;
    this.totalText.textContent = formatNumber(cover.total);
    this.totalText.title = formatCount(cover.total);
    if (!cover.image) return;
    const image = blankImage('');
    this.cover.append(image);
    this.#loadPicture(cover.image, image, this.box.width * 0.68, () => image.remove());
  }

  #explain(problem) {
    const isVideo = this.entry.kind === 'video';
    const isPlain = isVideo && problem.status === 415;
    this.element.classList.add('tile--bare');
    const reason = make('span', {className: 'tile__reason'}, icon(isVideo ? 'film' : 'broken'));
    if (!isPlain) reason.append(make('span', {text: problem.message}));
    this.link.querySelector('.tile__badge')?.remove();
    this.link.append(reason);
    this.link.setAttribute('aria-label', isPlain ? this.image.alt : `${this.image.alt}. ${problem.message}`);
  }

  remove() {
    this.#stop.abort();
    this.#picture?.stop();
    this.element.remove();
  }
}
