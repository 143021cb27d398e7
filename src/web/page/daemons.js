// The table of daemons: this controller's, and what its partner tells of its own.
import { badge, byId, el, repaint, svg } from "./dom.js";
import { state } from "./state.js";
import { age, clock, now, size } from "./times.js";

const states = {
  Up: ["ok", "Up"], Down: ["bad", "Down"], Starting: ["warn", "Starting"],
  GoingDown: ["warn", "Going down"], Ended: ["bad", "Ended"], "Up?": ["warn", "Up?"], Unclassified: ["off", "Not known yet"],
};

/** A daemon's state for the eye and in words. */
export function stateBadge(daemon) {
  if (daemon.Failing > 0) return badge("bad", `Failing ${daemon.Failing}×`);
  const [level, word] = states[daemon.State] ?? ["off", daemon.State ?? "Not known"];
  if (daemon.Suspended) return badge("off", `${word}, suspended`);
  return badge(level, daemon.Restarting ? `${word}, restarting` : word);
}

/** Since when, and for how long; the latter is kept right by tick(). */
export const sinceCell = (time) => (Number.isFinite(time)
  ? [el("time", { datetime: new Date(time).toISOString() }, clock(time)), " ",
     el("span", { class: "muted", "data-since": String(time) }, age(time))]
  : []);

/** Brings all ages up to date. */
export function tick() {
  for (const span of document.querySelectorAll("[data-since]")) {
    span.textContent = age(Number(span.dataset.since));
  }
}

// The course of the last hour, for the eye; the number stands beside it.
function course(values) {
  if (!values || values.length < 2) return null;
  const least = Math.min(...values), range = Math.max(...values) - least || 1;
  const points = values.map((value, i) =>
    `${(64 * i / (values.length - 1)).toFixed(1)},${(15 - 13 * (value - least) / range).toFixed(1)}`);
  return svg("svg", { class: "course", viewBox: "0 0 64 17", width: "64", height: "17", "aria-hidden": "true" },
    svg("polyline", { points: points.join(" "), fill: "none" }));
}

function restarts(daemon) {
  const counts = daemon.Restarts ?? {};
  if (counts.LastDay === undefined) return "";
  const ever = counts.Ever > counts.LastDay ? el("span", { class: "muted" }, ` of ${counts.Ever} ever`) : null;
  return [String(counts.LastDay), ever];
}

const hurts = (daemon) => daemon.Failing > 0 || (daemon.State !== "Up" && !daemon.Suspended);

function row(daemon, partner, other, open) {
  const memory = daemon.DataKiB > 0 ? size(daemon.DataKiB) : "";
  return el("tr", { class: hurts(daemon) ? "hurts" : "" },
    el("th", { scope: "row" }, el("button", {
      type: "button", class: "name", "data-key": daemon.Name, "aria-haspopup": "dialog",
      click: () => open(daemon.Name) }, daemon.Name)),
    el("td", {}, stateBadge(daemon)),
    el("td", { class: "since" }, sinceCell(daemon.since)),
    el("td", { class: "number" }, restarts(daemon)),
    el("td", { class: "number" }, course(state.courses[daemon.Name]), memory),
    el("td", { class: "words" }, daemon.LastOutcome ?? ""),
    el("td", { class: "words" }, daemon.NextStep ?? ""),
    other ? el("td", { class: other.silent ? "old" : "" }, partner ? stateBadge(partner) : "") : null);
}

const heads = ["Daemon", "State", "Since", "Restarts, last day", "Memory", "Last outcome", "Next step"];

/** Paints the table; `open(name)` shows one daemon. */
export function paintDaemons(open) {
  const here = state.controllers[state.letter];
  if (!here) return;
  const other = Object.values(state.controllers).find((one) => !one.isThis && one.daemons.length);
  const partners = new Map(other?.daemons.map((daemon) => [daemon.Name, daemon]));
  const sorted = [...here.daemons].sort((a, b) =>
    hurts(b) - hurts(a) || a.Name.localeCompare(b.Name));
  repaint(byId("daemons"), el("table", {},
    el("caption", { class: "unseen" }, `The daemons of controller ${state.letter}, at ${clock(now()).slice(0, 5)}`),
    el("thead", {}, el("tr", {}, heads.map((text) => el("th", { scope: "col" }, text)),
      other ? el("th", { scope: "col" }, `On ${other.letter}`) : null)),
    el("tbody", {}, sorted.map((daemon) => row(daemon, partners.get(daemon.Name), other, open)))));
}
