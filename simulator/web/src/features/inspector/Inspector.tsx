import { useComputed, useSignal } from "@preact/signals";
import { useMemo } from "preact/hooks";
import { RecordTab, Replay } from "../replay";
import { useSimulator } from "../../state/context";
import { Tabs } from "../../ui/controls";
import { commandsOf } from "./commands";
import { CommandsTab } from "./CommandsTab";
import { OpenCallbacksTab } from "./OpenCallbacksTab";
import { LogTab } from "./LogTab";

export function Inspector() {
  const simulator = useSimulator();
  const { model, state } = simulator;
  const tab = useSignal("commands");
  const commands = useComputed(() => commandsOf(model.entries.value));
  const count = useComputed(() => commands.value.length);
  // It goes on while another tab is shown.
  const replay = useMemo(() => new Replay(simulator), [simulator]);
  const open = state.callbacks.value?.length ?? 0;
  return (
    <section class="inspector" aria-label="Inspector">
      <h2 class="visually-hidden">Inspector</h2>
      <Tabs
        label="Inspector"
        active={tab.value}
        onChange={(key) => {
          tab.value = key;
        }}
        items={[
          {
            key: "commands",
            label: "Commands",
            count: count.value,
            content: () => <CommandsTab commands={commands} />,
          },
          {
            key: "open",
            label: "Open callbacks",
            short: "Callbacks",
            count: open,
            content: () => <OpenCallbacksTab commands={commands} />,
          },
          { key: "log", label: "Log", content: () => <LogTab /> },
          {
            key: "record",
            label: "Record and replay",
            short: "Replay",
            content: () => <RecordTab replay={replay} />,
          },
        ]}
      />
    </section>
  );
}
