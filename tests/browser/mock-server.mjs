// Serves web/ and answers /album/, /thumb/ and /health as docs/http-api.md tells, out of a made-up tree,
// with refusals and delays where the tree asks for them.

import {readFile} from 'node:fs/promises';
import {createServer} from 'node:http';
import {extname, join, normalize} from 'node:path';
import {fileURLToPath} from 'node:url';

import {drawLandscape, MOVING_GIF} from './mock-pictures.mjs';
import {shares, UNREADABLE} from './album-tree.mjs';

const WEB = fileURLToPath(new URL('../../web', import.meta.url));
const TYPES = {'.html': 'text/html; charset=utf-8', '.css': 'text/css', '.js': 'text/javascript', '.svg': 'image/svg+xml'};
const SIDES = {small: 120, medium: 360, big: 640, large: 1280, xlarge: 1280, original: Infinity};
const PARAMETERS = ['size', 'box', 'side', 'rotate', 'avatar', 'gif', 'store', 'only', 'smaller', 'any'];

class Refusal extends Error {
  constructor(status, detail, headers = {}) {
    super(detail);
    Object.assign(this, {status, headers});
  }
}

const encodePath = (names) => names.map(encodeURIComponent).join('/');

function resolve(path) {
  const names = path.split('/').filter(Boolean).map(decodeURIComponent);
  let node = {entries: shares};
  for (const name of names) {
    node = node.entries?.find((entry) => entry.name === name);
    if (!node) throw new Refusal(404, 'There is no such file or folder.');
  }
  return {node, names};
}

// Counts what was refused of each node, so that a busy one is free in the end. Each server has its own.
function refuseAtFirst(counts, node) {
  const count = (counts.get(node) ?? 0) + 1;
  counts.set(node, count);
  if (count <= (node.busyTimes ?? 0)) {
    throw new Refusal(503, 'Too many pictures are being made at the moment.', {'Retry-After': '0'});
  }
  if (count <= (node.failTimes ?? 0)) throw new Refusal(500, 'The folder cannot be read.');
}

function listFolder(counts, path, query) {
  if (path === '/') return {shares: shares.map(({name}) => ({name, href: `/album/${encodeURIComponent(name)}/`}))};
  const {node, names} = resolve(path);
  if (!node.entries) throw new Refusal(404, 'There is no such file or folder.');
  const offset = Number(query.get('offset') ?? 0);
  const limit = Number(query.get('limit') ?? 200);
  if (!(limit >= 1 && limit <= 1000)) throw new Refusal(400, 'limit is from 1 to 1000.');
  if (query.has('sort')) refuseAtFirst(counts, node);
  if (node.failAt !== undefined && offset >= node.failAt && !counts.has(`${path} failed`)) {
    counts.set(`${path} failed`, 1);
    throw new Refusal(500, 'The rest of the folder cannot be read.');
  }
  const byName = (a, b) => (a.name < b.name ? -1 : 1);
  const order = query.get('sort') === 'mtime' ? (a, b) => b.mtime - a.mtime || byName(a, b) : byName;
  const kinds = (entry) => (entry.kind === 'folder' ? 0 : 1);
  const grown = node.grows && offset > 0 ? [{...node.entries[0], name: 'a new one.jpg'}] : [];
  const all = [...node.entries, ...grown].sort((a, b) => kinds(a) - kinds(b) || order(a, b));
  const here = `${encodePath(names)}/`;
  return {
    share: names[0],
    path: names.slice(1).join('/'),
    href: `/album/${here}`,
    ...(names.length > 1 && {parent: `/album/${encodePath(names.slice(0, -1))}/`}),
    total: all.length,
    offset,
    entries: all.slice(offset, offset + limit).map(({name, kind, size, mtime, width, height}) => ({
      name, kind, size, mtime, width, height,
      href: `${kind === 'folder' ? '/album/' : '/thumb/'}${here}${encodeURIComponent(name)}${kind === 'folder' ? '/' : ''}`,
    })),
  };
}

function checkParameters(query) {
  const names = [...query.keys()];
  if (names.some((name) => !PARAMETERS.includes(name)) || new Set(names).size !== names.length ||
      names.filter((name) => ['size', 'box', 'side'].includes(name)).length !== 1 ||
      (query.has('size') && !(query.get('size') in SIDES)) || !/^-?\d+$/.test(query.get('rotate') ?? '0')) {
    throw new Refusal(400, 'The parameters cannot be understood.');
  }
}

async function makeThumbnail(counts, path, query) {
  checkParameters(query);
  const {node} = resolve(path);
  if (node.entries) throw new Refusal(404, 'There is no such file or folder.');
  refuseAtFirst(counts, node);
  if (node.slow) await new Promise((done) => setTimeout(done, 1500));
  if (node.problem || (node.kind === 'video' && !node.screenshot)) throw new Refusal(415, UNREADABLE);
  if (node.garbage) return {type: 'image/jpeg', body: 'this is not a picture'};
  if (query.get('gif') === '1' && node.name.endsWith('.gif')) return {type: 'image/gif', body: MOVING_GIF};
  const {width = 1600, height = 1000} = node;
  const scale = Math.min(1, SIDES[query.get('size')] / Math.max(width, height));
  const turns = ((Number(query.get('rotate') ?? 0) % 4) + 4) % 4;
  const size = [Math.round(width * scale), Math.round(height * scale)];
  if (turns % 2) size.reverse();
  return {type: 'image/svg+xml', body: drawLandscape(node.name, ...size, turns)};
}

async function readAsset(path) {
  const file = normalize(path === '/' ? '/index.html' : path);
  try {
    return {type: TYPES[extname(file)] ?? 'application/octet-stream', body: await readFile(join(WEB, file))};
  } catch {
    throw new Refusal(404, 'There is no such page.');
  }
}

async function answer(counts, {pathname, searchParams}) {
  if (pathname.startsWith('/album/')) {
    return {type: 'application/json', body: JSON.stringify(listFolder(counts, pathname.slice(6), searchParams))};
  }
  if (pathname.startsWith('/thumb/')) return makeThumbnail(counts, pathname.slice(6), searchParams);
  if (pathname === '/health') return {type: 'application/json', body: '{"status": "ok"}'};
  return readAsset(pathname);
}

export async function startMockServer(port = 0) {
  const counts = new Map();
  const server = createServer(async (request, response) => {
    try {
      const {type, body} = await answer(counts, new URL(request.url, 'http://localhost'));
      response.writeHead(200, {'Content-Type': type, 'X-Content-Type-Options': 'nosniff', 'Cache-Control': 'no-cache'});
      response.end(body);
    } catch (refusal) {
      if (!(refusal instanceof Refusal)) throw refusal;
      const document = {type: 'about:blank', title: 'Refused', status: refusal.status, detail: refusal.message};
      response.writeHead(refusal.status, {
        'Content-Type': 'application/problem+json', 'Cache-Control': 'no-store', ...refusal.headers});
      response.end(JSON.stringify(document));
    }
  });
  await new Promise((listening) => server.listen(port, '127.0.0.1', listening));
  return {
    url: `http://127.0.0.1:${server.address().port}`,
    close: () => {
      server.closeAllConnections();
      return new Promise((closed) => server.close(closed));
    },
  };
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const {url} = await startMockServer(Number(process.argv[2] ?? 8090));
  console.log(url);
}
