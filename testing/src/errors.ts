/** What the driver could not do, in a sentence that names the cure where there is one. */
export class PhoneError extends Error {
  override readonly name = "PhoneError";
  /** @param code The server's code for the error; "timeout" where something did not come. */
  constructor(
    message: string,
    readonly code: string,
  ) {
    super(message);
  }
}
