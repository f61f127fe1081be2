// What the driver sees now, and what was seen at any of the last records.

import { millisOf } from "./text.js";

const MAX_CHANGES = 5000;

export class Timeline {
  state = null;
  changes = []; // {c, n, t, do, undo}, the oldest first

  reset() {
    this.state = null;
    this.changes = [];
  }

  // The state anew, with changes that led to it.
  begin(told) {
    this.state = told.state;
    this.#keep(told.changes);
  }

  add(changes) {
    for (const change of changes) this.state = patched(this.state, change.do);
    this.#keep(changes);
  }

  // The state when the record had passed; null where that is too long ago.
  at(row) {
    let state = this.state;
    const millis = row.t === undefined ? Infinity : millisOf(row.t);
    for (let at = this.changes.length - 1; at >= 0; --at) {
      const change = this.changes[at];
      const isLater = change.n === null ? millisOf(change.t) > millis : change.n > row.n;
      if (!isLater) return state;
      state = patched(state, change.undo);
    }
    return this.changes[0]?.c > 1 ? null : state;
  }

  #keep(changes) {
    const last = this.changes[this.changes.length - 1]?.c ?? 0;
    this.changes.push(...changes.filter((change) => change.c > last));
    const spare = this.changes.length - MAX_CHANGES;
    if (spare > 0) this.changes.splice(0, spare);
  }
}

// A copy of the value with a JSON patch of add, remove and replace applied.
export function patched(value, patch) {
  let root = structuredClone(value);
  for (const step of patch) {
    const keys = keysOf(step.path);
    if (keys.length === 0) {
      root = step.value;
      continue;
    }
    let parent = root;
    for (const key of keys.slice(0, -1)) parent = parent[key];
    const key = keys[keys.length - 1];
    if (Array.isArray(parent)) {
      const at = key === "-" ? parent.length : Number(key);
      if (step.op === "add") parent.splice(at, 0, step.value);
      else if (step.op === "remove") parent.splice(at, 1);
      else parent[at] = step.value;
    } else if (step.op === "remove") delete parent[key];
    else parent[key] = step.value;
  }
  return root;
}

export function keysOf(path) {
  return path
    .split("/")
    .slice(1)
    .map((key) => key.replace(/~1/g, "/").replace(/~0/g, "~"));
}
