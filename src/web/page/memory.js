// The memory of 48 hours, as a plot and as a table.
import { byId, el } from "./dom.js";
import { state } from "./state.js";
import { clock } from "./times.js";

const mega = 1024 * 1024;
const series = [
  { label: "host, in use (MiB)", of: (row) => row.usedBytes / mega, colour: "--line-a", scale: "MiB" },
  { label: "host, claimed (MiB)", of: (row) => row.totalBytes / mega, colour: "--line-b", scale: "MiB", dash: [6, 4] },
  { label: "system, free (%)", of: (row) => row.sysPercentFree, colour: "--line-c", scale: "%", dash: [2, 3] },
];

let plot = null;
let drawn = null;

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

const axis = (scale, side, unit) => ({
  scale, side, stroke: colour("--muted"), size: 58, label: unit, labelSize: 18,
  grid: { show: side !== 1, stroke: colour("--line"), width: 1 }, ticks: { stroke: colour("--line"), width: 1 },
});

function options(width) {
  return {
    width, height: 240, tzDate: (ts) => uPlot.tzDate(new Date(ts * 1e3), "Etc/UTC"),
    scales: { x: { time: true, range: (_, from, to) => [Math.min(from, to - 1800), to] }, "%": { range: [0, 100] } },
    axes: [{ ...axis("x", 2), label: undefined, size: 40 }, axis("MiB", 3, "MiB"), axis("%", 1, "% free")],
    series: [{ label: "time (UTC)" }, ...series.map((one) => ({
      label: one.label, scale: one.scale, stroke: colour(one.colour), width: 2, dash: one.dash,
      value: (_, value) => (value == null ? "–" : value.toFixed(1)),
    }))],
  };
}

const data = () => [state.memory.map((row) => row.timeStamp / 1000),
  ...series.map((one) => state.memory.map(one.of))];

function table() {
  const step = Math.max(1, Math.ceil(state.memory.length / 96));
  const rows = state.memory.filter((_, i, all) => (all.length - 1 - i) % step === 0).reverse();
  return el("table", {},
    el("thead", {}, el("tr", {}, ["Time", ...series.map((one) => one.label)].map((text) => el("th", { scope: "col" }, text)))),
    el("tbody", {}, rows.map((row) => el("tr", {}, el("th", { scope: "row" }, clock(row.timeStamp)),
      series.map((one) => el("td", { class: "number" }, one.of(row).toFixed(1)))))));
}

function build(place) {
  plot?.destroy();
  const figure = el("figure", { role: "img", "aria-label": "Plot of the memory; the table below has the same data" });
  const details = el("details", { toggle: () => details.open && fill.replaceChildren(table()) },
    el("summary", {}, "The same as a table"));
  const fill = el("div", { class: "wide", tabindex: "0", role: "region", "aria-label": "Memory as a table" });
  details.append(fill);
  place.replaceChildren(figure, details);
  plot = new uPlot(options(Math.max(280, place.clientWidth - 4)), data(), figure);
}

/** Paints plot and table where the samples or `afresh` the colours or the width have changed. */
export function paintMemory(afresh = false) {
  const place = byId("memory");
  if (!state.memory.length || typeof uPlot === "undefined") {
    place.replaceChildren(el("p", { class: "muted" }, "There are no samples yet."));
    return;
  }
  if (afresh || !plot || !place.contains(plot.root)) build(place);
  else if (drawn !== state.memory) {
    plot.setData(data());
    const details = place.querySelector("details");
    if (details.open) details.lastChild.replaceChildren(table());
  }
  drawn = state.memory;
}

for (const query of ["(prefers-color-scheme: dark)"]) {
  matchMedia(query).addEventListener("change", () => paintMemory(true));
}
let resized = 0;
window.addEventListener("resize", () => {
  clearTimeout(resized);
  resized = setTimeout(() => plot && paintMemory(true), 200);
});
