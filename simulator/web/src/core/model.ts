import type {
  DeviceSetup,
  DeviceState,
  EventMessage,
  HelloMessage,
  Json,
  ServerMessage,
  TraceMessage,
} from "./messages";
import type { TransportStatus } from "./Transport";

/** A page command that went out from here. The server's messages do not repeat its arguments. */
export interface CommandEntry {
  type: "command";
  /** Stands between the messages' own numbers, where the command was sent. */
  n: number;
  name: string;
  command: string;
  arguments: Json[];
  /** Why it did not reach the plug-in, where it did not. */
  refused?: string;
}

export type Entry = EventMessage | TraceMessage | CommandEntry;

/** What is known of the session. Everything that the phone shows follows from it. */
export interface Model {
  connection: TransportStatus;
  session: string | null;
  app: string;
  appOrigin: string;
  device: DeviceSetup;
  state: DeviceState | null;
  /** In the order of their numbers. */
  entries: Entry[];
  /** How much of a movie is exported, from 0 to 1; null: no export is under way. */
  exporting: number | null;
  /** Grows when the app's files have changed. */
  appVersion: number;
  settingsOpen: boolean;
  /** What could not be done, for the user. */
  notice: string | null;
  /** What the log says about this page itself, each once. */
  notes: string[];
}

export const emptyModel: Model = {
  connection: { kind: "connecting" },
  session: null,
  app: "",
  appOrigin: "",
  device: {},
  state: null,
  entries: [],
  exporting: null,
  appVersion: 0,
  settingsOpen: false,
  notice: null,
  notes: [],
};

export type Action =
  | { kind: "connection"; status: TransportStatus }
  | { kind: "message"; message: ServerMessage }
  | { kind: "sent"; name: string; command: string; arguments: Json[] }
  /** A command that was sent did not reach the plug-in. */
  | { kind: "refused"; name: string; why: string }
  /** Commands of this tab before it was reloaded; they belong here where `session` is the same. */
  | { kind: "remembered"; session: string; commands: CommandEntry[] }
  | { kind: "settings"; open: boolean }
  | { kind: "notice"; text: string | null }
  | { kind: "note"; text: string };

const maxEntries = 4000;

const ordered = (entries: Entry[]): Entry[] =>
  [...entries].sort((one, other) => one.n - other.n).slice(-maxEntries);

const withEntry = (model: Model, entry: Entry): Entry[] => {
  const last = model.entries.at(-1);
  if (last && last.n >= entry.n)
    return ordered([...model.entries.filter((other) => other.n !== entry.n), entry]);
  const entries = model.entries.length < maxEntries ? model.entries : model.entries.slice(1);
  return [...entries, entry];
};

const nextPlace = (entries: Entry[]): number => {
  const last = entries.at(-1);
  if (!last) return -0.5;
  return last.type === "command" ? last.n + 0.001 : last.n + 0.5;
};

const isSame = (one: unknown, other: unknown): boolean =>
  one === other || JSON.stringify(one) === JSON.stringify(other);

/** The new state, with those values of the old one that are still the same. */
const withKept = (before: DeviceState | null, after: DeviceState): DeviceState => {
  if (!before) return after;
  const kept = Object.entries(before).filter(([key, value]) =>
    isSame(value, after[key as keyof DeviceState]),
  );
  return { ...after, ...Object.fromEntries(kept) };
};

const greeted = (model: Model, hello: HelloMessage): Model => {
  const same = hello.session === model.session;
  const commands = same ? model.entries.filter((entry) => entry.type === "command") : [];
  return {
    ...model,
    session: hello.session,
    app: hello.app,
    appOrigin: hello.appOrigin,
    device: hello.device,
    state: null,
    entries: ordered([...hello.messages, ...commands]),
    exporting: null,
    settingsOpen: same && model.settingsOpen,
  };
};

const received = (model: Model, message: ServerMessage): Model => {
  switch (message.type) {
    case "hello":
      return greeted(model, message);
    case "restarted":
      // The new device begins a new recording, and what the old one did is no part of it.
      return {
        ...model,
        device: message.device,
        entries: [],
        exporting: null,
        settingsOpen: false,
        appVersion: model.appVersion + 1,
      };
    case "event":
      return {
        ...model,
        entries: withEntry(model, message),
        exporting: message.event.event === "answer" ? null : model.exporting,
        settingsOpen: model.settingsOpen || message.event.event === "openURL",
      };
    case "trace":
      return {
        ...model,
        entries: withEntry(model, message),
        exporting: message.what === "export" ? null : model.exporting,
      };
    case "state": {
      const { type: _, ...state } = message;
      return { ...model, state: withKept(model.state, state) };
    }
    case "progress":
      return { ...model, exporting: message.fraction < 1 ? message.fraction : null };
    case "reload":
      return { ...model, appVersion: model.appVersion + 1 };
    case "done":
    case "failed":
    case "bye":
      return model;
  }
};

export function reduce(model: Model, action: Action): Model {
  switch (action.kind) {
    case "connection":
      return {
        ...model,
        connection: action.status,
        // A page was notified of the end of its phone, and expects nothing of the next one.
        appVersion: model.appVersion + (model.connection.kind === "ended" ? 1 : 0),
      };
    case "message":
      return received(model, action.message);
    case "sent":
      return {
        ...model,
        entries: withEntry(model, {
          type: "command",
          n: nextPlace(model.entries),
          name: action.name,
          command: action.command,
          arguments: action.arguments,
        }),
      };
    case "refused": {
      const isIt = (entry: Entry) => entry.type === "command" && entry.name === action.name;
      // A name that is taken is a reason to refuse, and no fault of the first that has it.
      const at = model.entries.map(isIt).lastIndexOf(true);
      const entries = model.entries.map((entry, index) =>
        index === at && entry.type === "command" ? { ...entry, refused: action.why } : entry,
      );
      return { ...model, entries };
    }
    case "remembered": {
      if (action.session !== model.session) return model;
      const known = new Set(
        model.entries.flatMap((entry) => (entry.type === "command" ? [entry.name] : [])),
      );
      const added = action.commands.filter((command) => !known.has(command.name));
      return { ...model, entries: ordered([...model.entries, ...added]) };
    }
    case "settings":
      return { ...model, settingsOpen: action.open };
    case "notice":
      return { ...model, notice: action.text };
    case "note":
      if (model.notes.includes(action.text)) return model;
      return { ...model, notes: [...model.notes, action.text] };
  }
}
