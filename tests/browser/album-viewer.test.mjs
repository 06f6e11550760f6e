import assert from 'node:assert/strict';
import {test} from 'node:test';

import {picturesSettled, tile, useAlbum, viewed} from './harness.mjs';

const album = useAlbum();
const FOLDER = '#/holiday/2024/';

const hashOf = (page) => new URL(page.url()).hash;
const focused = (page) => page.evaluate(() => document.activeElement.querySelector('bdi')?.textContent);
const shows = (page, name) => viewed(page).and(page.locator(`[alt^="${name}"]`)).waitFor();
const isClosed = (page) => page.locator('#view').waitFor({state: 'hidden'});

async function openPhoto(name, options) {
  const page = await album.open(FOLDER, options);
  await tile(page, name).click();
  await shows(page, name);
  return page;
}

test('a click opens the large picture with its name, place and facts', async () => {
  const page = await openPhoto('IMG_03.jpg');
  const media = (await album.list('/holiday/2024/')).filter(({kind}) => kind !== 'folder');
  const place = media.findIndex(({name}) => name === 'IMG_03.jpg') + 1;
  const {width, height} = media[place - 1];
  assert.equal(await page.locator('#view-title').textContent(), 'IMG_03.jpg');
  assert.equal(await page.locator('#view-count').textContent(), `${place} of ${media.length}`);
  const facts = await page.locator('#view-details').textContent();
  assert.ok(facts.startsWith(`${width.toLocaleString('en')} × ${height.toLocaleString('en')}`), facts);
  assert.equal(hashOf(page), `${FOLDER}IMG_03.jpg`);
});

test('Escape closes and gives the focus back', async () => {
  const page = await openPhoto('IMG_03.jpg');
  await page.keyboard.press('Escape');
  await isClosed(page);
  assert.equal(await focused(page), 'IMG_03.jpg');
  assert.equal(hashOf(page), FOLDER);
});

test('arrow keys move on and back, and the focus returns to the photo shown last', async () => {
  const page = await openPhoto('IMG_03.jpg');
  await page.keyboard.press('ArrowRight');
  await shows(page, 'IMG_04.jpg');
  await page.keyboard.press('ArrowRight');
  await shows(page, 'IMG_05.jpg');
  await page.keyboard.press('ArrowLeft');
  await shows(page, 'IMG_04.jpg');
  assert.equal(hashOf(page), `${FOLDER}IMG_04.jpg`);
  await page.keyboard.press('Escape');
  await isClosed(page);
  assert.equal(await focused(page), 'IMG_04.jpg');
});

test('Home and End go to the first and the last', async () => {
  const media = (await album.list('/holiday/2024/')).filter(({kind}) => kind !== 'folder');
  const page = await openPhoto('IMG_03.jpg');
  const count = (text) => page.locator('#view-count').getByText(text, {exact: true}).waitFor();
  await page.keyboard.press('End');
  await count(`${media.length} of ${media.length}`);
  assert.equal(await page.getByRole('button', {name: 'Next'}).count(), 0);
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('Home');
  await count(`1 of ${media.length}`);
  assert.equal(await page.getByRole('button', {name: 'Previous'}).count(), 0);
});

test('the buttons move too', async () => {
  const page = await openPhoto('IMG_03.jpg');
  await page.getByRole('button', {name: 'Next'}).click();
  await shows(page, 'IMG_04.jpg');
  await page.getByRole('button', {name: 'Previous'}).click();
  await shows(page, 'IMG_03.jpg');
  await page.getByRole('button', {name: 'Close'}).click();
  await isClosed(page);
});

test('Back closes the full view, however far one has moved in it', async () => {
  const page = await openPhoto('IMG_03.jpg');
  await page.keyboard.press('ArrowRight');
  await shows(page, 'IMG_04.jpg');
  await page.evaluate(() => history.back());
  await isClosed(page);
  assert.equal(hashOf(page), FOLDER);
  // Browsers drop a step that meets a change of the entry it leaves: asked again until it is made.
  await page.waitForFunction(() => {
    if (location.hash.includes('IMG_04')) return true;
    history.forward();
    return false;
  }, null, {polling: 500});
  await shows(page, 'IMG_04.jpg');
});

test('rotating asks the server for quarter turns', async () => {
  const page = await openPhoto('IMG_01.jpg');
  const upright = await viewed(page).evaluate((image) => image.naturalWidth > image.naturalHeight);
  for (const [press, rotate] of [['r', 1], ['r', 2], ['r', 3], ['r', null], ['R', 3]]) {
    await page.keyboard.press(press);
    const query = rotate ? `?size=large&rotate=${rotate}` : '?size=large';
    const image = page.locator(`[data-state="ready"] .view__picture img[src$="IMG_01.jpg${query}"]`);
    await image.waitFor();
    const across = await image.evaluate(({naturalWidth, naturalHeight}) => naturalWidth > naturalHeight);
    assert.equal(across, rotate % 2 ? !upright : upright, `rotate=${rotate}`);
  }
  await page.getByRole('button', {name: 'Rotate right'}).click();
  await page.locator('[data-state="ready"] .view__picture img[src$="IMG_01.jpg?size=large"]').waitFor();
  await page.getByRole('button', {name: 'Rotate left'}).click();
  await page.locator('[data-state="ready"] .view__picture img[src$="rotate=3"]').waitFor();
});

