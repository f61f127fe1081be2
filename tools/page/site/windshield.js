// The windshield: what the driver sees, drawn from the state of a simulated display.

import { byId, h, oncePerFrame, s, setText } from "./dom.js";
import { card, cut, icon, road, speedometer } from "./scene.js";
import { millisOf } from "./text.js";

const MAX_CARDS = 3;

export class Windshield {
  #state = null;
  #isLive = true; // whether its clock goes on by itself
  #now = 0; // milliseconds since the epoch, where it does not
  #road = road();
  #picture;
  #stage;
  #facts;
  #empty;
  #ground = "auto";
  #timer = 0;
  #draw = oncePerFrame(() => this.#drawNow());

  constructor(place, tools) {
    this.#picture = s("svg", {
      class: "picture",
      viewBox: "0 0 560 300",
      role: "img",
      "aria-label": "Nothing is shown",
    });
    this.#stage = h("div", { class: "stage", "data-ground": "day" }, this.#road, this.#picture);
    this.#facts = h("ul", { class: "geometry" });
    this.#empty = h("p", { class: "empty" }, "No display is drawn here.");
    place.append(this.#stage, this.#facts, this.#empty);
    const ground = h(
      "select",
      { "aria-label": "Background", onchange: () => this.#setGround(ground.value) },
      h("option", { value: "auto" }, "Day or night as shown"),
      h("option", { value: "day" }, "Day"),
      h("option", { value: "night" }, "Night"),
    );
    tools.append(ground);
    byId("simulated").title =
      "Drawn by this program from the packets that passed, as a display might show them. " +
      "What a real display shows may look different.";
  }

  // millis: when that was, or null for now.
  show(state, millis) {
    this.#state = state;
    this.#isLive = millis === null;
    if (millis !== null) this.#now = millis;
    this.#draw();
  }

  #setGround(ground) {
    this.#ground = ground;
    this.#draw();
  }

  #drawNow() {
    clearTimeout(this.#timer);
    const state = this.#state;
    this.#empty.hidden = state !== null;
    this.#stage.hidden = this.#facts.hidden = state === null;
    if (!state) return;
    const now = this.#isLive ? Date.now() : this.#now;
    const time = clockOf(state.clock, now);
    this.#stage.dataset.ground = this.#groundOf(state, time);
    this.#stage.dataset.theme = state.picture.theme.meaning || "day";
    this.#drawPicture(state, now, time);
    this.#drawGeometry(state.picture);
    if (this.#isLive && (state.clock.reading || state.notices.shown.length)) {
      this.#timer = setTimeout(() => this.#draw(), 250);
    }
  }

  #groundOf(state, time) {
    if (this.#ground !== "auto") return this.#ground;
    const theme = state.picture.theme.meaning;
    if (theme === "day" || theme === "night") return theme;
    return time && (time.hour < 7 || time.hour >= 19) ? "night" : "day";
  }

  #drawPicture(state, now, time) {
    const { speed, notices, picture } = state;
    const parts = [statusIcons(state), speedometer(speed)];
    if (time && state.clock.isVisible) {
      parts.push(s("text", { class: "clock", x: 538, y: 32 }, time.text));
    }
    const cards = [];
    if (notices.call) cards.push([notices.call, "call", "Call"]);
    for (const notice of notices.shown.slice(-MAX_CARDS)) cards.push([notice, "social", "Message"]);
    if (notices.obd2) cards.push([notices.obd2, "obd2", "Vehicle"]);
    cards.slice(0, MAX_CARDS).forEach(([notice, name, words], at) => {
      parts.push(card(notice, name, 50 + at * 66, shareLeft(notice, now), words));
    });
    if (notices.music) parts.push(...musicLine(notices.music));
    if (state.device.update === "running" || state.device.update === "waiting") {
      parts.push(...updateLine(state.device));
    }
    if (!picture.isBacklightOn) {
      parts.push(s("text", { class: "off", x: 280, y: 150 }, "Backlight off"));
    }
    this.#picture.replaceChildren(...parts.filter(Boolean));
    this.#picture.classList.toggle("dark", !picture.isBacklightOn);
    const label = wordsOf(state, time);
    if (this.#picture.getAttribute("aria-label") !== label) {
      this.#picture.setAttribute("aria-label", label);
    }
  }

  // The picture as keystone and layout make it.
  #drawGeometry(picture) {
    const keystone = clamp(finite(picture.keystone), -1, 1);
    const size = picture.isFullScreen ? 1.14 : clamp(finite(picture.layoutSize) || 1, 0.5, 1.14);
    this.#picture.style.transform = `perspective(900px) rotateX(${keystone * 24}deg) scale(${size})`;
    this.#picture.style.opacity = picture.isBacklightOn
      ? String(0.85 + 0.15 * (picture.minBrightnessPercent / 100))
      : "0.25";
    const facts = [
      `Theme ${picture.theme.meaning || picture.theme.code}`,
      picture.isBacklightOn
        ? `Brightness at least ${picture.minBrightnessPercent} %`
        : "Backlight off",
      `Keystone ${signed(finite(picture.keystone))}`,
      picture.isFullScreen ? "Full screen" : `Size ${finite(picture.layoutSize) || "as delivered"}`,
    ];
    if (facts.length !== this.#facts.children.length) {
      this.#facts.replaceChildren(...facts.map(() => h("li")));
    }
    facts.forEach((fact, at) => setText(this.#facts.children[at], fact));
  }
}

