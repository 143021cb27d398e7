// What stands above the tables: the sentence, the two controllers, and the connection.
import { badge, byId, el, repaint } from "./dom.js";
import { headline } from "./headline.js";
import { sinceCell } from "./daemons.js";
import { state } from "./state.js";
import { clock } from "./times.js";

/** The sentence. It is announced when it changes, and holds no age, so that it rarely does. */
export function paintHeadline() {
  const { level, text, others } = headline(state);
  const place = byId("headline");
  place.className = `card headline ${level}`;
  document.title = `${level === "ok" ? "✓" : "✕"} ${text.slice(0, 60)}`;
  const shown = el("p", { class: "sentence", role: "status" }, text);
  const known = place.querySelector(".sentence");
  const list = others.length
    ? el("ul", {}, others.slice(0, 5).map((one) => el("li", {}, one.text)),
        others.length > 5 ? el("li", {}, `and ${others.length - 5} more`) : null)
    : null;
  if (!known) {
    place.replaceChildren(el("span", { class: "sign", "aria-hidden": "true" }), shown, el("div", { id: "others" }));
  } else if (known.textContent !== text) known.textContent = text;
  place.querySelector(".sign").textContent = level === "ok" ? "✓" : level === "warn" ? "!" : "✕";
  repaint(byId("others"), list);
}

const fact = (name, ...value) => [el("dt", {}, name), el("dd", {}, ...value)];

function summary(controller) {
  const count = (holds) => controller.daemons.filter(holds).length;
  const all = controller.daemons.length, up = count((daemon) => daemon.State === "Up");
  const off = count((daemon) => daemon.State !== "Up" && daemon.Suspended);
  if (!all) return badge("off", "not told");
  if (up === all) return badge("ok", `all ${all} up`);
  return badge(up + off === all ? "ok" : "bad", `${up} of ${all} up${off ? `, ${off} suspended` : ""}`);
}

function condition(controller) {
  if (controller.isThis) return badge(state.link.isLive ? "ok" : "bad", state.link.isLive ? "live" : "not reached");
  return controller.silent ? badge("bad", "silent") : badge("ok", "answers");
}

function card(controller) {
  const { manager } = controller;
  const open = controller.interfaces.filter((one) => one.Enabled).length;
  const address = controller.ports.Host?.IPv4Addresses?.[0]?.Address;
  const old = controller.silent || !state.link.isLive;
  return el("article", { class: old ? "card controller old" : "card controller", "aria-label": `Controller ${controller.letter}` },
    el("header", { class: "row" },
      el("h2", {}, `Controller ${controller.letter}`),
      el("span", { class: "muted" }, controller.isThis ? "this one" : "partner"), condition(controller)),
    el("dl", {},
      fact("Daemons", summary(controller)),
      controller.interfaces.length ? fact("Interfaces", `${open} of ${controller.interfaces.length} on`) : null,
      controller.pairing?.Role ? fact("Role", controller.pairing.Role) : null,
      fact("Firmware", manager.FirmwareVersion ?? "not known"),
      fact("Serial", manager.SerialNumber ?? "not known"),
      address ? fact("Address", address) : null,
      old && controller.asOf ? fact("As of", sinceCell(controller.asOf), " ago") : null));
}

/** Both controllers side by side, A at the left as in the enclosure. */
export function paintControllers() {
  const all = Object.values(state.controllers).sort((a, b) => a.letter.localeCompare(b.letter));
  repaint(byId("controllers"), ...all.map(card));
}

/** Who is here and whether the page is live. */
export function paintBar() {
  const { isLive, asOf } = state.link;
  const words = isLive ? "Live" : `Connection lost; data from ${clock(asOf)}`;
  const place = byId("link");
  place.className = isLive ? "ok" : "bad";
  if (place.textContent !== words) place.textContent = state.user ? words : "";
  byId("place").textContent = state.place;
  byId("who").textContent = state.user ? `${state.user}${state.rights ? `, ${state.rights}` : ""}` : "";
  byId("logout").hidden = !state.user;
  byId("board").classList.toggle("stale", !isLive);
}
