import { useEffect, useState } from "preact/hooks";
import type { LibraryAsset } from "../protocol/messages";
import { useSimulator } from "./context";

/** The photo library as it is now; asked for anew whenever it changes. */
export function useLibrary(): { assets: LibraryAsset[] | null; failed: string | null } {
  const { client, model } = useSimulator();
  const [assets, setAssets] = useState<LibraryAsset[] | null>(null);
  const [failed, setFailed] = useState<string | null>(null);
  const version = model.state?.library;
  useEffect(() => {
    if (version === undefined) return;
    let gone = false;
    client.library().then(
      (found) => {
        if (gone) return;
        setAssets(found);
        setFailed(null);
      },
      (error: Error) => !gone && setFailed(error.message),
    );
    return () => {
      gone = true;
    };
  }, [client, version, model.session]);
  return { assets, failed };
}
