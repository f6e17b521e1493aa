// The welcome tutorial: a few steps that light up the real controls. Skip and Done report
// the outcome to the native side, which records it.
import { postAux } from "./native.js";

const STEPS = [
  {
    title: "Welcome to Brellow",
    text: "Brellow fires short audio cues live. Here is a one-minute tour of the controls you use during a show.",
  },
  {
    target: "#sting-grid",
    title: "Fire stings",
    text: "Click a sting, or press the key shown on its tile, to fire it. Click a sounding sting to stop it with its fade.",
  },
  {
    target: "#stop-all",
    title: "Stop everything",
    text: "Stop All, or the Escape key, silences every sting at once.",
  },
  {
    target: ".toolbar .switch",
    title: "Solo",
    text: "With Solo on, firing a sting fades out the others. Turn it off to layer stings.",
  },
  {
    target: "#inspector",
    title: "Shape each sting",
    text: "The selected sting's level, trims, fades, loop and hotkey live here. Arrow keys move the selection; Enter fires it.",
  },
  {
    target: "#page-tabs",
    title: "Pages",
    text: "Keep the cues of each scene on their own page. Double-click a tab to rename it, drag tabs to reorder.",
  },
  {
    title: "Add your own audio",
    text: "Drop audio files onto the window to add them as stings. That's it — have a good show.",
  },
];

export function installTour() {
  let running = null;

  const finish = (skipped) => {
    if (!running) return;
    running.spot.remove();
    running.card.remove();
    window.removeEventListener("resize", running.place);
    document.body.classList.remove("touring");
    running = null;
    postAux("brwTour", { skipped });
  };

  const show = (index) => {
    const step = STEPS[index];
    const { spot, card } = running;
    running.index = index;
    card.querySelector("h2").textContent = step.title;
    card.querySelector("p").textContent = step.text;
    card.querySelector(".tour-step").textContent = `${index + 1} of ${STEPS.length}`;
    const last = index === STEPS.length - 1;
    card.querySelector(".tour-next").textContent = last ? "Done" : "Next";
    card.querySelector(".tour-skip").hidden = last;
    card.querySelector(".tour-next").focus();
    running.place();
  };

  const place = () => {
    const { spot, card } = running;
    const step = STEPS[running.index];
    const target = step.target ? document.querySelector(step.target) : null;
    const cardBox = { width: card.offsetWidth, height: card.offsetHeight };
    if (!target) {
      Object.assign(spot.style, { left: "50%", top: "50%", width: "0px", height: "0px" });
      card.style.left = `${(innerWidth - cardBox.width) / 2}px`;
      card.style.top = `${(innerHeight - cardBox.height) / 2}px`;
      return;
    }
    const box = target.getBoundingClientRect();
    const pad = 6;
    Object.assign(spot.style, {
      left: `${box.left - pad}px`, top: `${box.top - pad}px`,
      width: `${box.width + pad * 2}px`, height: `${box.height + pad * 2}px`,
    });
    // Beside the target where there is room, else below it, else inside it.
    let left = box.right + 16;
    let top = box.top;
    if (left + cardBox.width > innerWidth - 12) left = box.left - cardBox.width - 16;
    if (left < 12) {
      left = Math.min(Math.max(box.left, 12), innerWidth - cardBox.width - 12);
      top = box.bottom + 16;
    }
    if (top + cardBox.height > innerHeight - 12) top = Math.max(12, box.top + 16);
    card.style.left = `${left}px`;
    card.style.top = `${Math.min(top, innerHeight - cardBox.height - 12)}px`;
  };

  const startWelcome = () => {
    if (running) return;
    const spot = document.createElement("div");
    spot.className = "tour-spot";
    const card = document.createElement("div");
    card.className = "tour-card";
    card.setAttribute("role", "dialog");
    card.setAttribute("aria-label", "Welcome tour");
    card.innerHTML = `<h2></h2><p></p><div class="tour-buttons"><span class="tour-step"></span>
      <button class="tour-skip">Skip</button><button class="primary tour-next">Next</button></div>`;
    document.body.append(spot, card);
    document.body.classList.add("touring");
    running = { spot, card, index: 0, place };
    card.querySelector(".tour-skip").addEventListener("click", () => finish(true));
    card.querySelector(".tour-next").addEventListener("click", () => {
      if (running.index === STEPS.length - 1) finish(false);
      else show(running.index + 1);
    });
    card.addEventListener("keydown", (event) => {
      if (event.key === "Escape") finish(true);
    });
    window.addEventListener("resize", place);
    show(0);
  };

  Object.defineProperty(window, "__brwTour", {
    value: Object.freeze({ startWelcome }),
    writable: false,
    configurable: false,
  });
}
