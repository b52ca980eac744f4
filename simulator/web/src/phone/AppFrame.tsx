import { useEffect, useMemo, useRef } from "preact/hooks";
import { connectPage } from "../frame/connectPage";
import { frameAddress, rememberAddress } from "../frame/pageAddress";
import { useSimulator } from "../ui/context";

const sandbox = "allow-scripts allow-same-origin allow-forms allow-modals allow-downloads";

/** The app's page, which hears of the device only through its bridge. */
export function AppFrame({ covered, dark }: { covered: boolean; dark: boolean }) {
  const { client, model } = useSimulator();
  const frame = useRef<HTMLIFrameElement>(null);
  const session = model.session ?? "";
  // Where the page goes by itself is no reason to load it.
  const address = useMemo(
    () => frameAddress(model.app, session),
    [model.app, session, model.appVersion],
  );

  useEffect(
    () =>
      connectPage(
        client,
        window,
        () => frame.current?.contentWindow ?? null,
        (message) => {
          if (message.kind === "location")
            rememberAddress(client.store.model.session ?? "", message.address);
        },
      ),
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
      src={address}
      sandbox={sandbox}
      allow="camera; microphone; geolocation"
      inert={covered}
    />
  );
}
