// The collector's page: adds arrivals to the list and the figures, and shows the chosen entry.

import { byId, el, perFrame, plural } from "./dom.js";
import { Detail } from "./detail.js";
import { Feed } from "./feed.js";
import { List } from "./list.js";
import { drawLosses } from "./losses.js";
import { labelOf, matches, startOf, types, wordsOf } from "./records.js";
import { Summary } from "./summary.js";
import { cut } from "./text.js";

const mostEntries = 20_000;  // older ones are dropped here; the server keeps them
const longestValue = 4096;   // the length to which values are cut for the list and the search
const patience = 300;        // milliseconds to wait for the first records before the page shows that there are none
const newsPause = 3000;      // milliseconds between two announcements
const addressPause = 250;    // milliseconds until a shown entry becomes the address
const isNarrow = window.matchMedia("(max-width: 56rem)");

let entries = [];  // in order of arrival
let byKey = new Map();
let arrived = [];  // since the last frame
let matching = 0;
let summary = new Summary();
let chosen = null;  // the key of the entry that is shown
let state = "connecting";
const filter = { type: "", words: [] };

// --- What arrives ---------------------------------------------------------------------------------------------------

function entryOf({ id, request, time, path, type, subType, event, problem, values, raw, cut: isCutAlready }) {
  const kept = values.map(([name, value]) => [cut(name, longestValue), cut(value, longestValue)]);
  const isCut = Boolean(isCutAlready) || values.some(([name, value], at) => name !== kept[at][0] || value !== kept[at][1]);
  const beginning = values.length ? "" : cut(raw, longestValue);
  return { key: `record-${id}`, id, request, time, path, type, subType, event, problem, values: kept, isCut, beginning };
}

/// A request without new records is an entry of the list itself.
function entryOfRequest({ id, time, method, path, bytes, records, problem: ownProblem }) {
  const problem = ownProblem ?? (records > 0 ? "all of its records had arrived before" : null);
  return { key: `request-${id}`, id: 0, request: id, time, path, type: "request", subType: null, event: method, values: [],
    bytes, problem };
}

const feed = new Feed({
  record(record) {
    arrived.push(entryOf(record));
    draw();
  },
  request(request) {
    summary.addRequest(request);
    if (request.records === request.duplicates) arrived.push(entryOfRequest(request));
    draw();
  },
  state(now) {
    state = now;
    if (now === "live") {
      detail.drawParts();
      setTimeout(() => byId("main").classList.remove("waiting"), patience);
    }
    draw();
  },
  forgotten() {
    [entries, byKey, arrived, summary] = [[], new Map(), [], new Summary()];
    byId("types").querySelectorAll("label").forEach((chip) => chip.remove());
    filter.type = "";
    setAddress(null);
    show(null);
    list.choose(null);
    refilter();
    draw();
  },
});

const draw = perFrame(() => {
  const added = arrived;
  arrived = [];
  for (const entry of added) {
    entries.push(entry);
    byKey.set(entry.key, entry);
    summary.addEntry(entry);
  }
  if (entries.length > mostEntries) {
    for (const { key } of entries.splice(0, entries.length - mostEntries)) byKey.delete(key);
    refilter();
  } else if (added.length) {
    const fitting = added.filter((entry) => matches(entry, filter));
    matching += fitting.length;
    list.add(fitting);
  }
  drawState();
  drawTypes();
  drawShown();
  summary.draw();
  if (added.length) {
    announce();
    if (!chosen && location.hash) showAddressed();
  }
});

function drawState() {
  const texts = { connecting: "Connecting…", live: "Live", lost: "Connection lost. Trying again…" };
  const place = byId("state");
  if (place.dataset.state !== state) {
    place.dataset.state = state;
    place.textContent = texts[state];
  }
  byId("main").classList.toggle("is-empty", entries.length === 0);
  if (entries.length) byId("main").classList.remove("waiting");
}

function drawTypes() {
  const place = byId("types");
  const counts = [["", entries.length], ...types.map((type) => [type, summary.types.of(type)])];
  let before = place.querySelector("legend");
  for (const [type, count] of counts) {
    if (type && count === 0) continue;
    let chip = place.querySelector(`label[data-type="${type}"]`);
    if (!chip) {
      chip = el("label", { "data-type": type },
        el("input", { type: "radio", name: "type", value: type, checked: type === filter.type }),
        el("span", {}, type ? labelOf(type) : "All"), " ", el("b", {}));
      before.after(chip);
    }
    chip.querySelector("b").textContent = (type ? count : summary.types.total).toLocaleString();
    before = chip;
  }
}

