export { PhoneError } from "./errors.js";
export { type AppPhone, expect, test, type VecameraOptions } from "./fixtures.js";
export type { Fault, Fix, HoldStage, Media, PhoneState, Step } from "./messages.js";
export { type Answer, type Call, type CaptureOptions, type Hold, type MediaFile, Phone } from "./phone.js";
export { replay } from "./replay.js";
export { type PhoneSession, Simulator, type SimulatorOptions } from "./simulator.js";