test('the next photo is upright again', async () => {
  const page = await openPhoto('IMG_03.jpg');
  await page.keyboard.press('r');
  await page.locator('[data-state="ready"] img[src$="rotate=1"]').waitFor();
  await page.keyboard.press('ArrowRight');
  await shows(page, 'IMG_04.jpg');
  assert.doesNotMatch(await viewed(page).getAttribute('src'), /rotate/);
});

async function swipe(page, from, to) {
  const session = await page.context().newCDPSession(page);
  const touch = (type, points) => session.send('Input.dispatchTouchEvent', {type, touchPoints: points});
  await touch('touchStart', [from]);
  for (const part of [0.25, 0.5, 0.75, 1]) {
    await touch('touchMove', [{x: from.x + (to.x - from.x) * part, y: from.y + (to.y - from.y) * part}]);
  }
  await touch('touchEnd', []);
}

test('a swipe moves on or back', async () => {
  const page = await openPhoto('IMG_03.jpg', {viewport: {width: 390, height: 844}, isMobile: true, hasTouch: true});
  await swipe(page, {x: 320, y: 400}, {x: 80, y: 410});
  await shows(page, 'IMG_04.jpg');
  await swipe(page, {x: 80, y: 400}, {x: 320, y: 390});
  await shows(page, 'IMG_03.jpg');
  await swipe(page, {x: 200, y: 400}, {x: 225, y: 400});
  assert.equal(await page.locator('#view-title').textContent(), 'IMG_03.jpg');
  assert.equal(await page.locator('#view-picture').evaluate((frame) => frame.style.transform), '');
});

test('an animated GIF plays and can be stopped', async () => {
  const page = await album.open(`${FOLDER}dance.gif`);
  const asked = (url) => page.waitForFunction((end) => document.querySelector('[data-state="ready"] .view__picture img')?.src.endsWith(end), url);
  await asked('dance.gif?size=large&gif=1');
  const first = await viewed(page).screenshot();
  while (first.equals(await viewed(page).screenshot())) await page.waitForTimeout(50);
  await page.getByRole('button', {name: 'Play animation', pressed: true}).click();
  await asked('dance.gif?size=large');
});

test('who wants less motion starts a GIF by hand', async () => {
  const page = await album.open(`${FOLDER}dance.gif`, {reducedMotion: 'reduce'});
  await viewed(page).waitFor();
  assert.doesNotMatch(await viewed(page).getAttribute('src'), /gif=1/);
  await page.getByRole('button', {name: 'Play animation', pressed: false}).click();
  await page.locator('[data-state="ready"] img[src$="gif=1"]').waitFor();
});

test('a video shows its screenshot and is not turned', async () => {
  const page = await album.open(`${FOLDER}film.mov`);
  await shows(page, 'film.mov, video');
  assert.equal(await page.getByRole('button', {name: /Rotate/}).count(), 0);
});

for (const {name, reason} of [
  {name: 'clip.mp4', reason: 'There is no preview of this video.'},
  {name: 'broken.jpg', reason: /No thumbnail can be made/},
  {name: 'missing.jpg', reason: /\w+/},
]) {
  test(`the full view says why there is no picture of ${name}`, async () => {
    const page = await album.open(`${FOLDER}${name}`);
    await page.locator('#view-failure').getByText(reason).waitFor();
    await page.keyboard.press('Escape');
    await isClosed(page);
  });
}

test('an address of a photo opens it over its folder', async () => {
  const page = await album.open(`${FOLDER}IMG_20.jpg`);
  await shows(page, 'IMG_20.jpg');
  assert.equal(await page.title(), 'IMG_20.jpg – 2024 – Album');
  await page.keyboard.press('Escape');
  await isClosed(page);
  assert.equal(hashOf(page), FOLDER);
  await page.waitForFunction(() => document.activeElement.querySelector('bdi')?.textContent === 'IMG_20.jpg');
  await page.keyboard.press('Enter');
  await shows(page, 'IMG_20.jpg');
});

test('photos with odd names open', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await picturesSettled(page);
  for (const name of [`<b onclick="x">"bold" & 'quoted'.jpg`, '100% #1?.jpg', 'תמונה.jpg', 'two\nlines.jpg']) {
    await page.locator('.tile__link').and(page.locator(`[title=${JSON.stringify(name).replace('\\n', '\\a ')}]`)).click();
    await viewed(page).waitFor();
    assert.equal(await page.locator('#view-title').textContent(), name);
    await page.keyboard.press('Escape');
    await isClosed(page);
  }
});

test('the original can be opened where a browser shows it', async () => {
  const page = await openPhoto('IMG_03.jpg');
  const link = page.getByRole('link', {name: 'Open the original'});
  assert.match(await link.getAttribute('href'), /^\/thumb\/holiday\/2024\/IMG_03\.jpg\?size=original$/);
  const video = await album.open(`${FOLDER}film.mov`);
  await shows(video, 'film.mov');
  assert.equal(await video.getByRole('link', {name: 'Open the original'}).count(), 0);
});

test('a tiny picture is not blown up', async () => {
  const page = await album.open(`${FOLDER}tiny.png`);
  await viewed(page).waitFor();
  const {width} = await viewed(page).evaluate((image) => image.getBoundingClientRect());
  assert.ok(width <= 96.5, String(width));
});