function drawShown() {
  const isFiltered = filter.type || filter.words.length;
  byId("none").hidden = matching > 0;
  byId("shown").textContent =
    isFiltered ? `${matching.toLocaleString()} of ${entries.length.toLocaleString()}` : plural(entries.length, "entry", "entries");
}

/// Announces the number of entries to screen readers, at a rate that they can follow.
let announcing = null;
function announce() {
  announcing ??= setTimeout(() => {
    announcing = null;
    byId("news").textContent = `${plural(entries.length, "entry", "entries")} by now`;
  }, newsPause);
}

// --- The filter -----------------------------------------------------------------------------------------------------

function refilter() {
  const fitting = entries.filter((entry) => matches(entry, filter));
  matching = fitting.length;
  list.show(fitting);
  drawShown();
}

const refilterSoon = perFrame(() => {
  filter.type = byId("types").querySelector("input:checked")?.value ?? "";
  filter.words = wordsOf(byId("text").value);
  list.shrink();
  refilter();
});

function clearFilter() {
  byId("filter").reset();
  byId("types").querySelector("input").checked = true;
  refilterSoon();
}

byId("filter").addEventListener("input", refilterSoon);
byId("filter").addEventListener("submit", (event) => event.preventDefault());
byId("clear").addEventListener("click", () => {
  clearFilter();
  byId("text").focus();
});

// --- What is chosen -------------------------------------------------------------------------------------------------

const list = new List({
  onMore: refilter,
  onMove: (key) => {
    if (!isNarrow.matches) open(key);
  },
  onOpen: (key, { isByKey = false } = {}) => {
    open(key);
    if (isByKey || isNarrow.matches) byId("title").focus();
  },
});

const detail = new Detail({
  startOf: (entry) => startOf(entry, entries),
  goTo: (key) => {
    open(key);
    byId("title").focus();
  },
});

function show(key) {
  chosen = byKey.has(key) ? key : null;
  document.body.classList.toggle("reading", chosen !== null);
  if (chosen) list.choose(chosen);
  detail.show(chosen && byKey.get(chosen));
}

// A browser limits how often the address may change, so a fast walk through the list skips some changes.
let addressing = null;
function setAddress(key, pause = 0) {
  clearTimeout(addressing);
  const write = () => history.replaceState(history.state, "", key ? `#${key}` : location.pathname);
  if (pause > 0) addressing = setTimeout(write, pause);
  else write();
}

/// Shows an entry and makes it the address. Where the entry hides the list, the browser's Back button returns to the list.
function open(key) {
  if (key === chosen) return;
  if (isNarrow.matches && chosen === null) history.pushState({ isStep: true }, "", `#${key}`);
  else setAddress(key, addressPause);
  show(key);
}

function close() {
  clearTimeout(addressing);
  if (history.state?.isStep) return history.back();
  setAddress(null);
  showAddressed();
}

function showAddressed() {
  const before = chosen;
  show(location.hash.slice(1));
  if (before && !chosen) list.focus();
}

function backToList() {
  if (isNarrow.matches && chosen) return close();
  if (chosen) list.choose(chosen);
  list.focus();
}

window.addEventListener("popstate", showAddressed);
byId("back").addEventListener("click", backToList);

// --- Keys and the rest ----------------------------------------------------------------------------------------------

document.addEventListener("keydown", (event) => {
  if (event.altKey || event.ctrlKey || event.metaKey || event.isComposing) return;
  const at = document.activeElement;
  if (event.key === "/" && at !== byId("text")) {
    event.preventDefault();
    if (isNarrow.matches && chosen) close();
    byId("text").focus();
    byId("text").select();
  } else if (event.key === "Escape") {
    event.preventDefault();
    if (byId("filter").contains(at) && (filter.type || filter.words.length)) clearFilter();
    else if (at === byId("list")) close();
    else backToList();
  } else if (event.key === "ArrowDown" && at === byId("text")) {
    event.preventDefault();
    list.focus();
  }
});

const address = location.origin;
byId("address").textContent = address;
byId("curl").textContent = `curl ${address}/connection \\
  -H 'Content-Type: text/xml; charset=utf-8' \\
  -d '<connectionList>
        <connectionRecord>
          <event>start</event>
          <wifi>
            <connectionStatus>connected</connectionStatus>
            <ssid>Hello</ssid>
          </wifi>
        </connectionRecord>
      </connectionList>'`;
byId("example").textContent = `build/release/bin/01_first_record ${address}`;
for (const copier of document.querySelectorAll("[data-copies]")) {
  copier.addEventListener("click", async () => {
    await navigator.clipboard.writeText(byId(copier.dataset.copies).textContent);
    copier.textContent = "Copied";
  });
}

setInterval(() => {
  draw();  // the plot ends at the current minute
  drawLosses();
}, 15_000);
drawLosses();
feed.open();
