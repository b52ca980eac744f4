import { useEffect, useRef, useState } from "preact/hooks";
import type { Json } from "../../core/messages";
import type { Entry } from "../../core/model";
import { useSimulator } from "../../state/context";
import { Note, Switch } from "../../ui/controls";
import { shortened, textOf } from "../../core/json";

const maxLines = 500;

interface Line {
  n: number;
  at: number | null;
  kind: string;
  text: string;
}

const rest = (value: object, ...without: string[]): string =>
  Object.entries(value as Record<string, Json | undefined>)
    .filter(([key]) => !without.includes(key))
    .flatMap(([key, one]) => (one === undefined ? [] : [`${key} ${textOf(shortened(one))}`]))
    .join(", ");

const lineOf = (entry: Entry): Line => {
  if (entry.type === "command") {
    const { n, command, name, refused } = entry;
    const text = `${command} ${name} ${textOf(shortened(JSON.stringify(entry.arguments)))}`;
    const end = refused === undefined ? "" : `, refused: ${refused}`;
    return { n, at: null, kind: "page", text: text + end };
  }
  if (entry.type === "trace")
    return {
      n: entry.n,
      at: entry.at,
      kind: "trace",
      text: `${entry.what} ${rest(entry, "type", "n", "at", "step", "what")}`,
    };
  const { event } = entry;
  if (event.event === "log")
    return { n: entry.n, at: entry.at, kind: textOf(event.level), text: textOf(event.msg) };
  return { n: entry.n, at: entry.at, kind: event.event, text: rest(event, "event") };
};

/** Every message of the device, in order. */
export function LogTab() {
  const { model } = useSimulator();
  const [traces, setTraces] = useState(false);
  const list = useRef<HTMLOListElement>(null);
  const entries = model.entries.value.filter((entry) => traces || entry.type !== "trace");
  const lines = entries.slice(-maxLines).map(lineOf);
  const following = useRef(true);
  const newest = lines.at(-1)?.n;
  useEffect(() => {
    const box = list.current?.parentElement;
    // Who has scrolled up is reading.
    if (box && following.current) box.scrollTop = box.scrollHeight;
  }, [newest]);
  return (
    <div class="log-tab">
      <Switch label="Show the device’s services at work" checked={traces} onChange={setTraces} />
      {model.notes.value.map((note) => (
        <Note key={note}>{note}</Note>
      ))}
      {entries.length > maxLines && (
        <p class="hint">
          The newest {maxLines} of {entries.length} lines.
        </p>
      )}
      <div
        class="log-scroll"
        tabIndex={0}
        role="log"
        aria-label="Log of the device"
        aria-live="polite"
        onScroll={({ currentTarget: box }) => {
          following.current = box.scrollTop + box.clientHeight > box.scrollHeight - 8;
        }}
      >
        {lines.length === 0 && <p class="hint">Nothing has happened yet.</p>}
        <ol class="log" ref={list}>
          {lines.map((line) => (
            <li key={line.n} class={`log-${line.kind}`}>
              <span class="log-time">{line.at === null ? "" : (line.at / 1000).toFixed(2)}</span>
              <span class="log-kind">{line.kind}</span>
              <span class="log-text">{line.text}</span>
            </li>
          ))}
        </ol>
      </div>
    </div>
  );
}
