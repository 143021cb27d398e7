// What is known of the enclosure, read by Redfish: whole at first, then what events name.
import { Refusal, ask, getIfAny, login, members, newest } from "./api.js";
import { begun, now, setClock } from "./times.js";

const most = 500; // lines and records kept

/** All that the page shows. */
export const state = {
  link: { isLive: false, since: Date.now() },
  user: "", rights: "", place: "", letter: "",
  controllers: {}, log: [], audit: [], memory: [], courses: {},
};

const base = (letter) => `/redfish/v1/Managers/${letter}`;

// Ages become times once, so that they stand still. The partner's are as old as its telling.
function daemonOf(json, before) {
  let since = begun(json.StateSeconds ?? 0, Date.parse(json.AsOf));
  if (before && before.State === json.State && Math.abs(before.since - since) < 3000) {
    since = before.since;
  }
  return { ...json, Name: json.Id ?? json.Name, since };
}

async function readDaemons(controller) {
  const all = await members(`${base(controller.letter)}/Oem/Mc/Daemons?$expand=.`);
  controller.daemons = all.map((json) =>
    daemonOf(json, controller.daemons.find((known) => known.Name === json.Id)));
}

export async function readDaemon(letter, name) {
  const controller = state.controllers[letter];
  const json = await getIfAny(`${base(letter)}/Oem/Mc/Daemons/${encodeURIComponent(name)}`);
  if (!controller || !json) return;
  const place = controller.daemons.findIndex((known) => known.Name === json.Id);
  const fresh = daemonOf(json, controller.daemons[place]);
  if (place < 0) controller.daemons.push(fresh);
  else controller.daemons[place] = fresh;
}

async function readInterfaces(controller) {
  const json = await getIfAny(`${base(controller.letter)}/NetworkProtocol`);
  controller.interfaces = json?.Oem?.Mc?.Interfaces ?? [];
}

async function readPairing(controller) {
  controller.pairing = (await getIfAny(`${base(controller.letter)}/Oem/Mc/Pairing`)) ?? {};
}

async function readPorts(controller) {
  const all = await members(`${base(controller.letter)}/EthernetInterfaces?$expand=.`);
  controller.ports = Object.fromEntries(all.map((port) => [port.Id, port]));
}

async function readManager(json) {
  const known = state.controllers[json.Id] ?? { daemons: [], interfaces: [], ports: {}, pairing: {} };
  const mc = json.Oem?.Mc ?? {};
  const controller = Object.assign(known, {
    letter: json.Id, isThis: mc.IsThisController === true, manager: json,
    silent: mc.IsThisController !== true && json.Status?.State === "UnavailableOffline",
    heard: now(),
  });
  if (controller.isThis) {
    state.letter = json.Id;
    setClock(json.DateTime);
  }
  state.controllers[json.Id] = controller;
  await Promise.all([readDaemons, readInterfaces, readPairing, readPorts].map((f) => f(controller)));
  const told = controller.daemons.map((d) => Date.parse(d.AsOf)).filter((t) => !Number.isNaN(t));
  controller.asOf = told.length ? Math.min(...told) : controller.isThis ? now() : null;
}

export async function readManagers() {
  const all = await members("/redfish/v1/Managers?$expand=.");
  await Promise.all(all.map(readManager));
  state.place = (await getIfAny("/redfish/v1/Chassis/Enclosure"))?.SerialNumber ?? "";
}

// A line of the log says itself when it was written and how grave it is.
const stamp = /^(\d{4}-\d\d-\d\d) (\d\d:\d\d:\d\d)\S* +\w+ +/;

function lineOf(id, time, severity, text) {
  const own = stamp.exec(text);
  return { id, severity: severity ?? "OK", text: own ? text.slice(own[0].length) : text,
           time: Date.parse(own ? `${own[1]}T${own[2]}Z` : time) };
}

const entryOf = (json) => lineOf(json.Id, json.Created, json.Severity, json.Message ?? "");

export async function readLogs() {
  const entries = `${base(state.letter)}/LogServices`;
  state.log = (await newest(`${entries}/Log/Entries`, 200)).map(entryOf);
  if (state.rights === "Administrator") await readAudit();
}

export async function readAudit() {
  state.audit = (await newest(`${base(state.letter)}/LogServices/Audit/Entries`, 100)).map(entryOf);
}

export const historyOf = async (letter, name) =>
  (await getIfAny(`${base(letter)}/Oem/Mc/Daemons/${encodeURIComponent(name)}/History`))
    ?.Entries ?? [];

