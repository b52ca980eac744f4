import type { Permission } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { Alert, type AlertButton } from "./Alert";

const texts: Record<Permission, { title: string; message: string; buttons: AlertButton[] }> = {
  camera: {
    title: "Let this app use the camera?",
    message: "It can then take photos and record movies while you use it.",
    buttons: [
      { key: "deny", label: "Don’t allow" },
      { key: "allow", label: "Allow", strong: true },
    ],
  },
  photoLibrary: {
    title: "Let this app see your photos?",
    message: "It can then read your photo library and add to it.",
    buttons: [
      { key: "authorized", label: "Allow all photos", strong: true },
      { key: "limited", label: "Allow some photos" },
      { key: "denied", label: "Don’t allow" },
    ],
  },
  location: {
    title: "Let this app know where you are?",
    message: "It can then write the place into the pictures that you take.",
    buttons: [
      { key: "deny", label: "Don’t allow" },
      { key: "allow", label: "Allow while using", strong: true },
    ],
  },
};

export function Prompt(props: { permission: Permission; covered: boolean }) {
  const { permission, covered } = props;
  const { client, cue } = useSimulator();
  const { title, message, buttons } = texts[permission];
  const step = cue.value?.step;
  const cued = step?.do === "answer" && step.prompt === permission ? step.with : null;
  return (
    <Alert
      system
      covered={covered}
      title={title}
      message={message}
      buttons={buttons.map((button) => ({ ...button, cued: button.key === cued }))}
      onChoose={(key) => void client.act({ do: "answer", prompt: permission, with: key })}
    />
  );
}
