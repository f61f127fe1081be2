// The connection to the program: its events, and the commands to it.

const RETRY_MS = 1500;

const FIRST_TRY = "Connecting to the program…";

export class Connection {
  #handlers;
  #source = null;
  #lastId = "";
  #timer = 0;

  // handlers: hello, state, records, changes, status, each with what it brings, and
  // connected(isConnected, text).
  constructor(handlers) {
    this.#handlers = handlers;
    this.#handlers.connected(false, FIRST_TRY);
    this.#open();
    // A browser has six connections to a program: a page that nobody sees holds none.
    document.addEventListener("visibilitychange", () => this.#open());
  }

  #open() {
    this.#source?.close();
    this.#source = null;
    clearTimeout(this.#timer);
    if (document.hidden) return;
    // A source that goes on by itself tells its last id in a header; a new one in the address.
    this.#source = new EventSource(`events?after=${encodeURIComponent(this.#lastId)}`);
    this.#source.onopen = () => this.#handlers.connected(true, "Connected");
    this.#source.onerror = () => this.#failed();
    for (const name of ["hello", "state", "records", "changes", "status"]) {
      this.#source.addEventListener(name, (event) => {
        this.#lastId = event.lastEventId;
        this.#handlers[name](JSON.parse(event.data));
      });
    }
  }

  async #failed() {
    const source = this.#source;
    source.close();
    const reason = await whyNot();
    if (source !== this.#source) return;
    this.#handlers.connected(false, reason);
    this.#timer = setTimeout(() => this.#open(), RETRY_MS);
  }
}

async function whyNot() {
  try {
    const response = await fetch("hello");
    if (response.ok) return "Connection lost. Trying again…";
    if (response.status === 403) {
      return "The program runs again, at another address: open the one that it printed.";
    }
    if (response.status === 503) return (await response.json()).error;
    return `The program answers ${response.status}. Trying again…`;
  } catch {
    return "The program is gone. What it showed stays here; trying again…";
  }
}

// Has the program do something; throws an Error that says why it was not done.
export async function command(what) {
  let response;
  try {
    response = await fetch("command", {
      method: "POST",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify(what),
    });
  } catch {
    throw new Error("The program is gone.");
  }
  const text = await response.text();
  let problem = text.trim();
  try {
    problem = JSON.parse(text).error;
  } catch {
    // Plain text it is.
  }
  if (problem) throw new Error(problem);
}

// What the program has of a name; throws an Error where it has nothing.
export async function load(name) {
  const response = await fetch(name);
  const json = await response.json();
  if (!response.ok) throw new Error(json.error ?? `The program answers ${response.status}.`);
  return json;
}
