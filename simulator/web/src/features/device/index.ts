export { Panel } from "./Panel";
export { standIn } from "./standIn";
