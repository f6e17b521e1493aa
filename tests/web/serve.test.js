// The show served to browsers: the real native side (document, engine on the silent output,
// bridge) in `brellow --serve`, driven through Chromium, plus the access rules.
import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import { request } from "node:http";
import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import * as rig from "./harness.js";
import { makeDemoShow, makeHome, readShow, startServe } from "./serve_rig.js";

let browser;
before(async () => (browser = await rig.launchBrowser()));
after(async () => browser?.close());

async function openShowPage(server, context) {
  const page = await (context ?? (await browser.newContext({ viewport: { width: 1440, height: 900 } }))).newPage();
  page.errors = [];
  page.on("pageerror", (error) => page.errors.push(error));
  await page.goto(server.url);
  await page.waitForSelector(".tile");
  return page;
}

const tileNamed = (page, name) => page.locator(".tile", { has: page.locator(".tile-name", { hasText: name }) });

test("first visit: the licence gate, then the show with its tour, firing, ticks and a saved edit", async () => {
  const home = makeHome({ agreed: false });
  const show = makeDemoShow(home);
  let server = await startServe(home, [show]);
  const page = await browser.newPage({ viewport: { width: 1440, height: 900 } });
  await page.goto(server.url);
  await page.waitForSelector("#agree:visible");
  assert.match(page.url(), /EULA\.html\?mode=gate&v=1$/);
  assert.doesNotMatch(page.url(), /token/); // the key left the address for a cookie
  await rig.screenshot(page, "serve-agreement");
  await page.click("#agree");
  await page.waitForSelector(".tour-card");
  const agreement = JSON.parse(readFileSync(join(home, "config/org.brellow.Brellow/agreement.json"), "utf8"));
  assert.equal(agreement.version, "1");
  await page.click(".tour-skip");
  await page.waitForFunction(() => !document.querySelector(".tour-card"));

  // Fire by click: the engine's events and ticks come back over the socket.
  await tileNamed(page, "04 Riser").click();
  await page.waitForSelector(".tile.playing");
  const first = await tileNamed(page, "04 Riser").locator(".tile-time").textContent();
  await page.waitForFunction((before) => {
    const time = [...document.querySelectorAll(".tile.playing .tile-time")].map((e) => e.textContent);
    return time.length && time[0] !== before;
  }, first);
  await rig.screenshot(page, "serve-show-playing");
  await page.keyboard.press("Escape");
  await page.waitForFunction(() => !document.querySelector(".tile.playing"));

  // Edit a trim in the inspector; the edit is autosaved in place and survives a restart.
  await tileNamed(page, "01 Chime").click({ modifiers: ["Shift"] });
  await page.fill("#trim-in", "0.5");
  await page.press("#trim-in", "Tab");
  await page.waitForFunction(() => document.querySelector("#sting-info").textContent.includes("plays 0:02.0"));
  assert.equal(await server.stop(), 0);
  const saved = readShow(show).pages[0].stings.find((sting) => sting.name === "01 Chime");
  assert.equal(saved.trimInSec, 0.5);
  assert.ok(JSON.parse(readFileSync(join(home, "config/org.brellow.Brellow/onboarding.json"), "utf8")).skipped);

  server = await startServe(home, [show]);
  const again = await openShowPage(server);
  await tileNamed(again, "01 Chime").click({ modifiers: ["Shift"] });
  assert.equal(await again.inputValue("#trim-in"), "0.5");
  assert.equal(await again.locator(".tour-card").count(), 0); // the tour was skipped for good
  await server.stop();
});

test("several browsers run one show: every page receives every event", async () => {
  const home = makeHome();
  const server = await startServe(home, [makeDemoShow(home)]);
  const pages = [];
  for (let i = 0; i < 3; i++) pages.push(await openShowPage(server));
  await tileNamed(pages[1], "08 Pad").click();
  for (const page of pages) await page.waitForSelector(".tile.playing");
  await pages[2].keyboard.press("Escape");
  for (const page of pages) await page.waitForFunction(() => !document.querySelector(".tile.playing"));
  // A rename on one page reaches the others.
  await tileNamed(pages[0], "02 Whoosh").click({ modifiers: ["Shift"] });
  await pages[0].fill("#sting-name", "Door Slam");
  await pages[0].press("#sting-name", "Enter");
  for (const page of pages) await tileNamed(page, "Door Slam").waitFor();
  for (const page of pages) assert.deepEqual(page.errors, []);
  await server.stop();
});

