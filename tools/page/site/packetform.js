// A form for a packet of any type, and the same packet as a line, which is what is sent.

import { h } from "./dom.js";
import { directionWords, quoted, shortType } from "./text.js";

const LIMITS = {
  uint8: [0, 255],
  int16: [-32768, 32767],
  uint16: [0, 65535],
  int32: [-2147483648, 2147483647],
  uint32: [0, 4294967295],
};
const WIDE = {
  int64: [-(2n ** 63n), 2n ** 63n - 1n],
  uint64: [0n, 2n ** 64n - 1n],
};

export class PacketForm {
  element;
  #types = [];
  #type;
  #fields;
  #line;
  #direction;
  #note;
  #inputs = [];

  // onSend(line, direction).
  constructor(onSend) {
    this.#type = h("select", { onchange: () => this.#choose() });
    this.#direction = h("select");
    this.#fields = h("div", { class: "fields-row" });
    this.#note = h("p", { class: "help" });
    this.#line = h("input", { class: "line", autocomplete: "off", spellcheck: "false" });
    this.element = h(
      "form",
      {
        class: "form",
        onsubmit: (event) => {
          event.preventDefault();
          onSend(this.#line.value, this.#direction.value);
        },
      },
      h(
        "div",
        { class: "fields-row" },
        h("label", { class: "wide" }, h("span", {}, "Type"), this.#type),
        h("label", {}, h("span", {}, "Which way"), this.#direction),
      ),
      this.#fields,
      this.#note,
      h(
        "div",
        { class: "fields-row" },
        h("label", { class: "wide" }, h("span", {}, "As a line"), this.#line),
        h("button", { class: "first" }, "Send"),
      ),
    );
  }

  setTypes(types) {
    this.#types = types;
    this.#offer();
  }

  // The ways that packets can go; their types come first.
  setDirections(directions) {
    const shown = [...this.#direction.options].map((option) => option.value);
    if (shown.join() === directions.join()) return;
    this.#direction.replaceChildren(
      ...directions.map((direction) =>
        h("option", { value: direction }, directionWords(direction)),
      ),
    );
    this.#offer();
  }

  focus() {
    (this.#inputs[0]?.input ?? this.#line).focus();
  }

  // The packet of a record, to be changed and sent.
  fill(record) {
    this.#direction.value = record.d;
    this.#type.value = record.type;
    this.#choose(record.fields);
  }

  #offer() {
    if (!this.#types.length) return;
    const groups = [
      ["<", "From the display", this.#types.filter((type) => type.command === 3)],
      [">", "From the phone", this.#types.filter((type) => type.command !== 3)],
    ];
    const ways = [...this.#direction.options].map((option) => option.value);
    groups.sort((one, other) => ways.includes(other[0]) - ways.includes(one[0]));
    this.#type.replaceChildren(
      ...groups.map(([, label, types]) =>
        h(
          "optgroup",
          { label },
          types
            .map((type) => type.type)
            .sort()
            .map((name) => h("option", { value: name }, shortType(name))),
        ),
      ),
    );
    this.#choose();
  }

  #choose(values) {
    const type = this.#types.find((candidate) => candidate.type === this.#type.value);
    if (!type) return;
    if (!values) {
      const usual = type.command === 3 ? "<" : ">";
      if ([...this.#direction.options].some((option) => option.value === usual)) {
        this.#direction.value = usual;
      }
    }
    const records = new Set(
      type.fields.map((field) => field.name.split(".").slice(0, -1).join(".")).filter(Boolean),
    );
    this.#inputs = type.fields
      .filter((field) => field.onWire !== false && !records.has(field.name))
      .map((field) => inputFor(field, values && valueAt(values, field.name), () => this.#write()));
    this.#fields.replaceChildren(...this.#inputs.map(({ label }) => label));
    this.#note.textContent = type.note ?? "";
    this.#note.hidden = !type.note;
    this.#write();
  }

  #write() {
    const name = this.#type.value;
    const values = this.#inputs.map(({ text }) => text()).filter(Boolean);
    this.#line.value = [name, ...values].join(" ");
  }
}

function valueAt(values, path) {
  return path.split(".").reduce((value, key) => value?.[key], values);
}

// The input of a field; text() is "name=value" for the line, or empty where it has the default.
function inputFor(field, value, onChange) {
  const { name, type } = field;
  const given = value === undefined ? field.default : value;
  const isHidden = field.secret && given === "***";
  if (type === "bool") {
    const input = h("input", { type: "checkbox", checked: given === true, onchange: onChange });
    const text = () =>
      input.checked === (field.default === true) ? "" : `${name}=${input.checked}`;
    return { input, label: h("label", { class: "check" }, input, h("span", {}, name)), text };
  }
  const isText = type === "string" || type.startsWith("set") || type === "list";
  const input = h("input", {
    value: isHidden ? "" : type.startsWith("set") ? (given ?? []).join(", ") : (given ?? ""),
    placeholder: isHidden ? "hidden: type it again" : undefined,
    autocomplete: "off",
    spellcheck: "false",
    inputmode: isText ? undefined : type === "float" || type === "double" ? "decimal" : "numeric",
    oninput: () => {
      input.setCustomValidity(problemOf(type, input.value));
      onChange();
    },
  });
  const text = () => {
    if (input.value === String(field.default ?? "")) return "";
    if (type.startsWith("set")) {
      const names = input.value.split(",").map((word) => word.trim());
      const kept = names.filter(Boolean);
      return kept.length ? `${name}=[${kept.map(quoted).join(",")}]` : "";
    }
    return `${name}=${type === "string" ? quoted(input.value) : input.value}`;
  };
  const limits = LIMITS[type] ?? WIDE[type];
  const help = limits ? `${type}, ${limits[0]} to ${limits[1]}` : type;
  input.title = help;
  return {
    input,
    label: h("label", { class: isText ? "wide" : "" }, h("span", {}, name), input),
    text,
  };
}

function problemOf(type, text) {
  const limits = LIMITS[type] ?? WIDE[type];
  if (!limits) return "";
  if (!/^-?\d+$|^0x[0-9a-f]+$/i.test(text)) return "A whole number is wanted.";
  const value = BigInt(text);
  if (/^0x/i.test(text)) return ""; // the field's bits
  return value < BigInt(limits[0]) || value > BigInt(limits[1])
    ? `From ${limits[0]} to ${limits[1]}.`
    : "";
}
