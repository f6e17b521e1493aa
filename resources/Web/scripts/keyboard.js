// Keyboard-first operation: hotkeys fire stings of the active page, Escape stops everything,
// the arrow keys move the selection and Enter fires it. Typing into a field never fires.
import { send } from "./native.js";

export function isTypingTarget(element) {
  if (!element) return false;
  if (element.isContentEditable) return true;
  if (element.tagName === "TEXTAREA" || element.tagName === "SELECT") return true;
  if (element.tagName !== "INPUT") return false;
  return !["checkbox", "radio", "range", "button"].includes(element.type);
}

const ARROWS = { ArrowLeft: -1, ArrowRight: 1, ArrowUp: "up", ArrowDown: "down" };

export function installKeyboard(store, grid, { onStopAll }) {
  document.addEventListener("keydown", (event) => {
    if (event.defaultPrevented || event.ctrlKey || event.metaKey || event.altKey) return;
    if (document.body.classList.contains("touring")) return;
    if (event.key === "Escape") {
      // Escape works from anywhere, even a text field: stopping must never be blocked.
      event.preventDefault();
      document.activeElement?.blur?.();
      onStopAll();
      return;
    }
    if (isTypingTarget(event.target)) return;
    if (event.repeat) return; // a held key must not re-fire a cue
    if (event.key in ARROWS) {
      event.preventDefault();
      moveSelection(store, grid, ARROWS[event.key]);
      return;
    }
    if (event.key === "Enter") {
      if (store.sting(store.selectedID) && grid.tiles.has(store.selectedID)) {
        event.preventDefault();
        grid.toggle(store.selectedID);
      }
      return;
    }
    const key = event.key.toLowerCase();
    const sting = grid.stings().find((candidate) => candidate.hotkey?.toLowerCase() === key);
    if (!sting) return;
    event.preventDefault();
    store.selectedID = sting.id;
    store.emit("selection");
    send("play", { stingID: sting.id });
  });
}

function moveSelection(store, grid, step) {
  const ids = grid.stings().map((sting) => sting.id);
  if (ids.length === 0) return;
  const current = ids.indexOf(store.selectedID);
  let next;
  if (current < 0) next = 0;
  else if (step === "up") next = current - grid.columns();
  else if (step === "down") next = current + grid.columns();
  else next = current + step;
  if (next < 0 || next >= ids.length) return;
  grid.select(ids[next]);
}
