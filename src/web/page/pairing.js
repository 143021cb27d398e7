// How the controllers are paired and joined, as a picture and in words.
import { byId, el, repaint, svg } from "./dom.js";
import { state } from "./state.js";

const paths = { Inner: 62, Outer: 104 };

// What the box has room for; the card above has the whole text.
const short = (text) => (text.length > 18 ? `${text.slice(0, 17)}…` : text);

function box(letter, x) {
  const controller = state.controllers[letter];
  const { FirmwareVersion: version, SerialNumber: serial } = controller?.manager ?? {};
  const role = controller?.pairing?.Role ?? "role not known";
  const lines = [[role, ""], [version ?? "", "muted"], [serial ?? "", "muted"]];
  return svg("g", { class: controller?.silent ? "box silent" : "box" },
    svg("rect", { x, y: 20, width: 150, height: 120, rx: 10 }),
    svg("text", { x: x + 14, y: 48, class: "letter" }, letter),
    svg("text", { x: x + 40, y: 48, class: "muted" },
      controller?.isThis ? "this controller" : controller?.silent ? "silent" : "partner"),
    lines.map(([text, kind], i) => svg("text", { x: x + 14, y: 78 + 22 * i, class: kind }, short(text))));
}

function cable(name) {
  const status = state.controllers[state.letter]?.ports[name]?.LinkStatus;
  const word = { LinkUp: "up", LinkDown: "down" }[status] ?? "not known";
  const y = paths[name];
  return svg("g", { class: `cable ${word === "up" ? "ok" : word === "down" ? "bad" : "off"}` },
    svg("line", { x1: 170, y1: y, x2: 350, y2: y }),
    svg("text", { x: 260, y: y - 8, "text-anchor": "middle" }, `${name.toLowerCase()} path: ${word}`));
}

const gives = (action) => /^push/i.test(action ?? "");

/** What goes from where to where: [what, from] by the actions that the pairing decided. */
export function pushes(pairing, letter) {
  const other = letter === "A" ? "B" : "A";
  return [["firmware", pairing.FirmwareAction], ["settings", pairing.SettingsAction]]
    .map(([what, action]) =>
      [what, gives(action) ? letter : /^receive/i.test(action ?? "") ? other : null])
    .filter(([, from]) => from !== null);
}

function arrow([what, from], index) {
  const y = 128 + 20 * index;
  const [tail, head] = from === "A" ? [176, 344] : [344, 176];
  const back = from === "A" ? -9 : 9;
  return svg("g", { class: "arrow" },
    svg("path", { d: `M${tail} ${y}H${head}M${head + back} ${y - 5}L${head} ${y}L${head + back} ${y + 5}` }),
    svg("text", { x: 260, y: y - 5, "text-anchor": "middle" }, what));
}

const inWords = (pairing, pushed) => [
  ...(pairing.Stall ? [`Stalled: ${pairing.Stall}.${pairing.Remedy ? ` To go on: ${pairing.Remedy}.` : ""}`] : []),
  ...(pairing.Push ? [`Push: ${pairing.Push}`] : []),
  ...(pushed.length || pairing.Push ? [] : ["Nothing is pushed."]),
  ...(pairing.Explanation ?? []),
];

/** Paints the picture, and the rule below it. */
export function paintPairing() {
  const pairing = state.controllers[state.letter]?.pairing ?? {};
  const pushed = pushes(pairing, state.letter);
  const said = pushed.map(([what, from]) => `${what} goes from ${from}`).join(", ");
  repaint(byId("pairing"),
    svg("svg", { viewBox: "0 0 520 200", class: "picture", role: "img", "aria-labelledby": "picture-title picture-desc" },
      svg("title", { id: "picture-title" }, "Two controllers, two paths, the midplane"),
      svg("desc", { id: "picture-desc" }, said || "nothing is pushed"),
      svg("path", { class: "midplane", d: "M95 140V172M425 140V172" }),
      svg("rect", { class: "midplane", x: 20, y: 172, width: 480, height: 22, rx: 5 }),
      svg("text", { x: 260, y: 188, "text-anchor": "middle", class: "muted" }, `midplane ${state.place}`),
      box("A", 20), box("B", 350), cable("Inner"), cable("Outer"), pushed.map(arrow)),
    el("ul", { class: "rules" }, inWords(pairing, pushed).map((line) => el("li", {}, line))));
}
