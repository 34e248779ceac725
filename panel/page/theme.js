// Dark or light: as the reader's system has it, until a person switches.

const key = "loopbox-theme";

export function applyTheme() {
  const chosen = localStorage.getItem(key);
  if (chosen) document.documentElement.dataset.theme = chosen;
}

export function switchTheme() {
  const root = document.documentElement;
  const isDark = root.dataset.theme ? root.dataset.theme === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
  root.dataset.theme = isDark ? "light" : "dark";
  localStorage.setItem(key, root.dataset.theme);
}
