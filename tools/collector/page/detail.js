// One record in full: its fields, compared with those of its connection's start, its text, and its request.

import { byId, el, plural, timeOf } from "./dom.js";
import { changesOf, isStop, labelOf, titleOf } from "./records.js";
import { foreign, laidOut, shown } from "./text.js";

const longestName = 200;
const longestValue = 500;
const longestText = 20_000;

const changeNames = { changed: "changed", new: "new", gone: "gone" };

async function fetched(path) {
  const answer = await fetch(path);
  if (!answer.ok) throw new Error(`The server answered ${answer.status}.`);
  return answer.json();
}

export class Detail {
  #entry = null;
  #turn = 0;  // answers for an earlier entry are dropped
  #startOf;
  #goTo;
  #parts = [byId("record-part"), byId("request-part")];

  /// `startOf(entry)` finds a stop's start, `goTo(key)` shows another entry.
  constructor({ startOf, goTo }) {
    this.#startOf = startOf;
    this.#goTo = goTo;
    byId("only-changes").addEventListener("change", () => this.#drawFilter());
    for (const part of this.#parts) part.addEventListener("toggle", () => this.drawParts());
  }

  async show(entry) {
    this.#entry = entry;
    const turn = ++this.#turn;
    byId("hint").hidden = entry !== null;
    byId("reading").hidden = entry === null;
    if (!entry) {
      for (const part of this.#parts) delete part.dataset.shows;
      return;
    }

    const isRecord = entry.type !== "request";
    byId("fields-part").hidden = !isRecord || entry.values.length === 0;
    byId("record-part").hidden = !isRecord;
    this.#drawHead();
    const start = this.#startOf(entry);
    this.#drawFields(entry, start);
    this.drawParts();
    byId("detail").scrollTop = 0;

    // Events carry long texts only in part: fetch the whole records before comparing them.
    if (!entry.isCut && !start?.isCut) return;
    const whole = async (record) => (record?.isCut ? { ...record, ...(await fetched(`/_records/${record.id}`)) } : record);
    try {
      const [wholeEntry, wholeStart] = await Promise.all([whole(entry), whole(start)]);
      if (turn === this.#turn) this.#drawFields(wholeEntry, wholeStart);
    } catch {
      if (turn === this.#turn) byId("relation").append(" Long values are shown by their beginnings: the server does not answer.");
    }
  }

  #drawHead() {
    const entry = this.#entry;
    byId("kind").replaceChildren(labelOf(entry.type),
      ...[entry.subType, entry.event].filter(Boolean).flatMap((fact) => [" · ", foreign(fact)]));
    byId("kind").dataset.type = entry.type;
    byId("title").replaceChildren(foreign(titleOf(entry), { length: longestName }));
    const facts = [
      ["Arrived", timeOf(entry.time, { isWhole: true })],
      ["Posted to", foreign(entry.path, { length: longestName })],
      ["Request", `${entry.request}`],
      ...(entry.type === "request" ? [] : [["Record", `${entry.id}`]]),
      ...(entry.problem ? [["Problem", foreign(entry.problem, { length: longestValue, class: "problem" })]] : []),
    ];
    byId("facts").replaceChildren(...facts.map(([name, value]) => el("div", {}, el("dt", {}, name), el("dd", {}, value))));
  }

  #drawFields(entry, start) {
    const rows = changesOf(entry, start);
    byId("fields").replaceChildren(...rows.map(rowOfField));
    byId("only").hidden = !start;
    this.#drawFilter();
    byId("relation").replaceChildren(...this.#relation(entry, start, rows.filter(({ change }) => change).length));
  }

  #relation(entry, start, changes) {
    if (start) {
      const link = el("a", { href: `#${start.key}` }, `its start, record ${start.id}`);
      link.addEventListener("click", (event) => {
        event.preventDefault();
        this.#goTo(start.key);
      });
      return [changes ? `${plural(changes, "field")} differ${changes === 1 ? "s" : ""} from ` : "Nothing differs from ", link, "."];
    }
    if (isStop(entry)) return ["The start that this stop belongs to has not arrived."];
    return [];
  }

  #drawFilter() {
    byId("fields").classList.toggle("only-changes", byId("only-changes").checked && !byId("only").hidden);
  }

  /// Fills the open parts that are empty. Called when a part is opened and when the server answers again.
  drawParts() {
    this.#drawRecordText();
    this.#drawRequest();
  }

  #drawRecordText() {
    this.#drawPart(byId("record-part"), byId("record-text"), `/_records/${this.#entry?.id}`,
      (record) => [textPart(record.raw)]);
  }

