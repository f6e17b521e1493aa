// The inspector: every property of the selected sting that the native side lets the page
// change. Each control posts its command; what it shows comes back through the change events.
import { send } from "./native.js";
import { dbToSlider, formatDb, formatTime, keyLabel, sliderToDb } from "./format.js";
import { WaveformEditor } from "./waveform_editor.js";

const LEVEL_FLOOR_DB = -60;
const MODIFIER_KEYS = new Set(["Shift", "Control", "Alt", "Meta", "AltGraph", "CapsLock", "Dead"]);

export class Inspector {
  constructor(store, panel) {
    this.store = store;
    this.panel = panel;
    this.shownID = undefined;
    this.capturingKey = false;
    this.pendingLevel = null;
    store.on("selection", () => this.render());
    store.on("show", () => this.render());
    store.on("sting", (id) => id === this.shownID && this.refresh());
    store.on("waveform", (id) => id === this.shownID && this.refreshWaveform());
    store.on("tick", (ids) => ids.includes(this.shownID) && this.refreshWaveform());
    store.on("playback", (id) => id === this.shownID && this.refreshWaveform());
  }

  render() {
    const sting = this.store.sting(this.store.selectedID);
    if (!sting) {
      this.shownID = null;
      this.panel.innerHTML = `<p class="placeholder">Select a sting to edit it.<br>Shift-click selects without firing.</p>`;
      return;
    }
    if (sting.id === this.shownID) {
      this.refresh();
      return;
    }
    this.shownID = sting.id;
    this.capturingKey = false;
    this.panel.innerHTML = `
      <div class="field"><h3>Name</h3><input type="text" id="sting-name" aria-label="Sting name" maxlength="200"></div>
      <div class="field"><h3>Level</h3>
        <div class="row"><input type="range" id="sting-level" min="${LEVEL_FLOOR_DB - 1}" max="12" step="0.5" aria-label="Level">
        <output class="readout" id="sting-level-readout"></output></div></div>
      <div class="field"><h3>Trim and fades</h3>
        <div class="wave-editor" id="wave-editor" title="Drag the blue lines to trim, the amber handles to fade"></div>
        <div class="numbers">
          <label for="trim-in">In</label><input type="number" id="trim-in" min="0" step="0.01">
          <label for="trim-out">Out</label><input type="number" id="trim-out" min="0" step="0.01">
          <label for="fade-in">Fade in</label><input type="number" id="fade-in" min="0" max="60" step="0.05">
          <label for="fade-out">Fade out</label><input type="number" id="fade-out" min="0" max="60" step="0.05">
        </div>
        <button class="subtle" id="clear-trim">Reset trims</button></div>
      <div class="field"><h3>Playback</h3>
        <label class="switch"><input type="checkbox" id="sting-loop"><span class="switch-track"></span><span>Loop</span></label></div>
      <div class="field"><h3>Hotkey</h3>
        <div class="row"><button class="hotkey-capture" id="hotkey-capture"></button>
        <button id="hotkey-clear">Clear</button></div></div>
      <p class="subtle" id="sting-info"></p>
      <button class="danger remove" id="remove-sting">Remove sting…</button>`;
    this.editor = new WaveformEditor(this.panel.querySelector("#wave-editor"), (kind, values) =>
      kind === "trim"
        ? send("setTrim", { stingID: this.shownID, ...values })
        : send("setFade", { stingID: this.shownID, ...values }));
    this.wire();
    this.refresh();
    if (!this.store.waveforms.has(sting.id)) send("requestWaveform", { stingID: sting.id });
  }

  element(id) {
    return this.panel.querySelector(`#${id}`);
  }

