// The records that the page has: the last ones, in order, without what is long gone.

export class RecordStore {
  #rows = [];
  #begin = 0; // of what is kept in #rows
  #limit;
  types = new Map(); // how many records of each packet type came

  constructor(limit = 100_000) {
    this.#limit = limit;
  }

  get size() {
    return this.#rows.length - this.#begin;
  }
  get first() {
    return this.size ? this.#rows[this.#begin].n : 0;
  }
  get last() {
    return this.size ? this.#rows[this.#rows.length - 1].n : 0;
  }

  setLimit(limit) {
    this.#limit = limit;
  }

  clear() {
    this.#rows = [];
    this.#begin = 0;
    this.types.clear();
  }

  // Takes rows as the program sends them, which has none before `first` any more. Returns those that
  // are new.
  add(rows, first) {
    const last = this.last;
    const fresh = rows.length && rows[0].n <= last ? rows.filter((row) => row.n > last) : rows;
    for (const row of fresh) {
      this.#rows.push(row);
      if (row.y) this.types.set(row.y, (this.types.get(row.y) ?? 0) + 1);
    }
    this.#begin = Math.max(this.#begin, this.#rows.length - this.#limit);
    while (this.#begin < this.#rows.length && this.#rows[this.#begin].n < first) ++this.#begin;
    // Cut off now and then, as each time would move all the rows.
    if (this.#begin > this.#limit / 4) {
      this.#rows.splice(0, this.#begin);
      this.#begin = 0;
    }
    return fresh;
  }

  // The record of the number; undefined where it is not kept.
  find(number) {
    if (!this.size || number < this.first || number > this.last) return undefined;
    let low = this.#begin;
    let high = this.#rows.length - 1;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.#rows[middle].n < number) low = middle + 1;
      else high = middle;
    }
    return this.#rows[low].n === number ? this.#rows[low] : undefined;
  }

  filter(takes) {
    const found = [];
    for (let at = this.#begin; at < this.#rows.length; ++at) {
      if (takes(this.#rows[at])) found.push(this.#rows[at]);
    }
    return found;
  }
}
