// Rows of pictures that all fill the width: breaks are chosen so that all rows together come as close
// to the wanted height as they can.

// Returns one {x, y, width, height} for each ratio, and the height of all. A last row that need not be
// full keeps the wanted height.
export function justify(ratios, {width, rowHeight, gap, ragged}) {
  const count = ratios.length;
  const cost = new Float64Array(count + 1).fill(Infinity);
  const from = new Int32Array(count + 1);
  const heights = new Float64Array(count + 1);
  cost[0] = 0;
  for (let end = 1; end <= count; ++end) {
    let sum = 0;
    for (let start = end - 1; start >= 0; --start) {
      sum += ratios[start];
      const exact = (width - gap * (end - 1 - start)) / sum;
      if (exact < rowHeight * 0.5 && start < end - 1) break;
      const height = Math.min(exact, rowHeight * 1.6);
      const short = ragged && end === count && exact > rowHeight;
      // A row that cannot fill the width is the last thing wanted, but a single portrait has no choice.
      const miss = short ? 0 : (height / rowHeight - 1) ** 2 + (exact > height + 0.5 ? 10 : 0);
      if (cost[start] + miss < cost[end]) {
        cost[end] = cost[start] + miss;
        from[end] = start;
        heights[end] = short ? rowHeight : height;
      }
    }
  }
  return place(ratios, rowsOf(from, heights, count), gap);
}

function rowsOf(from, heights, count) {
  const rows = [];
  for (let end = count; end > 0; end = from[end]) rows.push({start: from[end], end, height: heights[end]});
  return rows.reverse();
}

function place(ratios, rows, gap) {
  const boxes = new Array(ratios.length);
  let y = 0;
  for (const {start, end, height} of rows) {
    let x = 0;
    for (let i = start; i < end; ++i) {
      boxes[i] = {x, y, width: ratios[i] * height, height};
      x += boxes[i].width + gap;
    }
    y += height + gap;
  }
  return {boxes, height: y};
}
