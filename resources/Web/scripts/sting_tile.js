// One sting's tile in the grid: its static look, its playback state and its playhead.
import { formatTime, formatDb, keyLabel } from "./format.js";
import { drawPeaks, fitCanvas } from "./waveform.js";

const LABELS = new Set(["red", "amber", "green", "blue", "purple"]);

export function createTile(id) {
  const tile = document.createElement("div");
  tile.className = "tile";
  tile.dataset.id = id;
  tile.setAttribute("role", "gridcell");
  tile.innerHTML = `
    <div class="tile-name"></div>
    <div class="tile-key"></div>
    <div class="tile-meta"><span class="tile-time"></span><svg class="tile-loop" viewBox="0 0 16 16" width="14" height="14" aria-label="Loops"><path d="M3 8a5 5 0 0 1 8.5-3.5L13 6M13 2v4H9M13 8a5 5 0 0 1-8.5 3.5L3 10M3 14v-4h4" fill="none" stroke="currentColor" stroke-width="1.6" stroke-linecap="round" stroke-linejoin="round"/></svg><span class="tile-level"></span></div>
    <div class="tile-grip" title="Drag to reorder">⋮⋮</div>
    <canvas class="tile-wave"></canvas>
    <div class="tile-progress"></div>
    <div class="tile-playhead"></div>`;
  return tile;
}

/** Draws everything that comes from the sting itself. */
export function updateTileContent(tile, sting, level) {
  tile.querySelector(".tile-name").textContent = sting.name;
  tile.querySelector(".tile-key").textContent = sting.hotkey ? keyLabel(sting.hotkey) : "";
  tile.querySelector(".tile-level").textContent = Math.abs(level) >= 0.05 ? formatDb(level) : "";
  tile.dataset.label = LABELS.has(sting.colorLabel) ? sting.colorLabel : "none";
  tile.classList.toggle("loops", Boolean(sting.loop));
  tile.title = sting.hotkey ? `${sting.name} — key ${keyLabel(sting.hotkey)}` : sting.name;
}

/** Shows the playable length while idle, and the time left while playing. */
export function updateTileTime(tile, range, playback) {
  const time = tile.querySelector(".tile-time");
  const progress = tile.querySelector(".tile-progress");
  const playhead = tile.querySelector(".tile-playhead");
  const length = Math.max(0, range.end - range.start);
  if (!playback || playback.positionSec === null || playback.positionSec === undefined) {
    time.textContent = formatTime(length);
    progress.style.transform = "scaleX(0)";
    playhead.style.transform = "translateX(0)";
    return;
  }
  const played = Math.min(Math.max(playback.positionSec - range.start, 0), length);
  const fraction = length > 0 ? played / length : 0;
  time.textContent = formatTime(-(length - played));
  progress.style.transform = `scaleX(${fraction})`;
  playhead.style.transform = `translateX(${fraction * 100}%)`;
}

export function updateTileState(tile, playback) {
  tile.classList.toggle("playing", playback?.state === "playing" || playback?.state === "fading");
  tile.classList.toggle("fading", playback?.state === "fading");
}

export function drawTileWaveform(tile, waveform) {
  const canvas = tile.querySelector(".tile-wave");
  if (!waveform || !fitCanvas(canvas)) return;
  const context = canvas.getContext("2d");
  context.clearRect(0, 0, canvas.width, canvas.height);
  drawPeaks(context, waveform.peaks, {
    x0: 0, x1: canvas.width, top: canvas.height * 0.08, height: canvas.height * 0.84, color: "#8fa3b8",
  });
}
