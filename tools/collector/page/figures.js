// The figures of the service page: each a function from the server's answer to the elements of a card.

import { el, plural } from "./dom.js";
import { columns, interval, legend, lines, stackedBars } from "./plots.js";
import { foreign } from "./text.js";

export const mediumNames = { wifi: "Wi-Fi", mobile: "Mobile broadband", ethernet: "Ethernet", "": "Unknown" };

const none = "–";
const number = (value) => value.toLocaleString();
const percent = (share) => (share === null ? none : `${(share * 100).toFixed(1)}\u00A0%`);
const shareText = (share) => (share ? percent(share.value) : none);
const rangeText = (share) => (share ? `${(share.low * 100).toFixed(1)}–${(share.high * 100).toFixed(1)}\u00A0%` : none);

/// A duration in seconds, in the unit that is read best.
export function duration(seconds) {
  if (seconds === null) return none;
  const units = [[86400, "d"], [3600, "h"], [60, "min"]];
  const [length, unit] = units.find(([each]) => seconds >= 2 * each || seconds === each) ?? [1, "s"];
  return `${(seconds / length).toLocaleString(undefined, { maximumFractionDigits: length > 1 || seconds >= 10 ? 1 : 2 })}\u00A0${unit}`;
}

const textOr = (text, otherwise) => (text === "" ? otherwise : foreign(text, { length: 48 }));

/// A headline: a value with what it is.
const headline = (value, ...about) => el("div", { class: "headline" }, el("b", {}, value), el("span", {}, ...about));
const headlines = (...all) => el("div", { class: "headlines" }, ...all);

/// A table: the first column names the row. Cells are texts or nodes.
function table(caption, head, rows) {
  const cell = (tag, attributes) => (content) => el(tag, attributes, content);
  return el("div", { class: "wide", tabindex: "0", role: "group", "aria-label": caption },
    el("table", {}, el("caption", { class: "unseen" }, caption),
      el("thead", {}, el("tr", {}, ...head.map(cell("th", { scope: "col" })))),
      el("tbody", {}, ...rows.map(([name, ...cells]) =>
        el("tr", {}, el("th", { scope: "row" }, name), ...cells.map(cell("td", {})))))));
}

const numbers = (caption, head, rows) => el("details", {}, el("summary", {}, "Numbers"), table(caption, head, rows));
const missing = (...text) => el("p", { class: "nothing" }, ...text);
const note = (...text) => el("p", { class: "note" }, ...text);

/// The steps of the window as texts, and the ends of its axis.
function timeAxis({ steps, step, to }) {
  const clock = { hour: "2-digit", minute: "2-digit" };
  const day = { month: "short", day: "numeric" };
  const form = step >= 86400 ? day : { ...day, ...clock };
  const texts = steps.map((iso) => new Date(iso).toLocaleString(undefined, form));
  return { steps: texts, ends: { left: texts[0], right: new Date(to).toLocaleString(undefined, form) } };
}

const rowsWith = (texts, rows, cells) => texts.map((text, at) => [text, ...cells(rows[at], at)]);

/// The rows of counted texts over time, with a legend and the plot.
function reasonsOverTime(report, { frequent, others }, caption) {
  const series = frequent.map(({ text, overTime }) => ({ label: text || "without a reason", values: overTime }));
  const entries = frequent.map(({ text, count }) => [textOr(text, "without a reason"), " ", el("b", {}, number(count))]);
  if (others.count > 0) {
    series.push({ label: "other reasons", values: others.overTime });
    entries.push([plural(others.kinds, "other reason"), " ", el("b", {}, number(others.count))]);
  }
  const axis = timeAxis(report);
  return [
    stackedBars({ label: `${caption} over time, by reason`, ...axis, series }),
    legend(entries),
    numbers(`${caption}, by reason and time`, ["From", ...entries.map(([text]) => text.cloneNode?.(true) ?? text)],
      axis.steps.map((step, at) => [step, ...series.map(({ values }) => number(values[at]))])),
  ];
}

