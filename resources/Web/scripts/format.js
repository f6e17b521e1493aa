// Number and time formatting shared by the tiles and the inspector.

/** 83.25 -> "1:23.2"; negative values get a leading minus (remaining time). */
export function formatTime(seconds) {
  if (!Number.isFinite(seconds)) return "–:––";
  const sign = seconds < 0 ? "−" : "";
  const tenths = Math.floor(Math.abs(seconds) * 10 + 1e-6);
  const minutes = Math.floor(tenths / 600);
  const rest = (tenths % 600) / 10;
  return `${sign}${minutes}:${rest < 10 ? "0" : ""}${rest.toFixed(1)}`;
}

export const SILENT_DB = -120;

/** Slider positions below `floor` mean silence. */
export function sliderToDb(value, floor) {
  return value < floor ? SILENT_DB : value;
}

export function dbToSlider(db, floor) {
  return db < floor ? floor - 1 : db;
}

export function formatDb(db) {
  if (db <= -100) return "−∞ dB";
  const text = Math.abs(db) < 0.05 ? "0.0" : db.toFixed(1).replace("-", "−");
  return `${db > 0.05 ? "+" : ""}${text} dB`;
}

/** Keys as the user sees them on a badge. */
export function keyLabel(key) {
  const names = { " ": "Space", arrowup: "↑", arrowdown: "↓", arrowleft: "←", arrowright: "→" };
  return names[key] ?? key;
}
