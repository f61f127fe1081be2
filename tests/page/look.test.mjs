// Recorded traffic, looked at in a browser.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { setTimeout as wait } from "node:timers/promises";
import { after, before, test } from "node:test";
import { TOKEN, VARNO, launch, open, rowTexts, start, textOf, until } from "./support.mjs";

const axe = createRequire(import.meta.url).resolve("axe-core/axe.min.js");

let browser;
let program;
let page;

before(async () => {
  browser = await launch();
  program = await start(["page", process.env.SAMPLE]);
  page = await open(browser, program.printed[0]);
  await page.waitForSelector("#records [role=option]");
});
after(async () => {
  await browser?.close();
  await program?.stop();
});

const count = () => textOf(page, "#traffic-count");
const choose = async (number) => {
  await page.evaluate((wanted) => {
    const rows = [...document.querySelectorAll("#records [role=option]")];
    rows.find((row) => row.querySelector(".n").textContent === String(wanted)).click();
  }, number);
  await until(`record ${number} is shown`, async () =>
    (await textOf(page, "#frame .facts dd")).startsWith(`${number} `),
  );
};

test("what the driver sees, and saw at any record", async () => {
  const seen = () =>
    page.$eval("#windshield .picture", (picture) => picture.getAttribute("aria-label"));
  await until("the speed is drawn", async () => (await seen()).includes("Speed 57 km/h"));
  assert.equal(
    await seen(),
    "Speed 57 km/h, too fast, Time 11:00, Message <b>Anna</b>: <script>alert(1)</script>, Music Blue in Green Miles Davis. " +
      "Phone connected, GPS, No OBD-II, Bluetooth, Wi-Fi, Notices",
  );
  assert.equal(await textOf(page, "#simulated"), "simulated");
  await page.click("#windshield .changes button.cause");
  await until("the packet behind the last change is shown", async () =>
    (await textOf(page, "#frame .facts dd")).includes("SpeedNotificationPacket"),
  );
  await page.focus("#records");
  await page.keyboard.press("Home");
  for (let step = 0; step < 8; ++step) await page.keyboard.press("ArrowDown");
  await until("the speed of then is drawn", async () =>
    (await seen()).includes("Speed 52 km/h, T"),
  );
  await page.click(".as-at button");
  await until("the last speed is drawn", async () => (await seen()).includes("Speed 57"));
});

test("records are filtered by text, direction, type, and by what is wrong", async () => {
  const total = readFileSync(process.env.SAMPLE, "utf8").trim().split("\n").length;
  assert.equal(await count(), `${total} records`);
  const filter = async (change, shown) => {
    await change();
    await until(
      `${shown} are listed`,
      async () => (await count()) === `${shown} of ${total} records`,
    );
  };
  const [, direction, type] = [null, ...(await page.$$(".filter select"))];
  await filter(() => page.click(".filter [type=checkbox]"), 3);
  const wrong = await rowTexts(page);
  assert.match(wrong[0], /noise.*outside any frame/);
  assert.match(
    wrong[1],
    /WifiStationStatusEvent.*payload ends inside ipAddress: 9 bytes announced, 8 are there/,
  );
  assert.match(wrong[2], /unknown id 3\/99\/99/);
  await filter(() => direction.select("<"), 2);
  await page.click(".filter [type=checkbox]");
  await direction.select("");
  await filter(() => type.select("SpeedNotificationPacket"), 3);
  await filter(() => page.type(".filter [type=search]", 'message="5'), 2);
  await page.$eval(".filter [type=search]", (input) => {
    input.value = "";
    input.dispatchEvent(new Event("input"));
  });
  await type.select("");
  await until("all are listed", async () => (await count()) === `${total} records`);
});

