// A simulated display with a phone at it, and a tap, looked at and worked with in a browser.

import assert from "node:assert/strict";
import { once } from "node:events";
import net from "node:net";
import { after, before, test } from "node:test";
import { Phone, TOKEN, frameOf, launch, open, rowTexts, start, textOf, until } from "./support.mjs";

let browser;
let display;
let tap;
let page;
let phone;

const addressIn = (line, word) => line.slice(line.indexOf(word) + word.length).split(" ")[0];
const portOf = (address) => Number(address.split(":").pop());

before(async () => {
  browser = await launch();
  display = await start(
    ["display", "tcp-listen://127.0.0.1:0", "--page", "--page-token", TOKEN, "--headless"],
    2,
  );
  page = await open(browser, addressIn(display.printed[0], "page "));
  phone = await Phone.to(portOf(addressIn(display.printed[1], "ready ")));
});
after(async () => {
  await browser?.close();
  await tap?.stop();
  await display?.stop();
});

const seen = () =>
  page.$eval("#windshield .picture", (picture) => picture.getAttribute("aria-label"));
const result = () => textOf(page, "#controls .result");
const linkText = (at) => textOf(at, "#links");
const has = async (pattern) => (await rowTexts(page)).some((text) => pattern.test(text));

test("the driver sees what the phone sends", async () => {
  phone.send(
    "SystemTime timeInMillis=1500022800000 timeZoneId=Europe/Berlin",
    "DisplayTime isEnable=true",
    "DisplaySpeed isSpeedInformationVisible=true",
    "SpeedNotification message=57",
    "DisplaySpeedWarning speed=50",
    "NotiTimeout timeout=2",
    'SocialNotification title=Anna message="Where are you?"',
  );
  await until("all is drawn", async () =>
    /^Speed 57 km\/h, too fast, Time 11:00, Message Anna: Where are you\?/.test(await seen()),
  );
  assert.match(await textOf(page, ".changes"), /speed none → 57Speed #/);
  assert.match(await textOf(page, "#links"), /phone: up/);
  await until("the message times out", async () => !(await seen()).includes("Anna"));
  assert.match(await textOf(page, ".changes li"), /message gone: Anna: Where are you\?time/);
});

test("the newest messages are on the windshield, and no text leaves its card", async () => {
  const titles = ["First", "Second", "W".repeat(40), "👩‍👩‍👧‍👦".repeat(12)];
  phone.send(
    "InCommingCallNotification title=Ben",
    ...titles.map((title) => `SocialNotification title=${title} message="${"M".repeat(60)}"`),
  );
  const cards = () =>
    page.$$eval("#windshield .card", (found) =>
      found.map((card) => {
        const right = card.querySelector(".plate").getBoundingClientRect().right;
        const texts = [...card.querySelectorAll("text")];
        return [
          texts[0].textContent,
          texts.every((text) => text.getBoundingClientRect().right <= right),
        ];
      }),
    );
  await until("all came", async () => (await seen()).includes(titles[3]));
  const drawn = await cards();
  assert.deepEqual(
    drawn.map(([, fits]) => fits),
    [true, true, true],
  );
  assert.match(drawn.map(([title]) => title).join(" "), /^Ben W+… (👩‍👩‍👧‍👦)+…?$/u);
  assert.equal(await textOf(page, "#windshield .more"), "2 earlier messages");
});

test("a packet is made in a form and sent", async () => {
  const form = "#controls form";
  await page.select(`${form} select`, "WifiStationStatusEventPacket");
  const [eventType, , address] = await page.$$(`${form} .fields-row:nth-of-type(2) input`);
  await eventType.click({ count: 3 });
  await eventType.type("99999999999");
  assert.equal(await page.$eval(form, (element) => element.checkValidity()), false);
  await eventType.click({ count: 3 });
  await eventType.type("1");
  await address.type('10.0.0.7 "x"');
  await page.click(`${form} button.first`);
  await until("it is sent", async () => (await result()) === "Sent.");
  const frame = frameOf('WifiStationStatus eventType=1 ipAddress="10.0.0.7 \\"x\\""');
  await until("the phone has it", () => phone.received.includes(frame));
  await until("it is listed", () => has(/WifiStationStatusEvent.*10\.0\.0\.7/));
  await page.$eval(`${form} .line`, (line) => (line.value = "WifiStatoinStatus"));
  await page.click(`${form} button.first`);
  await until("a mistake is told", async () => /nearest: WifiStationStatus/.test(await result()));
});

test("a recorded packet is sent again, and changed", async () => {
  const already = phone.received.length;
  await page.$$eval("#records [role=option]", (rows) =>
    rows.find((row) => /10\.0\.0\.7/.test(row.textContent)).click(),
  );
  await page.waitForSelector("#frame-tools button:not([hidden])");
  await page.click("#frame-tools button");
  await until("it is sent again", () => phone.received.length > already);
  await page.click("#frame-tools button:last-child");
  assert.match(
    await page.$eval("#controls form .line", (line) => line.value),
    /^WifiStationStatusEventPacket eventType=1 ipAddress="10\.0\.0\.7 \\"x\\""$/,
  );
});

test("a fault is put in, seen, and taken out", async () => {
  const faults = "#controls section:nth-of-type(2)";
  await page.select(`${faults} select`, "corrupt");
  await page.select(`${faults} label:nth-of-type(2) select`, "<");
  await page.$eval(`${faults} input`, (input) => (input.value = "byte=3 bit=7 count=1"));
  await page.click(`${faults} button.first`);
  await until("it is in", async () => /^< corrupt/.test(await textOf(page, ".fault-list")));
  await page.click("#frame-tools button");
  await until("the altered frame is listed as wrong", async () => {
    await page.evaluate(() => document.querySelector("#traffic .end:not([hidden])")?.click());
    return has(/put in on purpose|corrupt/);
  });
  await page.click(`${faults} button:not(.first)`);
  await until("it is out", async () => /^none/.test(await textOf(page, ".fault-list")));
});

test("the link is hung up, and comes back", async () => {
  await page.click("[data-do=hangUp]");
  await until("it is down", async () => /phone: down/.test(await textOf(page, "#links")));
  await until("the phone sees it", () => phone.socket.readableEnded || phone.socket.destroyed);
  await page.click("[data-do=open]");
  await until("it waits", async () => /phone: waiting/.test(await textOf(page, "#links")));
  assert.deepEqual(page.said, []);
});

test("a tap sends both ways, disturbs, hangs up and comes back", async () => {
  const displays = [];
  const server = net.createServer((socket) => displays.push(new Phone(socket)));
  await once(server.listen(0, "127.0.0.1"), "listening");
  tap = await start(
    ["tap", "tcp-listen://127.0.0.1:0", `tcp://127.0.0.1:${server.address().port}`].concat(
      "--page",
      "--page-token",
      TOKEN,
      "--quiet",
    ),
    2,
    "stderr",
  );
  const tapPage = await open(browser, addressIn(tap.printed.join(" "), "page "));
  const phones = [await Phone.to(portOf(addressIn(tap.printed.join(" "), "ready ")))];
  const areUp = (count) => async () =>
    displays.length === count && /phone side: up.*display side: up/.test(await linkText(tapPage));
  await until("both are up", areUp(1));

  const send = async (line, direction) => {
    const form = "#controls form";
    await tapPage.select(`${form} label:nth-of-type(2) select`, direction);
    await tapPage.$eval(`${form} .line`, (input, text) => (input.value = text), line);
    const answered = tapPage.waitForResponse((each) => each.request().method() === "POST");
    await tapPage.click(`${form} button.first`);
    await answered;
  };
  const frame = frameOf("MusicNotification title=Blue");
  await send("MusicNotification title=Blue", ">");
  await until("the display has it", () => displays[0].received.equals(frame));
  await until("the driver sees it", async () =>
    /Music Blue/.test(await tapPage.$eval("#windshield .picture", (p) => p.ariaLabel)),
  );
  await send("BluetoothStatus statusType=3", "<");
  await until("the phone has it", () =>
    phones[0].received.equals(frameOf("BluetoothStatus statusType=3")),
  );
  await until("it is told who sent it", async () =>
    (await rowTexts(tapPage)).some((text) => /BluetoothStatus.*not from the display/.test(text)),
  );

  phones[0].socket.write(frame.subarray(0, 5));
  await until(
    "the tap has the beginning",
    async () => displays[0].received.length === frame.length + 5,
  );
  await send("KeepAlive", ">");
  assert.equal(displays[0].received.length, frame.length + 5);
  phones[0].socket.write(frame.subarray(5));
  const all = Buffer.concat([frame, frame, frameOf("KeepAlive")]);
  await until("no frame is cut in two", () => displays[0].received.equals(all));

  const faults = "#controls section:nth-of-type(2)";
  await tapPage.select(`${faults} select`, "drop");
  await tapPage.select(`${faults} label:nth-of-type(2) select`, ">");
  await tapPage.$eval(`${faults} input`, (input) => (input.value = "count=1"));
  await tapPage.click(`${faults} button.first`);
  await until("the fault is in", async () => /> drop/.test(await textOf(tapPage, ".fault-list")));
  await send("KeepAlive", ">");
  await until("it acted", async () => /acted on 1/.test(await textOf(tapPage, ".fault-list")));

  await tapPage.click("[data-do=hangUp]");
  await until("both see it", () =>
    [phones[0], displays[0]].every(({ socket }) => socket.readableEnded || socket.destroyed),
  );
  await send("KeepAlive", ">");
  await until("it cannot be sent", async () =>
    /The display side is not up/.test(await textOf(tapPage, "#controls .result")),
  );
  await tapPage.click("[data-do=open]");
  await until("it listens", async () => /phone side: listening/.test(await linkText(tapPage)));
  const [, port] = /127\.0\.0\.1:(\d+)/.exec(await linkText(tapPage)); // any, and so a new one
  phones.push(await Phone.to(Number(port)));
  await until("both are up again", areUp(2));
  phones[1].send("KeepAlive");
  await until("bytes pass", () => displays[1].received.equals(frameOf("KeepAlive")));
  assert.deepEqual(displays[0].received, all);
  assert.deepEqual(tapPage.said, []);
  server.close();
});
