// How the show page copes with a big page: drawing a 500-sting snapshot, handling playhead
// ticks with several stings playing, and the frame rate while ticks arrive 30 times a second.
// Prints its figures; run from tests/web's node_modules (see scripts/test).
import * as rig from "../../tests/web/harness.js";

const STINGS = 500;
const PLAYING = 8;
const SECONDS = 5;

const { server, url } = await rig.startServer();
const browser = await rig.launchBrowser();
const page = await rig.openPage(browser, url);
await page.waitForFunction(() => window.__posts.length >= 2);

const stings = Array.from({ length: STINGS }, (_, i) => rig.makeSting(i + 1, { name: `Cue ${i + 1}` }));
const show = rig.makeShow([{ id: rig.uuid(90000), name: "Big", stings }]);

const snapshotMs = [];
for (let run = 0; run < 5; run++) {
  snapshotMs.push(await page.evaluate((s) => {
    const start = performance.now();
    window.brellow.dispatch({ type: "stateSnapshot", show: structuredClone(s) });
    document.body.offsetHeight; // include style and layout
    return performance.now() - start;
  }, show));
}
await rig.settle(page);
await rig.answerWaveforms(page);

const playing = Array.from({ length: PLAYING }, (_, i) => rig.uuid(1 + i * 61));
for (const id of playing) await rig.dispatch(page, { type: "playbackStarted", stingID: id, hostTime: 1 });

const result = await page.evaluate(async ({ ids, seconds }) => {
  const tickMs = [];
  const frames = [];
  let last = performance.now();
  let running = true;
  const frame = (now) => {
    frames.push(now - last);
    last = now;
    if (running) requestAnimationFrame(frame);
  };
  requestAnimationFrame(frame);
  for (let tick = 0; tick < seconds * 30; tick++) {
    const event = { type: "playheadTick", stings: ids.map((stingID) => ({ stingID, positionSec: tick / 30 })) };
    const start = performance.now();
    window.brellow.dispatch(event);
    tickMs.push(performance.now() - start);
    await new Promise((next) => setTimeout(next, 33));
  }
  running = false;
  return { tickMs, frames: frames.slice(1) };
}, { ids: playing, seconds: SECONDS });

const sorted = (values) => [...values].sort((a, b) => a - b);
const pick = (values, q) => sorted(values)[Math.min(values.length - 1, Math.floor(q * values.length))];
const fixed = (value) => value.toFixed(2);
console.log(`page_bench: ${STINGS} stings on one page, ${PLAYING} playing, ticks every 33 ms for ${SECONDS} s`);
console.log(`  snapshot draw (incl. layout): median ${fixed(pick(snapshotMs, 0.5))} ms, max ${fixed(Math.max(...snapshotMs))} ms`);
console.log(`  tick handling: median ${fixed(pick(result.tickMs, 0.5))} ms, p99 ${fixed(pick(result.tickMs, 0.99))} ms`);
console.log(`  frame interval: median ${fixed(pick(result.frames, 0.5))} ms, p99 ${fixed(pick(result.frames, 0.99))} ms, ` +
  `max ${fixed(Math.max(...result.frames))} ms (${result.frames.length} frames)`);
await browser.close();
server.close();
