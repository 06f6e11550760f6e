// Runs test files, one after another, against one real server over an album:
//   node test-real-server.mjs holiday|sample FILE...

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {fileURLToPath} from 'node:url';

import {makeSampleAlbum, writeTree} from './album-files.mjs';
import {holiday} from './album-tree.mjs';
import {startSite} from './site.mjs';

const HERE = fileURLToPath(new URL('.', import.meta.url));
const ALBUMS = {
  holiday: () => startSite('holiday', (folder) => writeTree(holiday, folder)),
  sample: () => startSite('photos', makeSampleAlbum),
};
const [album, ...files] = process.argv.slice(2);
if (!Object.hasOwn(ALBUMS, album ?? '') || files.length === 0) {
  console.error('usage: node test-real-server.mjs holiday|sample FILE...');
  process.exit(2);
}

let running = null;
let isStopped = false;
for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) {
  process.on(signal, () => {
    isStopped = true;
    running?.kill();
  });
}

const site = await ALBUMS[album]();

async function passes(file) {
  running = spawn(process.execPath, [file], {cwd: HERE, env: {...process.env, BASE_URL: site.url}, stdio: 'inherit'});
  const [code] = await once(running, 'exit');
  return code === 0;
}

const failed = [];
for (const file of files) {
  if (isStopped) break;
  if (!(await passes(file))) failed.push(file);
}
await site.close();
if (failed.length) console.error(`Failed: ${failed.join(' ')}`);
process.exitCode = failed.length || isStopped ? 1 : 0;
