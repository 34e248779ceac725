// Dark or light: as the reader's system has it, until a person switches.

const key = "loopbox-theme";
const dark = matchMedia("(prefers-color-scheme: dark)");
let turn = 0;

// Another number after each change, for what has taken colours from the style.
export const themeTurn = () => turn;

export function applyTheme() {
  const chosen = localStorage.getItem(key);
  if (chosen) document.documentElement.dataset.theme = chosen;
  dark.addEventListener("change", () => ++turn);
}

export function switchTheme() {
  const root = document.documentElement;
  const isDark = root.dataset.theme ? root.dataset.theme === "dark" : dark.matches;
  root.dataset.theme = isDark ? "light" : "dark";
  localStorage.setItem(key, root.dataset.theme);
  ++turn;
}
