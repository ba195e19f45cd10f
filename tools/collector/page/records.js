// The page's rules for records, as tables and pure functions. Field names are those of the example table,
// examples/SQMFieldNames.plist; records with other names are shown by their first values.

/// The types in the order of their chips. The first field of `title` that has a value is a record's title in the list; the
/// first of `outcome` is its outcome. Records that differ in a field of `identity` belong to different connections.
const kinds = {
  connection: {
    label: "Connection",
    title: ["ssid", "operatorName", "carrier", "profileName", "adapterName", "sessionId"],
    outcome: ["connectionStatus"],
    identity: ["clientId", "sessionId"],
  },
  application: {
    label: "Application",
    title: ["vpnProfile", "gateway"],
    outcome: ["vpnDisconnectReason", "vpnResult", "vpnStatus"],
    identity: ["userName", "vpnProfile", "gateway"],
  },
  client: { label: "Client", title: ["productName", "clientId"] },
  device: { label: "Device", title: ["deviceModel", "manufacturer"] },
  "user-acceptance": { label: "User acceptance", title: ["promptKind"], outcome: ["promptAnswer"] },
  sqm: { label: ".sqm file", title: ["ssid", "forSSID", "devicetype"] },
  queue: { label: "Queue" },
  request: { label: "Other request" },
};

const namesOfTime = ["timestamp", "eventTime"];

export const types = Object.keys(kinds);
const kindOf = (record) => kinds[record.type] ?? { label: record.type };
export const labelOf = (type) => (kinds[type] ?? { label: type }).label;

const valueOf = (record, name) => record.values.find(([known, value]) => known === name && value !== "")?.[1];
const firstOf = (record, names = []) => names.map((name) => valueOf(record, name)).find((value) => value !== undefined);

const isEvent = (record, event) => (record.event ?? "").toLowerCase() === event;
export const isStart = (record) => isEvent(record, "start");
export const isStop = (record) => isEvent(record, "stop");

/// The title of a record in the list.
export function titleOf(record) {
  if (record.type === "request") return record.path;
  return firstOf(record, kindOf(record).title) ??
    record.values.find(([name, value]) => value !== "" && !namesOfTime.includes(name))?.[1] ?? record.path;
}

export const outcomeOf = (record) => firstOf(record, kindOf(record).outcome) ?? null;

/// True for a record that begins a connection. A `.sqm` record is a whole connection.
export const beginsConnection = (record) =>
  record.type === "sqm" || (record.type === "connection" && !isStop(record));

/// True when both have the same value in every field that identifies a connection, as far as both have one.
function isSameConnection(one, other) {
  return (kindOf(one).identity ?? []).every((name) => {
    const [mine, theirs] = [valueOf(one, name), valueOf(other, name)];
    return mine === undefined || theirs === undefined || mine === theirs;
  });
}

/// The start that a stop belongs to: the last one before it of its type, sub-type and connection. Null when there is
/// none, or the record is no stop. `records` are in order of arrival.
export function startOf(stop, records) {
  if (!isStop(stop)) return null;
  for (let at = records.length - 1; at >= 0; --at) {
    const start = records[at];
    if (start.type === stop.type && start.id < stop.id && isStart(start) && start.subType === stop.subType &&
        isSameConnection(start, stop)) {
      return start;
    }
  }
  return null;
}

/// A record's fields beside those of an earlier one: {name, value, was, change}, where change is "", "changed", "new" or
/// "gone". Fields of the same name are paired in their order.
export function changesOf(record, earlier) {
  const unpaired = new Map();
  for (const [name, value] of earlier?.values ?? []) unpaired.set(name, [...(unpaired.get(name) ?? []), value]);
  const rows = record.values.map(([name, value]) => {
    if (!earlier) return { name, value, was: null, change: "" };
    const was = unpaired.get(name)?.shift();
    if (was === undefined) return { name, value, was: null, change: "new" };
    return { name, value, was, change: was === value ? "" : "changed" };
  });
  for (const [name, values] of unpaired) {
    rows.push(...values.map((was) => ({ name, value: null, was, change: "gone" })));
  }
  return rows;
}

/// True when a record has the filter's type and contains all of its words.
export function matches(record, { type, words }) {
  if (type && record.type !== type) return false;
  if (words.length === 0) return true;
  record.searched ??= [labelOf(record.type), record.subType, record.event, record.path, record.problem,
    ...record.values.flat(), record.beginning].join("\n").toLowerCase();
  return words.every((word) => record.searched.includes(word));
}

export const wordsOf = (text) => text.toLowerCase().split(/\s+/).filter(Boolean);
