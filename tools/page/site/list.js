// A list of any length, of which only the rows in sight are in the document. The end is followed
// while it is in sight; elsewhere the list stands still whatever comes.

import { h, oncePerFrame } from "./dom.js";

const SPARE_ROWS = 6; // above and below those in sight

export class VirtualList {
  #items = [];
  #begin = 0; // of the items that are listed
  #pool = [];
  #box;
  #space;
  #options;
  #selected = -1; // the key of an item
  #follows = true;
  #rowHeight = 0;
  #setTop = 0;
  #drawnExtent = "";
  #render = oncePerFrame(() => this.#renderNow());

  // options: label; key(item); fill(element, item), which makes a row show the item; onSelect(item);
  // onFollow(follows).
  constructor(place, options) {
    this.#options = options;
    this.#space = h("div", { class: "space", role: "presentation" });
    this.#box = h(
      "div",
      {
        class: "list",
        id: options.id,
        role: "listbox",
        tabindex: "0",
        "aria-label": options.label,
        onscroll: () => this.#scrolled(),
        onkeydown: (event) => this.#key(event),
        onclick: (event) => this.#clicked(event),
      },
      this.#space,
    );
    place.append(this.#box);
    new ResizeObserver(() => {
      this.#rowHeight = 0;
      this.#render();
    }).observe(this.#box);
  }

  get size() {
    return this.#items.length - this.#begin;
  }
  get follows() {
    return this.#follows;
  }
  get selected() {
    return this.#items[this.#indexOf(this.#selected)];
  }

  // Other items: the selected one stays in sight where it is among them.
  replace(items) {
    this.#items = items;
    this.#begin = 0;
    const at = this.#indexOf(this.#selected);
    this.#render();
    if (at >= 0 && !this.#follows) this.#after(() => this.#show(at));
  }

  append(items) {
    for (const item of items) this.#items.push(item);
    this.#render();
  }

  // The items before the key are no longer listed; what is in sight stays where it is.
  dropBefore(key) {
    const before = this.#begin;
    while (this.#begin < this.#items.length && this.#key_(this.#begin) < key) ++this.#begin;
    const dropped = this.#begin - before;
    if (dropped === 0) return;
    if (this.#begin > this.#items.length / 4) {
      this.#items.splice(0, this.#begin);
      this.#begin = 0;
    }
    if (!this.#follows) this.#setScroll(this.#box.scrollTop - dropped * this.#height());
    this.#render();
  }

  follow() {
    this.#setFollow(true);
    this.#render();
  }

  select(key) {
    this.#selected = key;
    const at = this.#indexOf(key);
    if (at >= 0) this.#show(at);
    this.#render();
    if (at >= 0) this.#options.onSelect(this.#items[at]);
  }

  focus() {
    this.#box.focus();
  }

  #key_(at) {
    return this.#options.key(this.#items[at]);
  }

  #indexOf(key) {
    let low = this.#begin;
    let high = this.#items.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.#key_(middle) < key) low = middle + 1;
      else high = middle;
    }
    return low < this.#items.length && this.#key_(low) === key ? low : -1;
  }

  #height() {
    if (!this.#rowHeight) {
      this.#rowHeight = parseFloat(getComputedStyle(this.#box).getPropertyValue("--row")) || 28;
    }
    return this.#rowHeight;
  }

  #setFollow(follows) {
    if (this.#follows === follows) return;
    this.#follows = follows;
    this.#options.onFollow(follows);
  }

  #setScroll(top) {
    this.#box.scrollTop = top;
    this.#setTop = this.#box.scrollTop;
  }

  #scrolled() {
    // What this list did itself tells nothing of what is wanted, nor does another size.
    if (Math.abs(this.#box.scrollTop - this.#setTop) >= 1 && this.#extent() === this.#drawnExtent) {
      const left = this.#box.scrollHeight - this.#box.clientHeight - this.#box.scrollTop;
      this.#setFollow(left < this.#height());
    }
    this.#render();
  }

  #extent() {
    return `${this.#box.scrollHeight} ${this.#box.clientHeight}`;
  }

  #show(at) {
    const height = this.#height();
    const top = (at - this.#begin) * height;
    const box = this.#box;
    this.#setFollow(at === this.#items.length - 1);
    if (top < box.scrollTop) this.#setScroll(top);
    else if (top + height > box.scrollTop + box.clientHeight) {
      this.#setScroll(top + height - box.clientHeight);
    }
  }

  #after(action) {
    requestAnimationFrame(action);
  }

  #clicked(event) {
    const row = event.target.closest("[role=option]");
    if (row) this.select(row.itemKey);
  }

  #key(event) {
    if (event.altKey || event.ctrlKey || event.metaKey || this.size === 0) return;
    const page = Math.max(1, Math.floor(this.#box.clientHeight / this.#height()) - 1);
    const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page };
    const last = this.#items.length - 1;
    const at = this.#indexOf(this.#selected);
    let next;
    if (event.key in steps) {
      const from = at >= 0 ? at : this.#inSight(steps[event.key]);
      next = from + (at >= 0 ? steps[event.key] : 0);
    } else if (event.key === "Home") next = this.#begin;
    else if (event.key === "End") next = last;
    else return;
    event.preventDefault();
    this.select(this.#key_(Math.min(Math.max(next, this.#begin), last)));
  }

  // The first or last item that is in sight.
  #inSight(step) {
    const box = this.#box;
    const y = step > 0 ? box.scrollTop : box.scrollTop + box.clientHeight - this.#height();
    return this.#begin + Math.ceil(Math.max(0, y) / this.#height());
  }

  #renderNow() {
    const height = this.#height();
    const box = this.#box;
    this.#space.style.height = `${this.size * height}px`;
    if (this.#follows) this.#setScroll(this.size * height);
    this.#drawnExtent = this.#extent();
    const from = Math.max(0, Math.floor(box.scrollTop / height) - SPARE_ROWS);
    const count = Math.min(this.size - from, Math.ceil(box.clientHeight / height) + 2 * SPARE_ROWS);
    let selectedRow = null;
    for (let at = 0; at < count; ++at) {
      const item = this.#items[this.#begin + from + at];
      const row = this.#row(at);
      const key = this.#options.key(item);
      if (row.itemKey !== key) {
        row.itemKey = key;
        this.#options.fill(row, item);
      }
      row.style.transform = `translateY(${(from + at) * height}px)`;
      row.setAttribute("aria-posinset", from + at + 1);
      row.setAttribute("aria-setsize", this.size);
      const isSelected = key === this.#selected;
      row.setAttribute("aria-selected", isSelected);
      if (isSelected) selectedRow = row;
    }
    while (this.#pool.length > Math.max(count, 0)) this.#pool.pop().remove();
    if (selectedRow) box.setAttribute("aria-activedescendant", selectedRow.id);
    else box.removeAttribute("aria-activedescendant");
  }

  #row(at) {
    if (!this.#pool[at]) {
      this.#pool[at] = h("div", { class: "row", role: "option", id: `${this.#options.id}-${at}` });
      this.#space.append(this.#pool[at]);
    }
    return this.#pool[at];
  }
}
