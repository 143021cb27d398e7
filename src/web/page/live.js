// This tab's end of the worker that holds the event stream.

const policy = window.trustedTypes?.createPolicy("mc", { createScriptURL: () => "/ui/stream.js" });
const place = policy ? policy.createScriptURL("") : "/ui/stream.js";

/** Calls `hear` with each message of the worker; `say` sends it one. */
export function connect(hear) {
  const options = { type: "module", name: "mc-stream" };
  const port = window.SharedWorker ? new SharedWorker(place, options).port
                                   : new Worker(place, options);
  port.onmessage = ({ data }) => hear(data);
  const say = (message) => port.postMessage(message);
  window.addEventListener("pagehide", (event) => !event.persisted && say({ kind: "bye" }));
  return say;
}
