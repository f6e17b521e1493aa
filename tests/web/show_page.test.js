// The show page against a stand-in native side: what it posts for each thing an operator
// does, and how it redraws from snapshots, change events and ticks.
import { test } from "node:test";
import assert from "node:assert/strict";
import * as rig from "./harness.js";

const site = rig.useSiteAndBrowser();

async function openShow(show = rig.demoShow(), options) {
  const page = await rig.openPage(site.browser, site.baseURL, "index.html", options);
  await page.waitForFunction(() => window.__posts.some((post) => post.name === "requestState"));
  await rig.dispatch(page, { type: "stateSnapshot", show });
  await rig.settle(page); // tiles in view ask for their waveforms
  await rig.answerWaveforms(page);
  await rig.clearPosts(page);
  return page;
}

const tile = (page, n) => page.locator(`.tile[data-id="${rig.uuid(n)}"]`);
const names = (list) => list.map((post) => post.name);

test("loads: subscribes, says ready, asks for state and draws the snapshot", async () => {
  const page = await rig.openPage(site.browser, site.baseURL);
  await page.waitForFunction(() => window.__posts.length >= 2);
  assert.deepEqual(names(await rig.posts(page)), ["ready", "requestState"]);
  await rig.dispatch(page, { type: "stateSnapshot", show: rig.demoShow() });
  assert.equal(await page.locator(".tile").count(), 8);
  assert.equal(await tile(page, 1).locator(".tile-name").textContent(), "Opening Fanfare");
  assert.equal(await tile(page, 1).locator(".tile-key").textContent(), "1");
  assert.equal(await tile(page, 1).getAttribute("data-label"), "red");
  assert.equal(await tile(page, 1).locator(".tile-time").textContent(), "0:02.5");
  assert.deepEqual(await page.locator(".page-tab").allTextContents(), ["Act One×", "Act Two×", "Interval×"]);
  assert.equal(await page.locator("#show-title").textContent(), "Spring Gala");
  // Mini waveforms are asked for as tiles come into view, once each.
  const requested = (await rig.posts(page, "requestWaveform")).map((post) => post.body.stingID);
  assert.equal(new Set(requested).size, 8);
  assert.equal(requested.length, 8);
  assert.deepEqual(page.errors, []);
});

test("fires by click and hotkey, stops a sounding sting, Escape stops all, fields never fire", async () => {
  const page = await openShow();
  await tile(page, 2).click();
  await page.keyboard.press("3");
  await page.keyboard.press("Shift+KeyQ"); // no sting has Q
  assert.deepEqual(await rig.posts(page), [
    { name: "play", body: { stingID: rig.uuid(2) } },
    { name: "play", body: { stingID: rig.uuid(3) } },
  ]);

  await rig.clearPosts(page);
  await rig.dispatch(page, { type: "playbackStarted", stingID: rig.uuid(2), hostTime: 1 });
  await tile(page, 2).click(); // sounding: stop it (the native side applies its fade)
  await rig.dispatch(page, { type: "playbackFadeOutStarted", stingID: rig.uuid(2), durationSec: 1 });
  await tile(page, 2).click(); // fading: fire again
  assert.deepEqual(await rig.posts(page), [
    { name: "stop", body: { stingID: rig.uuid(2) } },
    { name: "play", body: { stingID: rig.uuid(2) } },
  ]);

  await rig.clearPosts(page);
  await page.keyboard.press("Escape");
  await page.locator("#stop-all").click();
  assert.deepEqual(names(await rig.posts(page)), ["stopAll", "stopAll"]);

  // Typing a name that contains hotkeys fires nothing; upper-case keys match lower-case ones.
  await rig.clearPosts(page);
  await tile(page, 1).click({ modifiers: ["Shift"] });
  await page.locator("#sting-name").fill("");
  await page.locator("#sting-name").type("12345");
  assert.deepEqual(await rig.posts(page), []);
  await page.locator("#sting-name").press("Escape");
  await rig.dispatch(page, { type: "hotkeyChanged", stingID: rig.uuid(4), key: "q" });
  await page.keyboard.press("Shift+KeyQ");
  assert.deepEqual(await rig.posts(page), [{ name: "play", body: { stingID: rig.uuid(4) } }]);
});

