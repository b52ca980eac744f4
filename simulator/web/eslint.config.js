import hooks from "eslint-plugin-react-hooks";
import typescript from "typescript-eslint";
import { baseRules } from "../../tools/typescript/eslint.base.js";

// Which folder may import from which: a folder knows itself and what stands on the same line.
const directions = {
  core: [],
  ui: [],
  state: ["core"],
  features: ["core", "state", "ui"],
  app: ["core"],
  shell: ["core", "state", "ui", "features"],
};
const features = ["phone", "device", "inspector", "replay"];

const importRules = (patterns) => ({
  "no-restricted-imports": ["error", { patterns }],
});
const preact = {
  group: ["preact", "preact/*", "@preact/signals"],
  message: "core/ is used without a browser, too.",
};
/** Nothing of a folder that stands above or beside this one. */
const foreignFolders = (own) => {
  const others = Object.keys(directions).filter(
    (folder) => folder !== own && !directions[own].includes(folder),
  );
  return {
    regex: `^(\\.\\./)+(${[...others, "main"].join("|")})(/|$)`,
    message: `${own}/ does not know that folder.`,
  };
};

export default typescript.config(
  ...baseRules(typescript, import.meta.dirname),
  {
    files: ["src/**"],
    plugins: { "react-hooks": hooks },
    rules: hooks.configs.recommended.rules,
  },
  ...Object.keys(directions).map((own) => ({
    files: [`src/${own}/**`],
    rules: importRules([foreignFolders(own), ...(own === "core" ? [preact] : [])]),
  })),
  // A feature shows the others no more than its index.
  ...features.map((own) => {
    const others = features.filter((feature) => feature !== own).join("|");
    return {
      files: [`src/features/${own}/**`],
      rules: importRules([
        foreignFolders("features"),
        {
          regex: `^(\\.\\./)+(features/)?(${others})/`,
          message: "Another feature is imported by its index alone.",
        },
      ]),
    };
  }),
  {
    files: ["src/shell/**", "src/main.tsx"],
    rules: importRules([
      {
        regex: "/features/[^/]+/.",
        message: "A feature is imported by its index alone.",
      },
    ]),
  },
  {
    files: ["test/**", "e2e/**"],
    rules: { "@typescript-eslint/no-non-null-assertion": "off" },
  },
);