test("pointing at a field lights up its bytes, and the other way round", async () => {
  await choose(13);
  const lit = () =>
    page.$$eval("#frame .pane", (panes) =>
      panes.map((pane) =>
        [...pane.querySelectorAll(".lit")].map((part) => part.textContent).join(" "),
      ),
    );
  await page.hover("#frame .fields tr[data-span='4']");
  assert.deepEqual(await lit(), ["00 00 00 01", "00 00 00 01", "0005eventType1"]);
  await page.hover("#frame .pane:first-child [data-span='1']");
  assert.deepEqual(await lit(), ["7D 7E", "03", "0001command3 event"]);
  await page.focus("#frame .fields tr[data-span='0']");
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("ArrowDown");
  assert.deepEqual(await lit(), ["06", "06", "0003param16"]);
  assert.match(
    await textOf(page, "#frame .fields tr.wrong"),
    /ipAddress.*9 bytes announced, 8 are there/,
  );
});

test("text from the wire stays text, and secrets stay secret", async () => {
  await choose(14);
  assert.match(await textOf(page, "#frame .fields"), /"<script>alert\(1\)<\/script>"/);
  await choose(10);
  assert.match(await textOf(page, "#frame .fields"), /password\*\*\*/);
  assert.doesNotMatch(await page.content(), /open sesame|6F 70 65 6E 20 73/);
  assert.equal(await page.$$eval("b, script:not([src])", (found) => found.length), 0);
});

