import type { ComponentChildren } from "preact";
import { useId, useLayoutEffect, useRef } from "preact/hooks";
import { Button } from "./controls";

/** A dialog over the whole page. The browser keeps the focus in it, and gives it back. */
export function PageDialog(props: {
  title: string;
  /** Closed by its button, by Escape, or by what stands in it. */
  onClose: () => void;
  narrow?: boolean;
  children: ComponentChildren;
}) {
  const { title, onClose, narrow, children } = props;
  const dialog = useRef<HTMLDialogElement>(null);
  const id = useId();
  useLayoutEffect(() => {
    const element = dialog.current;
    element?.showModal();
    return () => element?.close();
  }, []);
  return (
    <dialog
      ref={dialog}
      class={`page-dialog${narrow ? " narrow" : ""}`}
      aria-labelledby={id}
      onCancel={(event) => {
        event.preventDefault();
        onClose();
      }}
    >
      <div class="dialog-head">
        <h2 id={id}>{title}</h2>
        <Button label="Close" icon="close" iconOnly look="quiet" onClick={onClose} />
      </div>
      {children}
    </dialog>
  );
}
