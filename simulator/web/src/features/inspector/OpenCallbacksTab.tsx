import type { ReadonlySignal } from "@preact/signals";
import { useSimulator } from "../../state/context";
import { Icon } from "../../ui/icons";
import type { CommandRow } from "./commands";
import { whatWouldClose } from "./openCallbacks";

const sentence = (why: string) => `${why.charAt(0).toUpperCase()}${why.slice(1)}.`;

export function OpenCallbacksTab(props: { commands: ReadonlySignal<CommandRow[]> }) {
  const commands = props.commands.value;
  const state = useSimulator().model.state.value;
  if (!state || state.callbacks.length === 0)
    return (
      <div class="empty">
        <Icon name="check" size={36} />
        <p>Every callback has its answer.</p>
        <p class="hint">
          A callback that waits, or that nobody will ever call, appears here with the reason.
        </p>
      </div>
    );
  const isReplaced = (name: string) =>
    commands.some((row) => row.name === name && row.replacedBy !== null);
  return (
    <ul class="open-callbacks">
      {state.callbacks.map((callback) => (
        <li key={callback.name}>
          <h3>
            <code>
              {callback.command} <span class="command-name">{callback.name}</span>
            </code>
          </h3>
          <dl>
            <dt>Why it is open</dt>
            <dd>{sentence(callback.why)}</dd>
            <dt>What would close it</dt>
            <dd>{whatWouldClose(callback, state, isReplaced(callback.name))}</dd>
          </dl>
        </li>
      ))}
    </ul>
  );
}
