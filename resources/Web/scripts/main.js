// The show page: wires the store to the views and the views to the native side.
import { hostExtras, send, subscribe } from "./native.js";
import { ShowStore } from "./show_store.js";
import { StingGrid } from "./sting_grid.js";
import { PageTabs } from "./page_tabs.js";
import { Inspector } from "./inspector.js";
import { installKeyboard } from "./keyboard.js";
import { installDeviceNotice, installToasts } from "./notices.js";
import { installTour } from "./tour.js";
import { dbToSlider, formatDb, sliderToDb } from "./format.js";
import { installUploads } from "./uploads.js";

const MASTER_FLOOR_DB = -60;
const byId = (id) => document.getElementById(id);

const store = new ShowStore();
store.selectedID = null;

const grid = new StingGrid(store, { grid: byId("sting-grid"), stage: byId("stage"), empty: byId("empty-page") });
new PageTabs(store, { tabs: byId("page-tabs"), addButton: byId("add-page") });
new Inspector(store, byId("inspector"));
installToasts(store, byId("toasts"));
installDeviceNotice(store, {
  notice: byId("device-notice"), text: byId("device-notice-text"), close: byId("device-notice-close"),
});
installTour();

const stopAllButton = byId("stop-all");
const stopAll = () => {
  send("stopAll");
  stopAllButton.classList.add("flash");
  setTimeout(() => stopAllButton.classList.remove("flash"), 180);
};
stopAllButton.addEventListener("click", stopAll);
installKeyboard(store, grid, { onStopAll: stopAll });

// Solo: the switch shows what the native side last confirmed.
const solo = byId("solo-switch");
solo.addEventListener("change", () => {
  send("setSoloMode", { enabled: solo.checked });
  solo.checked = Boolean(store.show?.soloMode);
});
const showSolo = () => (solo.checked = Boolean(store.show?.soloMode));
store.on("solo", showSolo);

// Output: the show's device, chosen from what the native side lists. The choice is the
// show's, so it follows snapshots; a stored device that is not there now stays listed.
const outputSelect = byId("output-device");
let outputChoice = null; // sent, not yet in a snapshot
const showOutputs = () => {
  const devices = store.outputDevices ?? [];
  outputSelect.parentElement.hidden = devices.length === 0;
  const current = outputChoice ?? store.show?.outputDeviceUID ?? "";
  const options = [{ id: "", name: "Default output" }, ...devices];
  if (current && !devices.some((device) => device.id === current)) {
    options.push({ id: current, name: `${current} (not connected)` });
  }
  outputSelect.replaceChildren(...options.map(({ id, name, isDefault }) => {
    const option = document.createElement("option");
    option.value = id;
    option.textContent = isDefault ? `${name} (system default)` : name;
    return option;
  }));
  outputSelect.value = current;
};
outputSelect.addEventListener("change", () => {
  outputChoice = outputSelect.value;
  send("setOutputDevice", { deviceUID: outputChoice });
});
store.on("outputs", showOutputs);
store.on("show", () => {
  outputChoice = null;
  showOutputs();
});

// Master level belongs to the engine, which reports no changes: the slider is its record. The
// show's stored value is taken once, when the first snapshot arrives.
const master = byId("master-level");
const masterReadout = byId("master-readout");
let masterPending = null;
let masterTaken = false;
const showMaster = (dB) => {
  master.value = String(dbToSlider(dB, MASTER_FLOOR_DB));
  masterReadout.textContent = formatDb(dB);
};
master.addEventListener("input", () => {
  const first = masterPending === null;
  masterPending = sliderToDb(Number(master.value), MASTER_FLOOR_DB);
  masterReadout.textContent = formatDb(masterPending);
  if (!first) return;
  requestAnimationFrame(() => {
    send("setMasterVolume", { dB: masterPending });
    masterPending = null;
  });
});
master.addEventListener("dblclick", () => {
  showMaster(0);
  send("setMasterVolume", { dB: 0 });
});

const counts = byId("status-counts");
const showCounts = () => {
  const page = store.activePage();
  if (!page) return (counts.textContent = "");
  const stings = page.stings?.length ?? 0;
  const playing = store.playback.size;
  counts.textContent = `${page.name} · ${stings} sting${stings === 1 ? "" : "s"}` +
    (playing ? ` · ${playing} playing` : "");
};
store.on("playback", showCounts);
store.on("pages", showCounts);

store.on("show", () => {
  const name = store.show.name || "Untitled";
  byId("show-title").textContent = name;
  document.title = `${name} — Brellow`;
  if (!masterTaken) {
    masterTaken = true;
    showMaster(store.show.masterVolumeDB ?? 0);
  }
  if (store.selectedID && !store.sting(store.selectedID)) {
    store.selectedID = null;
    store.emit("selection");
  }
  showSolo();
  showCounts();
});

installUploads(hostExtras(), {
  button: byId("add-files"), input: byId("file-input"), overlay: byId("drop-overlay"),
  preferences: byId("open-preferences"),
});

subscribe((event) => store.apply(event));
send("ready");
send("requestState");
