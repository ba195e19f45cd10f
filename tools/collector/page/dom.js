// Creates elements. Text is added as text nodes only: nothing from outside is parsed as HTML.

export const byId = (id) => document.getElementById(id);

/// el("a", {href: "/"}, "text", element…): attributes that are false or absent are left out.
export function el(tag, attributes = {}, ...children) {
  return filled(document.createElement(tag), attributes, children);
}

export function svg(tag, attributes = {}, ...children) {
  return filled(document.createElementNS("http://www.w3.org/2000/svg", tag), attributes, children);
}

function filled(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value !== undefined && value !== null && value !== false) element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children);
  return element;
}

export const button = (text, onClick) => {
  const made = el("button", { type: "button" }, text);
  made.addEventListener("click", onClick);
  return made;
};

/// A function that schedules `work` for the next frame. Calls before that frame are combined into one.
export function perFrame(work) {
  let isScheduled = false;
  return () => {
    if (isScheduled) return;
    isScheduled = true;
    requestAnimationFrame(() => {
      isScheduled = false;
      work();
    });
  };
}

/// A time in the viewer's zone, with the full time as its tooltip.
export function timeOf(iso, { isWhole = false } = {}) {
  const moment = new Date(iso);
  if (Number.isNaN(moment.getTime())) return el("time", {}, "at no time");
  const clock = { hour: "2-digit", minute: "2-digit", second: "2-digit" };
  const day = { year: "numeric", month: "short", day: "numeric" };
  const isToday = moment.toDateString() === new Date().toDateString();
  const shown = moment.toLocaleString(undefined, isToday && !isWhole ? clock : { ...day, ...clock });
  return el("time", { datetime: iso, title: iso }, shown);
}

export const plural = (count, one, many = `${one}s`) => `${count.toLocaleString()} ${count === 1 ? one : many}`;
