export { RecordTab } from "./RecordTab";
export { Replay } from "./Replay";
