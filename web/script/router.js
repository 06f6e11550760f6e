// Addresses: #/ lists the shares, #/SHARE/PATH/ shows a folder, #/SHARE/PATH/NAME a photo of it, each
// with ?sort=mtime for newest first. Paths stay percent-encoded from the server's links to the address
// bar and back, because names need not be UTF-8.

const lenient = new TextDecoder('utf-8');

// The name behind an encoded path segment, as it is shown.
export function decodeName(segment) {
  const bytes = [];
  for (let i = 0; i < segment.length; ++i) {
    const hex = segment[i] === '%' ? /^[0-9a-f]{2}/i.exec(segment.slice(i + 1, i + 3)) : null;
    if (hex) {
      bytes.push(parseInt(hex[0], 16));
      i += 2;
    } else {
      const character = String.fromCodePoint(segment.codePointAt(i));
      bytes.push(...new TextEncoder().encode(character));
      i += character.length - 1;
    }
  }
  return lenient.decode(Uint8Array.from(bytes));
}

export const lastName = (path) => decodeName(path.split('/').filter(Boolean).at(-1) ?? '');

const leavesTheAlbum = (path) =>
  path.split('/').some((segment) => /^(\.|%2e){1,2}$/i.test(segment)) || path.includes('\\');

// {folder, photo, sort}: folder ends with a slash; photo is the whole path, or null.
export function parseRoute(hash) {
  const [path, query = ''] = hash.replace(/^#/, '').split('?', 2);
  const sort = new URLSearchParams(query).get('sort') === 'mtime' ? 'mtime' : 'name';
  if (!path.startsWith('/') || leavesTheAlbum(path)) return {folder: '/', photo: null, sort};
  const cut = path.lastIndexOf('/') + 1;
  if (cut === path.length) return {folder: path, photo: null, sort};
  if (cut === 1) return {folder: `${path}/`, photo: null, sort};
  return {folder: path.slice(0, cut), photo: path, sort};
}

export const formatRoute = (path, sort) => `#${path}${sort === 'mtime' ? '?sort=mtime' : ''}`;

// The folders from the share down to this one, with the names to show.
export function trailOf(folder) {
  const segments = folder.split('/').filter(Boolean);
  return segments.map((segment, i) => ({
    name: decodeName(segment),
    path: `/${segments.slice(0, i + 1).join('/')}/`,
  }));
}

// The place of an entry in the album, from the server's link to its folder or thumbnail.
export const pathOf = (entry) => entry.href.replace(/^\/(album|thumb)(?=\/)/, '');
