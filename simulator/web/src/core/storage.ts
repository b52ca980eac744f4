/** The tab's storage, where it keeps what it needs to find its phone again. */
export interface TabStorage {
  getItem(key: string): string | null;
  setItem(key: string, value: string): void;
}

/** For the log, where something cannot be stored. */
export const storageFull =
  "The browser has no room to remember this tab: after a reload, settings of this page or the arguments of earlier commands may be missing.";

/** False where the browser has no room for the text. */
export function tryStore(storage: TabStorage, key: string, text: string): boolean {
  try {
    storage.setItem(key, text);
    return true;
  } catch {
    return false;
  }
}