  wire() {
    const name = this.element("sting-name");
    const commitName = () => {
      const sting = this.store.sting(this.shownID);
      const text = name.value.trim();
      if (sting && text && text !== sting.name) send("rename", { stingID: sting.id, name: text });
      else if (sting) name.value = sting.name;
    };
    name.addEventListener("change", commitName);
    name.addEventListener("keydown", (event) => {
      if (event.key === "Enter") name.blur();
      if (event.key === "Escape") {
        event.stopPropagation(); // cancels the rename; does not stop the show
        name.value = this.store.sting(this.shownID)?.name ?? "";
        name.blur();
      }
    });

    const level = this.element("sting-level");
    level.addEventListener("input", () => this.queueLevel(sliderToDb(Number(level.value), LEVEL_FLOOR_DB)));
    level.addEventListener("dblclick", () => this.queueLevel(0));

    const trimIn = this.element("trim-in");
    const trimOut = this.element("trim-out");
    const sendTrim = () => send("setTrim", {
      stingID: this.shownID, inSec: numberOrNull(trimIn.value), outSec: numberOrNull(trimOut.value),
    });
    trimIn.addEventListener("change", sendTrim);
    trimOut.addEventListener("change", sendTrim);
    this.element("clear-trim").addEventListener("click", () =>
      send("setTrim", { stingID: this.shownID, inSec: null, outSec: null }));

    const fadeIn = this.element("fade-in");
    const fadeOut = this.element("fade-out");
    const sendFade = () => send("setFade", {
      stingID: this.shownID, fadeInSec: Number(fadeIn.value) || 0, fadeOutSec: Number(fadeOut.value) || 0,
    });
    fadeIn.addEventListener("change", sendFade);
    fadeOut.addEventListener("change", sendFade);

    const loop = this.element("sting-loop");
    loop.addEventListener("change", () => {
      send("setLoop", { stingID: this.shownID, enabled: loop.checked });
      loop.checked = Boolean(this.store.sting(this.shownID)?.loop); // the event sets it for real
    });

    const capture = this.element("hotkey-capture");
    capture.addEventListener("click", () => this.setCapturing(!this.capturingKey));
    capture.addEventListener("keydown", (event) => this.onCaptureKey(event));
    capture.addEventListener("blur", () => this.setCapturing(false));
    this.element("hotkey-clear").addEventListener("click", () => send("setHotkey", { stingID: this.shownID, key: "" }));

    this.element("remove-sting").addEventListener("click", () => {
      const sting = this.store.sting(this.shownID);
      if (sting && window.confirm(`Remove “${sting.name}” from the show? Its audio is deleted with it.`)) {
        send("removeSting", { stingID: sting.id });
      }
    });
  }

  /** Sends level changes at most once a frame while the slider moves. */
  queueLevel(dB) {
    const first = this.pendingLevel === null;
    this.pendingLevel = dB;
    this.element("sting-level-readout").textContent = formatDb(dB);
    if (!first) return;
    requestAnimationFrame(() => {
      send("setVolume", { stingID: this.shownID, dB: this.pendingLevel });
      this.pendingLevel = null;
    });
  }

  setCapturing(on) {
    this.capturingKey = on;
    const capture = this.element("hotkey-capture");
    if (!capture) return;
    capture.classList.toggle("listening", on);
    this.refresh();
  }

  onCaptureKey(event) {
    if (!this.capturingKey) return;
    event.preventDefault();
    event.stopPropagation();
    if (MODIFIER_KEYS.has(event.key)) return;
    if (event.key === "Escape") return this.setCapturing(false);
    if (event.key === "Backspace" || event.key === "Delete") {
      send("setHotkey", { stingID: this.shownID, key: "" });
    } else if (event.key !== "Enter" && event.key !== "Tab") {
      send("setHotkey", { stingID: this.shownID, key: event.key });
    }
    this.setCapturing(false);
  }

  refresh() {
    const sting = this.store.sting(this.shownID);
    if (!sting) return this.render();
    const name = this.element("sting-name");
    if (document.activeElement !== name) name.value = sting.name;
    const dB = this.store.levelOf(sting);
    if (this.pendingLevel === null) {
      this.element("sting-level").value = String(dbToSlider(dB, LEVEL_FLOOR_DB));
      this.element("sting-level-readout").textContent = formatDb(dB);
    }
    setNumber(this.element("trim-in"), sting.trimInSec);
    setNumber(this.element("trim-out"), sting.trimOutSec);
    this.element("trim-in").placeholder = "0";
    this.element("trim-out").placeholder = (sting.durationSec ?? 0).toFixed(2);
    setNumber(this.element("fade-in"), sting.fadeInSec ?? 0);
    setNumber(this.element("fade-out"), sting.fadeOutSec ?? 0);
    this.element("sting-loop").checked = Boolean(sting.loop);
    this.element("hotkey-capture").textContent = this.capturingKey
      ? "Press a key…"
      : sting.hotkey ? keyLabel(sting.hotkey).toUpperCase() : "None";
    const range = this.store.playableRange(sting);
    this.element("sting-info").textContent =
      `File ${formatTime(sting.durationSec ?? 0)} · plays ${formatTime(range.end - range.start)}`;
    this.refreshWaveform();
  }

  refreshWaveform() {
    const sting = this.store.sting(this.shownID);
    if (!sting || !this.editor) return;
    const playback = this.store.playback.get(sting.id);
    this.editor.show(sting, this.store.waveforms.get(sting.id), playback?.positionSec ?? null);
  }
}

function numberOrNull(text) {
  const value = Number.parseFloat(text);
  return Number.isFinite(value) ? value : null;
}

function setNumber(input, value) {
  if (document.activeElement === input) return;
  input.value = value === null || value === undefined ? "" : String(Math.round(value * 1000) / 1000);
}
