import { useEffect, useState } from "preact/hooks";
import { type Action, emptyModel, type Model, reduce } from "./model";

/** Holds the model and notifies its listeners of changes, once for all those of one moment. */
export class Store {
  private current: Model = emptyModel;
  private readonly listeners = new Set<() => void>();
  private notified = true;

  get model(): Model {
    return this.current;
  }

  dispatch(action: Action): void {
    this.current = reduce(this.current, action);
    if (!this.notified) return;
    this.notified = false;
    queueMicrotask(() => {
      this.notified = true;
      for (const listener of [...this.listeners])
        try {
          listener();
        } catch (error) {
          // The others are notified all the same.
          console.error(error);
        }
    });
  }

  subscribe(listener: () => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }
}

export function useModel(store: Store): Model {
  const [model, setModel] = useState(store.model);
  useEffect(() => {
    setModel(store.model);
    return store.subscribe(() => setModel(store.model));
  }, [store]);
  return model;
}
