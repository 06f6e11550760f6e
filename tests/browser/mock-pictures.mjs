// Pictures for the mock server: drawn landscapes, different for every name, and a GIF that moves.

function randomOf(text) {
  let state = [...text].reduce((sum, character) => Math.imul(sum ^ character.codePointAt(0), 16777619) >>> 0, 2166136261);
  return () => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    return (state >>> 0) / 4294967296;
  };
}

function ridge(random, base, roughness, width, height) {
  const steps = 9;
  const points = Array.from({length: steps + 1}, (_, i) =>
      `${((i / steps) * width).toFixed(1)},${((base - random() * roughness) * height).toFixed(1)}`);
  return `M0,${height} L${points.join(' L')} L${width},${height} Z`;
}

// A landscape of this name, turned clockwise by quarter turns, in a picture of width x height.
export function drawLandscape(name, width, height, turns = 0) {
  const random = randomOf(name);
  const hue = Math.floor(random() * 360);
  const land = (hue + 150 + random() * 60) % 360;
  const [w, h] = turns % 2 ? [height, width] : [width, height];
  const sunX = (0.15 + random() * 0.7) * w;
  const sunY = (0.15 + random() * 0.25) * h;
  const ridges = [0.62, 0.76, 0.92].map((base, i) =>
      `<path d="${ridge(random, base, 0.28 - i * 0.06, w, h)}" fill="hsl(${land} ${28 + i * 6}% ${52 - i * 15}%)"/>`);
  const moves = {1: `translate(${width} 0) rotate(90)`, 2: `translate(${width} ${height}) rotate(180)`,
                 3: `translate(0 ${height}) rotate(270)`};
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${width}" height="${height}" viewBox="0 0 ${width} ${height}">
<defs><linearGradient id="s" x1="0" y1="0" x2="0" y2="1"><stop offset="0" stop-color="hsl(${hue} 55% 52%)"/>
<stop offset=".75" stop-color="hsl(${(hue + 40) % 360} 75% 82%)"/></linearGradient></defs>
<g transform="${moves[turns] ?? ''}"><rect width="${w}" height="${h}" fill="url(#s)"/>
<circle cx="${sunX}" cy="${sunY}" r="${Math.min(w, h) * 0.07}" fill="#fff" fill-opacity=".85"/>${ridges.join('')}</g></svg>`;
}

// Two frames of one colour each, a side of one pixel.
export const MOVING_GIF = Buffer.from(
    '47494638396101000100800000e0503050a0e021ff0b4e45545343415045322e3003010000002' +
    '1f904001e000000' + '2c00000000010001000002024401' + '00' + '21f904001e000000' + '2c0000000001000100000202' + '4c01' + '00' + '3b',
    'hex');
