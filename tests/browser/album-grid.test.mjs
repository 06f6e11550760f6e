import assert from 'node:assert/strict';
import {test} from 'node:test';

import {picturesSettled, thumbsOf, tile, useAlbum} from './harness.mjs';

const album = useAlbum();
const FOLDER = '#/holiday/2024/';

const boxesOf = (page) => page.locator('.tile').evaluateAll((tiles) => tiles.map((element) => {
  const {left, right, top, width, height} = element.getBoundingClientRect();
  return {left, right, top, width, height, kind: element.dataset.kind, name: element.querySelector('bdi')?.textContent};
}));

test('the first page lists the shares', async () => {
  const page = await album.open();
  await tile(page, 'holiday').waitFor();
  assert.equal(await page.locator('h1').textContent(), 'Shares');
});

test('a folder shows its folders, photos and videos in the order of the listing', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await picturesSettled(page);
  const listed = (await album.list('/holiday/2024/')).map((entry) => entry.name);
  assert.deepEqual(await page.locator('.tile bdi').allTextContents(), listed);
  assert.equal(await page.locator('#count').textContent(), `${listed.length} items`);
});

test('a folder shows one of its own photos', async () => {
  const page = await album.open(FOLDER);
  await page.locator('.tile--folder .tile__image[data-state="ready"]').first().waitFor();
  const first = (await album.list('/holiday/2024/beach/'))[0];
  assert.ok(thumbsOf(page).some((url) => url.startsWith(`${first.href}?`)));
});

test('every place has the shape of its photo before the photo is there', async () => {
  const page = await album.open('', {viewport: {width: 1280, height: 3000}});
  await page.route('**/thumb/**', () => {});
  await page.goto(`${album.url}/${FOLDER}`);
  await tile(page, 'IMG_01.jpg').waitFor();
  const boxes = await boxesOf(page);
  for (const {name, width, height} of await album.list('/holiday/2024/')) {
    if (!/^IMG_/.test(name)) continue;
    const box = boxes.find((other) => other.name === name);
    assert.ok(Math.abs(box.width / box.height - width / height) < 0.02, name);
  }
});

test('rows fill the width, all but the last', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1000, height: 3000}});
  await tile(page, 'IMG_01.jpg').waitFor();
  const media = (await boxesOf(page)).filter(({kind}) => kind !== 'folder');
  const rows = [...new Set(media.map(({top}) => Math.round(top)))].map((y) => media.filter(({top}) => Math.round(top) === y));
  const right = await page.locator('.grid').evaluate((grid) => grid.getBoundingClientRect().right);
  const ends = rows.map((row) => Math.max(...row.map((box) => box.right)));
  assert.ok(ends.length > 4);
  for (const end of ends.slice(0, -1)) assert.ok(Math.abs(end - right) < 1, `a row ends at ${end} of ${right}`);
  assert.ok(ends.at(-1) <= right + 1);
});

test('a phone shows the same without scrolling sideways', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 390, height: 844}, deviceScaleFactor: 2, isMobile: true, hasTouch: true});
  await picturesSettled(page);
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390);
});

test('pictures are asked for near the viewport only', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1000, height: 400}});
  await picturesSettled(page);
  const {href} = (await album.list('/holiday/2024/')).filter(({kind}) => kind === 'image').at(-1);
  const asked = () => thumbsOf(page).filter((url) => url.startsWith(href)).length;
  const before = new Set(thumbsOf(page)).size;
  assert.equal(asked(), 0);
  await page.keyboard.press('End');
  await page.waitForFunction(() => scrollY > 500);
  await picturesSettled(page);
  assert.equal(asked(), 1);
  assert.ok(new Set(thumbsOf(page)).size > before);
});

test('a place offers the sizes that its photo has, by their true widths', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await tile(page, 'IMG_02.jpg').waitFor();
  const widths = async (name) => (await tile(page, name).locator('img').getAttribute('srcset')).split(', ')
      .map((candidate) => candidate.replace(/^.*\?size=/, ''));
  assert.deepEqual(await widths('IMG_01.jpg'), ['small 120w', 'medium 360w', 'big 640w', 'large 1280w']);
  assert.deepEqual(await widths('IMG_02.jpg'), ['small 90w', 'medium 270w', 'big 480w', 'large 960w']);
  assert.deepEqual(await widths('tiny.png'), ['small 48w']);
});

for (const {screen, deviceScaleFactor, size} of [
  {screen: 'an ordinary screen', deviceScaleFactor: 1, size: 'medium'},
  {screen: 'a fine screen', deviceScaleFactor: 2, size: 'big'},
]) {
  test(`${screen} is sent ${size} pictures`, async () => {
    const page = await album.open(FOLDER, {deviceScaleFactor});
    await tile(page, 'IMG_01.jpg').locator('img[data-state="ready"]').waitFor();
    const shown = await tile(page, 'IMG_01.jpg').locator('img').evaluate((image) => image.currentSrc);
    assert.match(shown, new RegExp(`size=${size}$`));
  });
}

test('a file that no thumbnail can be made of says why', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  const {detail} = await (await fetch(`${album.url}/thumb/holiday/2024/broken.jpg?size=medium`)).json();
  await tile(page, 'broken.jpg').getByText(detail).waitFor();
});

test('a video without a screenshot is a plain tile, one with a screenshot shows it', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await tile(page, 'clip.mp4').locator('.tile__reason .icon').waitFor();
  assert.equal((await tile(page, 'clip.mp4').locator('.tile__reason').textContent()), '');
  await tile(page, 'film.mov').locator('img[data-state="ready"]').waitFor();
});

test('names are shown as they are, whatever they hold', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await picturesSettled(page);
  for (const name of [`<b onclick="x">"bold" & 'quoted'.jpg`, '100% #1?.jpg', 'תמונה.jpg', 'two\nlines.jpg']) {
    const shown = page.locator('.tile__link', {has: page.locator('img[data-state="ready"]')});
    assert.ok((await shown.locator('bdi').allTextContents()).includes(name), name);
  }
  assert.equal(await page.locator('main b').count(), 0);
});

test('newest first sorts as the listing does and stays in the address', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await page.getByRole('link', {name: 'Newest'}).click();
  const listed = (await album.list('/holiday/2024/', '?sort=mtime')).map((entry) => entry.name);
  await page.waitForFunction((names) => [...document.querySelectorAll('.tile bdi')].map((name) => name.textContent).join('|') === names,
                             listed.join('|'));
  assert.equal(new URL(page.url()).hash, `${FOLDER}?sort=mtime`);
  assert.equal(await page.getByRole('link', {name: 'Newest'}).getAttribute('aria-current'), 'true');
  assert.equal(await page.getByRole('link', {name: 'Name', exact: true}).getAttribute('aria-current'), null);
});

test('an empty folder says so', async () => {
  const page = await album.open('#/holiday/2024/empty/');
  await page.getByRole('heading', {name: 'Nothing here yet'}).waitFor();
  assert.equal(await page.getByRole('button', {name: 'Try again'}).isVisible(), false);
});
