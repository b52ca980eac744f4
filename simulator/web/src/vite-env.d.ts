/// <reference types="vite/client" />

interface ImportMetaEnv {
  /** In development, where the app is reached; see vite.config.ts. */
  readonly VITE_APP_ORIGIN?: string;
}
