// Follows the address: opens the folder and the photo that it names.

import {Catalog} from './catalog.js';
import {byId} from './dom.js';
import {Grid} from './grid.js';
import {hideNotice, say, showCount, showNotice, showPlace, showTitle} from './heading.js';
import {formatRoute, parseRoute} from './router.js';
import {Viewer} from './viewer.js';

let catalog = null;

const route = () => parseRoute(location.hash);

// Where the visitor was is kept in the history entry, for Back and for reloading. Writing it anew
// without need could make the browser drop a step through the history that has just begun.
function rememberPlace() {
  if (!catalog?.opened || viewer.isOpen) return;
  const anchor = grid.anchor();
  if (JSON.stringify(anchor) === JSON.stringify(history.state?.anchor)) return;
  history.replaceState({...history.state, anchor}, '');
}

const grid = new Grid(byId('grid'), {settled: rememberPlace});

const viewer = new Viewer({
  shownPicture: (of, entry) => (of === catalog ? grid.shownPicture(entry) : null),
  moved: (path) => {
    history.replaceState(history.state, '', formatRoute(path, catalog.sort));
    showTitle(route());
  },
  closed: () => {
    if (history.state?.overGrid) return history.back();
    history.replaceState({}, '', formatRoute(catalog.folder, catalog.sort));
    follow();
  },
});

function describeProblem(problem) {
  if (problem.status === 404) return 'This folder is not there';
  if (problem.status === 503) return 'The server is busy';
  return 'This folder cannot be shown';
}

function openFolder({folder, sort}) {
  catalog?.close();
  // The tile or link that had the focus goes away with the folder that it belonged to.
  if (catalog) byId('title').focus({preventScroll: true});
  const opening = new Catalog(folder, sort);
  catalog = opening;
  showPlace({folder, sort});
  hideNotice();
  byId('grid').setAttribute('aria-busy', 'true');
  grid.show(opening, history.state?.anchor ?? null);
  say('Loading');
  opening.addEventListener('change', () => showOutcome(opening));
  opening.load(0);
}

function showOutcome(opened) {
  if (opened !== catalog) return;
  byId('grid').removeAttribute('aria-busy');
  const problem = opened.problemOf(0);
  if (!opened.opened && problem) {
    showNotice({title: describeProblem(problem), text: problem.message, again: () => openFolder(opened)});
  } else if (opened.opened && opened.total === 0) {
    const text = opened.folder === '/' ? 'No shares have been set up yet.' : 'There are no photos, videos or folders in here.';
    showNotice({title: 'Nothing here yet', text});
  } else if (opened.opened) {
    showCount(opened);
  }
}

function follow() {
  const {folder, photo, sort} = route();
  const sameFolder = catalog?.folder === folder && catalog.sort === sort;
  if (!sameFolder) {
    viewer.close();
    openFolder({folder, sort});
  } else if (photo && !viewer.isOpen && history.state === null) {
    history.replaceState({overGrid: true}, '');
  }
  showTitle({folder, photo});
  if (photo) {
    viewer.open(catalog, photo);
  } else if (viewer.isOpen) {
    const {index} = viewer;
    viewer.close();
    if (index >= 0) grid.focus(index);
  }
}

history.scrollRestoration = 'manual';
addEventListener('hashchange', follow);
byId('grid').addEventListener('click', rememberPlace);
byId('skip').addEventListener('click', (event) => {
  event.preventDefault();
  (document.querySelector('.tile__link[tabindex="0"]') ?? byId('title')).focus();
});
follow();
