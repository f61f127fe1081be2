// The list of what passed.

import { h, oncePerFrame, plural, setText } from "./dom.js";
import { Filter } from "./filter.js";
import { VirtualList } from "./list.js";
import { clockText, directionWords, fullTime, shortType } from "./text.js";

export class Traffic {
  #store;
  #list;
  #filter;
  #count;
  #pause;
  #end;
  #empty;
  #isPaused = false;
  #unseen = 0; // that came while the list was paused or not at its end
  #tell = oncePerFrame(() => this.#tellNow());
  #filterTimer = 0;

  constructor(places, store, onSelect) {
    this.#store = store;
    this.#count = places.count;
    this.#filter = new Filter(places.filter, () => {
      clearTimeout(this.#filterTimer);
      this.#filterTimer = setTimeout(() => this.refilter(), 120);
    });
    this.#empty = h("p", { class: "empty" }, "Nothing has passed yet.");
    places.list.append(this.#empty);
    this.#list = new VirtualList(places.list, {
      id: "records",
      label: "Records",
      key: (row) => row.n,
      fill: fillRow,
      onSelect,
      onFollow: () => this.#followed(),
    });
    this.#end = h("button", { type: "button", class: "end", onclick: () => this.#toEnd() });
    this.#end.hidden = true;
    places.list.append(this.#end);
    this.#pause = h(
      "button",
      { type: "button", "aria-pressed": "false", onclick: () => this.#setPaused(!this.#isPaused) },
      "Pause",
    );
    places.tools.append(
      this.#pause,
      h("button", { type: "button", onclick: () => this.#step(1) }, "Next wrong"),
    );
  }

  clear() {
    this.#unseen = 0;
    this.#list.replace([]);
    this.#tell();
  }

  // Rows that the store has taken.
  added(rows) {
    this.#filter.offer(this.#store.types);
    const takes = this.#filter.takes;
    const taken = this.#filter.isActive ? rows.filter(takes) : rows;
    if (this.#isPaused || !this.#list.follows) this.#unseen += taken.length;
    if (!this.#isPaused) {
      this.#list.append(taken);
      this.#list.dropBefore(this.#store.first);
    }
    this.#tell();
  }

  refilter() {
    this.#unseen = 0;
    this.#list.replace(this.#store.filter(this.#filter.takes));
    this.#tell();
  }

  // Shows the record, also where the filter leaves it out.
  show(number) {
    const row = this.#store.find(number);
    if (!row) return false;
    if (!this.#filter.takes(row)) {
      this.#filter.clear();
      this.refilter();
    }
    this.#list.select(number);
    return true;
  }

  #setPaused(isPaused) {
    this.#isPaused = isPaused;
    this.#pause.setAttribute("aria-pressed", String(isPaused));
    if (!isPaused) this.refilter();
    this.#tell();
  }

  #followed() {
    if (this.#list.follows && !this.#isPaused) this.#unseen = 0;
    this.#tell();
  }

  #toEnd() {
    if (this.#isPaused) this.#setPaused(false);
    this.#list.follow();
    this.#list.focus();
  }

  // To the next record with something wrong, behind the selected one, or again from the first.
  #step() {
    const from = this.#list.selected?.n ?? 0;
    const wrong = this.#store.filter((row) => row.b !== undefined);
    const next = wrong.find((row) => row.n > from) ?? wrong[0];
    if (next) this.show(next.n);
  }

  #tellNow() {
    const total = this.#store.size;
    const shown = this.#list.size;
    let text = plural(total, "record");
    if (this.#filter.isActive) text = `${shown.toLocaleString("en")} of ${text}`;
    const gone = total ? this.#store.first - 1 : 0;
    if (gone > 0) text += `; the first ${gone.toLocaleString("en")} are no longer kept`;
    if (this.#isPaused) text += "; paused";
    setText(this.#count, text);
    this.#empty.hidden = shown > 0;
    setText(
      this.#empty,
      total ? "No record is as the filter wants it." : "Nothing has passed yet.",
    );
    this.#end.hidden = this.#list.follows && !this.#isPaused;
    setText(
      this.#end,
      this.#unseen
        ? `↓ ${plural(this.#unseen, "new record")}`
        : this.#isPaused
          ? "Resume"
          : "↓ To the end",
    );
  }
}

function fillRow(element, row) {
  const isWrong = row.b !== undefined;
  const name = row.y ? shortType(row.y) : row.k;
  element.className = `row kind-${row.k.replace(" ", "-")}${isWrong ? " wrong" : ""}`;
  element.replaceChildren(
    h("span", { class: "n" }, String(row.n)),
    h("time", { class: "t", title: fullTime(row.t) }, clockText(row.t)),
    h(
      "span",
      { class: `d ${row.d === ">" ? "to-display" : row.d === "<" ? "to-phone" : ""}` },
      h("span", { "aria-hidden": "true" }, row.d === ">" ? "▶" : row.d === "<" ? "◀" : ""),
      h("span", { class: "unseen" }, directionWords(row.d)),
    ),
    h("span", { class: "y" }, name),
    h(
      "span",
      { class: "s" },
      isWrong ? h("strong", {}, row.b[0]) : null,
      isWrong && row.s ? " " : null,
      row.s ?? "",
      row.o ? h("em", {}, ` ${row.o}`) : null,
    ),
    h("span", { class: "l" }, row.l ? `${row.l} B` : ""),
  );
}
