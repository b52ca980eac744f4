import { computed, effect, untracked } from "@preact/signals";
import type { Simulator } from "../../state/Simulator";
import { browserFix, LocationDriver } from "./LocationDriver";

/**
 * Answers prompts and gives fixes where that was set beforehand, as long as the page is open and nobody
 * else plays the user.
 */
export function standIn(simulator: Simulator): void {
  const { client, state, replaying } = simulator;
  const location = computed(() => simulator.preferences.location);
  const driver = new LocationDriver(location.peek(), {
    send: (fix) => void client.act({ do: "location", ...fix }),
    browserFix,
    failed: (text) => client.store.dispatch({ kind: "notice", text }),
    now: () => performance.now(),
    setTimer: (work, milliseconds) => window.setTimeout(work, milliseconds),
    clearTimer: (timer) => window.clearTimeout(timer),
  });
  effect(() => driver.configure(location.value));
  const looking = computed(
    () =>
      state.location.value?.running === true && state.permissions.value?.location === "authorized",
  );
  effect(() => driver.setLooking(looking.value));
  const played = computed(
    () => replaying.value || state.automatic.value?.automation === "off",
  );
  effect(() => driver.setReplaying(played.value));
  client.listen({
    onEvent: ({ event, manager }) => {
      if (event === "location" && manager === "start") driver.managerStarted();
    },
  });

  const prompt = computed(() => state.prompts.value?.at(-1));
  effect(() => {
    const asked = prompt.value;
    if (!asked) return;
    untracked(() => {
      const answer = simulator.preferences.promptAnswers[asked];
      if (answer !== "ask" && !played.value)
        void client.act({ do: "answer", prompt: asked, with: answer });
    });
  });
}
