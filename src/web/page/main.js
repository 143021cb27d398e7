// The page: login, then everything once, then what events tell.
import { keepLogin, login } from "./api.js";
import { notice } from "./ask.js";
import { paintBar, paintControllers, paintHeadline } from "./board.js";
import { paintDaemons, tick } from "./daemons.js";
import { openDetail, paintDetail, refreshDetail } from "./detail.js";
import { byId } from "./dom.js";
import { paintInterfaces } from "./interfaces.js";
import { connect } from "./live.js";
import { askLogin, logOut } from "./login.js";
import { paintLogs } from "./logs.js";
import { paintMemory } from "./memory.js";
import { paintPairing } from "./pairing.js";
import { readAll, readAudit, readingFor, state, takeLine, takeSample } from "./state.js";
import { now } from "./times.js";

function paint() {
  paintBar();
  if (byId("board").hidden) return;
  paintHeadline();
  paintControllers();
  paintDaemons(openDetail);
  paintInterfaces();
  paintPairing();
  paintDetail();
}

function paintAll() {
  paint();
  paintMemory();
  paintLogs();
}

// Events come in bursts: what they name is read once, a moment later.
const waiting = new Map();
let timer = 0;

async function readWaiting() {
  timer = 0;
  const readings = [...waiting.values()];
  waiting.clear();
  try {
    await Promise.all(readings.map((read) => read()));
    if (state.rights === "Administrator") await readAudit();
  } catch {
    return readAllLater();
  }
  state.link.asOf = now();
  paintAll();
}

function hearEvent(event) {
  state.link.asOf = now();
  if (takeLine(event)) return paintLogs();
  takeSample(event);
  const { name, read } = readingFor(event);
  waiting.set(name, async () => {
    await read();
    await refreshDetail(name.split("/").at(-1));
  });
  timer ||= setTimeout(readWaiting, 150);
}

// After each gap in the stream all is read anew, since events were missed; likewise where an answer
// did not come, for as long as the stream lasts.
let isStreaming = false;
let again = 0;

function readAllLater() {
  clearTimeout(again);
  if (isStreaming) again = setTimeout(readAllAnew, 3000);
}

async function readAllAnew() {
  try {
    await readAll();
  } catch {
    readAllLater();
    return paint();
  }
  Object.assign(state.link, { isLive: isStreaming, asOf: now() });
  byId("board").hidden = false;
  paintAll();
  tick();
}

function hearLive() {
  isStreaming = true;
  readAllAnew();
}

function hearLost() {
  isStreaming = state.link.isLive = false;
  paint();
}

let isAsking = false;

async function enter(reason) {
  if (isAsking) return;
  isAsking = true;
  say({ kind: "login", login: await askLogin(reason) });
  isAsking = false;
}

const hear = {
  stranger: () => enter(),
  login: ({ login: known }) => {
    keepLogin(known);
    say({ kind: "login", login: known });
  },
  ended: () => {
    const was = login().token;
    keepLogin(null);
    state.user = "";
    hearLost();
    enter(was ? "The login has ended; please log in again." : undefined);
  },
  live: hearLive,
  lost: hearLost,
  event: ({ event }) => hearEvent(event),
};

const say = connect((message) => hear[message.kind]?.(message));
byId("logout").addEventListener("click", async () => {
  await logOut();
  notice("");
  byId("board").hidden = true;
  say({ kind: "logout" });
});
if (login().token) say({ kind: "login", login: login() });
else say({ kind: "hello" });
setInterval(tick, 10000);
