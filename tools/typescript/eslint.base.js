// The rules of every TypeScript package. Each hands in its own plugin, as packages resolve their
// dependencies from their own folders.

/** @param {typeof import("typescript-eslint")} typescript */
export const baseRules = (typescript, rootFolder) =>
  typescript.config(
    { ignores: ["dist/", "node_modules/"] },
    {
      files: ["**/*.ts", "**/*.tsx"],
      extends: [typescript.configs.recommendedTypeChecked],
      languageOptions: {
        parserOptions: { projectService: true, tsconfigRootDir: rootFolder },
      },
      linterOptions: { reportUnusedDisableDirectives: "error" },
      rules: {
        "@typescript-eslint/consistent-type-imports": [
          "error",
          { fixStyle: "inline-type-imports", prefer: "type-imports" },
        ],
        "@typescript-eslint/no-unnecessary-type-assertion": "error",
        "@typescript-eslint/no-unused-vars": [
          "error",
          { argsIgnorePattern: "^_", varsIgnorePattern: "^_" },
        ],
        "@typescript-eslint/switch-exhaustiveness-check": [
          "error",
          { considerDefaultExhaustiveForUnions: true },
        ],
        eqeqeq: ["error", "smart"],
      },
    },
    {
      // What a matcher such as expect.any() gives has no type, and what stands in for something
      // asynchronous has nothing to wait for.
      files: ["test/**", "tests/**", "e2e/**"],
      rules: {
        "@typescript-eslint/no-unsafe-assignment": "off",
        "@typescript-eslint/no-unsafe-return": "off",
        "@typescript-eslint/require-await": "off",
      },
    },
  );
