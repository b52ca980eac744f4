import { batch, computed, effect, type ReadonlySignal, type Signal, signal } from "@preact/signals";
import type { LibraryAsset, Step } from "../core/messages";
import type { SimulatorClient } from "../core/SimulatorClient";
import { storageFull, type TabStorage } from "../core/storage";
import type { KnownState, Signals } from "../core/Store";
import type { Model } from "../core/model";
import { type Preferences, recallPreferences, rememberPreferences } from "./preferences";

/** What a replay is about to do, and the media that it does it with. */
export interface Cue {
  step: Step;
  media: string | null;
}

/** The browser's settings that the page follows. */
export interface Surroundings {
  dark: ReadonlySignal<boolean>;
  still: ReadonlySignal<boolean>;
}

/** What the page shows and sets. Components read its signals, and are drawn anew by those alone. */
export class Simulator {
  readonly model: Signals<Model>;
  readonly state: Signals<KnownState>;
  readonly cue = signal<Cue | null>(null);
  /** Whether a replay plays the user: then nobody else answers for them. */
  readonly replaying = signal(false);
  /** The photo library as it is now; null until it has been asked for once. */
  readonly assets: ReadonlySignal<LibraryAsset[] | null>;
  /** Why the photo library could not be read, where it could not. */
  readonly libraryError: ReadonlySignal<string | null>;
  readonly dark: ReadonlySignal<boolean>;
  /** Whether anything may move by itself. */
  readonly moving: ReadonlySignal<boolean>;
  private readonly preferred: Signal<Preferences>;

  constructor(
    readonly client: SimulatorClient,
    private readonly storage: TabStorage,
    surroundings: Surroundings,
  ) {
    this.model = client.store.signals;
    this.state = client.store.state;
    this.preferred = signal(recallPreferences(storage));
    const { assets, error } = this.followLibrary();
    this.assets = assets;
    this.libraryError = error;
    this.dark = computed(() => {
      const { theme } = this.preferred.value;
      return theme === "auto" ? surroundings.dark.value : theme === "dark";
    });
    this.moving = computed(() => this.preferred.value.animations && !surroundings.still.value);
  }

  get preferences(): Preferences {
    return this.preferred.value;
  }

  prefer(changes: Partial<Preferences>): void {
    const preferences = { ...this.preferred.peek(), ...changes };
    this.preferred.value = preferences;
    if (!rememberPreferences(this.storage, preferences))
      this.client.store.dispatch({ kind: "note", text: storageFull });
  }

  /** Asks for the library whenever it changes. Nothing is known of a new device's. */
  private followLibrary() {
    const assets = signal<LibraryAsset[] | null>(null);
    const error = signal<string | null>(null);
    effect(() => {
      void this.model.device.value;
      assets.value = null;
    });
    effect(() => {
      const { library } = this.state;
      const { session, device } = this.model;
      void device.value;
      if (library.value === undefined || session.value === null) return;
      let outdated = false;
      const settle = (found: LibraryAsset[] | null, why: string | null) => {
        if (outdated) return;
        batch(() => {
          if (found) assets.value = found;
          error.value = why;
        });
      };
      this.client.library().then(
        (found) => settle(found, null),
        (failure: Error) => settle(null, failure.message),
      );
      return () => {
        outdated = true;
      };
    });
    return { assets, error };
  }
}
