// All instruments on one screen.

import { CBarLayer } from "./bar.js";
import { make, remPixels, setClass, setHidden } from "./dom.js";
import { at, rank } from "./store.js";
import { said } from "./strings.js";
import { CTile } from "./tile.js";

const orders = { text: "as in the text", grave: "not well first", name: "by name" };
const shows = { all: "all", unwell: "what is not well", alarms: "in alarm", notAuto: "not automatic" };
// Sizes of a tile, rem: the widest that lets all fit the screen is taken.
const sizes = [
  { name: "roomy", width: 20, height: 7.6 },
  { name: "close", width: 15, height: 5.4 },
  { name: "dense", width: 10.9, height: 2.98 },
];
const sortEvery = 1000;  // ms

function select(label, choices, onchange) {
  const box = make("select", { onchange: () => onchange(box.value) },
    ...Object.entries(choices).map(([value, text]) => make("option", { value }, said(text))));
  return make("label", {}, said(label) + " ", box);
}

export class COverview {
  constructor(store) {
    this.store = store;
    this.order = "text";
    this.show = "all";
    this.words = "";
    this.tiles = store.model.instruments.map((_, index) => new CTile(store, index));
    this.visible = new Set(this.tiles);
    this.list = make("ul", { class: "tiles", "aria-label": said("instruments") }, ...this.tiles.map((tile) => tile.element));
    const orderLabel = select("order", orders, (value) => { this.order = value; this.arrange(); });
    const showLabel = select("show", shows, (value) => { this.show = value; this.arrange(); });
    const search = make("input", { type: "search", oninput: () => { this.words = search.value.toLowerCase(); this.arrange(); } });
    this.layer = new CBarLayer(this.list, this.tiles.flatMap((tile) => tile.rows.map((row) => row.bar)));
    this.nothing = make("p", { class: "dim" }, said("Nothing to show."));
    this.element = make("section", { class: "overview", "aria-label": said("Overview") },
      make("div", { class: "tools" }, showLabel, orderLabel, make("label", {}, said("name") + " ", search)),
      make("div", { class: "under" }, this.list, this.layer.canvas), this.nothing);
    this.arranged = 0;
    this.places = new Map(this.tiles.map((tile) => [tile.element, tile]));
    this.watcher = new IntersectionObserver((entries) => {
      for (const { target, isIntersecting } of entries) {
        const tile = this.places.get(target);
        if (isIntersecting) this.visible.add(tile);
        else this.visible.delete(tile);
        if (isIntersecting && store.frame) tile.update();
      }
    }, { rootMargin: "200px" });
    for (const tile of this.tiles) this.watcher.observe(tile.element);
    this.list.addEventListener("keydown", (event) => this.move(event));
    this.list.addEventListener("focusin", (event) => this.makeCurrent(event.target.closest("a")));
    if (this.tiles.length > 0) this.makeCurrent(this.tiles[0].link);
    new ResizeObserver(() => this.fit()).observe(this.list);
    this.arrange();
  }

  update() {
    if (this.element.hidden) return;
    for (const tile of this.visible) tile.update();
    const now = performance.now();
    if (now - this.arranged > sortEvery && (this.order === "grave" || this.show !== "all")) this.arrange();
  }

  isShown(tile) {
    const grade = this.store.ranks[tile.index];
    const { name, title } = tile.instrument;
    if (this.words && !(name + " " + (title || "")).toLowerCase().includes(this.words)) return false;
    if (this.show === "unwell") return grade > rank.moves;
    if (this.show === "alarms") return grade >= rank.alarm;
    if (this.show === "notAuto") return this.store.frame !== null && this.store.frame.instruments[tile.index][at.mode] !== 0;
    return true;
  }

  arrange() {
    this.arranged = performance.now();
    const ranks = this.store.ranks;
    const ordered = this.tiles.slice();
    if (this.order === "grave") ordered.sort((one, other) => ranks[other.index] - ranks[one.index] || one.index - other.index);
    if (this.order === "name") ordered.sort((one, other) => one.instrument.name.localeCompare(other.instrument.name));
    // Moving an element would take the focus from it.
    let isMoved = false;
    if (ordered.some((tile, index) => this.list.children[index] !== tile.element)) {
      const focused = document.activeElement;
      this.list.append(...ordered.map((tile) => tile.element));
      isMoved = true;
      if (this.list.contains(focused)) focused.focus({ preventScroll: true });
    }
    let count = 0;
    for (const tile of this.tiles) {
      const shown = this.isShown(tile);
      if (tile.element.hidden === shown) isMoved = true;
      setHidden(tile.element, !shown);
      if (shown) ++count;
    }
    setHidden(this.nothing, count > 0);
    this.count = count;
    if (isMoved) this.fit();
    const current = this.list.querySelector("a[tabindex='0']");
    if (!current || current.parentElement.hidden) this.makeCurrent(this.list.querySelector("li:not([hidden]) a"));
  }

  fit() {
    const rem = remPixels();
    const width = this.list.clientWidth / rem;
    const height = (innerHeight - this.list.getBoundingClientRect().top - scrollY) / rem;
    const fitting = sizes.find((size) =>
      Math.max(1, Math.floor(width / size.width)) * Math.floor(height / size.height) >= this.count) || sizes[sizes.length - 1];
    for (const size of sizes) setClass(this.list, size.name, size === fitting);
    this.layer.measure();
  }

  // One tile is in the order of the tabulator; arrows go from tile to tile.
  makeCurrent(link) {
    if (!link || link === this.current) return;
    if (this.current) this.current.tabIndex = -1;
    link.tabIndex = 0;
    this.current = link;
  }

  focus() {
    if (this.current) this.current.focus({ preventScroll: true });
  }

  focusOn(name) {
    const tile = this.tiles.find((one) => one.instrument.name === name);
    if (!tile || tile.element.hidden) return;
    this.makeCurrent(tile.link);
    tile.link.focus({ preventScroll: true });
  }

  move(event) {
    const shown = [...this.list.children].filter((item) => !item.hidden);
    const here = shown.indexOf(document.activeElement.parentElement);
    if (here < 0) return;
    const top = shown[here].offsetTop;
    const columns = Math.max(1, shown.filter((item) => item.offsetTop === shown[0].offsetTop).length);
    const steps = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columns, ArrowUp: -columns, Home: -here, End: shown.length - 1 - here };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    const next = shown[Math.min(shown.length - 1, Math.max(0, here + step))];
    next.querySelector("a").focus();
    if (next.offsetTop !== top) next.scrollIntoView({ block: "nearest" });
  }
}
