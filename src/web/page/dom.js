// Builds what is shown. Text goes in as text alone, so that no name or log line becomes markup.

function fill(node, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (typeof value === "function") node.addEventListener(name, value);
    else node.setAttribute(name, value === true ? "" : value);
  }
  node.append(...children.flat(2).filter((child) => child !== null && child !== undefined));
  return node;
}

/** An element; functions among the attributes listen to the event of that name. */
export const el = (tag, attributes = {}, ...children) =>
  fill(document.createElement(tag), attributes, children);

/** The same within a picture. */
export const svg = (tag, attributes = {}, ...children) =>
  fill(document.createElementNS("http://www.w3.org/2000/svg", tag), attributes, children);

export const byId = (id) => document.getElementById(id);

/** Shows these children where they differ from what stands there; the focus stays by its data-key. */
export function repaint(place, ...children) {
  const fresh = fill(place.cloneNode(false), {}, children);
  if (fresh.isEqualNode(place)) return;
  const key = place.contains(document.activeElement) && document.activeElement.dataset.key;
  place.replaceChildren(...fresh.childNodes);
  if (key) place.querySelector(`[data-key="${CSS.escape(key)}"]`)?.focus();
}

/** A mark for the eye and a word for all. */
export const badge = (level, word) =>
  el("span", { class: `badge ${level}` },
    el("span", { class: "mark", "aria-hidden": "true" }, marks[level] ?? "?"), word);
const marks = { ok: "✓", warn: "!", bad: "✕", off: "–" };
