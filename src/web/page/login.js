// Logging in and out by a session of Redfish.
import { ask, keepLogin, login } from "./api.js";
import { byId } from "./dom.js";

const sessions = "/redfish/v1/SessionService/Sessions";

async function begin(user, password) {
  const { response } = await ask("POST", sessions, { UserName: user, Password: password });
  return { user, token: response.headers.get("X-Auth-Token"), session: response.headers.get("Location") };
}

/** Shows the form; resolves with the login. */
export function askLogin(reason) {
  const form = byId("login-form");
  byId("login").hidden = false;
  byId("login-problem").textContent = reason ?? (location.protocol === "https:" ? ""
    : "A login is taken by TLS only; the console's \"interface up Https\" opens that.");
  byId("user").focus();
  return new Promise((resolve) => {
    form.onsubmit = async (event) => {
      event.preventDefault();
      try {
        keepLogin(null);
        const fresh = await begin(byId("user").value, byId("password").value);
        keepLogin(fresh);
        form.reset();
        form.onsubmit = null;
        byId("login").hidden = true;
        resolve(fresh);
      } catch (problem) {
        byId("login-problem").textContent =
          problem.status ? problem.message : "The controller cannot be reached.";
        byId("password").select();
      }
    };
  });
}

/** Ends the session; without a network it ends by itself when its time is over. */
export async function logOut() {
  try {
    await ask("DELETE", login().session);
  } catch {
    // It ends by itself.
  }
  keepLogin(null);
}
