// The messages of docs/simulator-protocol.md, as types.

export type Json = null | boolean | number | string | Json[] | JsonObject;
export type JsonObject = { [key: string]: Json };

export const isObject = (value: unknown): value is JsonObject =>
  typeof value === "object" && value !== null && !Array.isArray(value);

export type Permission = "camera" | "photoLibrary" | "location";
export type Authorization = "notDetermined" | "restricted" | "denied" | "authorized" | "limited";
export type Authorizations = Partial<Record<Permission, Authorization>>;

export interface Fix {
  latitude: number;
  longitude: number;
  altitude?: number | "NaN";
  timestamp?: string;
}

export interface Fault {
  at: string;
  error?: string;
  returns?: false | "nothing";
  noPlaceholder?: boolean;
  path?: string;
  times?: number;
}

/** A step of a device script. */
export type Step = { do: string } & JsonObject;
/** The `device` part of a device script. */
export type DeviceSetup = JsonObject;

export interface AlertScreen {
  kind: "alert";
  id: string | number;
  title: string;
  message: string;
  actions: string[];
}

export interface PickerScreen {
  kind: "picker";
  id: string | number;
  /** 1 is the camera; every other value is a library. */
  sourceType: number;
  mediaTypes: string[];
  allowsEditing: boolean;
  /** 1 is the front camera. */
  cameraDevice: number;
  cameraCaptureMode: "photo" | "video";
}

export type Screen = AlertScreen | PickerScreen;

export interface OpenCallback {
  name: string;
  command: string;
  why: string;
}

export interface TemporaryFile {
  name: string;
  bytes: number;
  modified: string;
  command: string | null;
}

export interface DeviceState {
  screen: Screen[];
  prompts: Permission[];
  permissions: Authorizations;
  callbacks: OpenCallback[];
  files: TemporaryFile[];
  faults: Fault[];
  clock: { mode: "real" | "fixed"; now: string };
  location: { running: boolean };
  library: number;
  waiting: string | null;
  recorded: number;
  /** Why the recording takes no more steps; null: it does. */
  recordingEnded: string | null;
  /** Why the device does nothing until it is restarted; null: it does. */
  broken: string | null;
  /** Off: a driver plays the user, and nothing is answered by itself. */
  automatic: { automation: "on" | "off" };
}

/** An event of a device script: `event` names it, the other keys depend on it. */
export type DeviceEvent = { event: string } & JsonObject;

export interface AnswerEvent {
  event: "answer";
  to: string;
  result: "success" | "error";
  status?: string;
  message?: string;
  data?: Json;
  keepCallback?: boolean;
}

export interface EventMessage {
  type: "event";
  n: number;
  at: number;
  step: number;
  event: DeviceEvent;
}

export interface TraceMessage {
  type: "trace";
  n: number;
  at: number;
  step: number;
  what: string;
  ms: number;
  bytes?: number;
  width?: number;
  height?: number;
  path?: string;
  error?: string;
}

export interface HelloMessage {
  type: "hello";
  session: string;
  version: number;
  /** The address for the frame. */
  app: string;
  appOrigin: string;
  device: DeviceSetup;
  messages: (EventMessage | TraceMessage)[];
  /** How many requests of earlier connections are still being carried out. */
  unfinished: number;
}

export type ServerMessage =
  | HelloMessage
  | { type: "restarted"; device: DeviceSetup }
  | EventMessage
  | TraceMessage
  | { type: "progress"; what: string; fraction: number }
  | ({ type: "state" } & DeviceState)
  | { type: "done"; id: number }
  | { type: "failed"; id: number; why: string }
  | { type: "reload" }
  | { type: "bye"; why: string };

export type ClientRequest =
  | { type: "step"; step: Step }
  | { type: "restart"; device: DeviceSetup; keepLibrary?: boolean }
  | { type: "restoreSamples" };

export interface LibraryAsset {
  id: string;
  type: string;
  bytes: number;
  width: number;
  height: number;
  format: string;
  created: string;
  duration: number | null;
}

export const isAnswer = (event: DeviceEvent): event is DeviceEvent & AnswerEvent =>
  event.event === "answer";
