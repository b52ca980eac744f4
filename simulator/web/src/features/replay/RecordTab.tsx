import { useEffect, useRef } from "preact/hooks";
import { shortened, textOf } from "../../core/json";
import { serverOwnedIn } from "../../core/device";
import type { Step } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { Button, FileButton, Note, Select } from "../../ui/controls";
import { Icon } from "../../ui/icons";
import type { ReplayPlayer, ReplayState } from "./ReplayPlayer";
import { baseName, type DeviceScript } from "./script";
import type { Replay } from "./Replay";

const mediaFiles = "image/*,video/*,*/*";
const speeds = ["0.5", "1", "2", "4", "8"] as const;

const stepText = (step: Step): string => {
  const { do: what, ...keys } = step;
  const text = Object.entries(keys)
    .map(
      ([key, value]) =>
        `${key} ${typeof value === "string" ? textOf(shortened(value)).slice(0, 60) : textOf(value)}`,
    )
    .join(", ");
  return `${what}${text ? ` ${text}` : ""}`;
};

export function RecordTab({ replay }: { replay: Replay }) {
  const { client, model, state } = useSimulator();
  const recorded = state.recorded.value ?? 0;
  const recordingEnded = state.recordingEnded.value;
  const missing = replay.missing.value;
  const sharesName = (one: string) =>
    missing.filter((other) => baseName(other) === baseName(one)).length > 1;

  return (
    <div class="record">
      <section>
        <h3>This session</h3>
        <p class="hint">
          {recorded === 1 ? "1 step is recorded." : `${recorded} steps are recorded.`} As a device
          script, <code>vecamera run</code> plays it anywhere, with the same events.
        </p>
        {recordingEnded && <Note>{recordingEnded}</Note>}
        {model.session.value !== null && (
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
          onFiles={([file]) => file && void client.noticing(() => replay.load(file))}
        />
        {missing.length > 0 && (
          <div class="missing">
            <p>
              The script needs {missing.length === 1 ? "a file" : "files"} that it does not hold:
            </p>
            <ul>
              {missing.map((one) => (
                <li key={one}>
                  <code>{one}</code>
                  {sharesName(one) && (
                    <FileButton
                      label={`Choose ${one}…`}
                      icon="file"
                      accept={mediaFiles}
                      onFiles={(files) => replay.give(files, one)}
                    />
                  )}
                </li>
              ))}
            </ul>
            <FileButton
              label="Choose them…"
              icon="file"
              accept={mediaFiles}
              multiple
              onFiles={(files) => replay.give(files)}
            />
          </div>
        )}
        <Loaded replay={replay} />
      </section>
    </div>
  );
}

/** Drawn anew with each step that is played, and nothing around it. */
function Loaded({ replay }: { replay: Replay }) {
  const [name, script, player] = [replay.name.value, replay.script.value, replay.player.value];
  const state = replay.state.value;
  if (!script || !player || !state) return null;
  return <Playing name={name ?? ""} script={script} player={player} state={state} />;
}

function Playing(props: {
  name: string;
  script: DeviceScript;
  player: ReplayPlayer;
  state: ReplayState;
}) {
  const { name, script, player, state } = props;
  const { phase, next, total, why } = state;
  const list = useRef<HTMLOListElement>(null);
  const dropped = serverOwnedIn(script.device);

  useEffect(() => {
    list.current?.querySelector(".current")?.scrollIntoView({ block: "nearest" });
  }, [next]);

  return (
    <div class="replay">
      <p class="replay-name">
        <strong>{name}</strong>{" "}
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
            onClick={() => player.pause()}
          />
        ) : (
          <Button
            label={phase === "finished" ? "Play again" : "Play"}
            icon="play"
            look="primary"
            disabled={phase === "failed"}
            onClick={() => player.play()}
          />
        )}
        <Button
          label="Step"
          icon="next"
          disabled={phase === "finished" || phase === "failed"}
          onClick={() => void player.stepOnce()}
        />
        <Button label="Rewind" icon="rewind" onClick={() => player.rewind()} />
        <Select
          label="Speed"
          value={String(state.speed) as (typeof speeds)[number]}
          choices={speeds.map((speed) => [speed, `${speed}×`] as const)}
          onChange={(speed) => player.setSpeed(Number(speed))}
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
