/** The page commands that the plug-in answers. */
export type BridgeCommand = "takePicture" | "cleanup";

/** A URL that the container carries as a URL and not as text. A DOM `URL` is one too. */
export interface BridgeUrl {
  readonly href: string;
}

export interface BridgeDictionary {
  readonly [key: string]: BridgeValue;
}

/** What passes between page and container: `null` is an empty slot, a `Uint8Array` a byte buffer. */
export type BridgeValue =
  | null
  | boolean
  | number
  | string
  | Uint8Array
  | BridgeUrl
  | readonly BridgeValue[]
  | BridgeDictionary;

export interface BridgeSuccess {
  /** The payload; `cleanup` has none. */
  readonly data?: BridgeDictionary | undefined;
  /** Whether the container promises more answers. The plug-in itself never does. */
  readonly keepCallback?: boolean | undefined;
}

export interface BridgeFailure {
  /** The container's name or number for the status, for example "NO_PERMISSION". */
  readonly status: string | number;
  /** Given where the plug-in answered with a plain text. */
  readonly message?: string | undefined;
  /** Given where the plug-in answered with a dictionary. */
  readonly data?: BridgeDictionary | undefined;
  readonly keepCallback?: boolean | undefined;
}

/**
 * Where a bridge delivers the answers to one call. Each member may be called at any time, also
 * before `call` returns, any number of times, or never; the client takes the first answer.
 */
export interface BridgeCallbacks {
  success(answer: BridgeSuccess): void;
  error(answer: BridgeFailure): void;
  /** The connection to the container is broken, and no answer will come. */
  lost(why: string): void;
}

/**
 * The connection from the page to a container. A native function, a message port and a socket all fit: an
 * implementation passes on the command's name and its positional arguments, and the answers back.
 */
export interface Bridge {
  /**
   * Sends one command. It may throw where that is impossible; `lost` does the same later.
   *
   * The result, if any, is called once when the client waits no longer: because it has its answer,
   * or because it gave up. It frees what the bridge keeps for the call. The plug-in is not notified,
   * as it has no command for that.
   */
  call(
    command: BridgeCommand,
    list: readonly BridgeValue[],
    callbacks: BridgeCallbacks,
  ): (() => void) | void;

  /**
   * Reads the file at an address that the container answered, for `toBlob` and `objectUrl`. Left
   * out: they fetch it. For a container whose addresses cannot be fetched, for example bare paths.
   */
  readFile?(url: string): Promise<Blob>;
}
