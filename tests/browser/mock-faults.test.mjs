import assert from 'node:assert/strict';
import {test} from 'node:test';

import {thumbsOf, tile, useAlbum, viewed} from './harness.mjs';

const album = useAlbum({mockOnly: true});
const PICTURES = '#/faults/pictures/';

const count = (page, name) => thumbsOf(page).filter((url) => url.includes(name)).length;

test('a picture that the server is too busy for comes when it can', async () => {
  const page = await album.open(PICTURES);
  await tile(page, 'busy.jpg').locator('img[data-state="ready"]').waitFor();
});

test('a server that stays busy is not asked for ever, and the tile says so', async () => {
  const page = await album.open(PICTURES);
  await tile(page, 'never.jpg').getByText('Too many pictures are being made at the moment.').waitFor();
  const asked = count(page, 'never.jpg');
  assert.ok(asked > 2 && asked <= 10, String(asked));
});

test('the full view waits for a busy server, too', async () => {
  const page = await album.open(`${PICTURES}busy.jpg`);
  await viewed(page).waitFor();
});

test('an answer that is no picture is told', async () => {
  const page = await album.open(PICTURES);
  await tile(page, 'garbage.jpg').getByText('This picture cannot be shown by the browser.').waitFor();
});

test('a slow picture does not hold up the others', async () => {
  const page = await album.open(PICTURES);
  await tile(page, 'fine.jpg').locator('img[data-state="ready"]').waitFor();
  assert.equal(await tile(page, 'slow.jpg').locator('img').getAttribute('data-state'), 'loading');
  await tile(page, 'slow.jpg').locator('img[data-state="ready"]').waitFor();
});

test('what is seen stays until the slow picture that follows is complete', async () => {
  const page = await album.open(`${PICTURES}never.jpg`);
  await page.locator('#view-failure').getByText('Too many pictures').waitFor();
  await page.keyboard.press('ArrowRight');
  await page.locator('#view-title').getByText('slow.jpg').waitFor();
  assert.equal(await page.locator('#view-failure').textContent(), '');
  await viewed(page).waitFor();
  await page.keyboard.press('r');
  await page.locator('.view__stage[data-state="loading"] img[src$="slow.jpg?size=large"]').waitFor();
  await page.locator('.view__stage[data-state="ready"] img[src$="rotate=1"]').waitFor();
});

test('a folder that the server is too busy for comes when it can', async () => {
  const page = await album.open('#/faults/busy/');
  await tile(page, 'b1.jpg').waitFor();
});

test('a folder that cannot be shown says why and can be tried again', async () => {
  const page = await album.open('#/faults/failing/');
  await page.getByRole('heading', {name: 'This folder cannot be shown'}).waitFor();
  await page.getByText('The folder cannot be read.', {exact: true}).waitFor();
  await page.getByRole('button', {name: 'Try again'}).click();
  await tile(page, 'f1.jpg').waitFor();
  assert.equal(await page.locator('#notice').isVisible(), false);
});

test('a part of a folder that cannot be fetched says so in its place', async () => {
  const page = await album.open('#/faults/half/');
  await tile(page, 'h001.jpg').waitFor();
  await page.keyboard.press('End');
  await page.getByText('The rest of the folder cannot be read.').waitFor();
  await page.getByRole('button', {name: 'Try again'}).click();
  await tile(page, 'h401.jpg').waitFor();
  assert.equal(await page.getByRole('button', {name: 'Try again'}).count(), 0);
});

test('a folder that grows while it is looked at is shown as it is then', async () => {
  const page = await album.open('#/faults/growing/');
  await page.getByText('500 items', {exact: true}).first().waitFor();
  await page.keyboard.press('End');
  await page.locator('#count').getByText('501 items').waitFor();
  await tile(page, 'g500.jpg').waitFor();
});

test('a server that cannot be reached is told', async () => {
  const page = await album.open('#/holiday/');
  await tile(page, 'garden').waitFor();
  await page.route('**/album/**', (route) => route.abort());
  await tile(page, '2024').click();
  await page.getByText('The server cannot be reached.', {exact: true}).first().waitFor();
  await page.unroute('**/album/**');
  await page.getByRole('button', {name: 'Try again'}).click();
  await tile(page, 'beach').waitFor();
});
