// The management interfaces with their switches.
import { attempt, question } from "./ask.js";
import { byId, el, repaint } from "./dom.js";
import { flip, state } from "./state.js";

const waysIn = ["Https", "Http", "Ssh", "Telnet"];
const cameBy = location.protocol === "https:" ? "Https" : "Http";

/** What to warn of before `name` is closed: by a function of the interfaces and of the page's own. */
export function warnings(name, interfaces, own) {
  const lines = [];
  if (name === own) {
    lines.push(`this page came by ${own}: it loses its connection, and others cannot come this way.`);
  }
  const others = interfaces.filter((one) => one.Enabled && one.Name !== name && waysIn.includes(one.Name));
  if (waysIn.includes(name) && !others.length) {
    lines.push("this is the last way in: only the controller's own console opens another.");
  } else if (waysIn.includes(name) && name === "Https") {
    lines.push(`no login by web is possible any more; what stays open: ${others.map((one) => one.Name).join(", ")}.`);
  }
  return lines;
}

async function change(name) {
  const here = state.controllers[state.letter];
  const now = here.interfaces.find((one) => one.Name === name);
  const on = !now.Enabled;
  const lines = on ? [] : warnings(name, here.interfaces, cameBy);
  const sure = await question(`Switch ${name} ${on ? "on" : "off"}?`,
    [{ text: "It holds until the next start, which goes by the stored flag." },
     ...lines.map((text) => ({ text, isWarning: true }))],
    `Switch ${on ? "on" : "off"}`, lines.length > 0);
  if (sure) await attempt(() => flip(state.letter, name, on), `${name} was switched ${on ? "on" : "off"}.`);
}

const row = (one, partner, other) => el("tr", {},
  el("th", { scope: "row" }, one.Name, one.Name === cameBy ? el("span", { class: "muted" }, " this page") : null),
  el("td", {}, el("button", {
    type: "button", role: "switch", "aria-checked": String(one.Enabled), "aria-label": one.Name,
    class: "switch", "data-key": one.Name, disabled: !one.Managed, click: () => change(one.Name),
  }, el("span", { class: "knob", "aria-hidden": "true" }), el("span", {}, one.Enabled ? "On" : "Off"))),
  el("td", {}, !one.Managed ? "not managed" : one.EnabledAtNextStart ? "on" : "off"),
  other ? el("td", { class: other.silent ? "old" : "" }, partner ? (partner.Enabled ? "On" : "Off") : "") : null);

/** Paints the list. */
export function paintInterfaces() {
  const here = state.controllers[state.letter];
  const other = Object.values(state.controllers).find((one) => !one.isThis && one.interfaces.length);
  const known = here?.interfaces ?? [];
  repaint(byId("interfaces"), known.length
    ? el("table", {},
        el("thead", {}, el("tr", {}, ["Interface", "Now", "Next start"].map((text) => el("th", { scope: "col" }, text)),
          other ? el("th", { scope: "col" }, `On ${other.letter}`) : null)),
        el("tbody", {}, known.map((one) =>
          row(one, other?.interfaces.find((p) => p.Name === one.Name), other))))
    : el("p", { class: "muted" }, "This controller manages no interfaces."));
}
