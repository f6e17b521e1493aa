// Toasts from the native side and the output-device notice.

const TOAST_MS = 6000;

export function installToasts(store, container) {
  store.on("toast", (message) => {
    const toast = document.createElement("div");
    toast.className = "toast";
    toast.setAttribute("role", "alert");
    toast.textContent = message;
    container.append(toast);
    setTimeout(() => toast.remove(), TOAST_MS);
  });
}

export function installDeviceNotice(store, { notice, text, close }) {
  close.addEventListener("click", () => (notice.hidden = true));
  store.on("device", (device) => {
    const name = device.deviceName || "the default output";
    const silent = device.fellBack && !device.deviceUID && /^no audio output/i.test(name);
    const backOnDefault = device.fellBack && !device.deviceUID && name === "Default output";
    notice.classList.toggle("warning", Boolean(device.fellBack) && !backOnDefault);
    if (silent) {
      // The name says what is missing; sound comes back by itself once it returns.
      text.textContent = `${name}. Brellow runs silently until a sound device or server is back.`;
    } else if (backOnDefault) {
      text.textContent = "Brellow plays through the default output.";
    } else {
      text.textContent = device.fellBack
        ? `The output device was lost. Brellow now plays through ${name}.`
        : `Output device changed: Brellow now plays through ${name}.`;
    }
    notice.hidden = false;
  });
}
