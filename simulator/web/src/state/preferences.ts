import type { Fix, Permission } from "../core/messages";
import { type TabStorage, tryStore } from "../core/storage";

export type Theme = "auto" | "light" | "dark";

export type LocationMode = "none" | "fix" | "late" | "browser" | "track";

export interface LocationSettings {
  mode: LocationMode;
  fix: Fix;
  /** For `late`: after how many seconds the fix comes. */
  delay: number;
}

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
  /** The titles of the panel's sections that stand open. */
  openSections: readonly string[];
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
  openSections: ["Permissions", "Photo library"],
};

const key = "vecamera.preferences";

export function recallPreferences(storage: TabStorage): Preferences {
  try {
    const text = storage.getItem(key);
    if (text === null) return defaultPreferences;
    return { ...defaultPreferences, ...(JSON.parse(text) as Partial<Preferences>) };
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
