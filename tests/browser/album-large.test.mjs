import assert from 'node:assert/strict';
import {test} from 'node:test';

import {picturesSettled, thumbsOf, tile, useAlbum, viewed} from './harness.mjs';

const album = useAlbum();
const FOLDER = '#/holiday/many/';
const MOST_TILES = 90;

const tileCount = (page) => page.locator('.tile').count();
const listings = (page) => page.requests.filter((url) => url.startsWith('/album/holiday/many/'));
const documentHeight = (page) => page.evaluate(() => document.documentElement.scrollHeight);

async function openFolder() {
  const page = await album.open(FOLDER);
  await tile(page, 'DSC00001.jpg').waitFor();
  await page.locator('#count').getByText('10,000 items').waitFor();
  return page;
}

test('only what is near the viewport exists, wherever one is', async () => {
  const page = await openFolder();
  const height = await documentHeight(page);
  assert.ok(height > 200_000, String(height));
  for (const part of [0, 0.3, 0.5, 0.9, 1]) {
    await page.evaluate((y) => scrollTo(0, y), part * height);
    await picturesSettled(page);
    const count = await tileCount(page);
    assert.ok(count > 5 && count < MOST_TILES, `${count} tiles at ${part}`);
  }
  assert.ok(await page.locator('*').count() < 1200);
});

test('the end is one key away and fetches only what is there', async () => {
  const page = await openFolder();
  await page.keyboard.press('End');
  await tile(page, 'DSC10000.jpg').locator('img[data-state="ready"]').waitFor();
  assert.ok(listings(page).length <= 4, listings(page).join('\n'));
  assert.ok(thumbsOf(page).length < 3 * MOST_TILES);
  const {y, height} = await tile(page, 'DSC10000.jpg').boundingBox();
  assert.ok(y + height <= 800);
});

test('scrolling on fetches the listing page by page', async () => {
  const page = await openFolder();
  assert.equal(listings(page).length, 1);
  for (let y = 0; y < 16_000; y += 700) {
    await page.evaluate((to) => scrollTo(0, to), y);
    await picturesSettled(page);
  }
  const offsets = listings(page).map((url) => Number(new URLSearchParams(url.split('?')[1]).get('offset')));
  assert.ok(offsets.length > 1);
  assert.deepEqual(offsets, offsets.map((_, i) => i * 200));
});

test('what is seen does not move when what lies above it arrives', async () => {
  const page = await openFolder();
  await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight / 2));
  await page.waitForFunction(() => document.querySelector('.tile[data-kind]')?.ariaPosInSet > 1000);
  await picturesSettled(page);
  let release;
  await page.route('**/album/**', (route) => (release = () => route.continue()));
  await page.evaluate(async () => {
    while (!document.querySelector('.tile--blank')) {
      scrollBy(0, -300);
      await new Promise((drawn) => requestAnimationFrame(() => requestAnimationFrame(drawn)));
    }
  });
  await picturesSettled(page);
  while (!release) await page.waitForTimeout(20);
  const seen = await page.evaluate(() => {
    const tiles = [...document.querySelectorAll('.tile[data-kind]')];
    return tiles.find((tile) => tile.getBoundingClientRect().top > 100).querySelector('bdi').textContent;
  });
  const height = await documentHeight(page);
  const before = await tile(page, seen).boundingBox();
  release();
  await page.waitForFunction((old) => document.documentElement.scrollHeight !== old, height);
  const after = await tile(page, seen).boundingBox();
  assert.ok(Math.abs(after.y - before.y) < 2, `${seen} went from ${before.y} to ${after.y}`);
});

test('a fast scroll asks for no picture that is passed by', async () => {
  const page = await openFolder();
  await picturesSettled(page);
  const height = await documentHeight(page);
  const before = thumbsOf(page).length;
  await page.evaluate(async (bottom) => {
    for (let part = 1; part <= 20; ++part) {
      scrollTo(0, (bottom * part) / 20);
      await new Promise(requestAnimationFrame);
    }
  }, height);
  await tile(page, 'DSC10000.jpg').locator('img[data-state="ready"]').waitFor();
  assert.ok(thumbsOf(page).length - before < 2 * MOST_TILES);
});

test('End and Home take the focus to the last and the first photo', async () => {
  const page = await openFolder();
  await tile(page, 'DSC00001.jpg').focus();
  const hasFocus = (name) => page.waitForFunction(
      (wanted) => document.activeElement.querySelector('bdi')?.textContent === wanted, name);
  await page.keyboard.press('End');
  await hasFocus('DSC10000.jpg');
  assert.equal(await tile(page, 'DSC00001.jpg').count(), 0);
  await page.keyboard.press('Home');
  await hasFocus('DSC00001.jpg');
  assert.ok(await tileCount(page) < MOST_TILES);
});

test('the focus is not lost when its tile is scrolled away', async () => {
  const page = await openFolder();
  await tile(page, 'DSC00003.jpg').focus();
  await page.mouse.wheel(0, 20_000);
  await page.waitForFunction(() => scrollY > 10_000);
  await picturesSettled(page);
  assert.equal(await page.evaluate(() => document.activeElement.querySelector('bdi')?.textContent), 'DSC00003.jpg');
});

test('a photo in the middle opens by its address and leads to its place in the folder', async () => {
  const page = await album.open(`${FOLDER}DSC05432.jpg`);
  await page.locator('#view-count').getByText('5,432 of 10,000').waitFor();
  await viewed(page).waitFor();
  await page.keyboard.press('ArrowLeft');
  await page.locator('#view-count').getByText('5,431 of 10,000').waitFor();
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => document.activeElement.querySelector('bdi')?.textContent === 'DSC05431.jpg');
  const {y, height} = await tile(page, 'DSC05431.jpg').boundingBox();
  assert.ok(y >= 0 && y + height <= 800);
});

test('the full view moves across the pages of the listing', async () => {
  const page = await album.open(`${FOLDER}DSC00200.jpg`);
  await page.locator('#view-count').getByText('200 of 10,000').waitFor();
  await page.keyboard.press('ArrowRight');
  await page.locator('#view-count').getByText('201 of 10,000').waitFor();
});

test('a narrower window keeps the same photo in sight', async () => {
  const page = await openFolder();
  await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight / 3));
  await picturesSettled(page);
  await page.waitForFunction(() => history.state?.anchor);
  const {index} = await page.evaluate(() => history.state.anchor);
  await page.setViewportSize({width: 700, height: 800});
  await picturesSettled(page);
  const name = `DSC${String(index + 1).padStart(5, '0')}.jpg`;
  assert.ok((await tile(page, name).boundingBox()).y < 300);
});
