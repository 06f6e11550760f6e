// What only a real server can show: pictures whose pixels are where they belong.

import assert from 'node:assert/strict';
import {test} from 'node:test';

import {picturesSettled, tile, useAlbum, viewed} from './harness.mjs';

const album = useAlbum();
const FOLDER = '#/holiday/upright/';
const PICTURE = 'red green blue yellow';
const PREVIEW = 'cyan magenta white black';

// The colours in the middle of the four quadrants of what an <img> shows, in reading order.
const corners = (image) => image.evaluate((element) => {
  const SIDE = 4;
  const canvas = Object.assign(document.createElement('canvas'), {width: SIDE, height: SIDE});
  const context = canvas.getContext('2d', {willReadFrequently: true});
  context.drawImage(element, 0, 0, SIDE, SIDE);
  const names = {'111': 'white', '000': 'black', '100': 'red', '010': 'green', '001': 'blue', '110': 'yellow', '011': 'cyan', '101': 'magenta'};
  return [[0, 0], [3, 0], [0, 3], [3, 3]].map(([x, y]) => {
    const pixel = context.getImageData(x, y, 1, 1).data;
    return names[[...pixel.slice(0, 3)].map((channel) => (channel > 127 ? 1 : 0)).join('')];
  }).join(' ');
});

// The same after clockwise quarter turns.
function turned(colours, turns) {
  let [a, b, c, d] = colours.split(' ');
  for (let turn = 0; turn < turns; ++turn) [a, b, c, d] = [c, a, d, b];
  return [a, b, c, d].join(' ');
}

const isAcross = (image) => image.evaluate(({naturalWidth, naturalHeight}) => naturalWidth > naturalHeight);

for (const {screen, width, deviceScaleFactor, preview} of [
  {screen: 'an ordinary screen', width: 1280, deviceScaleFactor: 1, preview: PREVIEW},
  {screen: 'a very fine screen', width: 700, deviceScaleFactor: 3, preview: PICTURE},
]) {
  test(`the grid shows all pictures upright on ${screen}`, async () => {
    const page = await album.open(FOLDER, {viewport: {width, height: 1600}, deviceScaleFactor});
    await picturesSettled(page);
    const entries = await album.list('/holiday/upright/');
    assert.equal(entries.length, 20);
    for (const entry of entries) {
      assert.deepEqual([entry.width, entry.height], [1600, 1200], entry.name);
      const image = tile(page, entry.name).locator('img');
      assert.equal(await corners(image), entry.name.startsWith('preview') ? preview : PICTURE, entry.name);
      assert.ok(await isAcross(image), entry.name);
    }
  });
}

const shown = (page, href) => page.locator('[data-state="ready"] .view__picture').locator(`img[src$=${JSON.stringify(href)}]`);

test('the full view shows all pictures upright', async () => {
  const entries = await album.list('/holiday/upright/');
  const page = await album.open(`${FOLDER}${entries[0].name}`);
  for (const {name, href} of entries) {
    const image = shown(page, `${href}?size=large`);
    await image.waitFor();
    assert.equal(await corners(image), PICTURE, name);
    assert.ok(await isAcross(image), name);
    await page.keyboard.press('ArrowRight');
  }
});

for (const name of ['photo-1.jpg', 'photo-2.jpg', 'photo-5.jpg', 'photo-6.jpg', 'plain.png', 'turned.png', 'phone.heic']) {
  test(`the full view turns ${name} clockwise`, async () => {
    const page = await album.open(`${FOLDER}${name}`);
    await viewed(page).waitFor();
    for (const turns of [1, 2, 3]) {
      await page.keyboard.press('r');
      const image = shown(page, `rotate=${turns}`);
      await image.waitFor();
      assert.equal(await corners(image), turned(PICTURE, turns), `rotate=${turns}`);
      assert.equal(await isAcross(image), turns === 2);
    }
  });
}

test('an original that says how it was held is shown upright by the browser', async () => {
  const page = await album.open();
  for (const orientation of [2, 5, 6]) {
    await page.goto(`${album.url}/thumb/holiday/upright/photo-${orientation}.jpg?size=original`);
    assert.equal(await corners(page.locator('img')), PICTURE, String(orientation));
  }
});

test('each tile shows its own file', async () => {
  const page = await album.open('#/holiday/2024/', {viewport: {width: 1280, height: 3000}});
  await picturesSettled(page);
  for (const {name, href, width, height} of (await album.list('/holiday/2024/')).filter((entry) => entry.width)) {
    const image = page.locator(`.tile__image[src^=${JSON.stringify(`${href}?`)}]`);
    const ratio = await image.evaluate(({naturalWidth, naturalHeight}) => naturalWidth / naturalHeight);
    assert.ok(Math.abs(ratio - width / height) < 0.03, name);
  }
});
