// Albums as files, for a real server to serve.

import {spawn} from 'node:child_process';
import {copyFile, mkdir, rm, utimes, writeFile} from 'node:fs/promises';
import {dirname, extname, join} from 'node:path';

import {programPath} from './programs.mjs';

const FORMATS = {'.jpg': 'jpeg', '.png': 'png', '.gif': 'gif', '.heic': 'heic'};
const SCREENSHOT = {width: 640, height: 360, format: 'jpeg'};

function runProgram(name, args, input = '') {
  return new Promise((resolve, reject) => {
    const program = spawn(programPath(name), args, {stdio: ['pipe', 'ignore', 'inherit']});
    program.on('error', reject);
    program.on('exit', (code) => (code === 0 ? resolve() : reject(new Error(`${name} ended with ${code}`))));
    program.stdin.end(input);
  });
}

export const makeSampleAlbum = (folder) => runProgram('make-sample-album', [folder]);

// Two at once fill the cores of a small machine.
const drawPictures = (wishes) => Promise.all([0, 1].map(
    (half) => runProgram('draw-pictures', [], JSON.stringify(wishes.filter((_, i) => i % 2 === half)))));

// Every file of the folder: the picture that it is, or the text in its place.
function* filesOf(entries, folder) {
  for (const entry of entries) {
    const {name, kind, mtime, width, height, orientation, preview} = entry;
    const path = join(folder, name);
    if (entry.entries) {
      yield* filesOf(entry.entries, path);
    } else if (kind === 'image' && !entry.problem) {
      const size = {width: width ?? 400, height: height ?? 300};
      yield {path, mtime, picture: {format: FORMATS[extname(name)], ...size, orientation, preview}};
    } else {
      yield {path, mtime, text: `${name} is neither a picture nor a video.\n`};
    }
    if (entry.screenshot) {
      yield {path: join(folder, '.vexaea', name, 'VEXAVIDEO_VIDEO_SCREENSHOT.jpg'), mtime, picture: SCREENSHOT};
    }
  }
}

const foldersOf = (entries, folder) =>
    [folder, ...entries.filter((entry) => entry.entries).flatMap((entry) => foldersOf(entry.entries, join(folder, entry.name)))];

// Equal pictures are drawn once and copied.
export async function writeTree(tree, folder) {
  for (const path of foldersOf(tree.entries, folder)) await mkdir(path, {recursive: true});
  const originals = join(folder, '.drawn');
  await mkdir(originals);
  const drawn = new Map();
  const files = [...filesOf(tree.entries, folder)];
  for (const {picture} of files.filter((file) => file.picture)) {
    const key = JSON.stringify(picture);
    if (!drawn.has(key)) drawn.set(key, {...picture, path: join(originals, String(drawn.size))});
  }
  await drawPictures([...drawn.values()]);
  for (const {path, mtime, picture, text} of files) {
    await mkdir(dirname(path), {recursive: true});
    if (picture) await copyFile(drawn.get(JSON.stringify(picture)).path, path);
    else await writeFile(path, text);
    await utimes(path, mtime, mtime);
  }
  await rm(originals, {recursive: true});
}
