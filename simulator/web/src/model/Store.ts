import { useEffect, useState } from "preact/hooks";
import { type Action, emptyModel, type Model, reduce } from "./model";

/** Holds the model and tells whoever listens, at most once a frame of the event loop. */
export class Store {
  private current: Model = emptyModel;
  private readonly listeners = new Set<() => void>();
  private told = true;

  get model(): Model {
    return this.current;
  }

  dispatch(action: Action): void {
    this.current = reduce(this.current, action);
    if (!this.told) return;
    this.told = false;
    queueMicrotask(() => {
      this.told = true;
      for (const listener of [...this.listeners])
        try {
          listener();
        } catch (error) {
          // The others are told all the same.
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
