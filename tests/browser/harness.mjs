// A browser and a server for one test file: the mock, or the one that BASE_URL names.

import assert from 'node:assert/strict';
import {join} from 'node:path';
import {after, afterEach, before} from 'node:test';

import {chromium} from 'playwright-core';

import {startMockServer} from './mock-server.mjs';
import {ROOT} from './programs.mjs';

const FLAGS = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
               '--disable-component-update', '--disable-sync'];

// Chromium itself reports every answer of 400 and more; those are the server's word, not the page's.
const isRefusal = (message) => message.text().startsWith('Failed to load resource');

export function useAlbum({mockOnly = false} = {}) {
  const album = {};
  let server;
  let browser;
  let contexts = [];
  let complaints = [];

  before(async () => {
    if (mockOnly || !process.env.BASE_URL) server = await startMockServer();
    album.url = server?.url ?? process.env.BASE_URL.replace(/\/$/, '');
    browser = await chromium.launch({executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: FLAGS});
  });

  after(async () => {
    await browser?.close();
    await server?.close();
  });

  afterEach(async () => {
    await Promise.all(contexts.map((context) => context.close()));
    const said = complaints;
    contexts = [];
    complaints = [];
    assert.deepEqual(said, [], 'the page reported errors');
  });

  // Opens a page of its own at an address of the album. page.requests lists what it asked the server for.
  // mayComplain: the test itself makes it report errors.
  album.open = async (hash = '', {mayComplain = false, ...options} = {}) => {
    const context = await browser.newContext({viewport: {width: 1280, height: 800}, ...options});
    contexts.push(context);
    const page = await context.newPage();
    // On a busy machine a picture is postponed, and asked for again half a minute later.
    page.setDefaultTimeout(180_000);
    page.requests = [];
    page.on('request', (request) => page.requests.push(request.url().slice(album.url.length)));
    if (!mayComplain) watch(page);
    await page.goto(`${album.url}/${hash}`);
    return page;
  };

  const watch = (page) => {
    page.on('pageerror', (error) => complaints.push(String(error)));
    page.on('console', (message) => {
      if (['error', 'warning'].includes(message.type()) && !isRefusal(message)) complaints.push(message.text());
    });
  };

  album.list = async (path, query = '') => (await (await fetch(`${album.url}/album${path}${query}`)).json()).entries;

  return album;
}

export const thumbsOf = (page) => page.requests.filter((url) => url.startsWith('/thumb/'));

export const tile = (page, name) => page.locator('.tile__link').filter({has: page.locator('bdi').getByText(name, {exact: true})});

export const viewed = (page) => page.locator('.view__stage[data-state="ready"] .view__picture img[src*="size=large"]');

const PICTURES = '.tile[data-kind="image"] .tile__image, .tile[data-kind="video"] .tile__image';

// Waits until every picture of the grid is there or given up.
export async function picturesSettled(page) {
  try {
    await page.waitForFunction((pictures) => {
      const images = [...document.querySelectorAll(pictures)];
      return images.length > 0 && images.every((image) => ['ready', 'failed'].includes(image.dataset.state));
    }, PICTURES);
  } catch (error) {
    const states = await page.locator(PICTURES).evaluateAll((images) => images.map(
        ({alt, currentSrc, dataset}) => `${alt}: ${dataset.state} ${currentSrc}`));
    throw new Error([error.message, `of ${await page.locator('.tile').count()} tiles:`, ...states].join('\n'), {cause: error});
  }
}

// Keeps a picture of the page in the folder that SCREENSHOTS names, if any, and returns its path.
export async function screenshot(page, name) {
  if (!process.env.SCREENSHOTS) return null;
  const path = join(ROOT, process.env.SCREENSHOTS, `${name}.jpg`);
  await page.screenshot({path, type: 'jpeg', quality: 82, animations: 'disabled'});
  return path;
}
