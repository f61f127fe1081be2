// The windshield: what the driver sees, drawn from the state of a simulated display.

import { byId, h, oncePerFrame, plural, s, setText } from "./dom.js";
import { card, fit, icon, road, speedometer } from "./scene.js";
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
    const put = (notice, name, words, share = shareLeft(notice, now)) =>
      cards.push(card(notice, name, 50 + cards.length * 66, share, words));
    if (notices.call) put(notices.call, "call", "Call");
    if (notices.obd2) put(notices.obd2, "obd2", "Vehicle");
    if (isUpdating(state.device)) {
      const { update, updatePercent } = state.device;
      const notice = { title: "Software update", message: `${update}, ${updatePercent} %` };
      put(notice, "update", "", updatePercent / 100);
    }
    const more = Math.max(notices.shown.length - (MAX_CARDS - cards.length), 0);
    for (const notice of notices.shown.slice(more)) put(notice, "message", "Message");
    parts.push(...cards);
    if (more > 0) {
      parts.push(s("text", { class: "more", x: 538, y: 260 }, plural(more, "earlier message")));
    }
    if (notices.music) parts.push(...musicLine(notices.music));
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

// The icon of each, how it is drawn, and the same in words.
function statusOf({ link, sensors, bluetooth, wifi, notices }) {
  const either = (isSo, yes, no) => (isSo ? ["on", yes] : ["off", no]);
  return [
    [
      "link",
      ...(link.isUp && !link.isPhoneAlive
        ? ["weak", "Phone connected, without keep-alive"]
        : either(link.isUp, "Phone connected", "No phone")),
    ],
    ["gps", ...(sensors.isGpsReliable ? ["on", "GPS"] : ["weak", "GPS unreliable"])],
    ["obd2", ...either(sensors.isObd2Wanted, "OBD-II", "No OBD-II")],
    [
      "bluetooth",
      ...(bluetooth.isEnabled && bluetooth.isScanning
        ? ["busy", "Bluetooth scans"]
        : either(bluetooth.isEnabled, "Bluetooth", "Bluetooth off")),
    ],
    [
      "wifi",
      ...(!wifi.ipAddress && wifi.isJoining
        ? ["busy", "Wi-Fi connects"]
        : !wifi.ipAddress && wifi.errorMessage
          ? ["weak", "Wi-Fi failed"]
          : either(wifi.ipAddress, "Wi-Fi", "No Wi-Fi")),
    ],
    ["bell", ...either(notices.isEnabled, "Notices", "Notices off")],
  ];
}

function statusIcons(state) {
  return s(
    "g",
    { class: "status" },
    statusOf(state).map(([name, how, words], at) => icon(name, 24 + at * 30, 16, 19, how, words)),
  );
}

function musicLine(music) {
  const words = [music.title, music.message].filter(Boolean).join(" – ") || music.packageName;
  return [
    icon("music", 24, 268, 18, "on"),
    s("text", { class: "music", x: 50, y: 283 }, fit(words, 480, 16)),
  ];
}

function isUpdating(device) {
  return device.update === "running" || device.update === "waiting";
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
  if (notices.obd2) words.push(`Vehicle ${notices.obd2.title}: ${notices.obd2.message}`);
  if (notices.music) words.push(`Music ${notices.music.title} ${notices.music.message}`);
  if (isUpdating(state.device)) {
    words.push(`Software update ${state.device.update}, ${state.device.updatePercent} %`);
  }
  if (!state.picture.isBacklightOn) words.push("Backlight off");
  const shown = words.join(", ") || "Nothing is shown";
  return `${shown}. ${statusOf(state)
    .map(([, , status]) => status)
    .join(", ")}`;
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
