// What is seen through the windshield, as SVG: the road, and the picture that the display throws on
// it.

import { h, s } from "./dom.js";

const FONT = 'system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif'; // as in windshield.css
const GAUGE = { x: 150, y: 158, radius: 92, from: 140, to: 400 }; // degrees, clockwise from the right
const GAUGE_FULL = 200; // speed at the gauge's end

function polar(degrees, radius) {
  const angle = (degrees * Math.PI) / 180;
  return [GAUGE.x + radius * Math.cos(angle), GAUGE.y + radius * Math.sin(angle)];
}

function arc(from, to, radius) {
  const [x1, y1] = polar(from, radius);
  const [x2, y2] = polar(to, radius);
  return `M${x1} ${y1}A${radius} ${radius} 0 ${to - from > 180 ? 1 : 0} 1 ${x2} ${y2}`;
}

function degreesOf(speed) {
  const share = Math.min(Math.max(speed / GAUGE_FULL, 0), 1);
  return GAUGE.from + share * (GAUGE.to - GAUGE.from);
}

// The road by day and by night; the style sheet colors it.
export function road() {
  const dashes = [
    [318, 214, 322, 214, 325, 234, 315, 234],
    [313, 248, 327, 248, 333, 284, 307, 284],
    [304, 304, 336, 304, 346, 360, 294, 360],
  ];
  return s(
    "svg",
    {
      class: "road",
      viewBox: "0 0 640 360",
      preserveAspectRatio: "xMidYMin slice",
      "aria-hidden": "true",
    },
    s("rect", { class: "sky", width: 640, height: 210 }),
    s("circle", { class: "sun", cx: 372, cy: 46, r: 14 }),
    s("path", {
      class: "hills far",
      d: "M0 196C70 150 120 170 190 178S300 140 380 168 520 150 640 184V214H0Z",
    }),
    s("path", {
      class: "hills",
      d: "M0 206C90 176 180 196 260 200S430 178 500 194 600 190 640 202V216H0Z",
    }),
    s("rect", { class: "field", y: 206, width: 640, height: 154 }),
    s("path", { class: "asphalt", d: "M300 206H340L620 360H20Z" }),
    s("path", { class: "edge", d: "M300 206L20 360H44L304 206ZM340 206L620 360H596L336 206Z" }),
    dashes.map((points) => s("polygon", { class: "dash", points: points.join(" ") })),
  );
}

// The speed with its gauge.
export function speedometer(speed) {
  if (!speed.isVisible) return null;
  const isWarning = speed.isWarning;
  const parts = [];
  if (speed.isGaugeVisible) {
    parts.push(s("path", { class: "gauge-back", d: arc(GAUGE.from, GAUGE.to, GAUGE.radius) }));
    for (let mark = 0; mark <= GAUGE_FULL; mark += 20) {
      const [x1, y1] = polar(degreesOf(mark), GAUGE.radius - 12);
      const [x2, y2] = polar(degreesOf(mark), GAUGE.radius - 19);
      parts.push(s("line", { class: "tick", x1, y1, x2, y2 }));
    }
    if (speed.value > 0) {
      parts.push(
        s("path", { class: "gauge", d: arc(GAUGE.from, degreesOf(speed.value), GAUGE.radius) }),
      );
    }
    if (speed.warningAt > 0) {
      const [x1, y1] = polar(degreesOf(speed.warningAt), GAUGE.radius - 9);
      const [x2, y2] = polar(degreesOf(speed.warningAt), GAUGE.radius + 11);
      parts.push(s("line", { class: "limit", x1, y1, x2, y2 }));
    }
  }
  const text = speed.text || "–";
  const size = text.length <= 3 ? 76 : Math.max(18, 230 / text.length);
  parts.push(
    s(
      "text",
      { class: "speed", x: GAUGE.x, y: GAUGE.y + 22, "font-size": size },
      fit(text, 158, size, 700),
    ),
    s("text", { class: "unit", x: GAUGE.x, y: GAUGE.y + 50 }, speed.unit),
  );
  if (speed.warningAt > 0) {
    parts.push(
      s("circle", { class: "sign", cx: GAUGE.x, cy: GAUGE.y + 86, r: 19 }),
      s("text", { class: "sign-text", x: GAUGE.x, y: GAUGE.y + 91.5 }, String(speed.warningAt)),
    );
  }
  return s(
    "g",
    { class: isWarning ? "speedometer warning" : "speedometer", color: speed.color },
    parts,
  );
}

