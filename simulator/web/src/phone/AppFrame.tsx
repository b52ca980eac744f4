import { useEffect, useRef } from "preact/hooks";
import { connectPage } from "../frame/connectPage";
import { useSimulator } from "../ui/context";

const sandbox = "allow-scripts allow-same-origin allow-forms allow-modals allow-downloads";

/** The app's page, which hears of the device only through its bridge. */
export function AppFrame({ covered, dark }: { covered: boolean; dark: boolean }) {
  const { client, model } = useSimulator();
  const frame = useRef<HTMLIFrameElement>(null);

  useEffect(
    () => connectPage(client, window, () => frame.current?.contentWindow ?? null),
    [client],
  );

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
