import { endOf } from "../../core/pageCommands";
import type { DeviceState, OpenCallback } from "../../core/messages";

/**
 * What would bring an open callback its answer, in plain words. `replaced`: a later command came,
 * which may have its answer by now.
 */
export function whatWouldClose(
  callback: OpenCallback,
  state: DeviceState,
  replaced: boolean,
): string {
  const end = endOf(callback.command.replace(":", ""));
  if (end !== null) return end;
  if (replaced) return "Nothing: a later command took its place.";
  if (state.waiting)
    return "A free file name: remove the file of that name from the temporary files.";
  if (state.prompts.length > 0) return "An answer to the system prompt on the phone.";
  const top = state.screen.at(-1);
  if (top?.kind === "alert")
    return `A button of the alert: ${top.actions.map((action) => `“${action}”`).join(" or ")}.`;
  if (top?.kind === "picker")
    return top.sourceType === 1
      ? "Taking and using a picture, or backing out of the camera."
      : "Choosing from the library, or backing out of it.";
  if (state.location.running) return "A location fix, where the user allows the location.";
  return "Nothing that the user can do. A new command takes its place.";
}
