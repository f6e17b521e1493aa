// The browser host on loopback: the round trip from a page posting "play" to the page
// receiving "playbackStarted", and the native side's CPU while 8 pages receive playhead ticks
// 30 times a second. Prints its figures.
import { readFileSync } from "node:fs";
import * as rig from "../../tests/web/harness.js";
import { makeDemoShow, makeHome, startServe } from "../../tests/web/serve_rig.js";

const ROUND_TRIPS = 60;
const CLIENTS = 8;
const SECONDS = 10;

const home = makeHome();
const server = await startServe(home, [makeDemoShow(home)]);
const browser = await rig.launchBrowser();
const open = async () => {
  const page = await (await browser.newContext()).newPage();
  await page.goto(server.url);
  await page.waitForSelector(".tile");
  return page;
};

const first = await open();
const times = await first.evaluate(async (count) => {
  const stings = [...document.querySelectorAll(".tile")].map((tile) => tile.dataset.id);
  const id = stings[2];
  const wait = (type) => new Promise((done) => {
    const stop = window.brellow.addEventListener((event) => {
      if (event.type === type && event.stingID === id) { stop(); done(performance.now()); }
    });
  });
  const result = [];
  for (let i = 0; i < count; i++) {
    const started = wait("playbackStarted");
    const sent = performance.now();
    window.brellow.play({ stingID: id });
    result.push((await started) - sent);
    const stopped = wait("playbackStopped");
    window.brellow.stop({ stingID: id });
    await stopped;
  }
  return result;
}, ROUND_TRIPS);

const cpuSeconds = (pid) => {
  const fields = readFileSync(`/proc/${pid}/stat`, "utf8").split(") ")[1].split(" ");
  return (Number(fields[11]) + Number(fields[12])) / 100; // utime + stime, in clock ticks of 10 ms
};
const measure = async (seconds) => {
  const before = cpuSeconds(server.child.pid);
  const start = performance.now();
  await new Promise((done) => setTimeout(done, seconds * 1000));
  return (cpuSeconds(server.child.pid) - before) / ((performance.now() - start) / 1000);
};

const pages = [first];
for (let i = 1; i < CLIENTS; i++) pages.push(await open());
const idle = await measure(SECONDS / 2);
await first.evaluate(() => {
  const id = document.querySelectorAll(".tile")[7].dataset.id;
  window.brellow.setLoop({ stingID: id, enabled: true });
  setTimeout(() => window.brellow.play({ stingID: id }), 200);
});
await first.waitForSelector(".tile.playing");
const ticking = await measure(SECONDS);
const ticks = await pages[CLIENTS - 1].evaluate(() => new Promise((done) => {
  let count = 0;
  const stop = window.brellow.addEventListener((event) => { if (event.type === "playheadTick") count++; });
  setTimeout(() => { stop(); done(count); }, 2000);
}));

const sorted = [...times].sort((a, b) => a - b);
const at = (q) => sorted[Math.min(sorted.length - 1, Math.floor(q * sorted.length))].toFixed(2);
console.log(`serve_bench: ${ROUND_TRIPS} round trips of play -> playbackStarted on loopback`);
console.log(`  median ${at(0.5)} ms, p10 ${at(0.1)} ms, p90 ${at(0.9)} ms, min ${at(0)} ms, max ${at(1)} ms`);
console.log(`serve_bench: ${CLIENTS} pages connected, one sting looping`);
console.log(`  native CPU idle ${(idle * 100).toFixed(1)} % of a core; ` +
  `with ticks ${(ticking * 100).toFixed(1)} % of a core; ${(ticks / 2).toFixed(0)} ticks/s reach each page`);
await browser.close();
await server.stop();
