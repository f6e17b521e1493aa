// The inspector's waveform: the whole file, with draggable trim-in and trim-out lines and
// fade-in and fade-out handles. A drag previews locally and posts one command when released;
// the drawing then follows the change event from the native side.
import { drawPeaks, fitCanvas } from "./waveform.js";

const HANDLE_REACH_PX = 9;
const FADE_BAND_PX = 26;
const MIN_LENGTH_SEC = 0.01;
const MAX_FADE_SEC = 60;
// Room at each side so that handles at the very start and end can be seen and grabbed.
const INSET_PX = 7;

export class WaveformEditor {
  /** `onCommit(kind, values)` is called with "trim" {inSec, outSec} or "fade" {fadeInSec, fadeOutSec}. */
  constructor(container, onCommit) {
    this.container = container;
    this.onCommit = onCommit;
    this.canvas = document.createElement("canvas");
    container.append(this.canvas);
    this.sting = null;
    this.waveform = null;
    this.positionSec = null;
    this.preview = null;
    this.drag = null;
    container.addEventListener("pointerdown", (event) => this.onPointerDown(event));
    container.addEventListener("pointermove", (event) => this.onHover(event));
    new ResizeObserver(() => this.draw()).observe(container);
  }

  show(sting, waveform, positionSec) {
    this.sting = sting;
    this.waveform = waveform;
    this.positionSec = positionSec;
    if (!this.drag) this.preview = null;
    this.draw();
  }

  /** The values drawn: the sting's own, or the drag in progress. */
  values() {
    const sting = this.sting;
    const duration = Math.max(sting.durationSec ?? 0, MIN_LENGTH_SEC);
    const base = {
      inSec: sting.trimInSec ?? 0,
      outSec: Math.min(sting.trimOutSec ?? duration, duration),
      fadeInSec: sting.fadeInSec ?? 0,
      fadeOutSec: sting.fadeOutSec ?? 0,
      duration,
    };
    return { ...base, ...this.preview };
  }

  /** x of a time in a drawing `width` wide, with `inset` free at each side. */
  timeToX(seconds, width, inset = INSET_PX * (window.devicePixelRatio || 1)) {
    return inset + (seconds / this.values().duration) * (width - 2 * inset);
  }

  xToTime(clientX) {
    const box = this.container.getBoundingClientRect();
    const fraction = Math.min(Math.max((clientX - box.left - INSET_PX) / (box.width - 2 * INSET_PX), 0), 1);
    return fraction * this.values().duration;
  }

  draw() {
    if (!this.sting || !fitCanvas(this.canvas)) return;
    const ratio = window.devicePixelRatio || 1;
    const { width, height } = this.canvas;
    const context = this.canvas.getContext("2d");
    const v = this.values();
    const xIn = this.timeToX(v.inSec, width);
    const xOut = this.timeToX(v.outSec, width);
    context.clearRect(0, 0, width, height);

    if (this.waveform) {
      const options = { top: height * 0.12, height: height * 0.76 };
      const x0 = this.timeToX(0, width);
      const x1 = this.timeToX(v.duration, width);
      drawPeaks(context, this.waveform.peaks, { ...options, x0, x1, color: "#7d8fa3" });
      // The part that plays is drawn brighter, clipped to the trims.
      context.save();
      context.beginPath();
      context.rect(xIn, 0, xOut - xIn, height);
      context.clip();
      drawPeaks(context, this.waveform.peaks, { ...options, x0, x1, color: "#cfe0f5" });
      context.restore();
    } else {
      context.fillStyle = "#6b727a";
      context.font = `${12 * ratio}px sans-serif`;
      context.fillText("Loading waveform…", 10 * ratio, height / 2);
    }

    context.fillStyle = "rgba(0, 0, 0, 0.5)";
    context.fillRect(0, 0, xIn, height);
    context.fillRect(xOut, 0, width - xOut, height);

    // Fade envelope: up from silence over the fade-in, down to silence over the fade-out.
    const xFadeIn = this.timeToX(v.inSec + v.fadeInSec, width);
    const xFadeOut = this.timeToX(v.outSec - v.fadeOutSec, width);
    const top = 4 * ratio;
    context.strokeStyle = "#ffb020";
    context.lineWidth = 1.5 * ratio;
    context.beginPath();
    context.moveTo(xIn, height);
    context.lineTo(xFadeIn, top);
    context.lineTo(xFadeOut, top);
    context.lineTo(xOut, height);
    context.stroke();
    for (const x of [xFadeIn, xFadeOut]) {
      context.fillStyle = "#ffb020";
      context.fillRect(x - 5 * ratio, top - 3 * ratio, 10 * ratio, 10 * ratio);
    }

    context.fillStyle = "#4c9aff";
    for (const x of [xIn, xOut]) {
      context.fillRect(x - ratio, 0, 2 * ratio, height);
      context.fillRect(x - 5 * ratio, height - 14 * ratio, 10 * ratio, 14 * ratio);
    }

    if (this.positionSec !== null && this.positionSec !== undefined) {
      const x = this.timeToX(this.positionSec, width);
      context.fillStyle = "#ffffff";
      context.fillRect(x - ratio, 0, 2 * ratio, height);
    }
  }

