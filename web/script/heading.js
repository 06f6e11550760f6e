// What stands around the grid: where one is, how much there is, how it is sorted, and what is wrong.

import {byId, make} from './dom.js';
import {formatCount} from './format.js';
import {formatRoute, lastName, trailOf} from './router.js';

const PRODUCT = 'Album';

export function showPlace({folder, sort}) {
  const steps = trailOf(folder);
  byId('title').textContent = folder === '/' ? 'Shares' : lastName(folder);
  byId('title').dir = 'auto';
  byId('count').textContent = '';
  byId('trail').replaceChildren(...steps.map((step, i) => {
    const link = make('a', {attributes: {href: formatRoute(step.path, sort), dir: 'auto'}, text: step.name});
    if (i === steps.length - 1) link.setAttribute('aria-current', 'page');
    return make('li', {}, link);
  }));
  byId('trail').parentElement.scrollLeft = byId('trail').scrollWidth;
  byId('sort').hidden = folder === '/';
  for (const order of ['name', 'mtime']) {
    const link = byId(`sort-${order}`);
    link.href = formatRoute(folder, order);
    if (order === sort) link.setAttribute('aria-current', 'true');
    else link.removeAttribute('aria-current');
  }
}

export function showTitle({folder, photo}) {
  const place = folder === '/' ? '' : lastName(folder);
  document.title = [photo && lastName(photo), place, PRODUCT].filter(Boolean).join(' – ');
}

export function showCount({folder, total}) {
  const text = formatCount(total, folder === '/' ? 'share' : 'item');
  if (byId('count').textContent === text) return;
  byId('count').textContent = text;
  say(text);
}

// Read out by screen readers.
export function say(text) {
  byId('status').textContent = text;
}

// again: what the button does; without it there is none.
export function showNotice({title, text, again}) {
  byId('notice-title').textContent = title;
  byId('notice-text').textContent = text;
  byId('notice-again').hidden = !again;
  byId('notice-again').onclick = again ?? null;
  byId('notice').hidden = false;
  byId('grid').hidden = true;
  byId('sort').hidden = true;
  byId('count').textContent = '';
  say(`${title}. ${text}`);
}

export function hideNotice() {
  byId('notice').hidden = true;
  byId('grid').hidden = false;
}
