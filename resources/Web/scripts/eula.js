// The licence agreement page. At start-up ("gate") it asks to agree or quit; opened from the
// Help menu ("view") it can only be closed.
import { postAux } from "./native.js";

const query = new URLSearchParams(window.location.search);
const mode = query.get("mode") === "view" ? "view" : "gate";
const version = query.get("v");
const post = (action) => postAux("brwEula", { action });

if (version) document.getElementById("version").textContent = `Version ${version}`;
document.body.dataset.mode = mode;

if (mode === "gate") {
  const agree = document.getElementById("agree");
  const quit = document.getElementById("quit");
  agree.hidden = false;
  quit.hidden = false;
  agree.addEventListener("click", () => post("agree"));
  quit.addEventListener("click", () => post("quit"));
  agree.focus();
} else {
  document.getElementById("lede").textContent = "The agreement you accepted when you started Brellow.";
  const close = document.getElementById("close");
  close.hidden = false;
  close.addEventListener("click", () => post("close"));
  document.addEventListener("keydown", (event) => {
    if (event.key === "Escape") post("close");
  });
  close.focus();
}
