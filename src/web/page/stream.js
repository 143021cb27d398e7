// A worker that the tabs of a browser share: it holds the one event stream and the login.

const silence = 40000; // ms; the controller says at least a blank line every 15 s
const longestPause = 15000;

const tabs = new Set();
let login = null; // {token, user, session}
let running = null; // ends the stream that runs
let last = { kind: "lost", since: Date.now() };

function tell(message) {
  if (message.kind === "live" || message.kind === "lost") last = message;
  for (const tab of tabs) tab.postMessage(message);
}

function eventsOf(record) {
  const data = record.split("\n").filter((line) => line.startsWith("data:"))
    .map((line) => line.slice(5)).join("\n");
  if (!data) return [];
  try {
    return JSON.parse(data).Events ?? [];
  } catch {
    return [];
  }
}

async function read(body, heard) {
  const reader = body.pipeThrough(new TextDecoderStream()).getReader();
  let text = "";
  for (;;) {
    const { done, value } = await reader.read();
    if (done) return;
    heard();
    const records = (text + value).replaceAll("\r\n", "\n").split("\n\n");
    text = records.pop();
    for (const record of records) {
      for (const event of eventsOf(record)) tell({ kind: "event", event });
    }
  }
}

// Whether the login still holds.
async function listenOnce(end) {
  let watch = 0;
  const heard = () => {
    clearTimeout(watch);
    watch = setTimeout(() => end.abort(), silence);
  };
  heard();
  try {
    const response = await fetch("/redfish/v1/EventService/SSE?log=info", {
      headers: { "X-Auth-Token": login.token, Accept: "text/event-stream" },
      credentials: "omit", cache: "no-store", signal: end.signal,
    });
    if (response.status === 401) return false;
    if (!response.ok) return true;
    tell({ kind: "live", since: Date.now() });
    await read(response.body, heard);
  } catch {
    // A connection that broke is taken up below.
  } finally {
    clearTimeout(watch);
  }
  return true;
}

async function listen() {
  const mine = (running = {});
  let pause = 500;
  while (running === mine) {
    const end = (mine.end = new AbortController());
    const wasLive = last.kind;
    const holds = await listenOnce(end);
    if (running !== mine) return;
    if (!holds) {
      stop();
      tell({ kind: "ended" });
      return;
    }
    if (last.kind === "live") {
      pause = 500;
      tell({ kind: "lost", since: Date.now() });
    } else if (wasLive === "lost") {
      pause = Math.min(pause * 2, longestPause);
    }
    await new Promise((resolve) => setTimeout(resolve, pause));
  }
}

function stop() {
  const mine = running;
  running = null;
  login = null;
  if (last.kind === "live") tell({ kind: "lost", since: Date.now() });
  mine?.end?.abort();
}

const answers = {
  hello: (tab) => tab.postMessage(login ? { kind: "login", login } : { kind: "stranger" }),
  login: (tab, message) => {
    if (login?.token === message.login.token) return tab.postMessage(last);
    stop();
    login = message.login;
    listen();
  },
  logout: () => {
    stop();
    tell({ kind: "ended" });
  },
  bye: (tab) => tabs.delete(tab),
};

function attach(tab) {
  tabs.add(tab);
  tab.onmessage = ({ data }) => answers[data.kind]?.(tab, data);
}

if ("onconnect" in self) self.onconnect = ({ ports }) => attach(ports[0]);
else attach(self); // a browser without shared workers: each tab has its own
