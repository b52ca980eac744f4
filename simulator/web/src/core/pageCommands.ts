interface CommandTraits {
  /** Whether its step carries the page's arguments. */
  takesArguments: boolean;
  /**
   * What brings it its answer, in plain words, where it runs beside the others. A command without
   * this takes the place of the one before it, and waits for what is on the screen.
   */
  endsWith?: string;
}

/** The page commands that the plug-in answers. A step of a device script has its command's name. */
export const pageCommands = {
  takePicture: { takesArguments: true },
  cleanup: { takesArguments: false, endsWith: "The end of the cleaning." },
} satisfies Record<string, CommandTraits>;

export type PageCommand = keyof typeof pageCommands;

export const isPageCommand = (name: unknown): name is PageCommand =>
  typeof name === "string" && Object.hasOwn(pageCommands, name);

const traitsOf = (command: string): CommandTraits | null =>
  isPageCommand(command) ? pageCommands[command] : null;

export const takesArguments = (command: string): boolean =>
  traitsOf(command)?.takesArguments ?? false;

/** What ends a command that runs beside the others; null for one that takes the other's place. */
export const endOf = (command: string): string | null => traitsOf(command)?.endsWith ?? null;
