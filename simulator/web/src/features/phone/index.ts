export { focusPhone } from "./focusPhone";
export { Phone } from "./Phone";