/** Rows of numbers by the names of their columns, the time in ms. */
export async function readMemory() {
  try {
    const lines = (await ask("GET", "/memory.csv")).text.trim().split("\n");
    const names = lines.shift().split(",");
    state.memory = lines.map((line) => Object.fromEntries(line.split(",").map((cell, i) =>
      [names[i], i === 0 ? Date.parse(cell) : Number(cell)])));
  } catch (problem) {
    if (!(problem instanceof Refusal) || problem.status === 401) throw problem;
    state.memory = []; // a controller that keeps no samples
  }
  await readCourses();
}

// A daemon's memory over the last hour.
async function readCourses() {
  const report = await getIfAny("/redfish/v1/TelemetryService/MetricReports/DaemonMemory");
  const courses = {};
  for (const value of report?.MetricValues ?? []) {
    const name = /Daemons\/([^/#]+)/.exec(value.MetricProperty ?? "")?.[1] ?? value.MetricId;
    const number = Number(value.MetricValue);
    if (name && !Number.isNaN(number)) (courses[decodeURIComponent(name)] ??= []).push(number);
  }
  state.courses = courses;
}

export async function readUser(name) {
  state.user = name;
  const account = await getIfAny(`/redfish/v1/AccountService/Accounts/${encodeURIComponent(name)}`);
  state.rights = account?.RoleId ?? "";
}

/** Everything, after a login or a gap in the stream. */
export async function readAll() {
  await Promise.all([readUser(login().user), readManagers()]);
  await Promise.all([readLogs(), readMemory()]);
}

// What is read anew for an event, by the path of what it is about.
const readers = [
  [/\/Managers\/([AB])\/Oem\/Mc\/Daemons\/([^/]+)/, (m) => readDaemon(m[1], decodeURIComponent(m[2]))],
  [/\/Managers\/([AB])\/Oem\/Mc\/Daemons$/, (m) => readDaemons(state.controllers[m[1]])],
  [/\/Managers\/([AB])\/NetworkProtocol/, (m) => readInterfaces(state.controllers[m[1]])],
  [/\/Managers\/([AB])\/Oem\/Mc\/Pairing/, (m) => readPairing(state.controllers[m[1]])],
  [/\/Managers\/([AB])\/EthernetInterfaces/, (m) => readPorts(state.controllers[m[1]])],
  [/\/TelemetryService/, () => readCourses()],
  [/\/LogServices\/Audit/, () => readAudit()],
  [/\/Managers\/([AB])$/, () => readManagers()],
];

/** Takes a line of the log that came as an event; whether it was one. */
export function takeLine(event) {
  const id = /\/LogServices\/Log\/Entries\/(\d+)/.exec(event.OriginOfCondition?.["@odata.id"])?.[1];
  if (!id) return false;
  if (state.log.some((line) => line.id === id)) return true;
  state.log.push(lineOf(id, event.EventTimestamp, event.MessageSeverity,
    event.MessageArgs?.at(-1) ?? event.Message ?? ""));
  state.log.splice(0, Math.max(0, state.log.length - most));
  return true;
}

const columns = ["totalBytes", "usedBytes", "freeBytes", "extraBytes", "sysBytesFree", "sysPercentFree"];

/** Takes the numbers of a sample of memory, where the event brings one. */
export function takeSample(event) {
  if (!/\.MemorySampled$/.test(event.MessageId ?? "")) return;
  const row = Object.fromEntries(columns.map((name, i) => [name, Number(event.MessageArgs?.[i])]));
  state.memory = [...state.memory, { timeStamp: Date.parse(event.EventTimestamp), ...row }];
}

/** The reading that brings up to date what an event is about, and a name to do it once by. */
export function readingFor(event) {
  const origin = event.OriginOfCondition?.["@odata.id"] ?? "";
  for (const [pattern, read] of readers) {
    const match = pattern.exec(origin);
    if (match) return { name: match[0], read: () => read(match) };
  }
  return { name: "all", read: readManagers };
}

export const act = (letter, name, action) =>
  ask("POST", `${base(letter)}/Oem/Mc/Daemons/${encodeURIComponent(name)}/Actions/McDaemon.${action}`, {});

export const flip = (letter, name, enabled) =>
  ask("PATCH", `${base(letter)}/NetworkProtocol`,
    { Oem: { Mc: { Interfaces: [{ Name: name, Enabled: enabled }] } } });
