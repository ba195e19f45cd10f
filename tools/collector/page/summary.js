// The figures above the list: outcomes, answers to requests, connections per minute.

import { byId, el, plural, svg } from "./dom.js";
import { beginsConnection, outcomeOf } from "./records.js";
import { cut, foreign } from "./text.js";

const minute = 60_000;
const plotMinutes = 30;
const mostValues = 500;
const mostShown = 6;
const longestOutcome = 60;

/// Counts how often each value was added. Beyond `mostValues` different values, new ones are counted together.
class Counts {
  #counts = new Map();
  #others = 0;

  add(key) {
    if (this.#counts.size >= mostValues && !this.#counts.has(key)) ++this.#others;
    else this.#counts.set(key, (this.#counts.get(key) ?? 0) + 1);
  }

  of(key) {
    return this.#counts.get(key) ?? 0;
  }

  get total() {
    return [...this.#counts.values()].reduce((sum, times) => sum + times, 0);
  }

  /// The most frequent ones, as [value, times], and how often any other was added.
  first(most) {
    const ordered = [...this.#counts].sort(([one, times], [other, otherTimes]) => otherTimes - times || (one < other ? -1 : 1));
    return [ordered.slice(0, most), ordered.slice(most).reduce((sum, [, times]) => sum + times, this.#others)];
  }
}

export class Summary {
  types = new Counts();
  #outcomes = new Counts();
  #answers = new Counts();
  #perMinute = new Map();
  #newest = 0;

  addEntry(entry) {
    this.types.add(entry.type);
    const outcome = outcomeOf(entry);
    if (outcome !== null) this.#outcomes.add(cut(outcome, longestOutcome));
    if (!beginsConnection(entry)) return;
    const at = Math.floor(Date.parse(entry.time) / minute);
    if (Number.isNaN(at)) return;
    this.#perMinute.set(at, (this.#perMinute.get(at) ?? 0) + 1);
    this.#newest = Math.max(this.#newest, at);
  }

  addRequest(request) {
    this.#answers.add(String(request.answered));
  }

  draw() {
    drawCounts(byId("outcomes"), this.#outcomes, "No outcome yet");
    drawCounts(byId("answers"), this.#answers, "No request yet");
    byId("plot").replaceChildren(this.#plot());
  }

  /// The last half hour; when it has no connection, the half hour up to the last one.
  #plot() {
    const now = Math.floor(Date.now() / minute);
    const last = this.#newest > 0 && this.#newest <= now - plotMinutes ? this.#newest : Math.max(now, this.#newest);
    const bars = Array.from({ length: plotMinutes }, (_, index) => last - plotMinutes + 1 + index)
      .map((at) => ({ at, count: this.#perMinute.get(at) ?? 0 }));
    const total = bars.reduce((sum, { count }) => sum + count, 0);
    const most = Math.max(1, ...bars.map(({ count }) => count));
    const clock = (at) => new Date(at * minute).toLocaleTimeString(undefined, { hour: "2-digit", minute: "2-digit" });

    const [width, height, step] = [300, 64, 10];
    const picture = svg("svg", {
      viewBox: `0 0 ${width} ${height}`,
      preserveAspectRatio: "none",
      role: "img",
      "aria-label": `${plural(total, "connection")} from ${clock(bars[0].at)} to ${clock(last)}, ` +
        `at most ${most.toLocaleString()} in a minute`,
    });
    picture.append(svg("line", { class: "axis", x1: 0, x2: width, y1: height - 0.5, y2: height - 0.5 }));
    bars.forEach(({ at, count }, index) => {
      if (count === 0) return;
      const tall = Math.max(2, (count / most) * (height - 2));
      picture.append(svg("rect", { x: index * step + 1, y: height - tall, width: step - 2, height: tall },
        svg("title", {}, `${clock(at)}: ${plural(count, "connection")}`)));
    });
    const scale = el("p", { class: "scale", "aria-hidden": "true" },
      el("span", {}, clock(bars[0].at)),
      el("span", {}, total > 0 ? `most: ${most.toLocaleString()}` : "none"),
      el("span", {}, last === now ? "now" : clock(last)));
    return el("div", {}, picture, scale);
  }
}

function drawCounts(list, counts, nothing) {
  const [frequent, others] = counts.first(mostShown);
  const rows = frequent.map(([name, times]) => el("li", {}, foreign(name, { length: 28 }), " ", el("b", {}, times.toLocaleString())));
  if (others > 0) rows.push(el("li", {}, "others ", el("b", {}, others.toLocaleString())));
  list.replaceChildren(...(rows.length ? rows : [el("li", { class: "nothing" }, nothing)]));
}
