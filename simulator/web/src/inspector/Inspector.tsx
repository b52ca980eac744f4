import { useMemo, useState } from "preact/hooks";
import { RecordTab } from "../replay/RecordTab";
import { useReplay } from "../replay/useReplay";
import { useSimulator } from "../ui/context";
import { Tabs } from "../ui/controls";
import { commandsOf } from "./commands";
import { CommandsTab } from "./CommandsTab";
import { OpenCallbacksTab } from "./OpenCallbacksTab";
import { LogTab } from "./LogTab";

export function Inspector() {
  const { model } = useSimulator();
  const [tab, setTab] = useState("commands");
  const commands = useMemo(() => commandsOf(model.entries), [model.entries]);
  const replay = useReplay();
  const open = model.state?.callbacks.length ?? 0;
  return (
    <section class="inspector" aria-label="Inspector">
      <h2 class="visually-hidden">Inspector</h2>
      <Tabs
        label="Inspector"
        active={tab}
        onChange={setTab}
        items={[
          {
            key: "commands",
            label: "Commands",
            count: commands.length,
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
