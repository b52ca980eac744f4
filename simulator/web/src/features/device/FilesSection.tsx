import { useEffect, useState } from "preact/hooks";
import { useSimulator } from "../../state/context";
import { Button, Note } from "../../ui/controls";
import { ageText, bytesText } from "../../ui/format";
import { PanelSection } from "./PanelSection";

export function FilesSection() {
  const { client, state } = useSimulator();
  const known = state.files.value;
  const files = known ?? [];
  const waiting = state.waiting.value;
  const [now, setNow] = useState(Date.now());
  useEffect(() => {
    setNow(Date.now());
    const timer = setInterval(() => setNow(Date.now()), 10_000);
    return () => clearInterval(timer);
  }, [known]);
  return (
    <PanelSection title="Temporary files" icon="file" aside={files.length || undefined}>
      {files.length === 0 && <p class="hint">The temporary directory is empty.</p>}
      <ul class="files">
        {files.map((file) => (
          <li key={file.name}>
            <div class="file-text">
              <a href={client.file(file.name)} target="_blank" rel="noreferrer">
                {file.name}
              </a>
              <small>
                {[bytesText(file.bytes), ageText(file.modified, now), file.command]
                  .filter(Boolean)
                  .join(" · ")}
              </small>
            </div>
            <Button
              label={`Delete ${file.name}`}
              icon="trash"
              iconOnly
              look="quiet"
              onClick={() => void client.act({ do: "remove", file: file.name })}
            />
          </li>
        ))}
      </ul>
      {waiting && <Note>{waiting}</Note>}
    </PanelSection>
  );
}
