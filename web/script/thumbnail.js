// Which of the server's sizes a place on the page needs.

import {thumbUrl} from './api.js';

const SIZES = [['small', 120], ['medium', 360], ['big', 640], ['large', 1280]];

export const isAnimated = (entry) => /\.gif$/i.test(entry.name);

// Formats that browsers show, so that the original can be opened.
export const isOpenable = (entry) => entry.kind === 'image' && /\.(jpe?g|jpe|png|gif|bmp)$/i.test(entry.name);

// Width to height. Extremes are cut so that one panorama does not take a whole screen.
export function tileRatio(entry) {
  if (!entry.width || !entry.height) return entry.kind === 'video' ? 16 / 9 : 4 / 3;
  return Math.min(Math.max(entry.width / entry.height, 0.56), 2.8);
}

const pictureRatio = (entry) => (entry.width && entry.height ? entry.width / entry.height : tileRatio(entry));

// A size is the longer side at most, and never more than the source has, so that portraits are
// narrower than the name of the size tells.
export function sourceSet(entry) {
  const ratio = pictureRatio(entry);
  const candidates = [];
  for (const [size, side] of SIZES) {
    const full = entry.width && Math.max(entry.width, entry.height) <= side;
    const width = full ? entry.width : Math.round(side * Math.min(1, ratio));
    candidates.push(`${thumbUrl(entry, {size})} ${Math.max(width, 1)}w`);
    if (full) break;
  }
  return candidates.join(', ');
}

// The width at which the picture is laid out when it fills a tile, cut or not.
export function sourceSizes(entry, width, height) {
  return `${Math.ceil(Math.max(width, height * pictureRatio(entry)))}px`;
}