  #drawRequest() {
    this.#drawPart(byId("request-part"), byId("request-text"), `/_requests/${this.#entry?.request}`, (request) => {
      const { text, dump } = bodyOf(request);
      const head = [`${request.method} ${request.path}`, ...request.headers.map(([name, value]) => `${name}: ${value}`)];
      return [
        el("p", { class: "note" }, `${plural(request.bytes, "byte")}, answered ${request.answered}. `,
          el("a", { href: `/_requests/${request.id}/body`, download: `request-${request.id}` }, "Its bytes as a file")),
        preformatted(head.join("\n"), "The request’s head"),
        textPart(text, dump),
      ];
    });
  }

  /// Fills an open part with the server's answer for `path`.
  async #drawPart(part, place, path, draw) {
    if (!this.#entry || !part.open || part.hidden || part.dataset.shows === path) return;
    part.dataset.shows = path;
    place.replaceChildren(el("p", { class: "note" }, "Loading…"));
    try {
      const nodes = draw(await fetched(path));
      if (part.dataset.shows === path) place.replaceChildren(...nodes);
    } catch (error) {
      if (part.dataset.shows !== path) return;
      delete part.dataset.shows;
      place.replaceChildren(el("p", { class: "problem" }, `This cannot be shown now. ${error.message}`));
    }
  }
}

function rowOfField({ name, value, was, change }) {
  const cell = el("td", {});
  if (value !== null) cell.append(valueNode(value));
  if (change) cell.append(el("span", { class: "change" }, changeNames[change]));
  if (was !== null && change) cell.append(el("span", { class: "was" }, "was ", el("del", {}, valueNode(was))));
  return el("tr", { "data-change": change || false }, el("th", { scope: "row" }, foreign(name, { length: longestName })), cell);
}

const valueNode = (value) =>
  value === "" ? el("i", { class: "nothing" }, "empty") : shown(value, longestValue);

const preformatted = (text, label) =>
  el("pre", { tabindex: "0", "aria-label": label }, shown(text, longestText));

/// A text, laid out or unchanged.
function textPart(text, dump = null) {
  const place = el("div", {});
  const asItCame = el("input", { type: "checkbox" });
  const isXml = text.trimStart().startsWith("<");
  const draw = () => place.replaceChildren(
    asItCame.checked ? preformatted(dump ?? text, "The text as it came") : preformatted(isXml ? laidOut(text) : text, "The text"));
  asItCame.addEventListener("change", draw);
  draw();
  const toggle = el("label", { class: "toggle" }, asItCame, dump ? " bytes" : " as it came");
  return el("div", { class: "text-part" }, ...(isXml || dump ? [toggle] : []), place);
}

/// A request's body as text, and a hexadecimal dump when it is not UTF-8.
function bodyOf({ body, encoding }) {
  if (encoding !== "base64") return { text: body, dump: null };
  const bytes = Uint8Array.from(atob(body), (character) => character.charCodeAt(0));
  const hex = (number, digits) => number.toString(16).padStart(digits, "0");
  const lines = [];
  for (let at = 0; at < bytes.length; at += 16) {
    const row = bytes.subarray(at, at + 16);
    const picture = [...row].map((byte) => (byte >= 32 && byte < 127 ? String.fromCharCode(byte) : ".")).join("");
    lines.push(`${hex(at, 8)}  ${[...row].map((byte) => hex(byte, 2)).join(" ").padEnd(47)}  ${picture}`);
  }
  return { text: new TextDecoder().decode(bytes), dump: lines.join("\n") };
}
