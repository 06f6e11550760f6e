// The album as ./run serves it: lighttpd with vexathumb-web behind it, over a folder of its own.

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdir, mkdtemp, readdir, readFile, rm} from 'node:fs/promises';
import {createServer} from 'node:net';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';

import {programPath, ROOT} from './programs.mjs';

async function freePort() {
  const server = createServer();
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  const {port} = server.address();
  server.close();
  await once(server, 'close');
  return port;
}

// The processes whose command line names a folder.
async function processesIn(folder) {
  const found = [];
  for (const id of (await readdir('/proc')).filter((name) => /^\d+$/.test(name))) {
    const line = await readFile(`/proc/${id}/cmdline`, 'utf8').catch(() => '');
    if (line.includes(folder)) found.push(`process ${id}: ${line.replaceAll('\0', ' ')}`);
  }
  return found;
}

// Serves the folder `share` that fill(folder) writes. close() ends the server and throws when it has
// left anything behind.
export async function startSite(share, fill) {
  const top = await mkdtemp(join(tmpdir(), 'vexathumb-browser-'));
  const state = join(top, 'state');
  const folder = join(top, share);
  await mkdir(state);
  await mkdir(folder);
  let server;
  const close = async () => {
    if (server?.exitCode === null) {
      server.kill();
      await once(server, 'exit');
    }
    const left = [...await readdir(state), ...await processesIn(state)];
    await rm(top, {recursive: true});
    if (left.length) throw new Error(`The server left behind: ${left.join(', ')}`);
  };
  try {
    await fill(folder);
    const port = await freePort();
    // Screenshots that a video application has stored are looked for on indexed shares only.
    server = spawn(join(ROOT, 'scripts/serve'), [folder, port, programPath('vexathumb-web'), 'indexed = yes'],
                   {env: {...process.env, TMPDIR: state}, stdio: ['ignore', 'pipe', 'inherit']});
    const url = await announced(server);
    return {url, close};
  } catch (error) {
    await close().catch(() => {});
    throw error;
  }
}

async function announced(server) {
  for await (const line of createInterface(server.stdout)) {
    const [url] = /http:\/\/[\d.:]+/.exec(line) ?? [];
    if (url) return url;
  }
  throw new Error('The server has not started.');
}
