import { useState } from "preact/hooks";
import { Icon } from "./icons";

/** A small picture; where it cannot be shown, a tile that says so. */
export function Thumbnail({ address, alt }: { address: string; alt: string }) {
  // The address that failed: another one is tried anew.
  const [failed, setFailed] = useState<string | null>(null);
  if (failed === address)
    return (
      <span class="broken-picture" role="img" aria-label={`${alt} (broken)`.trim()}>
        <Icon name="warning" size={20} />
        <span aria-hidden="true">Broken</span>
      </span>
    );
  return <img src={address} alt={alt} loading="lazy" onError={() => setFailed(address)} />;
}
