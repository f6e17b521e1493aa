// The page's only way to the native side: the injected window.brellow object for commands and
// events, and webkit.messageHandlers for the small auxiliary channels.

/** Posts one command; does nothing when the page runs without a native side. */
export function send(command, body) {
  const brellow = window.brellow;
  if (brellow && typeof brellow[command] === "function") brellow[command](body);
}

/** Subscribes to every event the native side dispatches; returns the unsubscribe function. */
export function subscribe(listener) {
  const brellow = window.brellow;
  return brellow ? brellow.addEventListener(listener) : () => {};
}

/** Posts to an auxiliary handler such as "brwTour", "brwEula" or "brwPrefs". */
export function postAux(handler, body) {
  const target = window.webkit?.messageHandlers?.[handler];
  if (target) target.postMessage(body);
}

/** What the host offers beyond the window's contract (uploads, a settings page), if anything. */
export function hostExtras() {
  return window.brellowHost ?? null;
}
