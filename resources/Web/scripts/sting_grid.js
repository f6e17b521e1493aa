// The active page's stings as a grid of tiles: firing, selection, reordering by drag, playback
// state and playheads. Tiles are kept per sting and only redrawn where something changed.
import { send } from "./native.js";
import {
  createTile, drawTileWaveform, updateTileContent, updateTileState, updateTileTime,
} from "./sting_tile.js";

const DRAG_THRESHOLD_PX = 4;

export class StingGrid {
  constructor(store, { grid, stage, empty }) {
    this.store = store;
    this.grid = grid;
    this.stage = stage;
    this.empty = empty;
    this.tiles = new Map();
    this.requested = new Set();
    this.visible = new Set();
    this.drag = null;

    this.watcher = new IntersectionObserver((entries) => this.onVisibility(entries), {
      root: stage, rootMargin: "200px",
    });
    new ResizeObserver(() => this.redrawWaveforms()).observe(grid);

    grid.addEventListener("pointerdown", (event) => this.onPointerDown(event));
    store.on("show", () => this.render());
    store.on("sting", (id) => this.refreshSting(id));
    store.on("playback", (id) => this.refreshPlayback(id));
    store.on("tick", (ids) => ids.forEach((id) => this.refreshTime(id)));
    store.on("waveform", (id) => {
      const tile = this.tiles.get(id);
      if (tile) drawTileWaveform(tile, store.waveforms.get(id));
    });
    store.on("selection", () => this.showSelection());
  }

  /** Stings of the active page, in order. */
  stings() {
    return this.store.activePage()?.stings ?? [];
  }

  render() {
    const page = this.store.activePage();
    const stings = page?.stings ?? [];
    const keep = new Set(stings.map((sting) => sting.id));
    for (const [id, tile] of this.tiles) {
      if (keep.has(id)) continue;
      this.watcher.unobserve(tile);
      tile.remove();
      this.tiles.delete(id);
      this.visible.delete(id);
    }
    const fragment = document.createDocumentFragment();
    for (const sting of stings) {
      let tile = this.tiles.get(sting.id);
      if (!tile) {
        tile = createTile(sting.id);
        this.tiles.set(sting.id, tile);
        this.watcher.observe(tile);
      }
      this.paint(tile, sting);
      fragment.append(tile);
    }
    this.grid.replaceChildren(fragment);
    this.empty.hidden = !page || stings.length > 0;
    this.showSelection();
  }

  paint(tile, sting) {
    const playback = this.store.playback.get(sting.id);
    updateTileContent(tile, sting, this.store.levelOf(sting));
    updateTileState(tile, playback);
    updateTileTime(tile, this.store.playableRange(sting), playback);
  }

  refreshSting(id) {
    const tile = this.tiles.get(id);
    const sting = this.store.sting(id);
    if (tile && sting) this.paint(tile, sting);
  }

  refreshPlayback(id) {
    const tile = this.tiles.get(id);
    const sting = this.store.sting(id);
    if (!tile || !sting) return;
    const playback = this.store.playback.get(id);
    updateTileState(tile, playback);
    updateTileTime(tile, this.store.playableRange(sting), playback);
  }

  refreshTime(id) {
    const tile = this.tiles.get(id);
    const sting = this.store.sting(id);
    if (tile && sting) updateTileTime(tile, this.store.playableRange(sting), this.store.playback.get(id));
  }

  showSelection() {
    for (const [id, tile] of this.tiles) tile.classList.toggle("selected", id === this.store.selectedID);
  }

  /** Fires a sting, or stops it with its fade when it is sounding and not already fading. */
  toggle(id) {
    const playback = this.store.playback.get(id);
    if (playback?.state === "playing") send("stop", { stingID: id });
    else send("play", { stingID: id });
  }

  select(id) {
    if (this.store.selectedID === id) return;
    this.store.selectedID = id;
    this.store.emit("selection");
    this.tiles.get(id)?.scrollIntoView({ block: "nearest" });
  }