test("it is accessible, light and dark, and fits a small screen", async () => {
  const look = async (scheme, width) => {
    await page.setViewport({ width, height: 900 });
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
    await wait(400);
    await page.addScriptTag({ content: readFileSync(axe, "utf8") }).catch(() => {});
    const found = await page.evaluate(() => globalThis.axe.run());
    const told = found.violations.map(
      ({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).join(" ")}`,
    );
    assert.deepEqual(told, [], `${scheme} at ${width}`);
    const wide = await page.evaluate(() => document.documentElement.scrollWidth);
    assert.ok(wide <= width, `${wide} of ${width} pixels`);
  };
  await page.setBypassCSP(true);
  await page.reload();
  await page.waitForSelector("#records [role=option]");
  await choose(13);
  for (const scheme of ["dark", "light"]) {
    for (const width of [1440, 360]) await look(scheme, width);
  }
  await page.setBypassCSP(false);
  assert.deepEqual(page.said, []);
});

test("100,000 records stream in without making the page slow", async () => {
  const burst = 90_000;
  const rate = 5000;
  const lines = Buffer.from(
    Array.from({ length: rate }, (_, at) => `> SpeedNotification message=${at % 200}\n`).join(""),
  );
  const flood = await start(["page", "-", "--from", "text", "--page-token", TOKEN]);
  const other = await open(browser, flood.printed[0]);
  for (let sent = 0; sent < burst; sent += rate) flood.child.stdin.write(lines);
  const counts = async (told) =>
    until(
      `${told} are there`,
      async () => (await textOf(other, "#traffic-count")).startsWith(told),
      120_000,
    );
  await counts("90,000 records");
  const rows = () => other.$$eval("#records [role=option]", (found) => found.length);
  await other.tracing.start({ categories: ["disabled-by-default-devtools.timeline", "toplevel"] });
  for (let second = 0; second < 3; ++second) {
    for (let part = 0; part < 10; ++part) {
      flood.child.stdin.write(lines.subarray(0, lines.indexOf("\n", lines.length / 10) + 1));
      await wait(100);
    }
    assert.ok((await rows()) < 300);
  }
  await counts("100,000 records; the first ");
  const trace = JSON.parse(Buffer.from(await other.tracing.stop()).toString());
  // By the processor's time, so that other programs on this machine do not count.
  const mains = new Set(
    trace.traceEvents
      .filter((event) => event.name === "thread_name" && event.args.name === "CrRendererMain")
      .map((event) => `${event.pid}.${event.tid}`),
  );
  const tasks = trace.traceEvents.filter(
    (event) => /RunTask$/.test(event.name) && mains.has(`${event.pid}.${event.tid}`),
  );
  assert.ok(tasks.length > 100);
  const longest = Math.max(...tasks.map((event) => event.tdur ?? 0)) / 1000;
  console.log(`longest task: ${longest.toFixed(1)} ms; rows in the document: ${await rows()}`);
  assert.ok(longest < 100, `${longest} ms`);
  // It stands still while one reads, and nothing is lost meanwhile.
  await other.$eval("#records", (list) => (list.scrollTop = 100_000));
  await wait(200);
  const inSight = (await rowTexts(other)).slice(10, 14).map((text) => text.slice(0, 8));
  flood.child.stdin.write(lines.subarray(0, 2000));
  await until("new ones are announced", async () =>
    /new record/.test(await textOf(other, "#traffic .end")),
  );
  const still = (await rowTexts(other)).map((text) => text.slice(0, 8));
  for (const text of inSight) assert.ok(still.includes(text), `${text} in ${still}`);
  // Nor is anything lost while it is paused.
  const pause = "#traffic-tools button";
  const press = (what) => other.$eval(what, (button) => button.click());
  await press(pause);
  const held = await rowTexts(other);
  const goneNow = async () => /the first ([\d,]+)/.exec(await textOf(other, "#traffic-count"))[1];
  const gone = await goneNow();
  flood.child.stdin.write(lines.subarray(0, 2000));
  await until("more came", async () => (await goneNow()) !== gone);
  assert.deepEqual(await rowTexts(other), held);
  await press(pause);
  await press("#traffic .end");
  const last = Number((await goneNow()).replaceAll(",", "")) + 100_000;
  await until("the last of them is listed", async () =>
    (await rowTexts(other)).at(-1).startsWith(String(last)),
  );
  assert.deepEqual(other.said, []);
  await other.close();
  await flood.stop();
});

test("as many pages as may be look on from one browser", async () => {
  const pages = [];
  for (let opened = 0; opened < 8; ++opened) {
    pages.push(await open(browser, program.printed[0]));
    await until(`page ${opened + 1} has the records`, async () =>
      (await textOf(pages[opened], "#traffic-count")).startsWith("18 "),
    );
  }
  for (const each of pages) await each.close();
  await page.bringToFront();
});

test("the page finds the program again after it went", async () => {
  const args = (port) => ["page", process.env.SAMPLE, "--page-port", port, "--page-token", TOKEN];
  const first = await start(args("0"));
  const { port } = new URL(first.printed[0]);
  const other = await open(browser, first.printed[0]);
  await other.waitForSelector("#records [role=option]");
  await first.stop();
  const told = () => textOf(other, "#connection");
  await until("it says so", async () => (await told()).startsWith("The program is gone."));
  assert.notEqual((await rowTexts(other)).length, 0);
  const second = await start(args(port));
  await until("it is back", async () => (await told()) === "Connected");
  await until(
    "its records are there",
    async () => (await textOf(other, "#traffic-count")) === "18 records",
  );
  await second.stop();
  const third = await start(["page", process.env.SAMPLE, "--page-port", port]);
  await until("it tells of another address", async () =>
    (await told()).includes("another address"),
  );
  await third.stop();
  await other.close();
});

test("what is saved is what passed", async () => {
  const saved = await page.evaluate(async () =>
    (await (await fetch("save/session.txt")).text()).split("\n"),
  );
  const decoded = execFileSync(VARNO, ["decode", "-q", process.env.SAMPLE]).toString().split("\n");
  // decode tells at which byte of the stream, besides.
  assert.equal(saved.length, decoded.length);
  saved.forEach((line, at) => assert.ok(decoded[at].startsWith(line.split(" #: ")[0]), line));
  const scenario = await page.evaluate(async () => {
    const response = await fetch("save/session.varno");
    return [response.headers.get("content-disposition"), await response.text()];
  });
  assert.match(scenario[0], /attachment.*session\.varno/);
  const converted = execFileSync(VARNO, ["convert", process.env.SAMPLE, "-", "--to", "scenario"]);
  const steps = (text) => text.slice(text.indexOf("\noption "));
  assert.match(steps(converted.toString()), /expect Speed/);
  assert.equal(steps(scenario[1]), steps(converted.toString()));
});
