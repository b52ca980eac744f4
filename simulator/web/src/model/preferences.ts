import type { LocationSettings } from "../media/LocationDriver";
import type { Permission } from "../protocol/messages";
import { type TabStorage, tryStore } from "./storage";

export type Theme = "auto" | "light" | "dark";

/** What the person at the desk has set; no part of the device, so never recorded. */
export interface Preferences {
  theme: Theme;
  landscape: boolean;
  animations: boolean;
  singleKeys: boolean;
  /** What prompts are answered with as they show; "ask": the person answers on the phone. */
  promptAnswers: Record<Permission, string>;
  generatedScene: boolean;
  frontCamera: boolean;
  location: LocationSettings;
}

export const defaultPreferences: Preferences = {
  theme: "auto",
  landscape: false,
  animations: true,
  singleKeys: true,
  promptAnswers: { camera: "ask", photoLibrary: "ask", location: "ask" },
  generatedScene: false,
  frontCamera: true,
  location: {
    mode: "fix",
    delay: 10,
    fix: { latitude: 54.1797, longitude: 7.8865, altitude: 41 },
  },
};

const key = "vecamera.preferences";

export function recallPreferences(storage: TabStorage): Preferences {
  try {
    const text = storage.getItem(key);
    return text === null ? defaultPreferences : { ...defaultPreferences, ...JSON.parse(text) };
  } catch {
    return defaultPreferences;
  }
}

/** False where the browser has no room for them; they hold until the tab is closed. */
export const rememberPreferences = (storage: TabStorage, preferences: Preferences): boolean =>
  tryStore(storage, key, JSON.stringify(preferences));

/** The `answer` step's `with` for what the person has set beforehand. */
export const promptChoices: Record<Permission, readonly (readonly [string, string])[]> = {
  camera: [
    ["ask", "Ask me"],
    ["allow", "Allow"],
    ["deny", "Don’t allow"],
  ],
  photoLibrary: [
    ["ask", "Ask me"],
    ["authorized", "Allow all"],
    ["limited", "Allow some"],
    ["denied", "Don’t allow"],
    ["restricted", "Restricted"],
  ],
  location: [
    ["ask", "Ask me"],
    ["allow", "Allow"],
    ["deny", "Don’t allow"],
  ],
};
