// What can be done: packets to send, faults to put in, the link to hang up, the session to save.

import { command, load } from "./connection.js";
import { h, setText } from "./dom.js";
import { PacketForm } from "./packetform.js";
import { Plot } from "./plot.js";
import { directionWords } from "./text.js";

export class Controls {
  #told = { sends: [], faults: [], linkActions: [] };
  #plot;
  #form;
  #send;
  #faults;
  #faultList;
  #faultKind;
  #faultText;
  #faultDirection;
  #faultKinds = [];
  #link;
  #result;
  #again;
  #edit;
  #record = null;
  #catalogue = null;

  constructor(place, frameTools) {
    this.#result = h("p", { class: "result", role: "status" });
    this.#send = h("section", { "aria-labelledby": "send-title" });
    this.#faults = h("section", { "aria-labelledby": "faults-title" });
    this.#link = h("div", { class: "buttons" });
    const rates = h("section", { class: "rates", "aria-label": "Rates" });
    place.append(
      h("div", { class: "buttons" }, this.#link, this.#saving()),
      this.#result,
      this.#send,
      this.#faults,
      rates,
    );
    this.#plot = new Plot(rates);
    this.#makeSend();
    this.#makeFaults();
    this.#makeLink();
    this.#again = h("button", { type: "button", onclick: () => this.#sendAgain() }, "Send again");
    this.#edit = h(
      "button",
      { type: "button", onclick: () => this.#editRecord() },
      "Edit and send",
    );
    frameTools.append(this.#again, this.#edit);
    this.#apply();
  }

  hello(told) {
    this.#told = told;
    this.#plot.setLive(told.linkActions.length > 0);
    this.#apply();
    if (!this.#catalogue) this.#loadCatalogue();
  }

  // For another run of the program, which may be able to do other things.
  clear() {
    this.#catalogue = null;
    this.#plot.clear();
    this.select(null);
  }

  count(rows) {
    this.#plot.add(rows);
  }

  // The record that is shown in full; null for none.
  select(record) {
    this.#record = record;
    this.#apply();
  }

  status({ links, faults }) {
    const isUp = links.some((link) => link.state !== "down");
    for (const button of this.#link.children) {
      button.disabled = button.dataset.do === "open" ? isUp : !isUp;
    }
    this.#faultList.replaceChildren(
      ...(faults.length ? faults : ["none"]).map((fault) => h("li", {}, fault)),
    );
  }

  #apply() {
    const { sends, faults, linkActions } = this.#told;
    this.#send.hidden = sends.length === 0;
    this.#faults.hidden = faults.length === 0;
    this.#link.hidden = linkActions.length === 0;
    for (const button of this.#link.children) {
      button.hidden = !linkActions.includes(button.dataset.do);
    }
    this.#form.setDirections(sends);
    setOptions(this.#faultDirection, [
      ...(faults.length > 1 ? [["", "both ways"]] : []),
      ...faults.map((direction) => [direction, directionWords(direction)]),
    ]);
    const canSend = Boolean(this.#record?.length) && sends.includes(this.#record.d);
    this.#again.hidden = !canSend;
    this.#edit.hidden = !canSend || !this.#record.fields;
  }

  async #loadCatalogue() {
    try {
      this.#catalogue = await load("catalogue");
    } catch (error) {
      this.#tell(error.message, true);
      return;
    }
    this.#form.setTypes(this.#catalogue.types);
    this.#faultKinds = this.#catalogue.faults;
    setOptions(
      this.#faultKind,
      this.#faultKinds.map(({ kind }) => [kind, kind]),
    );
    this.#chooseFault();
  }

  #makeSend() {
    this.#form = new PacketForm((line, direction) =>
      this.#do({ do: "send", line, direction }, "Sent."),
    );
    this.#send.append(h("h3", { id: "send-title" }, "Send a packet"), this.#form.element);
  }

  #makeFaults() {
    this.#faultKind = h("select", { onchange: () => this.#chooseFault() });
    this.#faultDirection = h("select");
    this.#faultText = h("input", { autocomplete: "off", spellcheck: "false" });
    this.#faultText.setAttribute("aria-describedby", "fault-help");
    this.#faultList = h("ul", { class: "fault-list", "aria-label": "Faults that are in" });
    this.#faults.append(
      h("h3", { id: "faults-title" }, "Put in a fault"),
      h(
        "form",
        {
          class: "form",
          onsubmit: (event) => {
            event.preventDefault();
            this.#putFault();
          },
        },
        h(
          "div",
          { class: "fields-row" },
          h("label", {}, h("span", {}, "Kind"), this.#faultKind),
          h("label", {}, h("span", {}, "Into what goes"), this.#faultDirection),
          h("label", { class: "wide" }, h("span", {}, "Parameters"), this.#faultText),
          h("button", { class: "first" }, "Put in"),
          h(
            "button",
            {
              type: "button",
              onclick: () =>
                this.#do({ do: "clear", direction: this.#faultDirection.value }, "Taken out."),
            },
            "Take out all",
          ),
        ),
        h("p", { id: "fault-help", class: "help" }),
      ),
      this.#faultList,
    );
  }

  #chooseFault() {
    const fault = this.#faultKinds.find(({ kind }) => kind === this.#faultKind.value);
    if (!fault) return;
    this.#faultText.value = fault.example ?? "";
    const help = this.#faults.querySelector("#fault-help");
    setText(
      help,
      [fault.summary, fault.parameters && `(${fault.parameters})`].filter(Boolean).join(" "),
    );
  }

  #putFault() {
    const line = `${this.#faultKind.value} ${this.#faultText.value}`.trim();
    this.#do({ do: "fault", line, direction: this.#faultDirection.value }, `Put in: ${line}`);
  }

  #makeLink() {
    const button = (what, words, done) =>
      h(
        "button",
        { type: "button", "data-do": what, onclick: () => this.#do({ do: what }, done) },
        words,
      );
    this.#link.append(
      button("hangUp", "Hang up", "Hung up."),
      button("reset", "Break off", "Broken off."),
      button("open", "Come back", "Opening."),
    );
  }

  #saving() {
    const link = (name, words) =>
      h("a", { class: "button", href: `save/${name}`, download: name }, words);
    return h(
      "details",
      { class: "saving" },
      h("summary", { class: "button" }, "Save the session"),
      h(
        "div",
        { class: "buttons" },
        link("session.pcapng", "Capture"),
        link("session.txt", "Text"),
        link("session.jsonl", "JSON lines"),
        link("session.varno", "Scenario"),
      ),
      h("p", { class: "help" }, "A capture holds what passed, passwords and keys included."),
    );
  }

  #sendAgain() {
    this.#do({ do: "again", record: this.#record.n }, `Sent record ${this.#record.n} again.`);
  }

  #editRecord() {
    this.#form.fill(this.#record);
    this.#form.element.scrollIntoView({ block: "nearest" });
    this.#form.focus();
  }

  async #do(what, done) {
    try {
      await command(what);
      this.#tell(done, false);
    } catch (error) {
      this.#tell(error.message, true);
    }
  }

  #tell(text, isWrong) {
    setText(this.#result, text);
    this.#result.classList.toggle("wrong", isWrong);
  }
}

function setOptions(select, options) {
  const chosen = select.value;
  select.replaceChildren(...options.map(([value, words]) => h("option", { value }, words)));
  if (options.some(([value]) => value === chosen)) select.value = chosen;
}