function statusIcons(state) {
  const { link, sensors, bluetooth, wifi, notices } = state;
  const icons = [
    ["link", link.isUp ? (link.isPhoneAlive ? "on" : "weak") : "off"],
    ["gps", sensors.isGpsReliable ? "on" : "weak"],
    ["obd2", sensors.isObd2Wanted ? "on" : "off"],
    ["bluetooth", bluetooth.isEnabled ? (bluetooth.isScanning ? "busy" : "on") : "off"],
    ["wifi", wifi.ipAddress ? "on" : wifi.isJoining ? "busy" : wifi.errorMessage ? "weak" : "off"],
    ["bell", notices.isEnabled ? "on" : "off"],
  ];
  return s(
    "g",
    { class: "status" },
    icons.map(([name, how], at) => icon(name, 24 + at * 30, 16, 19, how)),
  );
}

function musicLine(music) {
  const words = [music.title, music.message].filter(Boolean).join(" – ") || music.packageName;
  return [
    icon("music", 24, 268, 18, "on"),
    s("text", { class: "music", x: 50, y: 283 }, cut(words, 56)),
  ];
}

function updateLine(device) {
  return [
    s("rect", { class: "progress-back", x: 24, y: 246, width: 514, height: 6, rx: 3 }),
    s("rect", {
      class: "progress",
      x: 24,
      y: 246,
      width: 5.14 * device.updatePercent,
      height: 6,
      rx: 3,
    }),
    s(
      "text",
      { class: "music", x: 24, y: 240 },
      `Software update ${device.update}, ${device.updatePercent} %`,
    ),
  ];
}

// Of a notice's time, how much is left; null where it stays.
function shareLeft(notice, now) {
  if (notice.goesAt === null) return null;
  const goes = millisOf(notice.goesAt);
  const shown = millisOf(notice.shownAt);
  return goes > shown ? clamp((goes - now) / (goes - shown), 0, 1) : 0;
}

// The display's time of day; null where it was not set.
function clockOf(clock, now) {
  if (!clock.reading) return null;
  const date = new Date(Number(clock.reading.time) + now - millisOf(clock.reading.setAt));
  const format = (timeZone) =>
    new Intl.DateTimeFormat("en-GB", { hour: "2-digit", minute: "2-digit", timeZone }).format(date);
  try {
    const text = format(clock.timeZone || "UTC");
    return { text, hour: Number(text.slice(0, 2)) };
  } catch {
    // A zone that this browser does not know, or a time out of all bounds.
    return isNaN(date) ? null : { text: `${format("UTC")} UTC`, hour: date.getUTCHours() };
  }
}

// The same in words, for those who do not see it.
function wordsOf(state, time) {
  const words = [];
  const { speed, notices } = state;
  if (speed.isVisible) words.push(`Speed ${speed.text || "not known"} ${speed.unit}`);
  if (speed.isWarning) words.push("too fast");
  if (time && state.clock.isVisible) words.push(`Time ${time.text}`);
  if (notices.call) words.push(`Call from ${notices.call.title || notices.call.message}`);
  for (const notice of notices.shown) words.push(`Message ${notice.title}: ${notice.message}`);
  if (notices.music) words.push(`Music ${notices.music.title} ${notices.music.message}`);
  if (!state.picture.isBacklightOn) words.push("Backlight off");
  return words.join(", ") || "Nothing is shown";
}

function clamp(value, low, high) {
  return Math.min(Math.max(value, low), high);
}

// A float as the state has it: a number, or text where it is not finite.
function finite(value) {
  return Number.isFinite(value) ? Math.round(value * 1000) / 1000 : 0;
}

function signed(value) {
  return value > 0 ? `+${value}` : String(value);
}
