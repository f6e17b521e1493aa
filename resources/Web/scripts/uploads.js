// Extras a browser host offers that the desktop window does natively: adding audio by file
// picker or drop, and a link to the settings page. Without such a host nothing here shows.

export function installUploads(host, { button, input, overlay, preferences }) {
  if (host?.preferencesURL) {
    preferences.href = host.preferencesURL;
    preferences.hidden = false;
  }
  if (typeof host?.uploadFiles !== "function") return;

  button.hidden = false;
  button.addEventListener("click", () => input.click());
  input.addEventListener("change", () => {
    if (input.files.length) host.uploadFiles([...input.files]);
    input.value = "";
  });

  const carriesFiles = (event) => [...(event.dataTransfer?.types ?? [])].includes("Files");
  let depth = 0;
  window.addEventListener("dragenter", (event) => {
    if (!carriesFiles(event)) return;
    depth++;
    overlay.hidden = false;
  });
  window.addEventListener("dragleave", (event) => {
    if (!carriesFiles(event)) return;
    depth = Math.max(0, depth - 1);
    if (depth === 0) overlay.hidden = true;
  });
  window.addEventListener("dragover", (event) => {
    if (carriesFiles(event)) event.preventDefault();
  });
  window.addEventListener("drop", (event) => {
    if (!carriesFiles(event)) return;
    event.preventDefault();
    depth = 0;
    overlay.hidden = true;
    const files = [...event.dataTransfer.files];
    if (files.length) host.uploadFiles(files);
  });
}
