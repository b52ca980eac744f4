import { useEffect, useRef } from "preact/hooks";
import { bytesText, durationText } from "../../ui/format";
import type { TimelineStep } from "./timeline";

const detailsOf = (step: TimelineStep): string =>
  [
    step.width !== undefined && step.height !== undefined ? `${step.width} × ${step.height}` : "",
    step.bytes !== undefined ? bytesText(step.bytes) : "",
    step.path?.split("/").at(-1) ?? "",
    step.error ?? "",
  ]
    .filter(Boolean)
    .join(" · ");

export function TimelineView({ steps }: { steps: TimelineStep[] }) {
  // The user takes seconds and the machine milliseconds: bars compare the machine's work alone.
  const longest = Math.max(1, ...steps.filter(({ waits }) => !waits).map(({ ms }) => ms ?? 0));
  if (steps.length === 0) return null;
  return (
    <div class="timeline">
      <h4>Steps</h4>
      <ol>
        {steps.map((step, index) => (
          <li key={index} class={`stage-${step.stage}${step.error ? " failed" : ""}`}>
            <span class="stage">{step.stage}</span>
            <span class="stage-text">
              {step.label}
              <small>{detailsOf(step)}</small>
            </span>
            <span class="stage-time">
              {step.waits ? (
                <span class="waiting-time">
                  {step.ms === null ? "waiting" : durationText(step.ms)}
                </span>
              ) : (
                step.ms !== null && durationText(step.ms)
              )}
            </span>
            {!step.waits && step.ms !== null && <Bar part={step.ms / longest} />}
          </li>
        ))}
      </ol>
    </div>
  );
}

function Bar({ part }: { part: number }) {
  const bar = useRef<HTMLSpanElement>(null);
  useEffect(() => {
    if (bar.current) bar.current.style.width = `${Math.max(1.5, part * 100)}%`;
  }, [part]);
  return (
    <span class="bar" aria-hidden="true">
      <span ref={bar} />
    </span>
  );
}
