// Shows text of unknown size and content: cut, laid out, with invisible characters made visible.

import { button, el, plural } from "./dom.js";

/// The beginning of a text; a character is never cut in two.
export function cut(text, length) {
  if (text.length <= length) return text;
  const isInside = /[\uD800-\uDBFF]/.test(text[length - 1]);
  return text.slice(0, isInside ? length - 1 : length);
}

// Characters that are invisible or reorder the text around them: control characters but tab and line feed, the soft
// hyphen, zero-width spaces, marks of direction. Joiners stay: scripts and emoji are written with them.
const mark = /[\u0000-\u0008\u000B-\u001F\u007F-\u009F\u00AD\u061C\u180E\u200B\u200E\u200F\u2028-\u202E\u2060-\u2069\uFEFF\uFFF9-\uFFFB]/g;
const mostMarkElements = 1000;
const nameOf = (character) => `U+${character.charCodeAt(0).toString(16).toUpperCase().padStart(4, "0")}`;

/// The text as nodes, with invisible characters replaced by their names.
export function visible(text) {
  const nodes = [];
  let shown = 0;
  for (const { 0: character, index } of text.matchAll(mark)) {
    if (nodes.length > 2 * mostMarkElements) break;
    nodes.push(text.slice(shown, index), el("span", { class: "mark" }, nameOf(character)));
    shown = index + 1;
  }
  nodes.push(text.slice(shown).replace(mark, (character) => `[${nameOf(character)}]`));
  return nodes;
}

/// A text from a client, for one line of the page: isolated in its direction of writing, and cut when it is long.
export function foreign(text, { length = 60, ...attributes } = {}) {
  const beginning = cut(text, length);
  return el("bdi", attributes, ...visible(beginning), beginning === text ? "" : "…");
}

/// A text of any length: cut when it is long, with a button that shows all of it.
export function shown(text, length) {
  const beginning = cut(text, length);
  const element = el("bdi", {}, ...visible(beginning));
  if (beginning === text) return element;
  const more = button(`Show all ${plural(text.length, "character")}`, () => {
    element.replaceChildren(...visible(text));
    rest.remove();
    element.tabIndex = -1;
    element.focus({ preventScroll: true });
  });
  const rest = el("span", { class: "rest" }, "… ", more);
  return el("span", {}, element, rest);
}

/// XML with one element on a line, indented. Works on text alone, so that what is not well-formed is shown as well.
export function laidOut(xml) {
  const deepest = 40;
  const lines = [];
  let depth = 0;
  let line = "";
  let hasOwnText = false;  // the line has a start tag and perhaps text, and the end tag may follow on it
  const begin = () => {
    if (line) lines.push(line);
    line = "  ".repeat(Math.min(depth, deepest));
  };
  for (let at = 0; at < xml.length; ) {
    const open = xml.indexOf("<", at);
    const text = xml.slice(at, open < 0 ? xml.length : open);
    if (text.trim() || (hasOwnText && xml.startsWith("</", open))) {
      if (!hasOwnText) begin();
      line += text;
    }
    if (open < 0) break;
    const close = xml.indexOf(">", open);
    const end = close < 0 ? xml.length : close + 1;
    const tag = xml.slice(open, end);
    at = end;
    if (tag.startsWith("</")) {
      depth = Math.max(0, depth - 1);
      if (!hasOwnText) begin();
      line += tag;
      hasOwnText = false;
    } else {
      begin();
      line += tag;
      hasOwnText = !/^<[?!]|\/>$/.test(tag);
      if (hasOwnText) ++depth;
    }
  }
  if (line) lines.push(line);
  return lines.join("\n");
}