test("arrow keys move the selection across the grid; Enter fires it", async () => {
  const page = await openShow();
  const columns = await page.evaluate(() =>
    getComputedStyle(document.getElementById("sting-grid")).gridTemplateColumns.split(" ").length);
  await page.keyboard.press("ArrowRight"); // nothing selected yet: the first sting
  await page.keyboard.press("ArrowRight");
  await page.keyboard.press("ArrowDown");
  const expected = 1 + 1 + columns; // second tile, one row down
  assert.match(await tile(page, expected).getAttribute("class"), /selected/);
  await page.keyboard.press("Enter");
  assert.deepEqual(await rig.posts(page), [{ name: "play", body: { stingID: rig.uuid(expected) } }]);
  assert.equal(await page.locator("#sting-name").inputValue(), await tile(page, expected).locator(".tile-name").textContent());
});

test("playback events and ticks drive the tile states and playheads", async () => {
  const page = await openShow();
  const id = rig.uuid(4); // 13.6 s long
  await rig.dispatch(page, { type: "playbackStarted", stingID: id, hostTime: 5 });
  assert.match(await tile(page, 4).getAttribute("class"), /playing/);
  await rig.dispatch(page, { type: "playheadTick", stings: [{ stingID: id, positionSec: 3.4 }] });
  assert.equal(await tile(page, 4).locator(".tile-time").textContent(), "−0:10.2");
  assert.equal(await tile(page, 4).locator(".tile-progress").evaluate((e) => e.style.transform), "scaleX(0.25)");
  await rig.dispatch(page, { type: "playheadTick", stings: [{ stingID: id, positionSec: 6.8 }] });
  assert.equal(await tile(page, 4).locator(".tile-playhead").evaluate((e) => e.style.transform), "translateX(50%)");
  await rig.dispatch(page, { type: "playbackFadeOutStarted", stingID: id, durationSec: 2 });
  assert.match(await tile(page, 4).getAttribute("class"), /fading/);
  await rig.screenshot(page, "show-page-playing");
  await rig.dispatch(page, { type: "playbackStopped", stingID: id, reason: "user" });
  assert.doesNotMatch(await tile(page, 4).getAttribute("class"), /playing|fading/);
  assert.equal(await tile(page, 4).locator(".tile-time").textContent(), "0:13.6");
  assert.match(await page.locator("#status-counts").textContent(), /8 stings$/);

  // A tick for a sting the page never saw start (the page reloaded mid-cue) shows it playing.
  await rig.dispatch(page, { type: "playheadTick", stings: [{ stingID: rig.uuid(1), positionSec: 1 }] });
  assert.match(await tile(page, 1).getAttribute("class"), /playing/);
});