  /** Number of tiles in one row of the grid, for arrow-key movement. */
  columns() {
    const template = getComputedStyle(this.grid).gridTemplateColumns;
    return Math.max(1, template.split(" ").filter(Boolean).length);
  }

  onVisibility(entries) {
    for (const entry of entries) {
      const id = entry.target.dataset.id;
      if (!entry.isIntersecting) {
        this.visible.delete(id);
        continue;
      }
      this.visible.add(id);
      const waveform = this.store.waveforms.get(id);
      if (waveform) drawTileWaveform(entry.target, waveform);
      else if (!this.requested.has(id)) {
        this.requested.add(id);
        send("requestWaveform", { stingID: id });
      }
    }
  }

  redrawWaveforms() {
    for (const id of this.visible) {
      const tile = this.tiles.get(id);
      if (tile) drawTileWaveform(tile, this.store.waveforms.get(id));
    }
  }

  // Firing happens on press, not release: a live cue must not wait for the button to come up.
  onPointerDown(event) {
    const tile = event.target.closest(".tile");
    if (!tile || event.button !== 0) return;
    const id = tile.dataset.id;
    if (event.target.closest(".tile-grip")) {
      this.startDrag(event, tile);
      return;
    }
    this.select(id);
    if (!event.shiftKey) this.toggle(id);
  }

  startDrag(event, tile) {
    event.preventDefault();
    const origin = { x: event.clientX, y: event.clientY };
    const move = (moveEvent) => {
      if (!this.drag) {
        if (Math.hypot(moveEvent.clientX - origin.x, moveEvent.clientY - origin.y) < DRAG_THRESHOLD_PX) return;
        this.beginDrag(tile, origin);
      }
      this.trackDrag(moveEvent);
    };
    const end = (endEvent) => {
      window.removeEventListener("pointermove", move);
      window.removeEventListener("pointerup", end);
      window.removeEventListener("pointercancel", end);
      window.removeEventListener("keydown", cancel, true);
      if (this.drag) this.finishDrag(endEvent.type === "pointerup");
    };
    const cancel = (keyEvent) => {
      if (keyEvent.key !== "Escape" || !this.drag) return;
      keyEvent.stopPropagation();
      this.finishDrag(false);
      end({ type: "cancel" });
    };
    window.addEventListener("pointermove", move);
    window.addEventListener("pointerup", end);
    window.addEventListener("pointercancel", end);
    window.addEventListener("keydown", cancel, true);
  }

  beginDrag(tile, origin) {
    const box = tile.getBoundingClientRect();
    const ghost = tile.cloneNode(true);
    ghost.classList.add("drag-ghost");
    ghost.style.width = `${box.width}px`;
    document.body.append(ghost);
    tile.classList.add("drag-source");
    this.drag = { tile, ghost, offset: { x: origin.x - box.left, y: origin.y - box.top }, target: null };
  }

  trackDrag(event) {
    const { ghost, offset } = this.drag;
    ghost.style.left = `${event.clientX - offset.x}px`;
    ghost.style.top = `${event.clientY - offset.y}px`;
    this.drag.target?.tile.classList.remove("drop-before", "drop-after");
    const over = document.elementFromPoint(event.clientX, event.clientY)?.closest(".tile");
    if (!over || over === this.drag.tile || !this.grid.contains(over)) {
      this.drag.target = null;
      return;
    }
    const box = over.getBoundingClientRect();
    const after = event.clientX > box.left + box.width / 2;
    over.classList.add(after ? "drop-after" : "drop-before");
    this.drag.target = { tile: over, after };
  }

  finishDrag(commit) {
    const { tile, ghost, target } = this.drag;
    this.drag = null;
    ghost.remove();
    tile.classList.remove("drag-source");
    target?.tile.classList.remove("drop-before", "drop-after");
    if (!commit || !target) return;
    const moving = tile.dataset.id;
    const order = this.stings().map((sting) => sting.id).filter((id) => id !== moving);
    const index = order.indexOf(target.tile.dataset.id) + (target.after ? 1 : 0);
    order.splice(index, 0, moving);
    send("reorder", { pageID: this.store.activePage().id, stingIDs: order });
  }
}
