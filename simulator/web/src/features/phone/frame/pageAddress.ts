import { isAddress } from "../../../core/pageMessages";

/** Where the app's page was, so that it is there again when it, or the whole tab, is loaded anew. */

const storageKey = "vecamera.page";

export function rememberAddress(session: string, address: string): void {
  try {
    sessionStorage.setItem(storageKey, JSON.stringify({ session, address }));
  } catch {
    // Without storage the page begins at its start.
  }
}

function recallAddress(session: string): string | undefined {
  try {
    const kept = JSON.parse(sessionStorage.getItem(storageKey) ?? "{}") as Record<string, unknown>;
    if (kept.session !== session || typeof kept.address !== "string") return undefined;
    return isAddress(kept.address) ? kept.address : undefined;
  } catch {
    return undefined;
  }
}

/** What the frame is given: the app's entrance, which leads on to where the page was. */
export function frameAddress(app: string, session: string): string {
  const address = recallAddress(session);
  return address === undefined ? app : `${app}&to=${encodeURIComponent(address)}`;
}
