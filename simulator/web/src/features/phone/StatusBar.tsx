import { useEffect, useState } from "preact/hooks";
import { useSimulator } from "../../state/context";

const timeText = (instant: number, zone: string): string => {
  try {
    return new Intl.DateTimeFormat("en-GB", {
      hour: "2-digit",
      minute: "2-digit",
      timeZone: zone,
    }).format(instant);
  } catch {
    return "--:--";
  }
};

/** The device's own time, and decorations. */
export function StatusBar() {
  const { model, state } = useSimulator();
  const clock = state.clock.value;
  const [now, setNow] = useState(Date.now());
  useEffect(() => {
    if (clock?.mode === "fixed") return;
    const timer = setInterval(() => setNow(Date.now()), 5000);
    return () => clearInterval(timer);
  }, [clock?.mode]);
  const instant = clock?.mode === "fixed" ? Date.parse(clock.now) : now;
  const { timeZone } = model.device.value;
  const zone = typeof timeZone === "string" ? timeZone : "UTC";
  return (
    <div class="status-bar">
      <span class="status-time">{Number.isNaN(instant) ? "" : timeText(instant, zone)}</span>
      <span class="status-signs" aria-hidden="true">
        {state.location.value?.running && <span class="status-location">locating</span>}
        <svg width="44" height="12" viewBox="0 0 44 12" fill="currentColor">
          <rect x="0" y="8" width="3" height="4" rx="1" />
          <rect x="5" y="5" width="3" height="7" rx="1" />
          <rect x="10" y="2" width="3" height="10" rx="1" />
          <rect x="20" y="1.5" width="20" height="9" rx="3" fill="none" stroke="currentColor" />
          <rect x="22" y="3.5" width="13" height="5" rx="1.5" />
          <rect x="41.5" y="4" width="2" height="4" rx="1" />
        </svg>
      </span>
    </div>
  );
}
