// The sample album as ./run shows it. SCREENSHOTS names the folder that README's pictures go to.

import assert from 'node:assert/strict';
import {stat} from 'node:fs/promises';
import {test} from 'node:test';

import {picturesSettled, screenshot, tile, useAlbum, viewed} from './harness.mjs';

const album = useAlbum();
const FOLDER = '#/photos/';
const LARGEST_SCREENSHOT = 150_000;

// Folders show one of their own pictures, after everything else.
const coversSettled = (page, count) =>
    page.waitForFunction((wanted) => document.querySelectorAll('.tile--folder .tile__image[data-state="ready"]').length === wanted, count);

async function keepScreenshot(page, name) {
  await page.mouse.move(0, 0);
  const path = await screenshot(page, name);
  if (path) assert.ok((await stat(path)).size <= LARGEST_SCREENSHOT, `${path} is too large`);
}

for (const colorScheme of ['light', 'dark']) {
  test(`everything but the text file is a picture in the ${colorScheme} grid`, async () => {
    const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}, colorScheme});
    await picturesSettled(page);
    await coversSettled(page, 2);
    const images = page.locator('.tile[data-kind="image"] .tile__image');
    for (const image of await images.all()) {
      const {alt, state} = await image.evaluate((element) => ({alt: element.alt, state: element.dataset.state}));
      assert.equal(state, alt === 'notes.jpg' ? 'failed' : 'ready', alt);
    }
    await tile(page, 'notes.jpg').getByText('No thumbnail can be made of this file').waitFor();
    await page.setViewportSize({width: 1280, height: 860});
    await keepScreenshot(page, `album-${colorScheme}`);
  });
}

test('the full view shows a photo', async () => {
  const page = await album.open(`${FOLDER}First%20light.jpg`, {viewport: {width: 1280, height: 860}});
  await viewed(page).waitFor();
  await page.locator('#view-count').getByText('3 of 21').waitFor();
  await keepScreenshot(page, 'album-viewer');
});