const ICONS = {
  link: "M4 1h8a1 1 0 0 1 1 1v12a1 1 0 0 1-1 1H4a1 1 0 0 1-1-1V2a1 1 0 0 1 1-1Zm.5 2v8.5h7V3ZM8 12.4a.9.9 0 1 0 .01 0Z",
  gps: "M8 0a5 5 0 0 1 5 5c0 3.6-5 11-5 11S3 8.600 3 5a5 5 0 0 1 5-5Zm0 3a2 2 0 1 0 0 4 2 2 0 0 0 0-4Z",
  obd2: "M2 5h2V3h4v2h2l2 2v1h1V6h2v7h-2v-2h-1l-1 2H5l-1-2H2v2H0V7h2Zm2 2v3h6V7Z",
  bluetooth:
    "M7 0l5 4.200L9 8l3 3.800L7 16v-6l-3 2.700-1-1.300L7 8 3 4.600l1-1.300L7 6Zm1.500 3.300v2.400L10 4.400Zm0 7v2.400l1.500-1.100Z",
  wifi: "M8 13.500a1.700 1.700 0 1 0 0-3.400 1.700 1.700 0 0 0 0 3.400ZM3.700 8.700 5 10a4.300 4.300 0 0 1 6 0l1.300-1.300a6.200 6.200 0 0 0-8.600 0ZM.8 5.800l1.300 1.300a8.400 8.400 0 0 1 11.800 0l1.300-1.300a10.300 10.300 0 0 0-14.400 0Z",
  bell: "M8 1a4 4 0 0 1 4 4v4l2 3H2l2-3V5a4 4 0 0 1 4-4ZM6.500 13h3a1.500 1.500 0 0 1-3 0Z",
  call: "M3 1l3 1 1 3.500-2 1.500a9 9 0 0 0 4 4l1.500-2L14 10l1 3-2 2C7 15 1 9 1 3Z",
  music: "M6 2l8-1.500V11a2.300 2.300 0 1 1-1.500-2.200V4L7.500 5v8a2.300 2.300 0 1 1-1.500-2.200Z",
  message: "M1 2h14v9H7l-4 3v-3H1Z",
  update: "M7 1h2v7h3l-4 4-4-4h3ZM2 13h12v2H2Z",
};

// words: what it stands for, where it stands alone.
export function icon(name, x, y, size, classes, words) {
  return s(
    "svg",
    { class: `icon ${classes}`, x, y, width: size, height: size, viewBox: "0 0 16 16" },
    words ? s("title", {}, words) : null,
    words ? s("rect", { class: "hold", width: 16, height: 16 }) : null,
    s("path", { d: ICONS[name], "fill-rule": "evenodd" }),
  );
}

// A notice's card. share: of its time that is left, from 0 to 1; null where it stays.
export function card(notice, name, y, share, words) {
  const title = notice.title || words;
  return s(
    "g",
    { class: `card ${name}`, transform: `translate(288 ${y})`, color: notice.color },
    s("rect", { class: "plate", width: 250, height: 58, rx: 10 }),
    icon(name, 12, 17, 24, "large"),
    s("text", { class: "title", x: 48, y: 24 }, fit(title, 190, 17, 700)),
    s(
      "text",
      { class: "message", x: 48, y: 44 },
      fit(notice.message || notice.packageName, 190, 14.5),
    ),
    share === null
      ? null
      : s("rect", { class: "left", x: 12, y: 53, width: 226 * share, height: 2.5, rx: 1.2 }),
  );
}

const MOST_LETTERS = 100; // that can fit anywhere
const letters = new Intl.Segmenter("en");
const ruler = h("canvas").getContext("2d");
const fitted = new Map(); // what was asked last

// As much of the text, in one line, as is no wider: by whole letters, whatever they are made of.
export function fit(text, width, fontSize, weight = 400) {
  const key = [fontSize, width, text].join(" ");
  if (!fitted.has(key)) {
    if (fitted.size > 100) fitted.clear();
    fitted.set(key, cut(text, width, `${weight} ${fontSize}px ${FONT}`));
  }
  return fitted.get(key);
}

function cut(text, width, font) {
  ruler.font = font;
  const isTooWide = (words) => ruler.measureText(words).width > width;
  const whole = text.slice(0, MOST_LETTERS * 20).replace(/\s+/g, " ");
  const parts = [...letters.segment(whole)].map(({ segment }) => segment);
  if (parts.length <= MOST_LETTERS && !isTooWide(whole)) return whole;
  let count = Math.min(parts.length, MOST_LETTERS);
  while (count > 0 && isTooWide(`${parts.slice(0, count).join("")}…`)) --count;
  return `${parts.slice(0, count).join("").trimEnd()}…`;
}
