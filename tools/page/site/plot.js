// Frames and bytes a second over the last minutes, by the times of the records.

import { h, oncePerFrame, plural, s, setText } from "./dom.js";
import { countText, millisOf } from "./text.js";

const SECONDS = 300;
const WIDTH = 600;
const HEIGHT = 64;
const SERIES = [
  { name: "frames", words: "Frames/s" },
  { name: "bytes", words: "Bytes/s" },
];

export class Plot {
  #counts = new Map(); // by second
  #last = -Infinity;
  #isLive = false;
  #charts;
  #timer = 0;
  #totals = { frames: 0, bytes: 0, wrong: 0 };
  #totalsText;
  #draw = oncePerFrame(() => this.#drawNow());

  constructor(place) {
    this.#totalsText = h("p", { class: "count" });
    this.#charts = SERIES.map(({ name, words }) => {
      const figure = h("span", { class: "figure" });
      const line = s("path", { class: "plot-line" });
      const area = s("path", { class: "plot-area" });
      const svg = s(
        "svg",
        {
          class: "plot",
          viewBox: `0 0 ${WIDTH} ${HEIGHT}`,
          preserveAspectRatio: "none",
          "aria-hidden": "true",
        },
        area,
        line,
      );
      place.append(h("div", { class: `chart ${name}` }, h("h3", {}, words, " ", figure), svg));
      return { name, figure, line, area };
    });
    place.append(this.#totalsText);
  }

  // isLive: whether the time goes on where nothing passes.
  setLive(isLive) {
    this.#isLive = isLive;
  }

  clear() {
    this.#counts.clear();
    this.#last = -Infinity;
    this.#totals = { frames: 0, bytes: 0, wrong: 0 };
    this.#draw();
  }

  add(rows) {
    for (const row of rows) {
      this.#totals.frames += row.k === "frame";
      this.#totals.bytes += row.l;
      this.#totals.wrong += row.b !== undefined;
      if (row.t === undefined) continue;
      const second = Math.floor(millisOf(row.t) / 1000);
      let count = this.#counts.get(second);
      if (!count) this.#counts.set(second, (count = { frames: 0, bytes: 0 }));
      count.frames += row.k === "frame";
      count.bytes += row.l;
      this.#last = Math.max(this.#last, second);
    }
    if (this.#counts.size > 4 * SECONDS) {
      for (const second of this.#counts.keys()) {
        if (second < this.#last - SECONDS) this.#counts.delete(second);
      }
    }
    this.#draw();
  }

  #drawNow() {
    clearTimeout(this.#timer);
    // The second that goes on is not counted yet.
    const end = this.#isLive ? Math.floor(Date.now() / 1000) - 1 : this.#last;
    for (const chart of this.#charts) {
      if (!Number.isFinite(end)) {
        setText(chart.figure, "no times");
        continue;
      }
      const values = [];
      for (let second = end - SECONDS + 1; second <= end; ++second) {
        values.push(this.#counts.get(second)?.[chart.name] ?? 0);
      }
      const most = Math.max(...values, 1);
      const points = values.map(
        (value, at) =>
          `${((at / (SECONDS - 1)) * WIDTH).toFixed(1)} ${(HEIGHT - 2 - (value / most) * (HEIGHT - 6)).toFixed(1)}`,
      );
      chart.line.setAttribute("d", `M${points.join("L")}`);
      chart.area.setAttribute("d", `M0 ${HEIGHT}L${points.join("L")}L${WIDTH} ${HEIGHT}Z`);
      const now = values[values.length - 1];
      const peak = countText(Math.max(...values));
      setText(chart.figure, `${countText(now)} · most ${peak} in 5 min`);
    }
    const { frames, bytes, wrong } = this.#totals;
    setText(
      this.#totalsText,
      `In all ${plural(frames, "frame")}, ${plural(bytes, "byte")}, ${wrong.toLocaleString("en")} with something wrong`,
    );
    if (this.#isLive) this.#timer = setTimeout(() => this.#draw(), 1000);
  }
}
