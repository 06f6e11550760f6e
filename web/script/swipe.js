// A finger that moves sideways over an element. The picture follows it.

const FAR_ENOUGH = 56;

export function onSwipe(element, {follow, swiped}) {
  let start = null;

  const reset = () => {
    start = null;
    follow(0);
  };

  element.addEventListener('pointerdown', (event) => {
    if (event.pointerType === 'mouse') return;
    // A second finger zooms, and a zoomed picture is panned.
    const alone = event.isPrimary && (globalThis.visualViewport?.scale ?? 1) <= 1.01;
    start = alone ? {id: event.pointerId, x: event.clientX, y: event.clientY} : null;
  });

  element.addEventListener('pointermove', (event) => {
    if (event.pointerId === start?.id) follow(event.clientX - start.x);
  });

  element.addEventListener('pointerup', (event) => {
    if (event.pointerId !== start?.id) return;
    const across = event.clientX - start.x;
    const along = event.clientY - start.y;
    reset();
    if (Math.abs(across) >= FAR_ENOUGH && Math.abs(across) > 1.5 * Math.abs(along)) swiped(across < 0 ? 1 : -1);
  });

  element.addEventListener('pointercancel', reset);
}
