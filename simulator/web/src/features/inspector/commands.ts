import type { CommandEntry, Entry } from "../../core/model";
import { endOf } from "../../core/pageCommands";
import type { AnswerEvent, EventMessage, Json, TraceMessage } from "../../core/messages";
import { isAnswer } from "../../core/messages";
import { type DecodedOptions, decodeOptions } from "./options";
import { type TimelineStep, timelineOf } from "./timeline";

/** What became of one page command. */
export interface CommandRow {
  name: string;
  command: string;
  /** Null where the command came from elsewhere, and its arguments are not known. */
  arguments: Json[] | null;
  decoded: DecodedOptions | null;
  messages: (EventMessage | TraceMessage)[];
  answer: AnswerEvent | null;
  /** The later command whose callback took this one's place before it was answered. */
  replacedBy: string | null;
  /** Why it did not reach the plug-in, where it did not. */
  refused: string | null;
  timeline: TimelineStep[];
}

type Building = Omit<CommandRow, "timeline">;

const rowOf = (
  entry: Pick<CommandEntry, "name" | "command" | "refused"> & { arguments: Json[] | null },
) => ({
  name: entry.name,
  command: entry.command,
  arguments: entry.arguments,
  decoded:
    entry.command === "takePicture" && entry.arguments ? decodeOptions(entry.arguments) : null,
  messages: [],
  answer: null,
  replacedBy: null,
  refused: entry.refused ?? null,
});

/**
 * The page's commands, oldest first, each with what happened on its behalf. The plug-in answers
 * whichever command came last, so what happens between two commands belongs to the first of them;
 * an answer names its own.
 */
export function commandsOf(entries: Entry[]): CommandRow[] {
  const rows: Building[] = [];
  const byName = new Map<string, Building>();
  let current: Building | null = null;
  let aside: Building | null = null;

  const begin = (row: Building) => {
    rows.push(row);
    byName.set(row.name, row);
    if (row.refused !== null) return;
    if (endOf(row.command) !== null) {
      aside = row;
      return;
    }
    if (current && !current.answer) current.replacedBy = row.name;
    current = row;
  };

  const ownerOf = () => aside ?? current;

  for (const entry of entries) {
    if (entry.type === "command") {
      begin(rowOf(entry));
      continue;
    }
    const event = entry.type === "event" ? entry.event : null;
    if (event && isAnswer(event)) {
      let row = byName.get(event.to);
      if (!row) {
        row = rowOf({ name: event.to, command: "takePicture", arguments: null });
        begin(row);
      }
      row.messages.push(entry);
      row.answer = event;
      if (row === aside) aside = null;
      continue;
    }
    ownerOf()?.messages.push(entry);
  }
  return rows.map((row) => ({ ...row, timeline: timelineOf(row.messages, row.decoded) }));
}
