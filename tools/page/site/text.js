// How things are written.

// Of a time in seconds as text, the milliseconds since the epoch.
export function millisOf(time) {
  return Number(time) * 1000;
}

const two = (value) => String(value).padStart(2, "0");

// The time of day of a record, with milliseconds.
export function clockText(time) {
  if (time === undefined) return "";
  const millis = millisOf(time);
  const date = new Date(millis);
  const rest = String(Math.floor(((millis % 1000) + 1000) % 1000)).padStart(3, "0");
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}.${rest}`;
}

// In full, with the date and all its digits.
export function fullTime(time) {
  if (time === undefined) return "not known";
  const date = new Date(millisOf(time));
  return `${date.toLocaleDateString("en-CA")} ${clockText(time).slice(0, 8)}.${time.split(".")[1]}`;
}

export function directionWords(direction) {
  if (direction === ">") return "to display";
  if (direction === "<") return "to phone";
  return "";
}

// A packet type's name without what all have.
export function shortType(type) {
  return type.replace(/Packet$/, "");
}

export function countText(value) {
  if (value < 1000) return String(Math.round(value));
  if (value < 1e6) return `${(value / 1000).toFixed(value < 1e4 ? 1 : 0)} k`;
  return `${(value / 1e6).toFixed(1)} M`;
}

// A string in the one-line notation.
export function quoted(text) {
  const escaped = text.replace(/[\\"]/g, "\\$&").replace(/\n/g, "\\n");
  // eslint-disable-next-line no-control-regex -- they are what has to be escaped
  return `"${escaped.replace(/[\x00-\x1f\x7f]/g, (c) => `\\x${c.charCodeAt(0).toString(16).padStart(2, "0").toUpperCase()}`)}"`;
}
