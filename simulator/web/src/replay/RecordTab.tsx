import { useEffect, useRef, useState } from "preact/hooks";
import { serversOwnIn } from "../model/device";
import type { Step } from "../protocol/messages";
import { shortened } from "../inspector/answer";
import { useSimulator } from "../ui/context";
import { Button, FileButton, Select } from "../ui/controls";
import { Icon } from "../ui/icons";
import { ReplayPlayer, type ReplayState } from "./ReplayPlayer";
import {
  baseName,
  type DeviceScript,
  fileOfDataUrl,
  filesToAskFor,
  isDataUrl,
  parseScript,
  withFiles,
} from "./script";

interface Loaded {
  name: string;
  script: DeviceScript;
  missing: string[];
  given: Map<string, File>;
}

const speeds = ["0.5", "1", "2", "4", "8"] as const;

// What may happen while the settings are open; with anything else the user is back in the app.
const inSettings = new Set(["authorize", "advance", "state", "files", "library"]);

const stepText = (step: Step): string => {
  const { do: what, ...keys } = step;
  const text = Object.entries(keys)
    .map(
      ([key, value]) =>
        `${key} ${typeof value === "string" ? String(shortened(value)).slice(0, 60) : JSON.stringify(value)}`,
    )
    .join(", ");
  return `${what}${text ? ` ${text}` : ""}`;
};

export function RecordTab() {
  const { client, model } = useSimulator();
  const recorded = model.state?.recorded ?? 0;
  const [loaded, setLoaded] = useState<Loaded | null>(null);

  const load = (files: File[]) =>
    client.noticing(async () => {
      const file = files[0];
      if (!file) return;
      const script = parseScript(await file.text());
      setLoaded({
        name: file.name,
        script,
        missing: await filesToAskFor(script),
        given: new Map(),
      });
    });
  const give = (files: File[]) =>
    setLoaded((before) => {
      if (!before) return before;
      const given = new Map(before.given);
      for (const file of files)
        for (const name of before.missing) if (baseName(name) === file.name) given.set(name, file);
      return { ...before, given };
    });
  const missing = loaded?.missing.filter((name) => !loaded.given.has(name)) ?? [];

  return (
    <div class="record">
      <section>
        <h3>This session</h3>
        <p class="hint">
          {recorded === 1 ? "1 step is recorded." : `${recorded} steps are recorded.`} As a device
          script, <code>vecamera run</code> plays it anywhere, with the same events.
        </p>
        {model.state?.recordingEnded && (
          <p class="note">
            <Icon name="note" size={16} /> {model.state.recordingEnded}
          </p>
        )}
        {model.session !== null && (
          <a class="button primary" href={client.script()} download="session.json">
            <Icon name="download" size={18} />
            <span>Download the recording</span>
          </a>
        )}
      </section>
      <section>
        <h3>Replay</h3>
        <p class="hint">Plays a device script on this phone, slowly enough to watch.</p>
        <FileButton
          label="Load a script…"
          icon="upload"
          accept=".json,application/json"
          onFiles={(files) => void load(files)}
        />
        {loaded && missing.length > 0 && (
          <div class="missing">
            <p>
              The script needs {missing.length === 1 ? "a file" : "files"} that it does not hold:
            </p>
            <ul>
              {missing.map((name) => (
                <li key={name}>
                  <code>{name}</code>
                </li>
              ))}
            </ul>
            <FileButton
              label="Choose them…"
              icon="file"
              accept="image/*,video/*,*/*"
              multiple
              onFiles={give}
            />
          </div>
        )}
        {loaded && missing.length === 0 && (
          <Replay key={`${loaded.name}-${loaded.script.steps.length}`} loaded={loaded} />
        )}
      </section>
    </div>
  );
}

