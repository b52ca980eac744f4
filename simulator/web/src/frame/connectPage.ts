import { ConnectionLost, type SimulatorClient } from "../model/SimulatorClient";
import { isAnswer, type Json, type Step } from "../protocol/messages";
import { FrameBridge, type MessageSource } from "./FrameBridge";

/**
 * Connects the app's page to the phone until what it returns is called: its commands become steps,
 * and each gets its answer, or hears why none will come.
 */
export function connectPage(
  client: SimulatorClient,
  listenTo: MessageSource,
  frame: () => Window | null,
): () => void {
  const { store } = client;
  const bridge = new FrameBridge({
    listenTo,
    frame,
    appOrigin: () => store.model.appOrigin,
    run: (command: string, args: Json[]) => {
      const name = client.nextName(command);
      const step: Step = { do: command, as: name };
      if (command === "takePicture") step.arguments = args;
      client.step(step).catch((error: Error) => {
        // The phone tells whether it has the call when it is found again.
        if (error instanceof ConnectionLost) return;
        if (bridge.fail(name, error.message))
          store.dispatch({ kind: "notice", text: error.message });
      });
      return name;
    },
  });
  const deafen = client.listen({
    event: (event) => {
      if (isAnswer(event)) bridge.answer(event);
    },
    lost: () => bridge.doubt(),
    back: (callbacks) => bridge.settleDoubts(new Set(callbacks.map(({ name }) => name))),
    ended: (why) => bridge.lose(why),
  });
  return () => {
    deafen();
    bridge.close();
  };
}
