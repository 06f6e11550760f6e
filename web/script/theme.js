// Dark or light: as the system is set, unless the visitor has chosen. Runs before anything is drawn,
// so that no page flashes in the other colours.
(() => {
  const root = document.documentElement;
  const system = matchMedia('(prefers-color-scheme: dark)');

  const chosen = () => {
    try {
      return localStorage.getItem('theme');
    } catch {
      return null;
    }
  };

  const choose = (theme) => {
    try {
      localStorage.setItem('theme', theme);
    } catch {
      // Storage may be turned off: then the choice lasts as long as the page.
    }
    root.dataset.theme = theme;
  };

  const isDark = () => (root.dataset.theme ?? (system.matches ? 'dark' : 'light')) === 'dark';

  if (['dark', 'light'].includes(chosen())) root.dataset.theme = chosen();

  document.addEventListener('DOMContentLoaded', () => {
    const button = document.getElementById('theme');
    const show = () => button.setAttribute('aria-pressed', String(isDark()));
    button.addEventListener('click', () => {
      choose(isDark() ? 'light' : 'dark');
      show();
    });
    system.addEventListener('change', show);
    show();
  });
})();
