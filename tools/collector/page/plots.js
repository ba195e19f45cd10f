// Plots as SVG. A picture is stretched to its box, so that texts stand beside it as HTML; every mark has a tooltip.

import { el, svg } from "./dom.js";

const width = 600;
const height = 120;

/// A stretched picture with what it shows as its name.
function picture(label, ...marks) {
  const axis = svg("line", { class: "axis", x1: 0, x2: width, y1: height - 0.5, y2: height - 0.5 });
  return svg("svg", { viewBox: `0 0 ${width} ${height}`, preserveAspectRatio: "none", role: "img", "aria-label": label },
    axis, ...marks);
}

/// A picture with its highest value and the ends of its horizontal axis.
const framed = (made, { top, left, right }) => el("div", { class: "plot" },
  el("p", { class: "top-value", "aria-hidden": "true" }, top),
  made,
  el("p", { class: "scale", "aria-hidden": "true" }, el("span", {}, left), el("span", {}, right)));

const yOf = (value, most) => height - (value / most) * (height - 2);

/// Bars over time, each divided by series. `series` are {label, values}, with a value for each of `steps`, which are
/// texts.
export function stackedBars({ label, steps, series, ends }) {
  const totals = steps.map((_, at) => series.reduce((sum, { values }) => sum + values[at], 0));
  const most = Math.max(1, ...totals);
  const wide = width / steps.length;
  const marks = [];
  steps.forEach((step, at) => {
    let below = 0;
    series.forEach(({ label: name, values }, index) => {
      if (values[at] === 0) return;
      const bottom = yOf(below, most);
      below += values[at];
      marks.push(svg("rect", { class: `series-${index}`, x: at * wide + 0.5, width: Math.max(1, wide - 1), y: yOf(below, most),
        height: Math.max(1, bottom - yOf(below, most)) },
      svg("title", {}, `${step}: ${values[at].toLocaleString()} ${name}`)));
    });
  });
  return framed(picture(label, ...marks), { top: most.toLocaleString(), ...ends });
}

/// Lines over time. Steps without a value interrupt a line.
export function lines({ label, steps, series, format, ends }) {
  const known = series.flatMap(({ values }) => values.filter((value) => value !== null));
  const most = Math.max(...known, 0) || 1;
  const wide = width / steps.length;
  const marks = series.flatMap(({ label: name, values }, index) => {
    let path = "";
    const points = [];
    values.forEach((value, at) => {
      if (value === null) return;
      const [x, y] = [(at + 0.5) * wide, yOf(value, most)];
      path += `${at > 0 && values[at - 1] !== null ? "L" : "M"}${x.toFixed(1)} ${y.toFixed(1)}`;
      points.push(svg("path", { class: `point series-${index}`, d: `M${x.toFixed(1)} ${y.toFixed(1)}h0.01` },
        svg("title", {}, `${steps[at]}: ${name} ${format(value)}`)));
    });
    return [svg("path", { class: `line series-${index}`, d: path || "M0 0" }), ...points];
  });
  return framed(picture(label, ...marks), { top: format(most), ...ends });
}

/// Columns side by side, of {label, value, low, high}: with `low` and `high` an interval is drawn over the column.
export function columns({ label, bars, format, most: atLeast = 0 }) {
  const most = Math.max(atLeast, ...bars.map(({ value, high }) => Math.max(value, high ?? 0))) || 1;
  const wide = width / bars.length;
  const marks = bars.flatMap(({ label: name, value, low, high }, at) => {
    const [x, y] = [at * wide, yOf(value, most)];
    const bar = svg("rect", { class: "series-0", x: x + wide * 0.15, width: wide * 0.7, y, height: height - y },
      svg("title", {}, `${name}: ${format(value)}${high === undefined ? "" : ` (${format(low)} to ${format(high)})`}`));
    if (high === undefined) return [bar];
    const middle = x + wide / 2;
    return [bar, svg("line", { class: "whisker", x1: middle, x2: middle, y1: yOf(low, most), y2: yOf(high, most) })];
  });
  return el("div", { class: "plot" },
    el("p", { class: "top-value", "aria-hidden": "true" }, format(most)),
    picture(label, ...marks),
    el("p", { class: bars.length > 8 ? "scale columns many" : "scale columns", "aria-hidden": "true" }, ...bars.map(({ label: name }) => el("span", {}, name))));
}

/// A share from 0 to 1 with its interval, on one line.
export function interval({ value, low, high }) {
  const at = (share) => (share * 100).toFixed(2);
  return svg("svg", { class: "interval", viewBox: "0 0 100 10", preserveAspectRatio: "none", "aria-hidden": "true" },
    svg("line", { class: "axis", x1: 0, x2: 100, y1: 5, y2: 5 }),
    svg("rect", { class: "range", x: at(low), width: Math.max(0.5, (high - low) * 100), y: 2.5, height: 5 }),
    svg("line", { class: "value", x1: at(value), x2: at(value), y1: 0, y2: 10 }));
}

/// What the colours of a plot stand for, in the plot's order.
export const legend = (entries) => el("ul", { class: "legend" }, ...entries.map((entry, index) =>
  el("li", {}, el("span", { class: `key series-${index}`, "aria-hidden": "true" }), ...entry)));
