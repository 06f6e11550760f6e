// What a folder's card shows: one of its own pictures, and how many entries it has. Folders are asked
// one after another, and only those that are seen.

import {askJson} from './api.js';

const GLANCE = 4;
const AT_ONCE = 2;
const DEPTH = 2;

const known = new Map();
const waiting = [];
let running = 0;

// A folder that begins with folders is looked into a little way.
async function look(href, signal, depth = 0) {
  const {total, entries} = await askJson(`${href}?limit=${GLANCE}`, signal);
  const image = entries.find((entry) => entry.kind === 'image');
  if (image || depth === DEPTH || entries[0]?.kind !== 'folder') return {total, image};
  return {total, image: (await look(entries[0].href, signal, depth + 1)).image};
}

async function runNext() {
  if (running >= AT_ONCE || waiting.length === 0) return;
  const {href, signal, resolve} = waiting.shift();
  if (signal.aborted) return runNext();
  ++running;
  try {
    const cover = await look(href, signal);
    known.set(href, cover);
    resolve(cover);
  } catch {
    resolve(null);  // The card stays plain: opening the folder tells what is wrong.
  } finally {
    --running;
    runNext();
  }
}

export function coverOf(folder, signal) {
  if (known.has(folder.href)) return Promise.resolve(known.get(folder.href));
  return new Promise((resolve) => {
    waiting.push({href: folder.href, signal, resolve});
    runNext();
  });
}
