import type { ComponentChildren } from "preact";
import { useSimulator } from "../../state/context";
import { Section } from "../../ui/controls";
import type { IconName } from "../../ui/icons";

/** A section of the panel, which is open or not as its user left it. */
export function PanelSection(props: {
  title: string;
  icon: IconName;
  aside?: ComponentChildren;
  children: ComponentChildren;
}) {
  const { title } = props;
  const simulator = useSimulator();
  const { openSections } = simulator.preferences;
  const open = openSections.includes(title);
  const onToggle = (shown: boolean) => {
    if (shown === open) return;
    const others = openSections.filter((other) => other !== title);
    simulator.prefer({ openSections: shown ? [...others, title] : others });
  };
  return <Section {...props} open={open} onToggle={onToggle} />;
}