function Replay({ loaded }: { loaded: Loaded }) {
  const { client, setCue, setReplaying } = useSimulator();
  const [state, setState] = useState<ReplayState | null>(null);
  const player = useRef<ReplayPlayer | null>(null);
  const list = useRef<HTMLOListElement>(null);
  const { script, given } = loaded;
  const dropped = serversOwnIn(script.device);

  useEffect(() => {
    const shown = new Map<string, string>();
    const blobOf = (file: string): { bytes: Blob; name: string } => {
      if (isDataUrl(file)) return fileOfDataUrl(file);
      const bytes = given.get(file);
      if (!bytes) throw new Error(`The file ${file} was not chosen.`);
      return { bytes, name: baseName(file) };
    };
    const upload = async (file: string) => {
      const { bytes, name } = blobOf(file);
      return (await client.upload(bytes, name)).file;
    };
    const mediaOf = (step: Step): string | null => {
      const file = step.photo ?? step.movie;
      if (step.do !== "capture" || typeof file !== "string") return null;
      const url = shown.get(file) ?? URL.createObjectURL(blobOf(file).bytes);
      shown.set(file, url);
      return url;
    };
    const made = new ReplayPlayer(
      script,
      {
        restart: async (device) => {
          const { device: ready } = await withFiles({ device, steps: [] }, upload);
          await client.restart(ready, false);
        },
        step: async (step) => {
          if (!inSettings.has(step.do)) client.store.dispatch({ kind: "settings", open: false });
          const { steps } = await withFiles({ device: {}, steps: [step] }, upload);
          if (steps[0]) await client.step(steps[0]);
        },
        cue: (step) => setCue(step ? { step, media: mediaOf(step) } : null),
        setTimer: (work, milliseconds) => window.setTimeout(work, milliseconds),
        clearTimer: (timer) => window.clearTimeout(timer),
      },
      (next) => {
        setState(next);
        setReplaying(next.phase === "playing" || next.phase === "paused");
      },
    );
    player.current = made;
    setState(made.state);
    return () => {
      made.pause();
      setCue(null);
      setReplaying(false);
      for (const url of shown.values()) URL.revokeObjectURL(url);
    };
  }, [script, given]);

  useEffect(() => {
    list.current?.querySelector(".current")?.scrollIntoView({ block: "nearest" });
  }, [state?.next]);

  if (!state) return null;
  const { phase, next, total, why } = state;
  return (
    <div class="replay">
      <p class="replay-name">
        <strong>{loaded.name}</strong>{" "}
        <span>
          {next} of {total} steps
        </span>
      </p>
      <progress max={Math.max(1, total)} value={next} aria-label="Steps played" />
      <div class="button-row">
        {phase === "playing" ? (
          <Button
            label="Pause"
            icon="pause"
            look="primary"
            onClick={() => player.current?.pause()}
          />
        ) : (
          <Button
            label={phase === "finished" ? "Play again" : "Play"}
            icon="play"
            look="primary"
            disabled={phase === "failed"}
            onClick={() => player.current?.play()}
          />
        )}
        <Button
          label="Step"
          icon="next"
          disabled={phase === "finished" || phase === "failed"}
          onClick={() => void player.current?.stepOnce()}
        />
        <Button label="Rewind" icon="rewind" onClick={() => player.current?.rewind()} />
        <Select
          label="Speed"
          value={String(state.speed) as (typeof speeds)[number]}
          choices={speeds.map((speed) => [speed, `${speed}×`] as const)}
          onChange={(speed) => player.current?.setSpeed(Number(speed))}
        />
      </div>
      <p class="replay-status" role="status">
        {phase === "finished" && "The script was played to its end."}
        {phase === "failed" && why}
      </p>
      {dropped.length > 0 && (
        <p class="hint">
          Not used here, as the simulator has its own: <code>{dropped.join(", ")}</code>
        </p>
      )}
      <ol class="replay-steps" ref={list}>
        {script.steps.map((step, index) => (
          <li
            key={index}
            class={
              index < next ? "played" : index === next && phase !== "finished" ? "current" : ""
            }
            aria-current={index === next && phase !== "finished" ? "step" : undefined}
          >
            {stepText(step)}
          </li>
        ))}
      </ol>
    </div>
  );
}
