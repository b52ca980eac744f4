import { ConnectionLost, type SimulatorClient } from "../../../core/SimulatorClient";
import { takesArguments } from "../../../core/pageCommands";
import { isAnswer, type Json, type Step } from "../../../core/messages";
import { FrameBridge, type MessageSource } from "./FrameBridge";
import type { PageMessage } from "../../../core/pageMessages";

const lostBefore = "The connection was lost before the phone had the call.";

/** The list as it reaches the phone. Throws a sentence for the page where it cannot. */
function asJson(list: unknown[]): Json[] {
  try {
    return JSON.parse(JSON.stringify(list)) as Json[];
  } catch (error) {
    throw new Error(`The arguments are not JSON: ${(error as Error).message}`);
  }
}

/**
 * Connects the app's page to the phone until what it returns is called: its commands become steps,
 * and each gets its answer, or the reason why none will come.
 */
export function connectPage(
  client: SimulatorClient,
  listenTo: MessageSource,
  frame: () => Window | null,
  onPageMessage?: (message: PageMessage) => void,
): () => void {
  const { store } = client;
  const play = async (command: string, name: string, args: unknown[]) => {
    const step: Step = { do: command, as: name };
    if (takesArguments(command)) step.arguments = asJson(args);
    await client.step(step);
  };
  const bridge = new FrameBridge({
    listenTo,
    frame,
    appOrigin: () => store.model.appOrigin,
    onPageMessage,
    run: (command, args) => {
      const name = client.nextName(command);
      play(command, name, args).catch((error: Error) => {
        // Whether the phone has the call shows after the reconnection.
        if (error instanceof ConnectionLost) return;
        if (bridge.fail(name, error.message))
          store.dispatch({ kind: "notice", text: error.message });
      });
      return name;
    },
  });
  const unsubscribe = client.listen({
    onEvent: (event) => {
      if (isAnswer(event)) bridge.answer(event);
    },
    onLost: () => bridge.markUncertain(),
    onReconnected: (callbacks) => {
      const open = new Set(callbacks.map(({ name }) => name));
      for (const name of bridge.resolveUncertain(open, lostBefore))
        store.dispatch({ kind: "refused", name, why: lostBefore });
    },
    onEnded: (why) => bridge.disconnect(why),
  });
  return () => {
    unsubscribe();
    bridge.close();
  };
}