  /** The handle under a pointer position, if any. */
  handleAt(event) {
    const box = this.container.getBoundingClientRect();
    const v = this.values();
    const x = event.clientX - box.left;
    const toX = (seconds) => this.timeToX(seconds, box.width, INSET_PX);
    const inFadeBand = event.clientY - box.top < FADE_BAND_PX;
    const candidates = inFadeBand
      ? [["fadeIn", toX(v.inSec + v.fadeInSec)], ["fadeOut", toX(v.outSec - v.fadeOutSec)]]
      : [["in", toX(v.inSec)], ["out", toX(v.outSec)]];
    let best = null;
    for (const [name, handleX] of candidates) {
      const distance = Math.abs(handleX - x);
      if (distance <= HANDLE_REACH_PX && (!best || distance < best.distance)) best = { name, distance };
    }
    return best?.name ?? null;
  }

  onHover(event) {
    if (this.drag || !this.sting) return;
    this.container.style.cursor = this.handleAt(event) ? "ew-resize" : "default";
  }

  onPointerDown(event) {
    if (!this.sting || event.button !== 0) return;
    const handle = this.handleAt(event);
    if (!handle) return;
    event.preventDefault();
    this.container.setPointerCapture(event.pointerId);
    this.drag = handle;
    const move = (moveEvent) => {
      this.preview = this.dragged(handle, this.xToTime(moveEvent.clientX));
      this.draw();
    };
    const end = (endEvent) => {
      this.container.removeEventListener("pointermove", move);
      this.container.removeEventListener("pointerup", end);
      this.container.removeEventListener("pointercancel", end);
      this.drag = null;
      if (endEvent.type === "pointerup" && this.preview) this.commit(handle);
      else this.preview = null;
      this.draw();
    };
    this.container.addEventListener("pointermove", move);
    this.container.addEventListener("pointerup", end);
    this.container.addEventListener("pointercancel", end);
  }

  /** Values after moving `handle` to `time`, kept in order and in range. */
  dragged(handle, time) {
    const v = this.values();
    const clampFade = (value, room) => Math.min(Math.max(value, 0), MAX_FADE_SEC, Math.max(room, 0));
    if (handle === "in") return { inSec: Math.min(Math.max(time, 0), v.outSec - MIN_LENGTH_SEC) };
    if (handle === "out") return { outSec: Math.max(Math.min(time, v.duration), v.inSec + MIN_LENGTH_SEC) };
    const length = v.outSec - v.inSec;
    if (handle === "fadeIn") return { fadeInSec: clampFade(time - v.inSec, length - v.fadeOutSec) };
    return { fadeOutSec: clampFade(v.outSec - time, length - v.fadeInSec) };
  }

  commit(handle) {
    const v = this.values();
    // The change event normally replaces the preview at once; if the native side refuses the
    // change, fall back to what it last said.
    clearTimeout(this.previewTimer);
    this.previewTimer = setTimeout(() => {
      if (this.drag) return;
      this.preview = null;
      this.draw();
    }, 600);
    if (handle === "in" || handle === "out") {
      // A trim at the very start or end of the file is no trim at all.
      const inSec = v.inSec > 0.0005 ? round(v.inSec) : null;
      const outSec = v.outSec < v.duration - 0.0005 ? round(v.outSec) : null;
      this.onCommit("trim", { inSec, outSec });
    } else {
      this.onCommit("fade", { fadeInSec: round(v.fadeInSec), fadeOutSec: round(v.fadeOutSec) });
    }
  }
}

const round = (seconds) => Math.round(seconds * 1000) / 1000;
