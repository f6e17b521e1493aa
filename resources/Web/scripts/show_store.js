// Everything the page knows, built only from the native side's snapshots and events.
// Views subscribe to the kinds of change they draw and never keep their own copies.

export class ShowStore {
  constructor() {
    this.show = null;
    /** stingID -> {state: "playing" | "fading", positionSec, fadeSec} */
    this.playback = new Map();
    /** stingID -> level in dB as the engine last reported it */
    this.levels = new Map();
    /** stingID -> {peaksPerSecond, peaks} */
    this.waveforms = new Map();
    this.device = null;
    this.stingsById = new Map();
    this.listeners = new Map();
  }

  on(kind, listener) {
    if (!this.listeners.has(kind)) this.listeners.set(kind, new Set());
    this.listeners.get(kind).add(listener);
  }

  emit(kind, detail) {
    for (const listener of this.listeners.get(kind) ?? []) listener(detail);
  }

  activePage() {
    const pages = this.show?.pages ?? [];
    return pages.find((page) => page.id === this.show.activePageID) ?? pages[0] ?? null;
  }

  sting(id) {
    return this.stingsById.get(id) ?? null;
  }

  levelOf(sting) {
    return this.levels.get(sting.id) ?? sting.volumeDB ?? 0;
  }

  /** The part of the file that plays: [start, end) in seconds. */
  playableRange(sting) {
    const end = sting.trimOutSec ?? sting.durationSec;
    return { start: Math.min(sting.trimInSec ?? 0, end), end };
  }

  apply(event) {
    if (!event || typeof event !== "object") return;
    const handler = EVENT_HANDLERS[event.type];
    if (handler) handler(this, event);
  }

  takeSnapshot(show) {
    if (!show || !Array.isArray(show.pages)) return;
    this.show = show;
    this.stingsById.clear();
    for (const page of show.pages) {
      for (const sting of page.stings ?? []) this.stingsById.set(sting.id, sting);
    }
    this.emit("show");
  }

  editSting(id, change) {
    const sting = this.sting(id);
    if (!sting) return;
    change(sting);
    this.emit("sting", id);
  }

  setPlayback(id, entry) {
    if (entry) this.playback.set(id, entry);
    else this.playback.delete(id);
    this.emit("playback", id);
  }
}

const setOrDelete = (object, key, value) => {
  if (value === null || value === undefined) delete object[key];
  else object[key] = value;
};

const EVENT_HANDLERS = {
  stateSnapshot: (store, event) => store.takeSnapshot(event.show),

  playheadTick: (store, event) => {
    const moved = [];
    for (const { stingID, positionSec } of event.stings ?? []) {
      const entry = store.playback.get(stingID);
      // A page that reloaded mid-cue learns of it from the first tick.
      if (!entry) store.setPlayback(stingID, { state: "playing", positionSec, fadeSec: 0 });
      else entry.positionSec = positionSec;
      moved.push(stingID);
    }
    store.emit("tick", moved);
  },

  playbackStarted: (store, event) => {
    const sting = store.sting(event.stingID);
    const start = sting ? store.playableRange(sting).start : 0;
    store.setPlayback(event.stingID, { state: "playing", positionSec: start, fadeSec: 0 });
  },

  playbackFadeOutStarted: (store, event) => {
    const entry = store.playback.get(event.stingID) ?? { positionSec: null };
    store.setPlayback(event.stingID, { ...entry, state: "fading", fadeSec: event.durationSec });
  },

  playbackStopped: (store, event) => store.setPlayback(event.stingID, null),

  volumeChanged: (store, event) => {
    store.levels.set(event.stingID, event.dB);
    store.emit("sting", event.stingID);
  },

  outputDevices: (store, event) => {
    store.outputDevices = Array.isArray(event.devices) ? event.devices : [];
    store.emit("outputs");
  },

  deviceChanged: (store, event) => {
    store.device = event;
    store.emit("device", event);
  },

  trimChanged: (store, event) =>
    store.editSting(event.stingID, (sting) => {
      setOrDelete(sting, "trimInSec", event.inSec);
      setOrDelete(sting, "trimOutSec", event.outSec);
    }),

  loopChanged: (store, event) =>
    store.editSting(event.stingID, (sting) => (sting.loop = event.enabled)),

  fadeChanged: (store, event) =>
    store.editSting(event.stingID, (sting) => {
      sting.fadeInSec = event.fadeInSec;
      sting.fadeOutSec = event.fadeOutSec;
    }),

  hotkeyChanged: (store, event) =>
    store.editSting(event.stingID, (sting) => setOrDelete(sting, "hotkey", event.key)),

  renamed: (store, event) => store.editSting(event.stingID, (sting) => (sting.name = event.name)),

  soloModeChanged: (store, event) => {
    if (!store.show) return;
    store.show.soloMode = event.enabled;
    store.emit("solo");
  },

  pageRenamed: (store, event) => {
    const page = store.show?.pages.find((candidate) => candidate.id === event.pageID);
    if (!page) return;
    page.name = event.name;
    store.emit("pages");
  },

  activePageChanged: (store, event) => {
    if (!store.show) return;
    store.show.activePageID = event.pageID;
    store.emit("show");
  },

  waveformData: (store, event) => {
    store.waveforms.set(event.stingID, { peaksPerSecond: event.peaksPerSecond, peaks: event.peaks });
    store.emit("waveform", event.stingID);
  },

  toast: (store, event) => store.emit("toast", event.message),
};
