// The list of entries, newest first. It shows a window of the newest ones, which grows on demand.

import { byId, el, plural, timeOf } from "./dom.js";
import { labelOf, outcomeOf, titleOf } from "./records.js";
import { foreign } from "./text.js";

const windowStep = 200;
const longestTitle = 120;

export class List {
  #list = byId("list");
  #more = byId("more");
  #scroll = byId("scroll");
  #limit = windowStep;
  #matching = 0;
  #current = null;

  /// `onMove(key)` is called when the keyboard moves to an entry, `onOpen(key)` when an entry is chosen, `onMore()` when a
  /// larger window is needed.
  constructor({ onMove, onOpen, onMore }) {
    const rows = this.#list.children;
    const grow = () => {
      this.#limit = rows.length + windowStep;
      onMore();
    };
    this.#more.addEventListener("click", () => {
      const next = rows.length;
      grow();
      this.#list.focus({ preventScroll: true });
      onMove(this.#mark(rows[next]));
    });
    this.#list.addEventListener("click", (event) => {
      const row = event.target.closest("li");
      if (row) onOpen(this.#mark(row));
    });
    const moves = {
      ArrowDown: (at) => at + 1,
      ArrowUp: (at) => Math.max(0, at - 1),
      PageDown: (at) => at + 10,
      PageUp: (at) => Math.max(0, at - 10),
      Home: () => 0,
      End: () => rows.length - 1,
    };
    this.#list.addEventListener("keydown", (event) => {
      if (event.altKey || event.ctrlKey || event.metaKey) return;
      const row = this.#currentRow();
      if (event.key === "Enter" && row) {
        event.preventDefault();
        onOpen(row.dataset.key, { isByKey: true });
      } else if (moves[event.key] && rows.length) {
        event.preventDefault();
        const to = moves[event.key](row ? [...rows].indexOf(row) : -1);
        if (to >= rows.length && rows.length < this.#matching) grow();
        onMove(this.#mark(rows[Math.min(rows.length - 1, to)]));
      }
    });
    // Keyboard focus needs a visible current entry.
    this.#list.addEventListener("focus", () => {
      if (!this.#currentRow() && rows.length && this.#list.matches(":focus-visible")) this.#mark(rows[0]);
    });
  }

  /// Shows the newest of the entries that match; `matching` are all of them, oldest first.
  show(matching) {
    this.#matching = matching.length;
    this.#list.replaceChildren(...matching.slice(-this.#limit).reverse().map(rowOf));
    this.#finish();
  }

  /// Resets the window, for example after a change of the filter.
  shrink() {
    this.#limit = windowStep;
    this.#scroll.scrollTop = 0;
  }

  /// Adds new entries, given oldest first, at the top.
  add(matching) {
    this.#matching += matching.length;
    const rows = matching.slice(-this.#limit).reverse().map(rowOf);
    for (const row of rows) row.classList.add("fresh");
    this.#list.prepend(...rows);
    // Entries in view stay in view for a reader who has scrolled.
    const isAtTop = this.#scroll.scrollTop === 0 && window.scrollY === 0;
    if (!isAtTop) this.#limit = Math.max(this.#limit, this.#list.children.length);
    while (this.#list.children.length > this.#limit && this.#list.lastElementChild !== this.#currentRow()) {
      this.#list.lastElementChild.remove();
    }
    this.#finish();
  }

  /// Marks an entry as the one that is shown; null marks none.
  choose(key) {
    this.#current = key;
    this.#finish();
  }

  focus() {
    if (!this.#currentRow() && this.#list.firstElementChild) this.#mark(this.#list.firstElementChild);
    this.#list.focus();
    this.#currentRow()?.scrollIntoView({ block: "nearest" });
  }

  #currentRow() {
    return this.#current && byId(idOf(this.#current));
  }

  #mark(row) {
    this.#current = row.dataset.key;
    this.#finish();
    row.scrollIntoView({ block: "nearest" });
    return this.#current;
  }

  #finish() {
    const row = this.#currentRow();
    const marked = this.#list.querySelector("[aria-selected=true]");
    if (marked !== row) {
      marked?.setAttribute("aria-selected", "false");
      row?.setAttribute("aria-selected", "true");
    }
    if (row) this.#list.setAttribute("aria-activedescendant", row.id);
    else this.#list.removeAttribute("aria-activedescendant");
    const left = this.#matching - this.#list.children.length;
    this.#more.hidden = left <= 0;
    this.#more.textContent = `Show ${Math.min(left, windowStep).toLocaleString()} more of ${left.toLocaleString()}`;
    this.#list.hidden = this.#matching === 0;
  }
}

const idOf = (key) => `row-${key}`;

function rowOf(entry) {
  const outcome = outcomeOf(entry);
  const facts = [entry.subType, entry.event, outcome].filter(Boolean).flatMap((fact) => [" · ", foreign(fact)]);
  if (entry.type === "request") facts.push(` · ${plural(entry.bytes, "byte")}`);
  return el("li", { id: idOf(entry.key), "data-key": entry.key, "data-type": entry.type, role: "option",
    "aria-selected": "false" },
    foreign(titleOf(entry), { length: longestTitle, class: "title" }),
    timeOf(entry.time),
    el("span", { class: "facts" }, labelOf(entry.type), ...facts),
    ...(entry.problem ? [el("span", { class: "problem" }, foreign(entry.problem, { length: longestTitle }))] : []));
}
