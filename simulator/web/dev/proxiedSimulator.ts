import { createServer, request } from "node:http";
import type { AddressInfo } from "node:net";
import type { UserConfig } from "vite";

// What the development server puts in the place of `vecamera serve`'s own pages. The simulator and
// the app are two origins there, and each gets one here.

/** Where the app is, as the start page's policy says. */
async function appOriginOf(simulator: URL): Promise<URL> {
  const policy = (await fetch(simulator)).headers.get("content-security-policy") ?? "";
  const origin = /frame-src (\S+?);?(?:\s|$)/.exec(policy)?.[1];
  if (!origin) throw new Error(`There is no simulator at ${simulator.href}.`);
  return new URL(origin);
}

/** Hands the app's answers on, without the policy that only the program's own page may frame it. */
async function serveApp(app: URL): Promise<string> {
  const server = createServer((incoming, outgoing) => {
    const headers = { ...incoming.headers, host: app.host };
    const { method } = incoming;
    const forwarded = request(new URL(incoming.url ?? "/", app), { method, headers }, (answer) => {
      delete answer.headers["content-security-policy"];
      outgoing.writeHead(answer.statusCode ?? 502, answer.headers);
      answer.pipe(outgoing);
    });
    forwarded.on("error", () => outgoing.writeHead(502).end());
    incoming.pipe(forwarded);
  });
  await new Promise<void>((resolve) => server.listen(0, "127.0.0.1", resolve));
  return `http://127.0.0.1:${(server.address() as AddressInfo).port}`;
}

/** For a page that is developed: all but its own files comes from the running simulator. */
export async function proxiedSimulator(address: string | undefined): Promise<UserConfig> {
  if (!address) throw new Error("Start `vecamera serve`, and give its address in VECAMERA_SERVE.");
  const simulator = new URL(address);
  const appOrigin = await serveApp(await appOriginOf(simulator));
  const { origin, pathname } = simulator;
  const target = {
    target: origin,
    changeOrigin: true,
    headers: { origin },
    rewrite: (path: string) => pathname.replace(/\/$/, "") + path,
  };
  return {
    // The browser sends the app's cookie where both pages are of one site.
    server: {
      host: "127.0.0.1",
      proxy: { "/ws": { ...target, ws: true }, "/session/": target },
    },
    define: { "import.meta.env.VITE_APP_ORIGIN": JSON.stringify(appOrigin) },
  };
}
