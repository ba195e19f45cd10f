// The service page: asks for the figures that the filter selects, and shows them. The filter is kept in the address.

import { byId, button, el, plural } from "./dom.js";
import * as figures from "./figures.js";
import { foreign } from "./text.js";

const cards = ["success", "connecting", "reasons", "networks", "signal", "radio", "vpn", "pipeline"];
const refreshAfter = 60_000;
const day = 86_400_000;

const form = byId("filter");
const fields = ["window", "from", "to", "medium", "network", "version", "target"];
const defaults = Object.fromEntries(fields.map((name) => [name, form.elements[name].value]));

/// Sets a field, with a choice of its own when it has none of that value.
function setField(name, value) {
  const field = form.elements[name];
  if (field.tagName === "SELECT" && ![...field.options].some((option) => option.value === value)) {
    field.append(el("option", { value }, value));
  }
  field.value = value;
}

function showFilter() {
  const isCustom = form.elements.window.value === "";
  form.querySelectorAll(".custom").forEach((label) => { label.hidden = !isCustom; });
  byId("clear").disabled = fields.every((name) => form.elements[name].value === defaults[name]);
}

function readAddress() {
  const asked = new URLSearchParams(location.search);
  fields.forEach((name) => setField(name, asked.get(name) ?? defaults[name]));
  showFilter();
}

function writeAddress() {
  const kept = fields.filter((name) => form.elements[name].value !== defaults[name]);
  const query = new URLSearchParams(kept.map((name) => [name, form.elements[name].value]));
  history.replaceState(null, "", kept.length > 0 ? `?${query}` : location.pathname);
}

/// The query for the server. A time of day is the viewer's.
function queryOfFilter() {
  const query = new URLSearchParams();
  const valueOf = (name) => form.elements[name].value;
  if (valueOf("window") !== "") query.set("seconds", valueOf("window"));
  else ["from", "to"].filter(valueOf).forEach((name) => query.set(name, new Date(valueOf(name)).toISOString()));
  ["medium", "network", "version", "target"].filter(valueOf).forEach((name) => query.set(name, valueOf(name)));
  return query;
}

/// Offers the names that the figures are of. While a filter leaves some out, those that were offered before stay.
function offer(name, seen) {
  const field = form.elements[name];
  const chosen = field.value;
  const isNarrow = ["medium", "network", "version"].some((each) => form.elements[each].value !== "");
  const offered = isNarrow ? [...field.options].map((option) => option.value).filter((value) => value !== "") : [];
  const names = [...new Set([...offered, ...seen])];
  field.replaceChildren(el("option", { value: "" }, "all"), ...names.map((each) => el("option", { value: each }, each)));
  field.value = chosen;
}

/// Text of a moment for a field of date and time, in the viewer's zone.
function localText(moment) {
  return new Date(moment.getTime() - moment.getTimezoneOffset() * 60_000).toISOString().slice(0, 16);
}

/// Why there are no figures: a title and what to do. Null when there are some.
function absence(report) {
  const { records, newest } = report.stored;
  if (report.selected > 0) return null;
  if (records === 0) {
    return ["No record has arrived yet", el("p", {}, "The figures are made of the records of connections and VPN sessions that clients post to this server.")];
  }
  if (newest === null) {
    return ["The records have no fields that this page knows",
      el("p", {}, `${plural(records, "record")} arrived, but none is the start or the stop of a connection or a VPN session. ` +
        "The names of the fields differ in each client."),
      el("p", {}, "Say what they mean in a file, and start the server with it:"),
      el("pre", { tabindex: "0" }, "sqm-collector fields > fields.txt\nsqm-collector --fields fields.txt …")];
  }
  if (report.facts === 0) {
    const moment = new Date(newest);
    return ["No record in this time", el("p", {}, `The newest record of a connection is of ${moment.toLocaleString()}.`),
      button("Show the day before it", () => {
        setField("window", "");
        setField("from", localText(new Date(moment.getTime() - day)));
        setField("to", localText(new Date(moment.getTime() + 60_000)));
        change();
      })];
  }
  return ["The filter selects nothing",
    el("p", {}, `${plural(report.facts, "record")} of this time, but none of this medium, network and client version.`),
    button("Clear the filter", clear)];
}

function show(report) {
  offer("network", report.networksSeen);
  offer("version", report.versionsSeen);
  const reason = absence(report);
  byId("main").className = reason ? "is-empty" : "";
  byId("empty").hidden = !reason;
  if (reason) {
    byId("empty-title").textContent = reason[0];
    byId("empty-text").replaceChildren(...reason.slice(1));
  }
  byId("part").hidden = (report.oneIn === 1 && !report.isCut) || reason;
  byId("part").textContent = `A sample: 1 in ${report.oneIn.toLocaleString()} clients, with ${plural(report.facts, "record")} ` +
    `${report.isCut ? `from ${new Date(report.oldest).toLocaleString()} on` : "of all of this time"}. ` +
    "All numbers but those of posts are those of the sample.";
  if (reason) return;
  for (const card of cards) {
    const open = [...byId(card).querySelectorAll("details")].map((details) => details.open);
    byId(card).replaceChildren(...figures[card](report));
    byId(card).querySelectorAll("details").forEach((details, at) => { details.open = open[at] ?? false; });
  }
}

function setState(state, text) {
  byId("state").dataset.state = state;
  byId("state").textContent = text;
}

async function ask(address) {
  const answer = await fetch(address);
  const found = await answer.json();
  if (!answer.ok) throw new Error(found.error);
  return found;
}

let asked = 0;
let timer = 0;

/// Asks for the figures. An answer that a later question has overtaken is not shown.
async function refresh() {
  clearTimeout(timer);
  const number = ++asked;
  try {
    const [report, { posts_total: posts }] = await Promise.all([ask(`/_service?${queryOfFilter()}`), ask("/_counts")]);
    if (number !== asked) return;
    show({ ...report, posts });
    setState("live", `As of ${new Date().toLocaleTimeString()}`);
  } catch (error) {
    if (number !== asked) return;
    byId("state").replaceChildren("No figures: ", foreign(String(error.message), { length: 200 }));
    byId("state").dataset.state = "lost";
  }
  timer = setTimeout(refresh, refreshAfter);
}

function change() {
  showFilter();
  writeAddress();
  setState("loading", "Loading…");
  refresh();
}

function clear() {
  fields.forEach((name) => setField(name, defaults[name]));
  change();
  form.elements.window.focus();
}

form.addEventListener("change", change);
form.addEventListener("submit", (event) => event.preventDefault());
byId("clear").addEventListener("click", clear);
readAddress();
refresh();
