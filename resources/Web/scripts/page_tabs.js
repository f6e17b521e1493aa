// Page tabs: switch, create, rename in place (double-click), delete (with confirmation) and
// reorder by dragging.
import { send } from "./native.js";

export class PageTabs {
  constructor(store, { tabs, addButton }) {
    this.store = store;
    this.tabs = tabs;
    this.editing = null;
    addButton.addEventListener("click", () => this.createPage());
    tabs.addEventListener("click", (event) => this.onClick(event));
    tabs.addEventListener("dblclick", (event) => {
      const tab = event.target.closest(".page-tab");
      if (tab) this.beginRename(tab);
    });
    tabs.addEventListener("dragstart", (event) => this.onDragStart(event));
    tabs.addEventListener("dragover", (event) => this.onDragOver(event));
    tabs.addEventListener("drop", (event) => this.onDrop(event));
    tabs.addEventListener("dragend", () => this.clearDragMarks());
    store.on("show", () => this.render());
    store.on("pages", () => this.render());
  }

  pages() {
    return this.store.show?.pages ?? [];
  }

  render() {
    if (this.editing) return; // redraw after the rename ends, not under the user's typing
    this.requestedPage = null;
    const active = this.store.activePage();
    const canDelete = this.pages().length > 1;
    const tabs = this.pages().map((page) => {
      const tab = document.createElement("div");
      tab.className = "page-tab";
      tab.setAttribute("role", "tab");
      tab.setAttribute("aria-selected", String(page === active));
      tab.draggable = true;
      tab.dataset.id = page.id;
      tab.title = "Double-click to rename; drag to reorder";
      const name = document.createElement("span");
      name.className = "tab-name";
      name.textContent = page.name;
      tab.append(name);
      if (canDelete) {
        const remove = document.createElement("button");
        remove.className = "tab-delete";
        remove.title = `Delete page “${page.name}”`;
        remove.setAttribute("aria-label", remove.title);
        remove.textContent = "×";
        tab.append(remove);
      }
      return tab;
    });
    this.tabs.replaceChildren(...tabs);
  }

  onClick(event) {
    const tab = event.target.closest(".page-tab");
    if (!tab || this.editing) return;
    const page = this.pages().find((candidate) => candidate.id === tab.dataset.id);
    if (!page) return;
    if (event.target.closest(".tab-delete")) {
      const count = page.stings?.length ?? 0;
      const detail = count ? ` and its ${count} sting${count === 1 ? "" : "s"}` : "";
      if (window.confirm(`Delete the page “${page.name}”${detail}?`)) send("deletePage", { pageID: page.id });
      return;
    }
    // One request per switch: the second click of a double-click must not ask again.
    if (page === this.store.activePage() || page.id === this.requestedPage) return;
    this.requestedPage = page.id;
    send("setActivePage", { pageID: page.id });
  }

  createPage() {
    const names = new Set(this.pages().map((page) => page.name));
    let number = this.pages().length + 1;
    while (names.has(`Page ${number}`)) number++;
    send("createPage", { name: `Page ${number}` });
  }

  beginRename(tab) {
    const page = this.pages().find((candidate) => candidate.id === tab.dataset.id);
    if (!page) return;
    const input = document.createElement("input");
    input.type = "text";
    input.value = page.name;
    input.setAttribute("aria-label", "Page name");
    this.editing = page.id;
    tab.replaceChildren(input);
    input.focus();
    input.select();
    let done = false;
    const finish = (commit) => {
      if (done) return;
      done = true;
      this.editing = null;
      const name = input.value.trim();
      if (commit && name && name !== page.name) send("renamePage", { pageID: page.id, name });
      this.render();
    };
    input.addEventListener("keydown", (event) => {
      event.stopPropagation();
      if (event.key === "Enter") finish(true);
      if (event.key === "Escape") finish(false);
    });
    input.addEventListener("blur", () => finish(true));
  }

  onDragStart(event) {
    const tab = event.target.closest(".page-tab");
    if (!tab || this.editing) return;
    this.dragging = tab.dataset.id;
    tab.classList.add("dragging");
    event.dataTransfer.effectAllowed = "move";
    event.dataTransfer.setData("text/plain", tab.dataset.id);
  }

  onDragOver(event) {
    const tab = event.target.closest(".page-tab");
    if (!tab || !this.dragging) return;
    event.preventDefault();
    this.clearDropMarks();
    const box = tab.getBoundingClientRect();
    tab.classList.add(event.clientX > box.left + box.width / 2 ? "drop-after" : "drop-before");
  }

  onDrop(event) {
    const tab = event.target.closest(".page-tab");
    const moving = this.dragging;
    this.clearDragMarks();
    if (!tab || !moving || tab.dataset.id === moving) return;
    event.preventDefault();
    const box = tab.getBoundingClientRect();
    const after = event.clientX > box.left + box.width / 2;
    const order = this.pages().map((page) => page.id).filter((id) => id !== moving);
    order.splice(order.indexOf(tab.dataset.id) + (after ? 1 : 0), 0, moving);
    send("reorderPages", { pageIDs: order });
  }

  clearDropMarks() {
    for (const tab of this.tabs.children) tab.classList.remove("drop-before", "drop-after");
  }

  clearDragMarks() {
    this.clearDropMarks();
    for (const tab of this.tabs.children) tab.classList.remove("dragging");
    this.dragging = null;
  }
}
