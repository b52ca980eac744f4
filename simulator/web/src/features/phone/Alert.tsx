import { useId } from "preact/hooks";
import { layer } from "./focusPhone";

export interface AlertButton {
  label: string;
  key: string;
  strong?: boolean;
  cued?: boolean;
}

/** A question that has to be answered: an alert of the plug-in, or a prompt of the system. */
export function Alert(props: {
  title: string;
  message: string;
  buttons: AlertButton[];
  system?: boolean;
  covered: boolean;
  onChoose: (key: string) => void;
}) {
  const { title, message, buttons, system, covered, onChoose } = props;
  const id = useId();
  return (
    <div class="alert-backdrop" inert={covered}>
      <div
        class={`alert${system ? " system" : ""}${buttons.length > 2 ? " stacked" : ""}`}
        role="alertdialog"
        aria-labelledby={title ? `${id}-title` : `${id}-message`}
        aria-describedby={title && message ? `${id}-message` : undefined}
        tabIndex={-1}
        {...layer}
      >
        <div class="alert-text">
          {title && <h2 id={`${id}-title`}>{title}</h2>}
          {message && <p id={`${id}-message`}>{message}</p>}
          {!title && !message && <p id={`${id}-message`}>(The alert has no text.)</p>}
        </div>
        <div class="alert-buttons">
          {buttons.map((button) => (
            <button
              key={button.key}
              type="button"
              class={`${button.strong ? "strong" : ""}${button.cued ? " cued" : ""}`}
              onClick={() => onChoose(button.key)}
            >
              {button.label || "(no text)"}
            </button>
          ))}
        </div>
      </div>
    </div>
  );
}
