import typescript from "typescript-eslint";
import { baseRules } from "../tools/typescript/eslint.base.js";

export default baseRules(typescript, import.meta.dirname);
