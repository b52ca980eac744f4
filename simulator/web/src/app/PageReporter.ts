import type { PageMessage } from "../core/pageMessages";

export const maxTextLength = 4000;
const maxPerSecond = 100;

/** Posts messages to the window around the page: never more than it can show, and none too long. */
export class PageReporter {
  private second = 0;
  private sent = 0;
  private dropped = 0;

  constructor(
    private readonly post: (message: object) => void,
    private readonly now: () => number,
  ) {}

  report(message: PageMessage): void {
    const second = Math.floor(this.now() / 1000);
    if (second !== this.second) {
      this.second = second;
      this.sent = 0;
    }
    // Where the page is matters however much it has to say.
    if (this.sent >= maxPerSecond && message.kind !== "location") {
      this.dropped += 1;
      return;
    }
    this.sent += 1;
    if (this.dropped > 0) this.send({ kind: "dropped", count: this.dropped });
    this.dropped = 0;
    this.send(message);
  }

  private send(message: PageMessage): void {
    const posted: Record<string, unknown> = { vecamera: "page" };
    for (const [key, value] of Object.entries(message)) posted[key] = shortened(value);
    this.post(posted);
  }
}

function shortened<T>(value: T): T | string {
  if (typeof value !== "string" || value.length <= maxTextLength) return value;
  return `${value.slice(0, maxTextLength)}…`;
}