test("the inspector posts each edit and shows it when its change event arrives", async () => {
  const page = await openShow();
  const id = rig.uuid(5); // 17.3 s
  await tile(page, 5).click({ modifiers: ["Shift"] });
  assert.deepEqual(await rig.posts(page), []);

  await page.locator("#sting-name").fill("  Phone Ring (long)  ");
  await page.locator("#sting-name").press("Enter");
  await page.locator("#sting-loop").evaluate((box) => box.click());
  await page.locator("#trim-in").fill("1.5");
  await page.locator("#trim-in").press("Tab");
  await page.locator("#fade-out").fill("2");
  await page.locator("#fade-out").press("Tab");
  await page.locator("#hotkey-capture").click();
  await page.keyboard.press("Shift+KeyP");
  await page.locator("#sting-level").evaluate((slider) => {
    slider.value = "-6";
    slider.dispatchEvent(new Event("input"));
  });
  await page.waitForFunction(() => window.__posts.some((post) => post.name === "setVolume"));
  assert.deepEqual(await rig.posts(page), [
    { name: "rename", body: { stingID: id, name: "Phone Ring (long)" } },
    { name: "setLoop", body: { stingID: id, enabled: true } },
    { name: "setTrim", body: { stingID: id, inSec: 1.5, outSec: null } },
    { name: "setFade", body: { stingID: id, fadeInSec: 0, fadeOutSec: 2 } },
    { name: "setHotkey", body: { stingID: id, key: "P" } },
    { name: "setVolume", body: { stingID: id, dB: -6 } },
  ]);
  // Nothing is shown as changed until the native side says so.
  assert.equal(await page.locator("#sting-loop").isChecked(), false);

  await rig.dispatch(page, { type: "renamed", stingID: id, name: "Phone Ring (long)" });
  await rig.dispatch(page, { type: "loopChanged", stingID: id, enabled: true });
  await rig.dispatch(page, { type: "trimChanged", stingID: id, inSec: 1.5, outSec: null });
  await rig.dispatch(page, { type: "fadeChanged", stingID: id, fadeInSec: 0, fadeOutSec: 2 });
  await rig.dispatch(page, { type: "hotkeyChanged", stingID: id, key: "p" });
  await rig.dispatch(page, { type: "volumeChanged", stingID: id, dB: -6 });
  assert.equal(await tile(page, 5).locator(".tile-name").textContent(), "Phone Ring (long)");
  assert.equal(await tile(page, 5).locator(".tile-key").textContent(), "p");
  assert.match(await tile(page, 5).getAttribute("class"), /loops/);
  assert.equal(await tile(page, 5).locator(".tile-time").textContent(), "0:15.8");
  assert.equal(await tile(page, 5).locator(".tile-level").textContent(), "−6.0 dB");
  assert.equal(await page.locator("#sting-loop").isChecked(), true);
  assert.equal(await page.locator("#hotkey-capture").textContent(), "P");
  await rig.screenshot(page, "show-page-inspector");

  // Clearing: the key by its button, the trims by theirs.
  await rig.clearPosts(page);
  await page.locator("#hotkey-clear").click();
  await page.getByText("Reset trims").click();
  assert.deepEqual(await rig.posts(page), [
    { name: "setHotkey", body: { stingID: id, key: "" } },
    { name: "setTrim", body: { stingID: id, inSec: null, outSec: null } },
  ]);
});

test("waveform handles: dragging trims and fades posts one command each on release", async () => {
  const page = await openShow();
  const id = rig.uuid(3); // 9.9 s
  await tile(page, 3).click({ modifiers: ["Shift"] });
  const box = await page.locator("#wave-editor").boundingBox();
  const inset = 7;
  const xAt = (seconds) => box.x + inset + (seconds / 9.9) * (box.width - 2 * inset);
  const low = box.y + box.height - 6;
  const drag = async (fromX, toX, y) => {
    await page.mouse.move(fromX, y);
    await page.mouse.down();
    await page.mouse.move((fromX + toX) / 2, y, { steps: 3 });
    await page.mouse.move(toX, y, { steps: 3 });
    await page.mouse.up();
  };
  await drag(xAt(0), xAt(2), low); // trim-in to 2 s
  await drag(xAt(9.9), xAt(8), low); // trim-out to 8 s
  const [trimIn, trimOut] = await rig.posts(page, "setTrim");
  assert.ok(Math.abs(trimIn.body.inSec - 2) < 0.05 && trimIn.body.outSec === null, JSON.stringify(trimIn));
  assert.ok(Math.abs(trimOut.body.outSec - 8) < 0.05, JSON.stringify(trimOut));

  await rig.dispatch(page, { type: "trimChanged", stingID: id, inSec: 2, outSec: 8 });
  await drag(xAt(2), xAt(3), box.y + 6); // fade-in handle, in the top band, to 1 s long
  await drag(xAt(8), xAt(6.5), box.y + 6); // fade-out handle to 1.5 s long
  const fades = await rig.posts(page, "setFade");
  assert.equal(fades.length, 2);
  assert.ok(Math.abs(fades[0].body.fadeInSec - 1) < 0.05, JSON.stringify(fades[0]));
  assert.ok(Math.abs(fades[1].body.fadeOutSec - 1.5) < 0.05, JSON.stringify(fades[1]));
  await rig.dispatch(page, { type: "fadeChanged", stingID: id, fadeInSec: 1, fadeOutSec: 1.5 });
  await rig.screenshot(page, "show-page-trims");
});

test("removing a sting asks first; declining posts nothing", async () => {
  const page = await openShow();
  await tile(page, 6).click({ modifiers: ["Shift"] });
  page.once("dialog", (dialog) => dialog.dismiss());
  await page.locator("#remove-sting").click();
  assert.deepEqual(await rig.posts(page), []);
  page.once("dialog", (dialog) => dialog.accept());
  await page.locator("#remove-sting").click();
  assert.deepEqual(await rig.posts(page), [{ name: "removeSting", body: { stingID: rig.uuid(6) } }]);
});

