// The shares that the mock server has. A real server is given the first of them, as files.

const DAY = 86400;
const START = 1_700_000_000;

const SHAPES = [[2000, 1500], [1500, 2000], [3000, 2000], [2016, 1512], [2500, 1000], [1512, 2016], [2000, 1125], [1500, 1500]];

function image(number, name, extra = {}) {
  const [width, height] = SHAPES[number % SHAPES.length];
  return {name, kind: 'image', size: 1_000_000 + number * 12_345, mtime: START + ((number * 7919) % 400) * DAY, width, height, ...extra};
}

const folder = (name, entries) => ({name, kind: 'folder', mtime: START, entries});

const video = (name, extra = {}) => ({name, kind: 'video', size: 52_428_800, mtime: START + 5 * DAY, ...extra});

const numbered = (count, prefix, digits) =>
    Array.from({length: count}, (_, i) => image(i, `${prefix}${String(i + 1).padStart(digits, '0')}.jpg`));

// The same shapes in so few pixels that thousands of files are soon made.
const many = (count) => numbered(count, 'DSC', 5).map((entry) => ({
  ...entry, width: Math.round(entry.width / 50), height: Math.round(entry.height / 50)}));

export const UNREADABLE = 'No thumbnail can be made of this file: its content is no picture of a known type.';

// Pictures whose quadrants a test recognises; every camera's way of holding it, and other ways to come
// by a picture.
const ORIENTATIONS = [1, 2, 3, 4, 5, 6, 7, 8];
const quadrants = (name, extra) => image(0, name, {width: 1600, height: 1200, ...extra});

const upright = folder('upright', [
  ...ORIENTATIONS.map((orientation) => quadrants(`photo-${orientation}.jpg`, {orientation})),
  ...ORIENTATIONS.map((orientation) => quadrants(`preview-${orientation}.jpg`, {orientation, preview: [400, 300]})),
  quadrants('plain.png'),
  quadrants('turned.png', {orientation: 6}),
  quadrants('phone.heic', {orientation: 6}),
  quadrants('mirrored.heic', {orientation: 5}),
]);

export const holiday = folder('holiday', [
  folder('2024', [
    folder('beach', numbered(9, 'beach-', 2)),
    folder('empty', []),
    folder('mountains', numbered(14, 'peak-', 2)),
    ...numbered(24, 'IMG_', 2),
    image(30, 'dance.gif', {width: 480, height: 360}),
    image(31, 'tiny.png', {width: 48, height: 32}),
    video('clip.mp4', {screenshot: false}),
    video('film.mov', {screenshot: true}),
    image(0, 'broken.jpg', {problem: 415, width: undefined, height: undefined}),
    image(33, `<b onclick="x">"bold" & 'quoted'.jpg`),
    image(34, '100% #1?.jpg'),
    image(35, 'תמונה.jpg'),
    image(36, 'two\nlines.jpg'),
    image(37, 'unknown size.jpg', {width: undefined, height: undefined}),
  ]),
  folder('family', numbered(6, 'family-', 2)),
  folder('garden', numbered(31, 'garden-', 3)),
  folder('many', many(10_000)),
  upright,
]);

const faults = folder('faults', [
  folder('pictures', [
    image(1, 'busy.jpg', {busyTimes: 2}),
    image(2, 'never.jpg', {busyTimes: Infinity}),
    image(3, 'garbage.jpg', {garbage: true}),
    image(4, 'slow.jpg', {slow: true}),
    image(5, 'fine.jpg'),
  ]),
  {...folder('busy', numbered(3, 'b', 1)), busyTimes: 1},
  {...folder('failing', numbered(3, 'f', 1)), failTimes: 1},
  {...folder('half', numbered(600, 'h', 3)), failAt: 400},
  {...folder('growing', numbered(500, 'g', 3)), grows: true},
]);

export const shares = [holiday, faults];
