import type { ClientRequest, LibraryAsset, ServerMessage } from "./messages";

export type TransportStatus =
  | { kind: "connecting" }
  | { kind: "open" }
  | { kind: "lost" }
  | { kind: "ended"; why: string };

export interface TransportListener {
  onMessage(message: ServerMessage): void;
  onStatus(status: TransportStatus): void;
}

/** A connection to a simulator server. */
export interface Transport {
  /** Connects; with a session's identifier, to that session. */
  connect(session: string | null, listener: TransportListener): void;
  /** After the end of a phone: connects again, to the same one where it is still there. */
  reconnect(): void;
  /** Throws a sentence for the user where nothing could be sent. */
  send(request: ClientRequest & { id: number }): void;
  /** Makes the bytes a file of the session. Rejects with the server's own words. */
  upload(session: string, bytes: Blob, name: string): Promise<{ file: string; bytes: number }>;
  library(session: string): Promise<LibraryAsset[]>;
  thumbnail(session: string, asset: string, side: number): string;
  original(session: string, asset: string): string;
  /** The address of a file in the temporary directory. */
  file(session: string, name: string): string;
  /** The address of the recording. */
  script(session: string): string;
}
