// Whether all is well, in one sentence: a function of what is known, and of nothing else.
import { clock } from "./times.js";

const list = (names) =>
  names.length < 3 ? names.join(" and ") : `${names[0]}, ${names[1]} and ${names.length - 2} more`;

const named = (controller, names) => `${list(names)} on controller ${controller.letter}`;

const be = (names) => (names.length === 1 ? "is" : "are");

const which = (controller, holds) => controller.daemons.filter(holds);

// One sentence about the daemons for which something holds, nothing where there are none.
const about = (holds, words) => (controller) => {
  const found = which(controller, holds);
  return found.length ? [words(controller, found)] : [];
};

const isFailing = (daemon) => daemon.Failing > 0;
const isDown = (daemon) => daemon.State === "Down" && !isFailing(daemon) && !daemon.Suspended;
const isBetween = (daemon) => ["GoingDown", "Starting"].includes(daemon.State) && !daemon.Suspended;

const since = (found) => (found.length === 1 ? ` since ${clock(found[0].since)}` : "");
// Without its seconds, which would be old at once.
const next = (daemon) =>
  (daemon.NextStep ? ` Next: ${daemon.NextStep.replace(/ in \d+ s$/, "")}.` : "");
const names = (found) => found.map((daemon) => daemon.Name);

// The worst first. A row: how bad, and what to say about a controller.
const rules = [
  ["bad", about(isFailing, (c, d) => d.length === 1
    ? `${named(c, names(d))} keeps failing: ${d[0].Failing} restarts of late.`
    : `${named(c, names(d))} keep failing.`)],
  ["bad", about(isDown, (c, d) => `${named(c, names(d))} ${be(d)} down${since(d)}.` +
    (d.length === 1 ? next(d[0]) : ""))],
  ["bad", (c) => (c.pairing.Stall ? [`Pairing is stalled: ${c.pairing.Stall}.`] : [])],
  ["warn", (c) => (c.silent ? [`Controller ${c.letter} is silent; what is shown of it is old.`] : [])],
  ["warn", (c) => Object.values(c.ports).filter((port) => port.LinkStatus === "LinkDown")
    .map((port) => `The ${port.Id.toLowerCase()} path between the controllers is down.`)],
  ["warn", about(isBetween, (c, d) => `${named(c, names(d))} ${be(d)} on the way up or down.`)],
  ["warn", (c) => {
    const off = c.interfaces.filter((one) => one.Managed && one.EnabledAtNextStart && !one.Enabled);
    return off.length ? [`${named(c, off.map((one) => one.Name))} ${be(off)} off until the next start.`]
                      : [];
  }],
  ["note", about((daemon) => daemon.Suspended,
    (c, d) => `${named(c, names(d))} ${be(d)} suspended: nobody restarts ${d.length === 1 ? "it" : "them"}.`)],
];

// What is told of a silent controller is old: only its silence counts.
const holds = (controller, index) => !controller.silent || index === 3;

/** All that is wrong, worst first, and then what is of note: {level, text}. */
export function problems(state) {
  const controllers = Object.values(state.controllers)
    .sort((one, other) => other.isThis - one.isThis);
  const found = rules.flatMap(([level, words], index) => controllers
    .filter((controller) => holds(controller, index))
    .flatMap((controller) => words(controller).map((text) => ({ level, text }))));
  if (state.link.isLive) return found;
  return [{ level: "bad", text: `The connection is lost: all that is shown is as of ${clock(state.link.asOf)}.` },
    ...found];
}

/** {level, text, others}: the sentence, and what else there is. */
export function headline(state) {
  const [first, ...others] = problems(state);
  if (first && first.level !== "note") return { ...first, others };
  return { level: "ok", text: "All is well.", others: first ? [first, ...others] : [] };
}
