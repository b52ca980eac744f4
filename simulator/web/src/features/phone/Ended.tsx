import { useSimulator } from "../../state/context";
import { Icon } from "../../ui/icons";
import { layer } from "./focusPhone";

const sentence = (why: string) => `${why.charAt(0).toUpperCase()}${why.slice(1)}.`;

/** Over a phone that this tab does not hold any more. */
export function Ended() {
  const { client, model } = useSimulator();
  const connection = model.connection.value;
  if (connection.kind !== "ended") return null;
  // Only a phone that was taken over is still there; after any other end a new one begins.
  const taken = connection.why.includes("another tab");
  return (
    <div
      class="phone-ended"
      role="alertdialog"
      aria-label="The phone has ended here"
      tabIndex={-1}
      {...layer}
    >
      <Icon name="open" size={36} />
      <p>{sentence(connection.why)}</p>
      <p class="hint">
        {taken
          ? "What is shown here does not move any more."
          : "Its device and its library are gone."}
      </p>
      <button type="button" class="button primary" onClick={() => client.reconnect()}>
        {taken ? "Take it back" : "Start a new phone"}
      </button>
    </div>
  );
}
