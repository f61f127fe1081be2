// One record in full: wire bytes, unescaped bytes and fields side by side. Pointing at a byte or a
// field lights up what belongs to it.

import { load } from "./connection.js";
import { h, plural } from "./dom.js";
import { directionWords, fullTime } from "./text.js";

const MAX_BYTES = 2048; // that are shown at first
const BYTES_IN_LINE = 8;
const MARKS = new Set(["STX", "ETX"]);

export class FrameView {
  #place;
  #record = null;
  #lit = -1;
  #pinned = -1;
  #wanted = 0;
  #parts = []; // the elements of each span

  constructor(place) {
    this.#place = place;
    place.addEventListener("pointerover", (event) => this.#point(event.target));
    place.addEventListener("pointerleave", () => this.#light(this.#pinned));
    place.addEventListener("focusin", (event) => this.#point(event.target));
    place.addEventListener("click", (event) => this.#pin(event.target));
    place.addEventListener("keydown", (event) => this.#key(event));
    this.clear();
  }

  get record() {
    return this.#record;
  }

  clear() {
    this.#record = null;
    this.#place.replaceChildren(
      h("p", { class: "empty" }, "Select a record to see its bytes and what they mean."),
    );
  }

  async show(row) {
    const wanted = row.n;
    this.#wanted = wanted;
    try {
      const record = await load(`frame/${wanted}`);
      if (this.#wanted === wanted) this.#show(record, MAX_BYTES);
      return record;
    } catch (error) {
      if (this.#wanted !== wanted) return null;
      this.#record = null;
      this.#place.replaceChildren(h("p", { class: "empty" }, error.message));
      return null;
    }
  }

  #show(record, limit) {
    this.#record = record;
    this.#parts = record.spans.map(() => []);
    this.#lit = this.#pinned = -1;
    const wire = this.#dump(record, "wire", limit);
    const bytes = this.#dump(record, "bytes", limit);
    const parts = [
      head(record),
      problems(record),
      record.spans.length
        ? h(
            "div",
            { class: "panes" },
            pane("On the wire", plural(record.length, "byte"), wire),
            pane("Unescaped", plural(lengthOf(record, "bytes"), "byte"), bytes),
            pane("Fields", "", this.#fields(record)),
          )
        : null,
      record.length > limit
        ? h(
            "button",
            { type: "button", onclick: () => this.#show(record, Infinity) },
            `Show all ${plural(record.length, "byte")}`,
          )
        : null,
    ];
    this.#place.replaceChildren(...parts.filter(Boolean));
  }

  // The bytes in lines, each with its offset in front.
  #dump(record, form, limit) {
    const box = h("div", { class: "dump" });
    let offset = 0;
    let line = null;
    const put = (span, text, classes, isJoined) => {
      if (offset % BYTES_IN_LINE === 0) {
        line = h("div", { class: "line" }, h("span", { class: "offset" }, hex(offset, 4)));
        box.append(line);
      }
      const cell = h("span", { class: classes.join(" "), "data-span": span }, text);
      if (isJoined) cell.classList.add("joined");
      line.append(cell);
      this.#parts[span].push(cell);
      ++offset;
    };
    for (const [index, span] of record.spans.entries()) {
      const classes = classesOf(span, index);
      const digits = span.secret ? "**".repeat(span.length) : span[form];
      const isHeld = form === "bytes" && MARKS.has(span.name);
      for (let at = 0; at < digits.length && offset < limit; at += 2) {
        const isEscape = form === "wire" && digits.slice(at, at + 2) === "7D" && !isHeld;
        const isAfter = form === "wire" && at > 0 && isSecondOfPair(digits, at);
        put(
          index,
          digits.slice(at, at + 2),
          isEscape && !isAfter ? [...classes, "escape"] : classes,
          isAfter,
        );
      }
    }
    return box;
  }

  #fields(record) {
    const rows = record.spans.map((span, index) => {
      const remarks = [...(span.remarks ?? []), ...(span.why ? [span.why] : [])];
      const row = h(
        "tr",
        {
          class: classesOf(span, index).join(" "),
          "data-span": index,
          tabindex: index ? "-1" : "0",
        },
        h("td", { class: "offset" }, hex(span.offset, 4)),
        h("th", { scope: "row" }, breakable(span.name)),
        h(
          "td",
          {},
          h("code", {}, span.name === "param2" ? breakable(shown(span.value)) : shown(span.value)),
          remarks.map((remark) => h("span", { class: "remark" }, remark)),
        ),
      );
      this.#parts[index].push(row);
      return row;
    });
    return h(
      "table",
      { class: "fields" },
      h(
        "thead",
        {},
        h(
          "tr",
          {},
          h("th", { scope: "col" }, "Offset"),
          h("th", { scope: "col" }, "Field"),
          h("th", { scope: "col" }, "Value"),
        ),
      ),
      h("tbody", {}, rows),
    );
  }

  #spanOf(target) {
    const part = target.closest?.("[data-span]");
    return part ? Number(part.dataset.span) : -1;
  }

  #point(target) {
    const span = this.#spanOf(target);
    if (span >= 0) this.#light(span);
  }

  // A click keeps the light where it is.
  #pin(target) {
    const span = this.#spanOf(target);
    this.#pinned = span === this.#pinned ? -1 : span;
    this.#light(span);
  }

  #light(span) {
    if (span === this.#lit) return;
    for (const part of this.#parts[this.#lit] ?? []) part.classList.remove("lit");
    for (const part of this.#parts[span] ?? []) part.classList.add("lit");
    this.#lit = span;
  }

  #key(event) {
    const row = event.target.closest("tr[data-span]");
    if (!row || !["ArrowDown", "ArrowUp"].includes(event.key)) return;
    const next = event.key === "ArrowDown" ? row.nextElementSibling : row.previousElementSibling;
    if (!next) return;
    event.preventDefault();
    row.tabIndex = -1;
    next.tabIndex = 0;
    next.focus();
  }
}

function classesOf(span, index) {
  const classes = ["part", MARKS.has(span.name) ? "mark" : `tone-${index % 6}`];
  if (span.isWrong || span.remarks?.length || span.name === "unread") classes.push("wrong");
  return classes;
}

// Whether the byte at the place is the one behind an escape.
function isSecondOfPair(digits, at) {
  let escapes = 0;
  for (let before = at - 2; before >= 0 && digits.slice(before, before + 2) === "7D"; before -= 2) {
    ++escapes;
  }
  return escapes % 2 === 1;
}

function lengthOf(record, form) {
  return record.spans.reduce(
    (sum, span) => sum + (span.secret ? span.length : span[form].length / 2),
    0,
  );
}

function hex(value, digits) {
  return value.toString(16).toUpperCase().padStart(digits, "0");
}

function shown(value) {
  return value.length > 2000 ? `${value.slice(0, 2000)}… (${value.length} characters)` : value;
}

function pane(title, note, content) {
  return h(
    "section",
    { class: "pane", "aria-label": title },
    h("h3", {}, title, " ", h("small", {}, note)),
    content,
  );
}

function head(record) {
  const direction = directionWords(record.d);
  return h(
    "dl",
    { class: "facts" },
    fact("Record", `${record.n}${record.type ? ` ${record.type}` : ` ${record.k}`}`),
    direction ? fact("Direction", direction) : null,
    fact("Time", fullTime(record.t)),
    record.verdict ? fact("The network", VERDICTS[record.verdict]) : null,
    record.note ? fact("Note", record.note) : null,
  );
}

const VERDICTS = {
  delivered: "delivers it to the listeners",
  dropped: "drops it silently",
  refused: "refuses it with an exception",
};

function fact(name, value) {
  return h("div", {}, h("dt", {}, name), h("dd", {}, value));
}

function problems(record) {
  if (!record.problems.length) return null;
  return h(
    "ul",
    { class: "problems", "aria-label": "What is wrong" },
    record.problems.map((problem) => h("li", {}, problem)),
  );
}

// A name, or a value with one, that may be broken between its words.
function breakable(text) {
  return text.split(/(?=[A-Z][a-z])/).flatMap((word, at) => (at ? [h("wbr"), word] : [word]));
}