test("uploads go through the importer; refused ones change nothing", async () => {
  const home = makeHome();
  const show = makeDemoShow(home);
  const server = await startServe(home, [show, "--upload-limit-mb", "1"]);
  const page = await openShowPage(server);
  const before = await page.locator(".tile").count();
  await page.setInputFiles("#file-input", join(rig.repoRoot, "resources/Demo/03 Drum Hit.m4a"));
  await page.waitForFunction((count) => document.querySelectorAll(".tile").length === count + 1, before);

  const big = join(home, "big.wav");
  writeFileSync(big, Buffer.alloc(2 * 1024 * 1024));
  const notes = join(home, "notes.txt");
  writeFileSync(notes, "not audio");
  await page.setInputFiles("#file-input", [big, notes]);
  await page.waitForFunction(() => document.querySelectorAll(".toast").length >= 2);
  const toasts = await page.locator(".toast").allTextContents();
  assert.match(toasts.join("\n"), /big\.wav.*too large/);
  assert.match(toasts.join("\n"), /notes\.txt.*not an audio file/);
  assert.equal(await page.locator(".tile").count(), before + 1);
  await server.stop();
  assert.equal(readShow(show).pages[0].stings.length, before + 1);
});

function raw(server, path, headers = {}) {
  const url = new URL(server.origin);
  return new Promise((resolve, reject) => {
    const req = request({ host: url.hostname, port: url.port, path, headers });
    req.on("response", (response) => {
      let body = "";
      response.on("data", (chunk) => (body += chunk));
      response.on("end", () => resolve({ status: response.statusCode, body }));
    });
    req.on("upgrade", (response, socket) => {
      socket.destroy();
      resolve({ status: response.statusCode, body: "" });
    });
    req.on("error", reject);
    req.end();
  });
}

test("access: no key, a wrong key, a foreign origin, paths out of the page folder", async () => {
  const home = makeHome();
  const show = makeDemoShow(home);
  const server = await startServe(home, [show]);
  const cookie = { Cookie: `brellow_token=${server.token}` };
  const upgrade = (origin) => ({
    ...cookie, Connection: "Upgrade", Upgrade: "websocket", "Sec-WebSocket-Version": "13",
    "Sec-WebSocket-Key": "dGhlIHNhbXBsZSBub25jZQ==", Origin: origin, Host: new URL(server.origin).host,
  });

  assert.equal((await raw(server, "/")).status, 401);
  assert.equal((await raw(server, "/?token=0123")).status, 401);
  assert.equal((await raw(server, "/", { Cookie: "brellow_token=nope" })).status, 401);
  assert.equal((await raw(server, "/ws?page=show", { ...upgrade(server.origin), Cookie: "" })).status, 401);
  assert.equal((await raw(server, "/", cookie)).status, 200);
  assert.equal((await raw(server, "/ws?page=show", upgrade("http://evil.example"))).status, 403);
  assert.equal((await raw(server, "/ws?page=show", upgrade(server.origin))).status, 101);
  for (const path of ["/../../../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/scripts/..%2f..%2f..%2fREADME.md",
    "/scripts/%2e%2e/%2e%2e/%2e%2e/README.md"]) {
    const response = await raw(server, path, cookie);
    assert.ok(response.status >= 400 && response.status < 500, `${path}: ${response.status}`);
    assert.doesNotMatch(response.body, /root:|# Brellow/);
  }
  const upload = await raw(server, "/upload?name=x.wav", { ...cookie, Origin: "http://evil.example" });
  assert.equal(upload.status, 403);
  await server.stop();
});

test("malformed frames are dropped and change nothing", async () => {
  const home = makeHome();
  const show = makeDemoShow(home);
  const before = readFileSync(join(show, "show.json"), "utf8");
  const server = await startServe(home, [show]);
  const page = await openShowPage(server);
  await page.evaluate(async () => {
    const socket = new WebSocket(`ws://${location.host}/ws?page=show`);
    await new Promise((open) => (socket.onopen = open));
    for (const frame of ["garbage", "{}", "[1,2]", '{"name":5}', '{"name":"setTrim","body":"x"}',
      '{"name":"rename","body":{"stingID":"nope","name":"x"}}', '{"name":"deletePage"}', '{"name":"eval","body":{}}',
      "\u0000".repeat(100), '{"name":"setVolume","body":{"stingID":1e999}}']) socket.send(frame);
    socket.send(new Uint8Array([1, 2, 3]));
    socket.close();
  });
  // Still serving, still the same show.
  await page.reload();
  await page.waitForSelector(".tile");
  assert.equal(await page.locator(".tile").count(), 8);
  await server.stop();
  assert.equal(readFileSync(join(show, "show.json"), "utf8"), before);
});
