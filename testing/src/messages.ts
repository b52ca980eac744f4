// The messages of docs/simulator-protocol.md that a driver uses, as types.

export type Json = null | boolean | number | string | Json[] | JsonObject;
export type JsonObject = { [key: string]: Json };

export type Permission = "camera" | "photoLibrary" | "location";
export type Authorization = "notDetermined" | "restricted" | "denied" | "authorized" | "limited";

/** A fix of the location, in degrees and metres. */
export interface Fix {
  latitude: number;
  longitude: number;
  altitude?: number | "NaN";
  /** ISO 8601; without it, of the moment. */
  timestamp?: string;
}

/** A fault of a device script, without its place. */
export interface Fault {
  error?: string;
  returns?: false | "nothing";
  noPlaceholder?: boolean;
  /** Only for this name in the temporary directory. */
  path?: string;
  /** How often it strikes; without it, always. */
  times?: number;
}

/** A step of a device script. */
export type Step = { do: string } & JsonObject;

/** What a picture or movie is. */
export interface Media {
  kind: "photo" | "movie";
  format: string;
  /** In pixels, as stored. */
  width: number;
  height: number;
  /** As in Exif: 1 to 8. */
  orientation: number;
  bytes: number;
  /** Of a movie, in seconds. */
  duration?: number;
  sha256: string;
  /** 64 bits as hexadecimal digits. */
  perceptualHash: string;
}

export type Screen =
  | { kind: "alert"; title: string; message: string; actions: string[] }
  | {
      kind: "picker";
      /** 1 is the camera; every other value is a library. */
      sourceType: number;
      mediaTypes: string[];
      allowsEditing: boolean;
      cameraCaptureMode: "photo" | "video";
    };

export interface PhoneState {
  /** What is presented, bottom first. */
  screen: Screen[];
  prompts: Permission[];
  permissions: Partial<Record<Permission, Authorization>>;
  callbacks: { name: string; command: string; why: string }[];
  files: { name: string; bytes: number; command: string | null }[];
  location: { running: boolean };
  held?: { at: HoldStage; callback: string }[];
  app?: "running" | "killed";
  waiting: string | null;
  broken: string | null;
}

export type HoldStage = "picker" | "encoding" | "answer";

/** An event of a device script: `event` names it, the other keys depend on it. */
export type DeviceEvent = { event: string } & JsonObject;

export interface CommandMessage {
  type: "command";
  n: number;
  name: string;
  command: string;
  arguments: Json[];
  refused?: { code: string; why: string };
}

export interface EventMessage {
  type: "event";
  n: number;
  step: number;
  event: DeviceEvent;
}

export type ServerMessage =
  | {
      type: "hello";
      session: string;
      app: string;
      appOrigin: string;
      messages: (EventMessage | CommandMessage | { type: "trace" | "closed"; n: number })[];
    }
  | EventMessage
  | CommandMessage
  | ({ type: "state" } & PhoneState)
  | { type: "done"; id: number }
  | { type: "failed"; id: number; why: string; code?: string }
  | { type: "bye"; why: string; code?: string }
  | { type: "restarted" | "trace" | "closed" | "progress" | "reload" };

export type ClientRequest =
  | { type: "step"; step: Step }
  | { type: "configure"; changes: JsonObject }
  | { type: "restart"; device: JsonObject; keepLibrary?: boolean }
  | { type: "restoreSamples" };