test("pages: switch, create, rename in place, delete with confirmation, reorder by drag", async () => {
  const page = await openShow();
  const tabs = page.locator(".page-tab");
  await tabs.nth(1).click();
  await page.locator("#add-page").click();
  await tabs.nth(2).dblclick();
  await page.locator(".page-tab input").fill("Finale");
  await page.locator(".page-tab input").press("Enter");
  page.once("dialog", (dialog) => dialog.accept());
  await tabs.nth(1).hover();
  await tabs.nth(1).locator(".tab-delete").click();
  const last = await tabs.nth(2).boundingBox();
  await tabs.nth(0).dragTo(tabs.nth(2), { targetPosition: { x: last.width - 4, y: 8 } });
  assert.deepEqual(await rig.posts(page), [
    { name: "setActivePage", body: { pageID: rig.uuid(101) } },
    { name: "createPage", body: { name: "Page 4" } },
    { name: "setActivePage", body: { pageID: rig.uuid(102) } }, // the first click of the double-click
    { name: "renamePage", body: { pageID: rig.uuid(102), name: "Finale" } },
    { name: "deletePage", body: { pageID: rig.uuid(101) } },
    { name: "reorderPages", body: { pageIDs: [rig.uuid(101), rig.uuid(102), rig.uuid(100)] } },
  ]);

  await rig.dispatch(page, { type: "activePageChanged", pageID: rig.uuid(101) });
  assert.equal(await page.locator(".tile").count(), 0);
  assert.equal(await page.locator("#empty-page").isVisible(), true);
  await rig.dispatch(page, { type: "pageRenamed", pageID: rig.uuid(102), name: "Finale" });
  assert.equal(await tabs.nth(2).locator(".tab-name").textContent(), "Finale");
  await rig.screenshot(page, "show-page-empty");
});

test("tiles reorder by dragging their grip", async () => {
  const page = await openShow();
  await tile(page, 1).hover();
  const grip = await tile(page, 1).locator(".tile-grip").boundingBox();
  const target = await tile(page, 3).boundingBox();
  await page.mouse.move(grip.x + 5, grip.y + 5);
  await page.mouse.down();
  await page.mouse.move(target.x + target.width * 0.8, target.y + 20, { steps: 8 });
  await page.mouse.up();
  const order = [2, 3, 1, 4, 5, 6, 7, 8].map(rig.uuid);
  assert.deepEqual(await rig.posts(page), [{ name: "reorder", body: { pageID: rig.uuid(100), stingIDs: order } }]);
});

test("solo, master level, toasts and the device notice", async () => {
  const page = await openShow();
  await page.locator(".toolbar .switch").click();
  assert.deepEqual(await rig.posts(page), [{ name: "setSoloMode", body: { enabled: false } }]);
  assert.equal(await page.locator("#solo-switch").isChecked(), true);
  await rig.dispatch(page, { type: "soloModeChanged", enabled: false });
  assert.equal(await page.locator("#solo-switch").isChecked(), false);

  await rig.clearPosts(page);
  await page.locator("#master-level").evaluate((slider) => {
    slider.value = "-61"; // the bottom of the slider is silence
    slider.dispatchEvent(new Event("input"));
  });
  await page.waitForFunction(() => window.__posts.length > 0);
  assert.deepEqual(await rig.posts(page), [{ name: "setMasterVolume", body: { dB: -120 } }]);
  assert.equal(await page.locator("#master-readout").textContent(), "−∞ dB");

  const message = "Couldn't import “notes.txt”. Check the file and that there's enough free disk space.";
  await rig.dispatch(page, { type: "toast", message });
  assert.equal(await page.locator(".toast").textContent(), message);
  await rig.dispatch(page, { type: "deviceChanged", deviceUID: "null", deviceName: "No output", fellBack: true });
  assert.match(await page.locator("#device-notice-text").textContent(), /lost.*No output/);
  // Silence names what is missing; the default output back after a restart is no warning.
  await rig.dispatch(page, { type: "deviceChanged", deviceUID: "", deviceName: "No audio output (PulseAudio: Connection refused); playing silently", fellBack: true });
  assert.match(await page.locator("#device-notice-text").textContent(), /Connection refused.*runs silently/);
  await rig.dispatch(page, { type: "deviceChanged", deviceUID: "", deviceName: "Default output", fellBack: true });
  assert.match(await page.locator("#device-notice-text").textContent(), /plays through the default output/);
  assert.equal(await page.locator("#device-notice").evaluate((notice) => notice.classList.contains("warning")), false);
  await rig.screenshot(page, "show-page-notices");
});

