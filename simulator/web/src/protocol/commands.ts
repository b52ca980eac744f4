/** The page commands that the plug-in answers. Each is a step of that name in a device script. */
export const pageCommands = ["takePicture", "cleanup"] as const;

/** Whether the step of the command carries the page's arguments. */
export const takesArguments = (command: string): boolean => command !== "cleanup";

export type PageCommand = (typeof pageCommands)[number];

export const isPageCommand = (name: unknown): name is PageCommand =>
  pageCommands.some((command) => command === name);
