// Which records are listed: by direction, type, text, and whether something is wrong.

import { h } from "./dom.js";
import { shortType } from "./text.js";

const KINDS = ["noise", "torn", "short", "long", "link up", "link down", "fault", "note"];

export class Filter {
  #direction;
  #type;
  #text;
  #bad;
  #shownTypes = new Set();

  // onChange: called when what is taken is another.
  constructor(place, onChange) {
    const label = (text, input) => h("label", {}, h("span", {}, text), input);
    this.#text = h("input", {
      type: "search",
      placeholder: "Text in type, fields, note…",
      autocomplete: "off",
      spellcheck: "false",
      oninput: onChange,
    });
    this.#direction = h(
      "select",
      { onchange: onChange },
      h("option", { value: "" }, "Both ways"),
      h("option", { value: ">" }, "To display"),
      h("option", { value: "<" }, "To phone"),
    );
    this.#type = h("select", { onchange: onChange }, h("option", { value: "" }, "All types"));
    for (const kind of KINDS) this.#type.append(h("option", { value: `kind:${kind}` }, kind));
    this.#bad = h("input", { type: "checkbox", onchange: onChange });
    place.append(
      h(
        "form",
        { class: "filter", role: "search", "aria-label": "Records", onsubmit: stop },
        label("Text", this.#text),
        label("Direction", this.#direction),
        label("Type", this.#type),
        h("label", { class: "check" }, this.#bad, h("span", {}, "Only what is wrong")),
      ),
    );
  }

  // Offers the types that came, in the order of their names.
  offer(types) {
    if (types.size === this.#shownTypes.size) return;
    for (const type of types.keys()) {
      if (this.#shownTypes.has(type)) continue;
      this.#shownTypes.add(type);
      const option = h("option", { value: type }, shortType(type));
      const after = [...this.#type.options].find(
        (other) => other.value.startsWith("kind:") || (other.value && other.value > type),
      );
      this.#type.insertBefore(option, after ?? null);
    }
  }

  clear() {
    this.#direction.value = this.#type.value = this.#text.value = "";
    this.#bad.checked = false;
  }

  get isActive() {
    return Boolean(
      this.#direction.value || this.#type.value || this.#text.value || this.#bad.checked,
    );
  }

  // A function that says of a row whether it is taken, by what is chosen now.
  get takes() {
    const direction = this.#direction.value;
    const type = this.#type.value;
    const kind = type.startsWith("kind:") ? type.slice(5) : "";
    const isBad = this.#bad.checked;
    const words = this.#text.value.trim().replace(/[.*+?^${}()|[\]\\]/g, "\\$&");
    const text = words && new RegExp(words, "i");
    return (row) =>
      (!direction || row.d === direction) &&
      (!type || (kind ? row.k === kind : row.y === type)) &&
      (!isBad || row.b !== undefined) &&
      (!text || matches(row, text));
  }
}

function matches(row, text) {
  return (
    (row.y !== undefined && text.test(row.y)) ||
    (row.s !== undefined && text.test(row.s)) ||
    (row.o !== undefined && text.test(row.o)) ||
    text.test(row.k) ||
    (row.b !== undefined && row.b.some((problem) => text.test(problem)))
  );
}

function stop(event) {
  event.preventDefault();
}