test("the output menu lists the outputs and picks the show's device", async () => {
  const page = await openShow();
  assert.equal(await page.locator(".output-menu").isVisible(), false); // no list yet
  await rig.dispatch(page, {
    type: "outputDevices",
    devices: [
      { id: "pulse:hdmi", name: "HDMI", isDefault: true },
      { id: "pulse:usb", name: "USB interface", isDefault: false },
    ],
  });
  const menu = page.locator("#output-device");
  assert.deepEqual(await menu.locator("option").allTextContents(),
    ["Default output", "HDMI (system default)", "USB interface"]);
  assert.equal(await menu.inputValue(), "");
  await rig.clearPosts(page);
  await menu.selectOption("pulse:usb");
  assert.deepEqual(await rig.posts(page), [{ name: "setOutputDevice", body: { deviceUID: "pulse:usb" } }]);
  assert.equal(await menu.inputValue(), "pulse:usb");
  // Unplugged: the menu keeps the choice, marked, when the list no longer has it.
  await rig.dispatch(page, { type: "outputDevices", devices: [{ id: "pulse:hdmi", name: "HDMI", isDefault: true }] });
  assert.equal(await menu.inputValue(), "pulse:usb");
  assert.match(await menu.locator("option:checked").textContent(), /not connected/);
});

test("the welcome tour walks the controls and reports done or skipped", async () => {
  const page = await openShow();
  await page.evaluate(() => window.__brwTour.startWelcome());
  await rig.screenshot(page, "tour-welcome");
  let steps = 1;
  while ((await page.locator(".tour-next").textContent()) === "Next") {
    await page.locator(".tour-next").click();
    steps++;
    if (steps === 2) {
      await page.waitForTimeout(300); // the spotlight glides to its target
      await rig.screenshot(page, "tour-step");
    }
  }
  await page.locator(".tour-next").click();
  assert.ok(steps >= 4);
  assert.deepEqual(await rig.posts(page, "brwTour"), [{ name: "brwTour", body: { skipped: false } }]);
  assert.equal(await page.locator(".tour-card").count(), 0);

  await page.evaluate(() => window.__brwTour.startWelcome());
  await page.locator(".tour-skip").click();
  assert.deepEqual((await rig.posts(page, "brwTour")).map((post) => post.body), [{ skipped: false }, { skipped: true }]);
});

test("a page of 500 stings takes snapshots and 30 ticks a second", async () => {
  const stings = Array.from({ length: 500 }, (_, i) => rig.makeSting(i + 1, { hotkey: i < 9 ? String(i + 1) : undefined }));
  const page = await openShow(rig.makeShow([{ id: rig.uuid(9000), name: "Big", stings }]));
  assert.equal(await page.locator(".tile").count(), 500);
  // Only the tiles near the view ask for waveforms.
  assert.ok((await rig.posts(page, "requestWaveform")).length < 100);
  const playing = [1, 50, 120, 250, 499].map(rig.uuid);
  for (const id of playing) await rig.dispatch(page, { type: "playbackStarted", stingID: id, hostTime: 1 });
  await page.evaluate(async (ids) => {
    for (let tick = 0; tick < 30; tick++) {
      window.brellow.dispatch({ type: "playheadTick", stings: ids.map((stingID) => ({ stingID, positionSec: tick / 30 })) });
      await new Promise((next) => setTimeout(next, 33));
    }
  }, playing);
  assert.equal(await tile(page, 250).locator(".tile-time").textContent(), "−0:03.0");
  await rig.dispatch(page, { type: "stateSnapshot", show: rig.makeShow([{ id: rig.uuid(9000), name: "Big", stings: stings.slice(0, 499) }]) });
  assert.equal(await page.locator(".tile").count(), 499);
  assert.deepEqual(page.errors, []);
});
