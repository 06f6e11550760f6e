// The full view: one photo or video at a time, over the folder that it belongs to.

import {thumbUrl} from './api.js';
import {byId, icon, make} from './dom.js';
import {formatBytes, formatDate, formatNumber} from './format.js';
import {Picture} from './picture.js';
import {lastName, pathOf} from './router.js';
import {onSwipe} from './swipe.js';
import {isAnimated, isOpenable} from './thumbnail.js';

const stillness = matchMedia('(prefers-reduced-motion: reduce)');

// Pictures smaller than this are shown at twice their size at most.
const TINY = 640;

function limitSize(image, entry) {
  const width = entry.width || image.naturalWidth;
  const height = entry.height || image.naturalHeight;
  if (!width || Math.max(width, height) >= TINY) return;
  const side = `${2 * Math.max(width, height)}px`;
  image.style.maxWidth = side;
  image.style.maxHeight = side;
}

export class Viewer {
  #catalog = null;
  #index = -1;
  #path = null;
  #turns = 0;
  #playing = true;
  #picture = null;
  #leaving = false;

  // moved: called with the path when another photo is shown; closed: when the visitor closes the view;
  // shownPicture: gives the address of a picture of the entry that is there already, or null.
  constructor({moved, closed, shownPicture}) {
    this.dialog = byId('view');
    this.stage = byId('view-stage');
    this.frame = byId('view-picture');
    this.moved = moved;
    this.closed = closed;
    this.shownPicture = shownPicture;

    byId('view-close').addEventListener('click', () => this.#leave());
    byId('view-back').addEventListener('click', () => this.#step(-1));
    byId('view-on').addEventListener('click', () => this.#step(1));
    byId('view-left').addEventListener('click', () => this.#rotate(-1));
    byId('view-right').addEventListener('click', () => this.#rotate(1));
    byId('view-play').addEventListener('click', () => this.#togglePlaying());
    this.dialog.addEventListener('cancel', (event) => {
      event.preventDefault();
      this.#leave();
    });
    // A browser may close it all the same.
    this.dialog.addEventListener('close', () => this.#path && this.#leave());
    this.dialog.addEventListener('keydown', (event) => this.#keyPressed(event));
    onSwipe(this.stage, {follow: (distance) => this.#drag(distance), swiped: (step) => this.#step(step)});
  }

  // Going back takes a moment, in which nothing may go back once more.
  #leave() {
    if (this.#leaving) return;
    this.#leaving = true;
    this.closed();
  }

  get isOpen() {
    return this.dialog.open;
  }

  // The index of the photo that is shown, -1 while it is not known.
  get index() {
    return this.#index;
  }

  // Opens the view, or moves it to another photo.
  async open(catalog, path) {
    if (this.isOpen && catalog === this.#catalog && path === this.#path) return;
    this.#catalog = catalog;
    this.#path = path;
    this.#leaving = false;
    if (!this.isOpen) this.dialog.showModal();
    this.#index = catalog.locate(path);
    if (this.#index >= 0) return this.#show(catalog.entry(this.#index));

    // The photo is asked for at once, its place in the folder is looked up meanwhile.
    this.#show({name: lastName(path), kind: 'image', href: `/thumb${path}`});
    const index = await catalog.find(path);
    if (index < 0 || catalog !== this.#catalog || path !== this.#path) return;
    this.#index = index;
    const entry = catalog.entry(index);
    if (entry.kind !== 'image') return this.#show(entry);
    this.entry = entry;
    this.#describe();
  }

  close() {
    if (!this.#path) return;
    this.#picture?.stop();
    this.frame.replaceChildren();
    this.entry = null;
    this.#path = null;
    this.dialog.close();
  }

  #show(entry) {
    this.entry = entry;
    this.#turns = 0;
    this.#playing = !stillness.matches;
    const shown = this.shownPicture(this.#catalog, entry);
    this.frame.replaceChildren();
    if (shown) this.#place(make('img', {attributes: {src: shown, alt: ''}}));
    byId('view-title').textContent = entry.name;
    byId('view-count').textContent = '';
    byId('view-details').textContent = '';
    this.#load();
    this.#describe();
  }

  #place(image) {
    limitSize(image, this.entry);
    this.frame.replaceChildren(image);
  }

  #url(entry, turns = 0, playing = true) {
    const parameters = {size: 'large'};
    if (turns) parameters.rotate = turns;
    if (isAnimated(entry) && playing) parameters.gif = 1;
    return thumbUrl(entry, parameters);
  }

  // What is seen stays until the picture that takes its place is complete.
  #load() {
    const {entry} = this;
    this.#picture?.stop();
    byId('view-failure').replaceChildren();
    this.stage.dataset.state = 'loading';
    this.#drawPlaying();
    const image = make('img', {attributes: {alt: entry.kind === 'video' ? `${entry.name}, video` : entry.name}});
    const source = {src: this.#url(entry, this.#turns, this.#playing)};
    this.#picture = new Picture(image, source, (problem) => {
      this.stage.dataset.state = problem ? 'failed' : 'ready';
      if (problem) return this.#explain(problem);
      this.#place(image);
      this.#fetchAhead();
    });
  }

  #explain(problem) {
    const isVideo = this.entry.kind === 'video';
    this.frame.replaceChildren();
    byId('view-failure').replaceChildren(
        icon(isVideo ? 'film' : 'broken'),
        make('p', {text: isVideo && problem.status === 415 ? 'There is no preview of this video.' : problem.message}));
  }

  #fetchAhead() {
    if (this.#index < 0 || navigator.connection?.saveData) return;
    const next = this.#catalog.entry(this.#index + 1);
    if (next?.kind === 'image') new Image().src = this.#url(next, 0, !stillness.matches);
  }

  async #describe() {
    const {entry} = this;
    const canTurn = entry.kind === 'image';
    byId('view-left').hidden = byId('view-right').hidden = !canTurn;
    byId('view-original').hidden = !isOpenable(entry);
    byId('view-original').href = thumbUrl(entry, {size: 'original'});
    const details = [
      entry.width && entry.height && `${formatNumber(entry.width)} × ${formatNumber(entry.height)}`,
      entry.size !== undefined && formatBytes(entry.size),
      entry.mtime !== undefined && formatDate(entry.mtime),
    ];
    byId('view-details').textContent = details.filter(Boolean).join('  ·  ');

    const index = this.#index;
    byId('view-back').disabled = byId('view-on').disabled = true;
    if (index < 0) return;
    const first = await this.#catalog.firstMedia();
    if (index !== this.#index) return;
    const total = this.#catalog.total;
    byId('view-count').textContent = `${formatNumber(index - first + 1)} of ${formatNumber(total - first)}`;
    this.#enable('view-back', index > first);
    this.#enable('view-on', index < total - 1);
  }

  // A button that is switched off under the focus would take the keyboard with it.
  #enable(id, enabled) {
    if (!enabled && document.activeElement === byId(id)) byId('view-title').focus();
    byId(id).disabled = !enabled;
  }

  async #go(index) {
    const catalog = this.#catalog;
    const entry = await catalog.fetchEntry(index);
    if (!entry || entry.kind === 'folder' || !this.isOpen || catalog !== this.#catalog || index === this.#index) return;
    this.#index = index;
    this.#path = pathOf(entry);
    this.#show(entry);
    this.moved(this.#path);
  }

  #step(by) {
    const to = this.#index + by;
    if (this.#index >= 0 && to >= 0 && to < this.#catalog.total) this.#go(to);
  }

  #rotate(by) {
    if (this.entry?.kind !== 'image') return;
    this.#turns = (this.#turns + by + 4) % 4;
    this.#load();
  }

  #togglePlaying() {
    this.#playing = !this.#playing;
    this.#load();
  }

  #drawPlaying() {
    const button = byId('view-play');
    button.hidden = !isAnimated(this.entry);
    button.setAttribute('aria-pressed', String(this.#playing));
  }

  #drag(distance) {
    this.frame.style.transform = distance && !stillness.matches ? `translateX(${distance}px)` : '';
  }

  #keyPressed(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const action = {
      ArrowLeft: () => this.#step(-1),
      ArrowRight: () => this.#step(1),
      Home: async () => this.#go(await this.#catalog.firstMedia()),
      End: () => this.#go(this.#catalog.total - 1),
      r: () => this.#rotate(1),
      R: () => this.#rotate(-1),
    }[event.key];
    if (!action) return;
    event.preventDefault();
    action();
  }
}
