// One daemon: why it is as it is, its history, and what may be done with it.
import { attempt, question } from "./ask.js";
import { sinceCell, stateBadge } from "./daemons.js";
import { byId, el, repaint } from "./dom.js";
import { act, historyOf, readDaemon, state } from "./state.js";
import { clock, span } from "./times.js";

const deeds = [
  ["Start", "Starts it by its init script.", false],
  ["Stop", "It stays down until somebody starts it or resumes it.", true],
  ["Restart", "Stops it and starts it anew; what it serves is interrupted.", true],
  ["Suspend", "From then on nobody restarts it when it ends.", true],
  ["Resume", "From then on it is restarted again when it ends.", false],
];

byId("detail").addEventListener("close", () => {
  byId("daemons").querySelector(`[data-key="${CSS.escape(shown)}"]`)?.focus();
});

let shown = null; // the name of the daemon that the dialog shows
let history = [];

const find = () => state.controllers[state.letter]?.daemons.find((one) => one.Name === shown);

async function doIt(action, consequence, isGrave) {
  const name = shown;
  const sure = await question(`${action} ${name}?`, [{ text: consequence }], action, isGrave);
  if (!sure) return;
  byId("detail").close();
  await attempt(() => act(state.letter, name, action), `${action} of ${name} was asked for.`);
}

const entry = (one) => el("li", {},
  el("time", { datetime: one.Time }, clock(Date.parse(one.Time))), " ",
  el("strong", {}, one.Restart ? "restart" : `${one.From ?? "?"} → ${one.To ?? "?"}`),
  one.SecondsDown ? ` after ${span(one.SecondsDown)} down` : "",
  el("span", { class: "muted" },
    [one.What, one.Cause, one.Outcome].filter(Boolean).map((text) => ` · ${text}`)));

const timeline = () => (history.length
  ? el("ol", { class: "timeline", tabindex: "0", "aria-label": "History, newest first" },
      [...history].reverse().slice(0, 60).map(entry))
  : el("p", { class: "muted" }, "Nothing has happened to it yet."));

const whyOf = (daemon) => (Array.isArray(daemon.Why) ? daemon.Why : [daemon.Why].filter(Boolean));

/** Paints the dialog, where it is open. */
export function paintDetail() {
  const dialog = byId("detail"), daemon = find();
  if (!dialog.open || !daemon) return;
  const health = daemon.Health ? el("p", {}, `Health: ${daemon.Health}`) : null;
  const { By: by, Reason: reason, Until: until } = daemon.Suspension ?? {};
  const suspension = daemon.Suspension
    ? el("p", {}, `Suspended by ${by}${until ? ` until ${clock(Date.parse(until))}` : ""}${reason ? `: ${reason}` : ""}`) : null;
  repaint(dialog,
    el("header", { class: "row" },
      el("h2", { id: "detail-title" }, `${daemon.Name} on controller ${state.letter}`),
      el("button", { type: "button", class: "quiet", "data-key": "close", click: () => dialog.close() }, "Close")),
    el("p", {}, stateBadge(daemon), " since ", sinceCell(daemon.since),
      daemon.ProcessIds?.length ? ` · process ${daemon.ProcessIds.join(", ")}` : ""),
    health, suspension,
    el("h3", {}, "Why"),
    el("div", { class: "why", tabindex: "0", role: "region", "aria-label": "Why" }, whyOf(daemon).map((line) => el("p", {}, line))),
    el("h3", {}, "History"), timeline(),
    el("div", { class: "row deeds" }, deeds.map(([action, consequence, isGrave]) =>
      el("button", { type: "button", "data-key": action, click: () => doIt(action, consequence, isGrave) },
        action))));
}

/** Reads anew what the dialog shows, where it shows that daemon. */
export async function refreshDetail(name) {
  if (name !== shown || !byId("detail").open) return;
  history = await historyOf(state.letter, name);
  paintDetail();
}

/** Shows a daemon. */
export async function openDetail(name) {
  shown = name;
  history = [];
  const dialog = byId("detail");
  dialog.showModal();
  paintDetail();
  await readDaemon(state.letter, name);
  await refreshDetail(name);
  paintDetail();
}