export function success(report) {
  const { mean, pairs, attempts, success: share, undecided, media, overTime } = report.success;
  if (attempts === 0) return [missing("No attempt to connect tells how it ended (meanings status, is-connected and is-failed).")];
  const axis = timeAxis(report);
  return [
    headlines(
      headline(shareText(mean), `mean of ${plural(pairs, "pair")} of client and network, each counted once, ${rangeText(mean)}`),
      headline(shareText(share), `of ${plural(attempts, "attempt")}, ${rangeText(share)}`)),
    stackedBars({
      label: `${plural(attempts, "attempt")} over time`, ...axis,
      series: [{ label: "succeeded", values: overTime.map(({ connected }) => connected) },
        { label: "failed", values: overTime.map(({ failed }) => failed) }],
    }),
    legend([["succeeded ", el("b", {}, number(report.success.connected))], ["failed ", el("b", {}, number(report.success.failed))]]),
    ...(undecided > 0 ? [note(`${plural(undecided, "attempt")} without a known outcome left out.`)] : []),
    table("Success by medium", ["Medium", "Mean", "Succeeded", "Attempts"], media.filter((row) => row.attempts > 0).map((row) =>
      [mediumNames[row.medium], shareText(row.mean), shareText(row.success), number(row.attempts)])),
    numbers("Attempts over time", ["From", "Succeeded", "Failed", "Success"],
      rowsWith(axis.steps, overTime, (row) => [number(row.connected), number(row.failed), shareText(row.success)])),
  ];
}

export function connecting(report) {
  const { count, p50, p95, p99, apdex, overTime } = report.connecting;
  if (count === 0) return [missing("No successful attempt has its time to connect (meaning connect-seconds).")];
  const axis = timeAxis(report);
  const named = [["p50", "half, p50"], ["p95", "95 %, p95"], ["p99", "99 %, p99"]];
  const target = apdex.target.toFixed(1);
  return [
    headlines(headline(duration(p50), "p50"), headline(duration(p95), "p95"), headline(duration(p99), "p99"),
      headline(apdex.value === null ? none : `${apdex.value.toFixed(2)} [${target}]${apdex.isSmall ? "*" : ""}`,
        `Apdex: ${number(apdex.satisfied)} satisfied, ${number(apdex.tolerating)} tolerating, ${number(apdex.frustrated)} frustrated`)),
    lines({ label: `Time to connect of ${plural(count, "attempt")} over time`, ...axis, format: duration,
      series: named.map(([key, label]) => ({ label, values: overTime.map((row) => row[key]) })) }),
    legend(named.map(([key]) => [key])),
    note(`Apdex version 1.1: satisfied within ${target} s, tolerating within ${duration(4 * apdex.target)}; failed attempts are ` +
      `frustrated.${apdex.isSmall ? " * fewer than 100 samples." : ""}`),
    numbers("Time to connect over time", ["From", "p50", "p95", "p99", "Attempts"],
      rowsWith(axis.steps, overTime, (row) => [duration(row.p50), duration(row.p95), duration(row.p99), number(row.count)])),
  ];
}

export function reasons(report) {
  if (report.reasons.frequent.length === 0) return [missing("No attempt failed.")];
  return reasonsOverTime(report, report.reasons, "Failed attempts");
}

/// A share with its interval, as a picture and as text.
const shareCell = (share) => (share === null ? none
  : el("span", { class: "share" }, interval(share), el("span", {}, percent(share.value), el("small", {}, rangeText(share)))));

export function networks(report) {
  const { worst, compared, tooFew, leastAttempts, leastClients } = report.networks;
  const least = `at least ${leastAttempts} attempts of at least ${leastClients} clients`;
  if (compared === 0) return [missing(`No network has ${least}.`)];
  return [
    table("Worst networks", ["Network", "Success", "Attempts", "Clients"], worst.map((row) =>
      [foreign(row.network, { length: 48 }), shareCell(row.success), number(row.attempts), number(row.clients)])),
    note(`The ${worst.length} worst of ${plural(compared, "network")} with ${least}. Each client counts once. In the order of the upper ` +
      `end of the interval (Wilson score, 95 %). ${plural(tooFew, "network")} with fewer left out.`),
  ];
}

