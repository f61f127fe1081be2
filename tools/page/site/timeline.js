// What the driver sees now, and what was seen at any of the last records.

import { millisOf } from "./text.js";

const MAX_CHANGES = 5000;
const MAX_SIZE = 4 << 20; // of all of them as JSON

export class Timeline {
  state = null;
  changes = []; // {c, n, t, do, undo}, the oldest first
  #sizes = []; // of each as JSON
  #size = 0;
  #asked = null; // the row that was asked for last, and its state

  reset() {
    this.state = null;
    this.#asked = null;
    this.#forget(this.changes.length);
  }

  // The state anew, with changes that led to it.
  begin(told) {
    this.state = told.state;
    this.#asked = null;
    this.#keep(told.changes);
  }

  add(changes) {
    this.state = patched(
      this.state,
      changes.map((change) => change.do),
    );
    if (this.#asked && !changes.every((change) => isLater(change, this.#asked.row))) {
      this.#asked = null;
    }
    this.#keep(changes);
  }

  // The state when the record had passed; null where that is too long ago.
  at(row) {
    if (this.#asked?.row !== row) this.#asked = { row, state: this.#workOut(row) };
    return this.#asked.state;
  }

  #workOut(row) {
    const undone = [];
    for (let at = this.changes.length - 1; at >= 0; --at) {
      const change = this.changes[at];
      if (!isLater(change, row)) return patched(this.state, undone);
      undone.push(change.undo);
    }
    return this.changes[0]?.c > 1 ? null : patched(this.state, undone);
  }

  #keep(changes) {
    const last = this.changes[this.changes.length - 1]?.c ?? 0;
    const fresh = changes.filter((change) => change.c > last);
    // Across a gap there is no way back.
    if (fresh.length && fresh[0].c > last + 1) this.#forget(this.changes.length);
    for (const change of fresh) {
      const size = JSON.stringify(change).length;
      this.changes.push(change);
      this.#sizes.push(size);
      this.#size += size;
    }
    let spare = Math.max(this.changes.length - MAX_CHANGES, 0);
    for (let size = this.#size; size > MAX_SIZE && spare < this.changes.length - 1; ++spare) {
      size -= this.#sizes[spare];
    }
    this.#forget(spare);
  }

  #forget(count) {
    this.changes.splice(0, count);
    for (const size of this.#sizes.splice(0, count)) this.#size -= size;
  }
}

// Whether the change came after the record.
function isLater(change, row) {
  if (change.n !== null) return change.n > row.n;
  return row.t !== undefined && millisOf(change.t) > millisOf(row.t);
}

// A copy of the value with JSON patches of add, remove and replace applied.
export function patched(value, patches) {
  let root = structuredClone(value);
  for (const step of patches.flat()) {
    const keys = keysOf(step.path);
    const given = structuredClone(step.value); // what a later step may change
    if (keys.length === 0) {
      root = given;
      continue;
    }
    let parent = root;
    for (const key of keys.slice(0, -1)) parent = parent[key];
    const key = keys[keys.length - 1];
    if (Array.isArray(parent)) {
      const at = key === "-" ? parent.length : Number(key);
      if (step.op === "add") parent.splice(at, 0, given);
      else if (step.op === "remove") parent.splice(at, 1);
      else parent[at] = given;
    } else if (step.op === "remove") delete parent[key];
    else parent[key] = given;
  }
  return root;
}

export function keysOf(path) {
  return path
    .split("/")
    .slice(1)
    .map((key) => key.replace(/~1/g, "/").replace(/~0/g, "~"));
}
