// Questions before something is done, and notices of what came of it.
import { byId, el } from "./dom.js";

/** Shows a question; true where it was answered with the word of the deed. */
export function question(title, lines, deed, isGrave = false) {
  const dialog = byId("question");
  dialog.replaceChildren(
    el("h2", { id: "question-title" }, title),
    ...lines.map(({ text, isWarning }) => el("p", { class: isWarning ? "warning" : "" },
      isWarning ? "Warning: " : "", text)),
    el("form", { method: "dialog", class: "row" },
      el("button", { value: "no", class: "quiet", autofocus: true }, "Cancel"),
      el("button", { value: "yes", class: isGrave ? "grave" : "primary" }, deed)));
  dialog.returnValue = "no";
  dialog.showModal();
  return new Promise((resolve) => {
    dialog.addEventListener("close", () => resolve(dialog.returnValue === "yes"), { once: true });
  });
}

/** A line that stays until the next one, or until it is closed. */
export function notice(text, level = "bad") {
  byId("notice").replaceChildren(...(text
    ? [el("p", { class: `notice ${level}` }, el("span", {}, text),
        el("button", { type: "button", class: "quiet", click: () => notice("") }, "Close"))]
    : []));
}

/** Does something; what is refused is shown. Whether it was done. */
export async function attempt(deed, done) {
  try {
    await deed();
    notice(done, "ok");
    return true;
  } catch (problem) {
    notice(problem.status ? `Refused: ${problem.message}` : "The controller cannot be reached.");
    return false;
  }
}
