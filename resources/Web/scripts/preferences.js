// The settings page: the usage-statistics switch, the automatic update checks (shown only by
// hosts that check for updates) and the tour replay. The native side tells the page the current
// switch states through window.__brwPrefsInit each time it shows it.
import { hostExtras, postAux } from "./native.js";

const telemetry = document.getElementById("telemetry");
const post = (body) => postAux("brwPrefs", body);

const updates = document.getElementById("automatic-updates");
telemetry.addEventListener("change", () => post({ action: "setTelemetry", value: telemetry.checked }));
updates.addEventListener("change", () => post({ action: "setAutomaticUpdates", value: updates.checked }));
document.getElementById("replay-tutorial").addEventListener("click", () => {
  post({ action: "replayTutorial" });
  document.getElementById("replay-note").hidden = false;
});
if (hostExtras()) document.getElementById("back").hidden = false;

window.__brwPrefsInit = (settings) => {
  telemetry.checked = Boolean(settings?.telemetry);
  const checksUpdates = typeof settings?.automaticUpdates === "boolean";
  document.getElementById("automatic-updates-setting").hidden = !checksUpdates;
  if (checksUpdates) updates.checked = settings.automaticUpdates;
};
// The host may have sent the state before this module ran: ask for it now that it can land.
post({ action: "ready" });
