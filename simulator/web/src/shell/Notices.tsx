import { useSimulator } from "../state/context";
import { Button } from "../ui/controls";
import { Icon } from "../ui/icons";

/** What could not be done, over the phone. */
export function Notices() {
  const { client, model, state } = useSimulator();
  const broken = state.broken.value;
  const notice = model.notice.value;
  return (
    <div class="notice-place" role="alert">
      {broken && (
        <div class="notice">
          <Icon name="warning" size={18} />
          <p>The device does nothing any more: {broken}</p>
          <Button label="Start it anew" onClick={() => void client.change({})} />
        </div>
      )}
      {notice !== null && (
        <div class="notice">
          <Icon name="warning" size={18} />
          <p>{notice}</p>
          <Button
            label="Dismiss"
            icon="close"
            iconOnly
            look="quiet"
            onClick={() => client.store.dispatch({ kind: "notice", text: null })}
          />
        </div>
      )}
    </div>
  );
}
