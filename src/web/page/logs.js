// The tail of the log with its filters, and the audit for administrators.
import { badge, byId, el } from "./dom.js";
import { state } from "./state.js";
import { clock } from "./times.js";

const levels = [["all", "all lines", () => true],
  ["warning", "warnings and errors", (line) => line.severity !== "OK"],
  ["error", "errors", (line) => line.severity === "Critical"]];
const words = { OK: ["off", "info"], Warning: ["warn", "warning"], Critical: ["bad", "error"] };

let source = "log";
let level = "all";
let text = "";

function line(one) {
  const [kind, word] = words[one.severity] ?? words.OK;
  return el("li", { "data-id": one.id },
    el("time", { datetime: new Date(one.time || 0).toISOString() }, clock(one.time)),
    badge(kind, word), el("span", { class: "line" }, one.text));
}

// New lines are added where the eye is not; who has scrolled up keeps his place.
function paintLines() {
  const list = byId("log-lines"), view = byId("log-window");
  const isAtEnd = view.scrollHeight - view.scrollTop - view.clientHeight < 40;
  const wanted = levels.find(([name]) => name === level)[2];
  const part = text.toLowerCase();
  const lines = state[source].filter((one) => wanted(one) && one.text.toLowerCase().includes(part));
  list.replaceChildren(...lines.slice(-200).map(line));
  if (!lines.length) list.append(el("li", { class: "muted" }, "No line fits."));
  if (isAtEnd) view.scrollTop = view.scrollHeight;
}

const choice = (label, options, set) => el("label", {}, `${label} `,
  el("select", { change: (event) => { set(event.target.value); paintLines(); } },
    options.map(([value, words]) => el("option", { value }, words))));

function build(place) {
  place.replaceChildren(
    el("div", { class: "row filters" },
      state.rights === "Administrator"
        ? choice("Show", [["log", "the host's log"], ["audit", "the audit"]], (value) => { source = value; }) : null,
      choice("Level", levels, (value) => { level = value; }),
      el("label", {}, "Contains ", el("input", { type: "search", id: "log-text", placeholder: "a daemon's name",
        input: (event) => { text = event.target.value; paintLines(); } }))),
    el("div", { id: "log-window", class: "log", tabindex: "0", role: "log", "aria-live": "off", "aria-label": "Log lines" },
      el("ol", { id: "log-lines" })));
  [source, level, text] = ["log", "all", ""];
}

let builtFor = null;

/** Paints the tail; the filters are built anew for another user. */
export function paintLogs() {
  const place = byId("logs");
  if (builtFor !== state.user + state.rights) {
    builtFor = state.user + state.rights;
    build(place);
    paintLines();
    byId("log-window").scrollTop = byId("log-window").scrollHeight;
    return;
  }
  paintLines();
}
