import { useEffect, useRef } from "preact/hooks";
import { FrameBridge } from "../frame/FrameBridge";
import { isAnswer, type Json, type Step } from "../protocol/messages";
import { useSimulator } from "../ui/context";

const sandbox = "allow-scripts allow-same-origin allow-forms allow-modals allow-downloads";

/** The app's page, which hears of the device only through its bridge. */
export function AppFrame({ covered, dark }: { covered: boolean; dark: boolean }) {
  const { client, model } = useSimulator();
  const frame = useRef<HTMLIFrameElement>(null);

  useEffect(() => {
    const bridge = new FrameBridge({
      listenTo: window,
      frame: () => frame.current?.contentWindow ?? null,
      appOrigin: () => client.store.model.appOrigin,
      run: (command: string, args: Json[]) => {
        const name = client.nextName(command);
        const step: Step = { do: command, as: name };
        if (command === "takePicture") step.arguments = args;
        void client.act(step);
        return name;
      },
    });
    const unsubscribe = client.onEvent((event) => {
      if (isAnswer(event)) bridge.answer(event);
    });
    const ended = client.store.subscribe(() => {
      const { connection } = client.store.model;
      if (connection.kind === "ended") bridge.lose(connection.why);
    });
    return () => {
      ended();
      unsubscribe();
      bridge.close();
    };
  }, [client]);

  useEffect(() => {
    // The page inside takes light and dark from its frame.
    frame.current?.style.setProperty("color-scheme", dark ? "dark" : "light");
  }, [dark, model.appVersion, model.app]);

  if (model.app === "") return <div class="app-frame waiting" />;
  return (
    <iframe
      ref={frame}
      key={`${model.session}-${model.appVersion}`}
      class="app-frame"
      title="Your app"
      src={model.app}
      sandbox={sandbox}
      inert={covered}
    />
  );
}
