import type { ReadonlySignal } from "@preact/signals";
import { useState } from "preact/hooks";
import { useSimulator } from "../../state/context";
import { Note } from "../../ui/controls";
import { Icon } from "../../ui/icons";
import { AnswerView } from "./AnswerView";
import type { CommandRow } from "./commands";
import { notesOf } from "./notes";
import type { OptionRow } from "./options";
import { TimelineView } from "./TimelineView";

const statusOf = (row: CommandRow, open: boolean): { text: string; look: string } => {
  if (row.answer?.result === "success")
    return row.timeline.some(({ error }) => error !== undefined)
      ? { text: "success, but a step failed", look: "live" }
      : { text: "success", look: "good" };
  if (row.answer) return { text: row.answer.status ?? "error", look: "bad" };
  if (row.refused !== null) return { text: "refused", look: "bad" };
  if (row.replacedBy) return { text: "replaced", look: "muted" };
  return open ? { text: "open", look: "live" } : { text: "unanswered", look: "muted" };
};

export function CommandsTab(props: { commands: ReadonlySignal<CommandRow[]> }) {
  const commands = props.commands.value;
  // Newest first; the newest stands open until somebody folds it.
  const [folded, setFolded] = useState<Record<string, boolean>>({});
  const newest = commands.at(-1)?.name;
  if (commands.length === 0)
    return (
      <div class="empty">
        <Icon name="camera" size={36} />
        <p>Press a button of the app on the phone.</p>
        <p class="hint">Each command of the page appears here, with every step and why.</p>
      </div>
    );
  return (
    <ol class="commands">
      {[...commands].reverse().map((row) => {
        const open = !(folded[row.name] ?? row.name !== newest);
        return (
          <CommandView
            key={row.name}
            row={row}
            open={open}
            onToggle={(shown) => setFolded((before) => ({ ...before, [row.name]: !shown }))}
          />
        );
      })}
    </ol>
  );
}

function CommandView(props: { row: CommandRow; open: boolean; onToggle: (open: boolean) => void }) {
  const { row, open, onToggle } = props;
  const { state } = useSimulator();
  const isOpen = state.callbacks.value?.some(({ name }) => name === row.name) ?? false;
  const waiting = state.waiting.value;
  const status = statusOf(row, isOpen);
  return (
    <li class="command">
      <h3>
        <button
          type="button"
          class="command-head"
          aria-expanded={open}
          onClick={() => onToggle(!open)}
        >
          <span class="section-mark">
            <Icon name="chevron" size={16} />
          </span>
          <code class="command-title">
            {row.command}
            <span class="command-name">{row.name}</span>
          </code>
          <span class={`chip ${status.look}`}>{status.text}</span>
        </button>
      </h3>
      {open && (
        <div class="command-body">
          {isOpen && waiting && <Note>The plug-in waits: {waiting}</Note>}
          {row.refused !== null && <Note>It did not reach the plug-in: {row.refused}</Note>}
          {notesOf(row).map(({ rule, text, look }) => (
            <Note key={rule} look={look}>
              {text}
            </Note>
          ))}
          {row.answer && <AnswerView answer={row.answer} />}
          <TimelineView steps={row.timeline} />
          {row.decoded && <OptionsView rows={row.decoded.rows} />}
          {!row.arguments && <p class="hint">Its arguments are not known here.</p>}
        </div>
      )}
    </li>
  );
}

function OptionsView({ rows }: { rows: OptionRow[] }) {
  return (
    <table class="options">
      <caption>Options</caption>
      <thead>
        <tr>
          <th scope="col">Argument</th>
          <th scope="col">Option</th>
          <th scope="col">Value</th>
        </tr>
      </thead>
      <tbody>
        {rows.map((option) => (
          <tr key={option.name} class={option.given ? "given" : "default"}>
            <td>{option.position}</td>
            <th scope="row">
              <code>{option.name}</code>
            </th>
            <td>
              {option.value}
              {!option.given && <small>default</small>}
              {option.note && <p class="option-note">{option.note}</p>}
            </td>
          </tr>
        ))}
      </tbody>
    </table>
  );
}