export function signal(report) {
  const rows = report.signal.filter(({ ended }) => ended > 0);
  if (rows.length === 0) return [missing("No connection that ended has a signal strength (meaning signal).")];
  const nameOf = ({ from, to }) => `${from} to ${to}`;
  return [
    columns({ label: "Share of connections that were dropped, by signal strength", format: percent,
      bars: rows.map((row) => ({ label: String(row.from), value: row.drops.value, low: row.drops.low, high: row.drops.high })) }),
    note("Dropped connections by the signal at their start, in steps of 5 dB (dBm, lower end), with 95 % intervals."),
    numbers("Drops by signal", ["dBm", "Dropped", "95 % interval", "Ended"],
      rows.map((row) => [nameOf(row), shareText(row.drops), rangeText(row.drops), number(row.ended)])),
  ];
}

export function radio(report) {
  const kinds = report.technologies.map((row) => [foreign(row.technology, { length: 32 }), row]);
  const places = report.roaming.map((row) => [row.isAbroad ? "roaming" : "at home", row]);
  if (kinds.length + places.length === 0) return [missing("No connection has a technology or says whether it roams (meanings technology and roaming).")];
  const compared = (caption, name, rows) => (rows.length === 0 ? []
    : [table(caption, [name, "Success", "Attempts", "Dropped"],
      rows.map(([text, row]) => [text, shareCell(row.success), number(row.attempts), shareText(row.drops)]))]);
  return [...compared("Roaming", "Roaming", places), ...compared("Technologies", "Technology", kinds)];
}

const rangesOf = (ranges) => ranges.map(({ upTo, count }, at) => ({
  label: upTo === null ? `over ${duration(ranges[at - 1].upTo)}` : `≤ ${duration(upTo)}`, value: count,
}));

function rangeColumns(label, ranges) {
  const bars = rangesOf(ranges);
  return [columns({ label, bars, format: number, most: 1 }),
    numbers(label, ["Length", "Number"], bars.map(({ label: name, value }) => [name, number(value)]))];
}

export function vpn(report) {
  const { attempts, success: share, undecided, ended, withoutStop, withoutStart, setUp, lengths, lengthRanges, ends, failures } = report.vpn;
  if (attempts + undecided + ended === 0) return [missing("No record of a VPN session.")];
  const part = (title, ...content) => el("section", {}, el("h3", {}, title), ...content);
  return [
    headlines(
      headline(shareText(share), `of ${plural(attempts, "start")} succeeded, ${rangeText(share)}`),
      headline(`${duration(setUp.p50)}`, `set-up p50; p95 ${duration(setUp.p95)}, p99 ${duration(setUp.p99)}`),
      headline(`${duration(lengths.p50)}`, `length p50; p95 ${duration(lengths.p95)}, p99 ${duration(lengths.p99)}`),
      headline(number(withoutStop), "starts without a stop: still running, or lost")),
    ...(withoutStart > 0 ? [note(`${plural(withoutStart, "stop")} without a start in the window.`)] : []),
    ...(lengths.count > 0 ? [part("Lengths", ...rangeColumns(`Lengths of ${plural(lengths.count, "VPN session")}`, lengthRanges))] : []),
    ...(ends.frequent.length > 0 ? [part("Ends by reason", ...reasonsOverTime(report, ends, "Ends of VPN sessions"))] : []),
    ...(failures.frequent.length > 0 ? [part("Failures by reason", ...reasonsOverTime(report, failures, "Failed VPN starts"))] : []),
  ];
}

const refusals = { too_long: "too long and lost", failed: "not stored in time" };

export function pipeline(report) {
  const { ages, pipeline: counts } = report;
  const refused = Object.entries(report.posts).filter(([outcome, count]) => outcome !== "kept" && count > 0);
  const total = refused.reduce((sum, [, count]) => sum + count, 0);
  return [
    headlines(headline(number(counts.posts), "posts that were kept"), headline(number(counts.records), "records in them"),
      headline(number(counts.duplicates), "that had arrived before, not stored again"),
      headline(number(counts.problems), "posts with a problem"),
      headline(number(total), "posts not kept since the server started",
        total > 0 ? `: ${refused.map(([reason, count]) => `${number(count)} ${refusals[reason] ?? reason}`).join(", ")}` : "")),
    ...(ages.count === 0 ? [missing("No record has its time (meaning time).")] : [
      headlines(headline(duration(ages.p50), "age of records at arrival, p50"), headline(duration(ages.p95), "p95"),
        headline(duration(ages.p99), "p99")),
      ...rangeColumns(`Ages of ${plural(ages.count, "record")} at arrival`, ages.ranges)]),
  ];
}
