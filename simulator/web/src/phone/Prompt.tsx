import type { Permission } from "../protocol/messages";
import { useSimulator } from "../ui/context";
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

export function Prompt({ permission }: { permission: Permission }) {
  const { client, cue } = useSimulator();
  const { title, message, buttons } = texts[permission];
  const cued = cue?.step.do === "answer" && cue.step.prompt === permission ? cue.step.with : null;
  return (
    <Alert
      system
      title={title}
      message={message}
      buttons={buttons.map((button) => ({ ...button, cued: button.key === cued }))}
      onChoose={(key) => void client.act({ do: "answer", prompt: permission, with: key })}
    />
  );
}
