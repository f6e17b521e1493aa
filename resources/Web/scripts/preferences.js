// The settings page: the usage-statistics switch and the tour replay. The native side tells
// the page the current switch state through window.__brwPrefsInit each time it shows it.
import { hostExtras, postAux } from "./native.js";

const telemetry = document.getElementById("telemetry");
const post = (body) => postAux("brwPrefs", body);

telemetry.addEventListener("change", () => post({ action: "setTelemetry", value: telemetry.checked }));
document.getElementById("replay-tutorial").addEventListener("click", () => {
  post({ action: "replayTutorial" });
  document.getElementById("replay-note").hidden = false;
});
if (hostExtras()) document.getElementById("back").hidden = false;

window.__brwPrefsInit = (settings) => {
  telemetry.checked = Boolean(settings?.telemetry);
};
