// Draws (min, max) peak pairs as a filled waveform, spread over the sting's whole duration.

/** Sizes a canvas's backing store to its box on screen; returns false while it has no size. */
export function fitCanvas(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = Math.round(canvas.clientWidth * ratio);
  const height = Math.round(canvas.clientHeight * ratio);
  if (width === 0 || height === 0) return false;
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  return true;
}

/**
 * Fills the waveform between x0 and x1 (device pixels) of `canvas`. `peaks` holds interleaved
 * (min, max) pairs in -1..1 covering the file from start to end.
 */
export function drawPeaks(context, peaks, { x0, x1, top, height, color }) {
  const pairs = Math.floor(peaks.length / 2);
  if (pairs === 0 || x1 <= x0) return;
  const middle = top + height / 2;
  const scale = height / 2;
  context.fillStyle = color;
  context.beginPath();
  const columns = Math.max(1, Math.round(x1 - x0));
  for (let column = 0; column < columns; column++) {
    const first = Math.floor((column / columns) * pairs);
    const last = Math.max(first + 1, Math.floor(((column + 1) / columns) * pairs));
    let low = 1;
    let high = -1;
    for (let pair = first; pair < last && pair < pairs; pair++) {
      low = Math.min(low, peaks[pair * 2]);
      high = Math.max(high, peaks[pair * 2 + 1]);
    }
    if (high < low) continue;
    const y0 = middle - Math.min(1, high) * scale;
    const y1 = middle - Math.max(-1, low) * scale;
    context.rect(x0 + column, y0, 1, Math.max(1, y1 - y0));
  }
  context.fill();
}
