// Starts `brellow --serve` with a private home, for the browser tests and benchmarks.
import { spawn, execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { repoRoot } from "./harness.js";

export const brellow = process.env.BRELLOW_APP ?? join(repoRoot, "build/src/app/brellow");
export const cli = process.env.BRELLOW_CLI ?? join(repoRoot, "build/src/cli/brellow-cli");

/** A fresh home; `agreed` writes the licence and tour records as if the user had been here. */
export function makeHome({ agreed = true } = {}) {
  const home = mkdtempSync(join(tmpdir(), "brellow-serve-"));
  if (agreed) {
    const support = join(home, "config/org.brellow.Brellow");
    mkdirSync(support, { recursive: true });
    writeFileSync(join(support, "agreement.json"), '{"acceptedAt":1700000000,"version":"1"}');
    writeFileSync(join(support, "onboarding.json"), '{"completed":true,"skipped":false,"version":"1"}');
  }
  return home;
}

/** A show package with the eight demonstration stings. */
export function makeDemoShow(home, name = "Demo") {
  const path = join(home, `${name}.stingshow`);
  execFileSync(cli, ["new", path, "--demo"]);
  return path;
}

export const readShow = (path) => JSON.parse(execFileSync(cli, ["show", path], { encoding: "utf8" }));

export function startServe(home, args = []) {
  const child = spawn(brellow, ["--serve", ...args, "--listen", "127.0.0.1:0"], {
    env: {
      ...process.env, HOME: home, XDG_CONFIG_HOME: join(home, "config"), XDG_CACHE_HOME: join(home, "cache"),
      XDG_DATA_HOME: join(home, "data"), BRELLOW_LOG: "stderr",
    },
    stdio: ["ignore", "pipe", "pipe"],
  });
  let log = "";
  child.stderr.on("data", (chunk) => (log += chunk));
  return new Promise((resolve, reject) => {
    let out = "";
    const timer = setTimeout(() => reject(new Error(`no address printed\n${log}`)), 15000);
    child.stdout.on("data", (chunk) => {
      out += chunk;
      const match = out.match(/http:\/\/\S+\?token=\w+/);
      if (!match) return;
      clearTimeout(timer);
      const url = new URL(match[0]);
      resolve({
        child, url: match[0], origin: url.origin, token: url.searchParams.get("token"),
        log: () => log,
        stop: () => new Promise((done) => {
          if (child.exitCode !== null) return done(child.exitCode);
          child.once("exit", (code) => done(code));
          child.kill("SIGINT");
        }),
      });
    });
    child.once("exit", (code) => reject(new Error(`brellow --serve ended with ${code}\n${log}`)));
  });
}
