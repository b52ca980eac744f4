import { computed, type ReadonlySignal, signal } from "@preact/signals-core";
import type { DeviceState } from "./messages";
import { type Action, emptyModel, type Model, reduce } from "./model";

/** The values of a record, each a signal of its own. */
export type Signals<T> = { readonly [Key in keyof T]: ReadonlySignal<T[Key]> };

/** The phone's state; nothing is known of it before its first message. */
export type KnownState = { readonly [Key in keyof DeviceState]: DeviceState[Key] | undefined };

const signalsOf = <T>(keys: (keyof T)[], value: (key: keyof T) => T[keyof T]): Signals<T> =>
  Object.fromEntries(keys.map((key) => [key, computed(() => value(key))])) as Signals<T>;

const stateKeys = Object.keys({
  screen: 0,
  prompts: 0,
  permissions: 0,
  callbacks: 0,
  files: 0,
  faults: 0,
  clock: 0,
  location: 0,
  library: 0,
  waiting: 0,
  recorded: 0,
  recordingEnded: 0,
  broken: 0,
  automatic: 0,
} satisfies Record<keyof DeviceState, 0>) as (keyof DeviceState)[];

/** Holds the model. Whoever reads one of its signals is notified of changes of that value alone. */
export class Store {
  private readonly current = signal<Model>(emptyModel);
  readonly signals = signalsOf<Model>(
    Object.keys(emptyModel) as (keyof Model)[],
    (key) => this.current.value[key],
  );
  readonly state = signalsOf<KnownState>(stateKeys, (key) => this.signals.state.value?.[key]);

  /** The model as it is now, for who needs no notification. */
  get model(): Model {
    return this.current.peek();
  }

  dispatch(action: Action): void {
    this.current.value = reduce(this.current.peek(), action);
  }
}
