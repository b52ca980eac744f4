import type { DeviceSetup, DeviceState, Json } from "./messages";

/** Parts of a device that a session's server keeps to itself. */
const serverOwned = ["temporaryDirectory", "mainBundle", "files", "urlTransformer"];

export const withoutServerOwned = (device: DeviceSetup): DeviceSetup =>
  Object.fromEntries(Object.entries(device).filter(([key]) => !serverOwned.includes(key)));

export const serverOwnedIn = (device: DeviceSetup): string[] =>
  Object.keys(device).filter((key) => serverOwned.includes(key));

/** Undefined: that part goes back to its default. */
export type DeviceChanges = { [key: string]: Json | undefined };

/** The device as it stands now with some of it changed, for a restart that keeps the rest. */
export function changedDevice(
  device: DeviceSetup,
  state: DeviceState,
  changes: DeviceChanges,
): DeviceSetup {
  // The library stays as it is, and a seed would draw identifiers that it has already.
  const { library: _, seed: __, ...rest } = withoutServerOwned(device);
  // The state of a device that could not be made says nothing about it.
  const now =
    Object.keys(state.permissions).length > 0
      ? { authorization: state.permissions, faults: state.faults as never }
      : {};
  const changed: DeviceChanges = { ...rest, ...now, ...changes };
  return Object.fromEntries(
    Object.entries(changed).filter((entry): entry is [string, Json] => entry[1] !== undefined),
  );
}
