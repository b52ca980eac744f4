export { Inspector } from "./Inspector";
