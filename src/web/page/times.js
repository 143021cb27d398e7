// Times as they are shown: the controller's own clock, which may differ from the browser's.

let ahead = 0; // the controller's clock before ours, in milliseconds

/** The controller says what time it is. */
export function setClock(iso) {
  const told = Date.parse(iso);
  if (!Number.isNaN(told)) ahead = told - Date.now();
}

export const now = () => Date.now() + ahead;

/** "03:04:05", with the date where that is not today's. */
export function clock(time) {
  const date = new Date(time);
  if (Number.isNaN(date.getTime())) return "";
  const iso = date.toISOString();
  const today = new Date(now()).toISOString().slice(0, 10);
  return iso.startsWith(today) ? iso.slice(11, 19) : `${iso.slice(0, 10)} ${iso.slice(11, 19)}`;
}

/** "12 min": one unit is enough to judge by. */
export function span(seconds) {
  if (!(seconds >= 0)) return "0 s";
  if (seconds < 60) return `${Math.floor(seconds)} s`;
  if (seconds < 3600) return `${Math.floor(seconds / 60)} min`;
  if (seconds < 172800) return `${Math.floor(seconds / 3600)} h`;
  return `${Math.floor(seconds / 86400)} days`;
}

export const age = (time) => span((now() - time) / 1000);

/** When a state began that had lasted so many seconds at `then`, without which it is now. */
export const begun = (seconds, then) => Math.round(((then || now()) - seconds * 1000) / 1000) * 1000;

/** KiB with a unit to be read by people. */
export const size = (kib) => (kib >= 1024 ? `${(kib / 1024).toFixed(1)} MiB` : `${kib} KiB`);
