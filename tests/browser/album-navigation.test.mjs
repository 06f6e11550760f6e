import assert from 'node:assert/strict';
import {test} from 'node:test';

import {tile, useAlbum} from './harness.mjs';

const album = useAlbum();

const heading = (page, name) => page.getByRole('heading', {level: 1, name, exact: true}).waitFor();

test('folders lead down and the trail leads up', async () => {
  const page = await album.open();
  await tile(page, 'holiday').click();
  await heading(page, 'holiday');
  await tile(page, '2024').click();
  await heading(page, '2024');
  await tile(page, 'beach').click();
  await heading(page, 'beach');
  const trail = page.getByRole('navigation', {name: 'Folders above'}).getByRole('link');
  assert.deepEqual(await trail.allTextContents(), ['holiday', '2024', 'beach']);
  assert.equal(await trail.last().getAttribute('aria-current'), 'page');
  await trail.nth(1).click();
  await heading(page, '2024');
  await page.getByRole('link', {name: 'Album, all shares'}).click();
  await heading(page, 'Shares');
});

test('the title names the folder', async () => {
  const page = await album.open('#/holiday/2024/beach/');
  await heading(page, 'beach');
  assert.equal(await page.title(), 'beach – Album');
  await page.goto(`${album.url}/#/`);
  await heading(page, 'Shares');
  assert.equal(await page.title(), 'Album');
});

test('Back and Forward come to the folders where one was in them', async () => {
  const page = await album.open('#/holiday/2024/');
  const photo = tile(page, 'IMG_12.jpg');
  await photo.waitFor({state: 'attached'});
  await photo.scrollIntoViewIfNeeded();
  await page.evaluate(() => scrollBy(0, 200));
  await page.waitForFunction(() => history.state?.anchor);
  const before = (await photo.boundingBox()).y;
  await page.getByRole('navigation', {name: 'Folders above'}).getByRole('link', {name: 'holiday'}).click();
  await tile(page, 'garden').waitFor();
  assert.equal(await page.evaluate(() => scrollY), 0);
  await page.evaluate(() => history.back());
  await heading(page, '2024');
  await photo.waitFor();
  await page.waitForFunction(() => document.querySelector('#grid:not([aria-busy])'));
  assert.ok(Math.abs((await photo.boundingBox()).y - before) < 2);
  await page.evaluate(() => history.forward());
  await heading(page, 'holiday');
});

test('the sort order goes along into folders', async () => {
  const page = await album.open('#/holiday/2024/?sort=mtime');
  await tile(page, 'beach').click();
  await heading(page, 'beach');
  assert.equal(new URL(page.url()).hash, '#/holiday/2024/beach/?sort=mtime');
  await page.evaluate(() => history.back());
  await page.getByRole('link', {name: 'Name', exact: true}).click();
  await page.waitForURL(/#\/holiday\/2024\/$/);
  await page.evaluate(() => history.back());
  await page.waitForURL(/sort=mtime$/);
});

test('a folder that is not there says so and leads home', async () => {
  const page = await album.open('#/holiday/nowhere/');
  await page.getByRole('heading', {name: 'This folder is not there'}).waitFor();
  await page.getByRole('link', {name: 'All shares', exact: true}).click();
  await heading(page, 'Shares');
  await tile(page, 'holiday').waitFor();
});

for (const hash of ['#/../etc/', '#/holiday/%2e%2E/x.jpg', '#holiday', '#/holiday\\..\\x/']) {
  test(`an address that leaves the album leads home: ${hash}`, async () => {
    const page = await album.open(hash);
    await heading(page, 'Shares');
    await tile(page, 'holiday').waitFor();
  });
}

test('the focus goes to the heading of a folder that was entered', async () => {
  const page = await album.open('#/holiday/');
  await tile(page, 'garden').focus();
  await page.keyboard.press('Enter');
  await heading(page, 'garden');
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'garden');
});
