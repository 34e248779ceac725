// What the page is made of. Texts become text nodes: nothing that an application
// names is ever markup.

// An element with its attributes; `on…` are listeners, and false leaves an attribute out.
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (value !== false && value !== undefined && value !== null) element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children);
  return element;
}

export const button = (text, onclick, attributes = {}) =>
  make("button", { type: "button", onclick, ...attributes }, text);

// For those who hear the page.
export const heard = (text) => make("span", { class: "heard" }, text);
// For those who see it.
export const seen = (text, className) => make("span", { "aria-hidden": "true", class: className }, text);

// Each of these touches the document only where something changes.
export function setText(element, text) {
  const node = element.firstChild;
  if (!node) element.append(text);
  else if (node.data !== text) node.data = text;
}

export function setHidden(element, hidden) {
  if (element.hidden !== hidden) element.hidden = hidden;
}

export function setClass(element, name, on) {
  if (element.classList.contains(name) !== on) element.classList.toggle(name, on);
}

export const remPixels = () => parseFloat(getComputedStyle(document.documentElement).fontSize);

// A list of terms with what each is; rows of [term, text or element].
export const terms = (rows) =>
  make("dl", {}, ...rows.map(([term, what]) => make("div", {}, make("dt", {}, term), make("dd", {}, what))));

export function table(caption, heads, rows) {
  const row = (cells, tag) =>
    make("tr", {}, ...cells.map((cell, index) =>
      make(index === 0 ? "th" : tag, index === 0 ? { scope: tag === "th" ? "col" : "row" } : tag === "th" ? { scope: "col" } : {}, cell)));
  return make("div", { class: "scroll" },
    make("table", {}, make("caption", { class: "heard" }, caption), make("thead", {}, row(heads, "th")),
      make("tbody", {}, ...rows.map((cells) => row(cells, "td")))));
}
