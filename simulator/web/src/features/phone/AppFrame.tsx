import { useEffect, useMemo, useRef } from "preact/hooks";
import { connectPage } from "./frame/connectPage";
import { frameAddress, rememberAddress } from "./frame/pageAddress";
import { useSimulator } from "../../state/context";

const sandbox = "allow-scripts allow-same-origin allow-forms allow-modals allow-downloads";

/** The app's page, which hears of the device only through its bridge. */
export function AppFrame({ covered }: { covered: boolean }) {
  const simulator = useSimulator();
  const { client, model } = simulator;
  const [app, session, version] = [model.app.value, model.session.value, model.appVersion.value];
  const dark = simulator.dark.value;
  const frame = useRef<HTMLIFrameElement>(null);
  // Where the page goes by itself is no reason to load it.
  const address = useMemo(
    () => ({ version, href: frameAddress(app, session ?? "") }),
    [app, session, version],
  );

  useEffect(
    () =>
      connectPage(
        client,
        window,
        () => frame.current?.contentWindow ?? null,
        (message) => {
          if (message.kind === "location")
            rememberAddress(model.session.peek() ?? "", message.address);
        },
      ),
    [client, model],
  );

  useEffect(() => {
    // The page inside takes light and dark from its frame.
    frame.current?.style.setProperty("color-scheme", dark ? "dark" : "light");
  }, [dark, version, app]);

  if (app === "") return <div class="app-frame waiting" />;
  return (
    <iframe
      ref={frame}
      key={`${session}-${address.version}`}
      class="app-frame"
      title="Your app"
      src={address.href}
      sandbox={sandbox}
      allow="camera; microphone; geolocation"
      inert={covered}
    />
  );
}
