/**
 * The page commands that the plug-in answers, and whether the step of each carries the page's
 * arguments. The step has the command's name in a device script.
 */
export const pageCommands = { takePicture: true, cleanup: false };

export type PageCommand = keyof typeof pageCommands;

export const isPageCommand = (name: unknown): name is PageCommand =>
  typeof name === "string" && Object.hasOwn(pageCommands, name);

export const takesArguments = (command: string): boolean =>
  isPageCommand(command) && pageCommands[command];
