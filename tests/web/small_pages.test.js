// The licence agreement and settings pages: what each posts, and the settings' init hook.
import { test } from "node:test";
import assert from "node:assert/strict";
import * as rig from "./harness.js";

const site = rig.useSiteAndBrowser();

const open = (path, size) => rig.openPage(site.browser, site.baseURL, path, { bootstrap: false, viewport: size });
const EULA_SIZE = { width: 580, height: 640 };
const PREFS_SIZE = { width: 460, height: 360 };

test("agreement in gate mode: Agree and Quit post their actions; there is no Close", async () => {
  const page = await open("EULA.html?mode=gate&v=1", EULA_SIZE);
  assert.equal(await page.locator("#close").isVisible(), false);
  assert.match(await page.locator("#version").textContent(), /Version 1/);
  await rig.screenshot(page, "agreement-gate");
  await page.locator("#agree").click();
  await page.locator("#quit").click();
  assert.deepEqual(await rig.posts(page), [
    { name: "brwEula", body: { action: "agree" } },
    { name: "brwEula", body: { action: "quit" } },
  ]);
  assert.deepEqual(page.errors, []);
});

test("agreement in view mode: only Close, also by Escape", async () => {
  const page = await open("EULA.html?mode=view&v=1", EULA_SIZE);
  assert.equal(await page.locator("#agree").isVisible(), false);
  assert.equal(await page.locator("#quit").isVisible(), false);
  await page.locator("#close").click();
  await page.keyboard.press("Escape");
  assert.deepEqual((await rig.posts(page)).map((post) => post.body.action), ["close", "close"]);
  await rig.screenshot(page, "agreement-view");
});

test("settings: the init hook sets the switch; the switch and replay post their actions", async () => {
  const page = await open("preferences.html", PREFS_SIZE);
  await page.evaluate(() => window.__brwPrefsInit({ telemetry: true }));
  assert.equal(await page.locator("#telemetry").isChecked(), true);
  // A host that does not check for updates gets no update switch.
  assert.equal(await page.locator("#automatic-updates-setting").isVisible(), false);
  await rig.screenshot(page, "preferences");
  await page.locator(".setting").first().click();
  await page.locator("#replay-tutorial").click();
  assert.deepEqual(await rig.posts(page), [
    { name: "brwPrefs", body: { action: "ready" } }, // asks for the state once it can take it
    { name: "brwPrefs", body: { action: "setTelemetry", value: false } },
    { name: "brwPrefs", body: { action: "replayTutorial" } },
  ]);
  assert.equal(await page.locator("#replay-note").isVisible(), true);
  await page.evaluate(() => window.__brwPrefsInit({ telemetry: false }));
  assert.equal(await page.locator("#telemetry").isChecked(), false);
});

test("settings: the update switch shows for a host that checks, and posts its value", async () => {
  const page = await open("preferences.html", PREFS_SIZE);
  await page.evaluate(() => window.__brwPrefsInit({ telemetry: false, automaticUpdates: true }));
  assert.equal(await page.locator("#automatic-updates-setting").isVisible(), true);
  assert.equal(await page.locator("#automatic-updates").isChecked(), true);
  await page.locator("#automatic-updates-setting").click();
  const posts = await rig.posts(page);
  assert.deepEqual(posts[posts.length - 1], {
    name: "brwPrefs",
    body: { action: "setAutomaticUpdates", value: false },
  });
});
