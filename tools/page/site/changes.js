// Which packet changed what: the last changes of what the driver sees.

import { h } from "./dom.js";
import { clockText, shortType } from "./text.js";
import { keysOf } from "./timeline.js";

const MAX_SHOWN = 60;
const MAX_STEPS = 3; // of one change that are told
const MESSAGES = "/notices/shown/";

const WORDS = {
  isVisible: "visible",
  isWarning: "warning",
  isUp: "up",
  isPhoneAlive: "phone alive",
  isGaugeVisible: "gauge",
  isBacklightOn: "backlight",
  isGpsReliable: "GPS reliable",
  isObd2Wanted: "OBD-II",
};
// What follows from other fields, or tells when and not what.
const LEFT_OUT = new Set(["setAt", "shownAt", "goesAt", "id", "value", "meaning"]);

export class Changes {
  #list;
  #onRecord;
  #rowOf;

  // onRecord(number): shows the record. rowOf(number): its row, or nothing.
  constructor(place, onRecord, rowOf) {
    this.#onRecord = onRecord;
    this.#rowOf = rowOf;
    this.#list = h("ol", {
      class: "changes",
      tabindex: "0",
      "aria-label": "What changed, the newest first",
    });
    place.append(h("h3", {}, "What changed, and by which packet"), this.#list);
    this.#list.append(h("li", { class: "empty" }, "Nothing has changed yet."));
  }

  show(changes) {
    const shown = changes.slice(-MAX_SHOWN).reverse();
    const known = new Map(
      [...this.#list.children].filter((item) => item.isNamed).map((item) => [item.change, item]),
    );
    const items = shown.map((change) => known.get(change) ?? this.#item(change)).filter(Boolean);
    if (items.length) this.#list.replaceChildren(...items);
  }

  clear() {
    this.#list.replaceChildren(h("li", { class: "empty" }, "Nothing has changed yet."));
  }

  #item(change) {
    const texts = textsOf(change);
    if (!texts.length) return null;
    const more = texts.length - MAX_STEPS;
    const row = change.n === null ? undefined : this.#rowOf(change.n);
    const hasTime = !row || row.t !== undefined;
    const item = h(
      "li",
      {},
      h("time", {}, hasTime ? clockText(change.t) : ""),
      h(
        "span",
        { class: "what" },
        texts.slice(0, MAX_STEPS).join("; ") + (more > 0 ? `; ${more} more` : ""),
      ),
      change.n === null
        ? h("span", { class: "cause" }, "time")
        : h(
            "button",
            { type: "button", class: "cause", onclick: () => this.#onRecord(change.n) },
            `${nameOfRecord(row)} #${change.n}`,
          ),
    );
    item.change = change;
    item.isNamed = change.n === null || row !== undefined;
    return item;
  }
}

function nameOfRecord(row) {
  if (!row) return "record";
  return row.y ? shortType(row.y).replace(/(Command|Notification|Event)$/, "") : row.k;
}

function textsOf(change) {
  const before = new Map(change.undo.map((step) => [step.path, step.value]));
  const texts = messageTexts(change);
  for (const step of change.do) {
    if (step.path.startsWith(MESSAGES)) continue;
    const keys = keysOf(step.path);
    const last = keys[keys.length - 1];
    if (last === undefined) continue; // the first state
    if (LEFT_OUT.has(last)) continue;
    const name = nameOf(keys);
    if (step.op === "add") texts.push(`${name}: ${valueText(step.value)}`);
    else if (step.op === "remove") texts.push(`${name} gone`);
    else texts.push(`${name} ${valueText(before.get(step.path))} → ${valueText(step.value)}`);
  }
  return texts;
}

// The message that came or went: all that follow one that goes move up, which changes each place.
function messageTexts(change) {
  const steps = change.do.filter(({ path }) => path.startsWith(MESSAGES));
  if (!steps.length) return [];
  if (!steps.some(({ op }) => op === "remove")) return [`message ${messageIn(steps, Math.max)}`];
  const back = change.undo.filter(({ path }) => path.startsWith(MESSAGES));
  return [`message gone: ${messageIn(back, Math.min)}`];
}

function messageIn(steps, choose) {
  const placeOf = ({ path }) => {
    const key = keysOf(path)[2];
    return key === "-" ? Infinity : Number(key); // at the end
  };
  const place = choose(...steps.map(placeOf));
  const message = {};
  for (const step of steps.filter((each) => placeOf(each) === place)) {
    const field = keysOf(step.path)[3];
    Object.assign(message, field ? { [field]: step.value } : step.value);
  }
  return valueText(message);
}

function nameOf(keys) {
  const names = keys.filter((key) => !/^\d+$|^-$|^code$|^text$|^shown$/.test(key));
  return names
    .map(
      (key) =>
        WORDS[key] ??
        key
          .replace(/^is(?=[A-Z])/, "")
          .replace(/([a-z])([A-Z])/g, "$1 $2")
          .toLowerCase(),
    )
    .join(" ");
}

function valueText(value) {
  if (value === undefined || value === null || value === "") return "none";
  if (value === true) return "on";
  if (value === false) return "off";
  if (typeof value === "number") return String(Number(value.toPrecision(7))); // as a float has
  if (typeof value !== "object") return short(value);
  if ("meaning" in value) return value.meaning || String(value.code);
  return short(
    [value.title ?? value.name, value.message ?? value.address].filter(Boolean).join(": ") || "…",
  );
}

function short(text) {
  return text.length > 40 ? `${text.slice(0, 39)}…` : text;
}
