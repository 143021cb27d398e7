// Asks the controller by Redfish. The token is this tab's; no cookie is kept.

const root = "/redfish/v1";
const place = "mc-login";
const patience = 30000; // ms for an answer, all of it

/** {token, user, session} of this tab; without a token it is a stranger. */
export const login = () => JSON.parse(sessionStorage.getItem(place) ?? "{}");
export const keepLogin = (kept) => sessionStorage.setItem(place, JSON.stringify(kept ?? {}));

/** What the controller refused, in its own words. */
export class Refusal extends Error {
  constructor(status, words) {
    super(words);
    this.status = status;
  }
}

function wordsOf(body, status) {
  const info = body?.error?.["@Message.ExtendedInfo"]?.[0];
  return info?.Message ?? body?.error?.message ?? `The controller answered ${status}.`;
}

/** The response and its JSON; a Refusal is thrown for what was refused, another error
 *  where there was no answer. */
export async function ask(method, path, body) {
  const headers = { Accept: "application/json" };
  if (login().token) headers["X-Auth-Token"] = login().token;
  if (body !== undefined) headers["Content-Type"] = "application/json";
  const response = await fetch(path.startsWith("/") ? path : `${root}/${path}`, {
    method, headers, credentials: "omit", cache: "no-store", signal: AbortSignal.timeout(patience),
    body: body === undefined ? undefined : JSON.stringify(body),
  });
  const text = await response.text();
  let json = null;
  try {
    json = text ? JSON.parse(text) : null;
  } catch {
    json = null;
  }
  if (!response.ok) throw new Refusal(response.status, wordsOf(json, response.status));
  return { response, json, text };
}

export const get = async (path) => (await ask("GET", path)).json;

/** The same, null where the controller has no such thing or does not tell it. */
export async function getIfAny(path) {
  try {
    return await get(path);
  } catch (problem) {
    if (problem instanceof Refusal && problem.status !== 401) return null;
    throw problem;
  }
}

/** All members of a collection whole, page after page; none where there is no such collection. */
export async function members(path) {
  const all = [];
  for (let page = path; page;) {
    const json = await getIfAny(page);
    all.push(...(json?.Members ?? []));
    page = json?.["Members@odata.nextLink"];
  }
  return all;
}

/** The newest members of a long collection. */
export async function newest(path, most) {
  const count = (await getIfAny(`${path}?$top=0`))?.["Members@odata.count"] ?? 0;
  return members(`${path}?$skip=${Math.max(0, count - most)}`);
}
