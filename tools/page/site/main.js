// The page: its parts, and what the program tells them.

import { Changes } from "./changes.js";
import { Connection } from "./connection.js";
import { Controls } from "./controls.js";
import { byId, h, oncePerFrame, setText } from "./dom.js";
import { FrameView } from "./frame.js";
import { RecordStore } from "./store.js";
import { millisOf } from "./text.js";
import { Timeline } from "./timeline.js";
import { Traffic } from "./traffic.js";
import { Windshield } from "./windshield.js";

const store = new RecordStore();
const timeline = new Timeline();
const frame = new FrameView(byId("frame"));
const controls = new Controls(byId("controls"), byId("frame-tools"));
const traffic = new Traffic(
  {
    count: byId("traffic-count"),
    filter: byId("traffic-filter"),
    list: byId("traffic"),
    tools: byId("traffic-tools"),
  },
  store,
  selected,
);
const windshield = new Windshield(byId("windshield"), byId("windshield-tools"));
const asAtText = h("span");
const asAt = h(
  "p",
  { class: "as-at" },
  asAtText,
  h("button", { type: "button", onclick: () => lookAt(null) }, "Back to the last"),
);
asAt.hidden = true;
byId("windshield").append(asAt);
const changes = new Changes(
  byId("windshield"),
  (number) => traffic.show(number),
  (number) => store.find(number),
);

let session = null;
let hasLink = false;
let viewed = null; // the record at which the windshield is looked at; null: the last one

async function selected(row) {
  lookAt(row.n < store.last ? row : null);
  controls.select(await frame.show(row));
}

function lookAt(row) {
  viewed = row;
  drawState();
}

const drawState = oncePerFrame(() => {
  const state = viewed ? timeline.at(viewed) : timeline.state;
  asAt.hidden = !viewed || !timeline.state;
  if (viewed) {
    setText(
      asAtText,
      state ? `As at record ${viewed.n}` : `Record ${viewed.n} is too long ago to be drawn`,
    );
  }
  const last = viewed ?? (hasLink ? undefined : store.find(store.last));
  windshield.show(state, last?.t === undefined ? null : millisOf(last.t));
  changes.show(timeline.changes);
});

function hello(told) {
  setText(byId("title"), told.title);
  document.title = `${told.title} – varno`;
  hasLink = told.linkActions.length > 0;
  store.setLimit(told.keeps);
  if (session !== null && session !== told.session) {
    store.clear();
    traffic.clear();
    frame.clear();
    timeline.reset();
    changes.clear();
    controls.clear();
    viewed = null;
  }
  session = told.session;
  controls.hello(told);
}

function showLinks(links) {
  byId("links").replaceChildren(
    ...links.map((link) =>
      h(
        "li",
        { class: link.state, title: link.reason },
        `${link.name}: ${link.state}`,
        link.address ? ` · ${link.address}` : "",
        link.reason ? ` · ${link.reason}` : "",
      ),
    ),
  );
}

new Connection({
  hello,
  state: (told) => {
    timeline.begin(told);
    drawState();
  },
  changes: (told) => {
    timeline.add(told);
    drawState();
  },
  status: (status) => {
    showLinks(status.links);
    controls.status(status);
  },
  records: (told) => {
    const rows = store.add(told.rows, told.first);
    traffic.added(rows);
    controls.count(rows);
    if (!hasLink) drawState();
  },
  connected: (isConnected, text) => {
    setText(byId("connection"), text);
    byId("connection").classList.toggle("down", !isConnected);
    if (!isConnected) showLinks([]); // how they are is not known
  },
});
