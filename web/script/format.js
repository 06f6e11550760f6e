// Numbers and dates as they are read.

const LOCALE = 'en';
const number = new Intl.NumberFormat(LOCALE);
const date = new Intl.DateTimeFormat(LOCALE, {dateStyle: 'medium', timeStyle: 'short'});

export const formatNumber = (value) => number.format(value);

export const formatCount = (count, noun = 'item') => `${number.format(count)} ${noun}${count === 1 ? '' : 's'}`;

export const formatDate = (seconds) => date.format(new Date(seconds * 1000));

export function formatBytes(bytes) {
  const units = ['byte', 'kilobyte', 'megabyte', 'gigabyte', 'terabyte'];
  let unit = 0;
  let value = bytes;
  while (value >= 1000 && unit < units.length - 1) {
    value /= 1000;
    ++unit;
  }
  return new Intl.NumberFormat(LOCALE, {
    style: 'unit',
    unit: units[unit],
    unitDisplay: unit === 0 ? 'long' : 'short',
    maximumFractionDigits: value < 10 && unit > 0 ? 1 : 0,
  }).format(value);
}
