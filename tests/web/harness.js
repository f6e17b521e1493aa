// Shared test rig: a static server for resources/Web, Debian's Chromium through
// playwright-core, and a stand-in for the native side that records every post.
import { createServer } from "node:http";
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync } from "node:fs";
import { dirname, extname, join, normalize, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { after, before } from "node:test";
import { chromium } from "playwright-core";

const here = dirname(fileURLToPath(import.meta.url));
export const repoRoot = resolve(here, "../..");
export const webRoot = join(repoRoot, "resources/Web");
export const screenshotDir = process.env.BRELLOW_SCREENSHOTS ?? join(repoRoot, "build/screenshots");

const TYPES = { ".html": "text/html", ".js": "text/javascript", ".css": "text/css", ".svg": "image/svg+xml", ".png": "image/png" };

export function startServer() {
  const server = createServer((request, response) => {
    const path = normalize(decodeURIComponent(new URL(request.url, "http://x").pathname));
    const file = join(webRoot, path);
    try {
      if (!file.startsWith(webRoot)) throw new Error("outside");
      const body = readFileSync(file);
      response.writeHead(200, { "content-type": TYPES[extname(file)] ?? "application/octet-stream" });
      response.end(body);
    } catch {
      response.writeHead(404);
      response.end();
    }
  });
  return new Promise((done) => server.listen(0, "127.0.0.1", () => {
    done({ server, url: `http://127.0.0.1:${server.address().port}` });
  }));
}

/**
 * For a test file: serves resources/Web and starts Chromium before its tests, stops both after.
 * The returned object's `browser` and `baseURL` are set once the tests run.
 */
export function useSiteAndBrowser() {
  const site = { browser: null, baseURL: null, server: null };
  before(async () => {
    const started = await startServer();
    site.server = started.server;
    site.baseURL = started.url;
    site.browser = await launchBrowser();
  });
  after(async () => {
    await site.browser?.close();
    site.server?.close();
  });
  return site;
}

/** The bootstrap script exactly as the native side injects it. */
export function bootstrapScript() {
  const cli = process.env.BRELLOW_CLI ?? join(repoRoot, "build/src/cli/brellow-cli");
  return execFileSync(cli, ["bootstrap"], { encoding: "utf8" });
}

export function launchBrowser() {
  return chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: ["--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--disable-background-networking"],
  });
}

// Stands in for webkit.messageHandlers: every post is recorded as {name, body}.
const STAND_IN = `
  window.__posts = [];
  window.webkit = { messageHandlers: new Proxy({}, { get: (_, name) => ({
    postMessage: (body) => window.__posts.push({ name: String(name), body: JSON.parse(JSON.stringify(body)) }),
  }) }) };`;

/** Opens `path` of resources/Web with the stand-in native side; confirm() answers `confirm`. */
export async function openPage(browser, baseURL, path = "index.html", { bootstrap = true, viewport } = {}) {
  const context = await browser.newContext({ viewport: viewport ?? { width: 1440, height: 900 }, deviceScaleFactor: 1 });
  const page = await context.newPage();
  const errors = [];
  page.on("pageerror", (error) => errors.push(error));
  page.on("console", (message) => message.type() === "error" && errors.push(new Error(message.text())));
  await page.addInitScript(STAND_IN);
  if (bootstrap) await page.addInitScript(bootstrapScript());
  await page.goto(`${baseURL}/${path}`);
  page.errors = errors;
  return page;
}

export const posts = (page, name) =>
  page.evaluate((wanted) => window.__posts.filter((post) => !wanted || post.name === wanted), name);

export const clearPosts = (page) => page.evaluate(() => (window.__posts.length = 0));

/** Waits two frames, so observers and frame callbacks have run. */
export const settle = (page) =>
  page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));

export const dispatch = (page, event) => page.evaluate((e) => window.brellow.dispatch(e), event);

export async function screenshot(page, name) {
  mkdirSync(screenshotDir, { recursive: true });
  await page.screenshot({ path: join(screenshotDir, `${name}.png`) });
}

/** Identifiers in the native side's upper-case form. */
export const uuid = (n) => `00000000-0000-4000-8000-${String(n).padStart(12, "0")}`;

export function makeSting(n, fields = {}) {
  return {
    id: uuid(n), name: `Sting ${n}`, mediaFilename: `${uuid(n)}.caf`, waveformFilename: `${uuid(n)}.bin`,
    durationSec: 4, volumeDB: 0, fadeInSec: 0, fadeOutSec: 0, loop: false, colorLabel: "none",
    ...fields,
  };
}

export function makeShow(pages, fields = {}) {
  return {
    schemaVersion: 1, name: "Test Show", activePageID: pages[0].id, masterVolumeDB: 0, soloMode: true,
    pages, ...fields,
  };
}

export function demoShow() {
  const names = ["Opening Fanfare", "Door Bell", "Applause", "Thunder Roll", "Phone Ring", "Crowd Walla",
    "Car Horn", "Closing Theme"];
  const labels = ["red", "amber", "green", "blue", "purple", "none", "amber", "red"];
  const stings = names.map((name, i) =>
    makeSting(i + 1, { name, hotkey: String(i + 1), colorLabel: labels[i], durationSec: 2.5 + i * 3.7 }));
  stings[7].loop = true;
  return makeShow([
    { id: uuid(100), name: "Act One", stings },
    { id: uuid(101), name: "Act Two", stings: [] },
    { id: uuid(102), name: "Interval", stings: [] },
  ], { name: "Spring Gala" });
}

/** A plausible waveform: a decaying tone burst as (min, max) pairs. */
export function waveformFor(id, pairs = 800) {
  const peaks = [];
  for (let i = 0; i < pairs; i++) {
    const envelope = Math.min(1, i / 20) * Math.exp(-i / (pairs * 0.45));
    const wobble = 0.55 + 0.45 * Math.abs(Math.sin(i * 0.37) * Math.cos(i * 0.051));
    const value = Math.max(0.01, envelope * wobble * 0.95);
    peaks.push(-value, value);
  }
  return { type: "waveformData", stingID: id, peaksPerSecond: 100, peaks };
}

/** Answers every waveform request the page has made so far. */
export async function answerWaveforms(page) {
  for (const post of await posts(page, "requestWaveform")) await dispatch(page, waveformFor(post.body.stingID));
}
