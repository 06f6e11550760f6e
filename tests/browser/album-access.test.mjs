import assert from 'node:assert/strict';
import {test} from 'node:test';

import {picturesSettled, tile, useAlbum, viewed} from './harness.mjs';

const album = useAlbum();
const FOLDER = '#/holiday/2024/';

const background = (page) => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
const lightness = (color) => Math.max(...color.match(/\d+/g).slice(0, 3).map(Number));
const focusedName = (page) => page.evaluate(() => document.activeElement.querySelector('bdi')?.textContent);

test('the page reads as landmarks, a heading and a list of links', async () => {
  const page = await album.open('#/holiday/2024/beach/');
  await picturesSettled(page);
  const tree = await page.locator('body').ariaSnapshot();
  for (const line of ['banner:', 'link "Album, all shares"', 'navigation "Folders above":', 'button "Dark theme"', 'main:',
                      'heading "beach" [level=1]', 'navigation "Sort by":', 'list "Folders and photos":', 'link "beach-01.jpg"',
                      'status: 9 items']) {
    assert.ok(tree.includes(line), `${line} in\n${tree}`);
  }
});

test('each place of the list tells which of how many it is', async () => {
  const page = await album.open('#/holiday/2024/beach/');
  await tile(page, 'beach-03.jpg').waitFor();
  const item = page.getByRole('listitem').filter({has: tile(page, 'beach-03.jpg')});
  assert.equal(await item.getAttribute('aria-posinset'), '3');
  assert.equal(await item.getAttribute('aria-setsize'), '9');
});

test('the full view reads as a dialog with a name, a picture and buttons', async () => {
  const page = await album.open(`${FOLDER}IMG_03.jpg`);
  await viewed(page).waitFor();
  const tree = await page.getByRole('dialog', {name: 'IMG_03.jpg'}).ariaSnapshot();
  for (const line of ['img "IMG_03.jpg"', 'button "Rotate left"', 'button "Rotate right"', 'button "Close"', 'button "Previous"',
                      'button "Next"', 'link "Open the original"']) {
    assert.ok(tree.includes(line), `${line} in\n${tree}`);
  }
});

test('tiles without a picture keep their name and kind', async () => {
  const page = await album.open(FOLDER, {viewport: {width: 1280, height: 3000}});
  await picturesSettled(page);
  for (const name of [/broken\.jpg/, /clip\.mp4, video/, 'film.mov, video', 'IMG_01.jpg']) {
    assert.equal(await page.getByRole('link', {name}).count(), 1, String(name));
  }
});

test('the keyboard alone reaches everything', async () => {
  const page = await album.open('#/holiday/2024/mountains/');
  await picturesSettled(page);
  await page.keyboard.press('Tab');
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Skip to the photos');
  await page.keyboard.press('Enter');
  assert.equal(await focusedName(page), 'peak-01.jpg');
  await page.keyboard.press('ArrowRight');
  assert.equal(await focusedName(page), 'peak-02.jpg');
  const above = await tile(page, 'peak-02.jpg').boundingBox();
  await page.keyboard.press('ArrowDown');
  const below = await tile(page, await focusedName(page)).boundingBox();
  assert.ok(below.y >= above.y + above.height);
  assert.ok(below.x < above.x + above.width && below.x + below.width > above.x);
  await page.keyboard.press('End');
  assert.equal(await focusedName(page), 'peak-14.jpg');
  await page.keyboard.press('Home');
  assert.equal(await focusedName(page), 'peak-01.jpg');
  await page.keyboard.press('Shift+Tab');
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Newest');
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await viewed(page).waitFor();
});

test('the focus is seen', async () => {
  const page = await album.open('#/holiday/2024/beach/');
  await tile(page, 'beach-01.jpg').waitFor();
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  const outline = await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle);
  assert.equal(outline, 'solid');
});

for (const {colorScheme, isDark} of [{colorScheme: 'light', isDark: false}, {colorScheme: 'dark', isDark: true}]) {
  test(`the page is ${colorScheme} when the system is, until the visitor chooses otherwise`, async () => {
    const page = await album.open(FOLDER, {colorScheme});
    await picturesSettled(page);
    assert.equal(lightness(await background(page)) < 128, isDark);
    await page.getByRole('button', {name: 'Dark theme', pressed: isDark}).click();
    assert.equal(lightness(await background(page)) < 128, !isDark);
    await page.reload();
    assert.equal(lightness(await background(page)) < 128, !isDark);
    assert.equal(await page.getByRole('button', {name: 'Dark theme', pressed: !isDark}).count(), 1);
  });
}

for (const {reducedMotion, moves} of [{reducedMotion: 'no-preference', moves: true}, {reducedMotion: 'reduce', moves: false}]) {
  test(`with motion preference ${reducedMotion} the page ${moves ? 'moves' : 'keeps still'}`, async () => {
    const page = await album.open(`${FOLDER}IMG_01.jpg`, {reducedMotion});
    await viewed(page).waitFor();
    const animation = await page.locator('#view').evaluate((dialog) => getComputedStyle(dialog).animationName);
    assert.equal(animation !== 'none', moves);
  });
}

for (const [what, attempt] of Object.entries({
  'an inline script': () => {
    const script = document.createElement('script');
    script.append('globalThis.broken = true');
    document.body.append(script);
  },
  'an inline style': () => {
    const style = document.createElement('style');
    style.append('body { display: none }');
    document.body.append(style);
  },
  'a picture from elsewhere': () => {
    new Image().src = 'http://127.0.0.1:1/x.png';
  },
  'markup from a string': () => {
    try {
      document.body.innerHTML = '<img src="x" onerror="globalThis.broken = true">';
    } catch {
      // The browser says so by an exception, too.
    }
  },
})) {
  test(`the page refuses ${what}`, async () => {
    const page = await album.open('', {mayComplain: true});
    await tile(page, 'holiday').waitFor();
    await page.evaluate(() => {
      globalThis.refusals = 0;
      document.addEventListener('securitypolicyviolation', () => ++globalThis.refusals);
    });
    await page.evaluate(attempt);
    await page.waitForFunction(() => globalThis.refusals > 0);
    assert.equal(await page.evaluate(() => globalThis.broken), undefined);
    assert.equal(await tile(page, 'holiday').isVisible(), true);
  });
}

test('nothing is fetched from elsewhere', async () => {
  const page = await album.open('');
  const others = [];
  page.on('request', (request) => request.url().startsWith(album.url) || others.push(request.url()));
  await page.reload();
  await tile(page, 'holiday').waitFor();
  assert.deepEqual(others, []);
});
