// Makes the manual's pictures of the page, in the folder PICTURES.

import { setTimeout as wait } from "node:timers/promises";
import { Phone, launch, open, start, textOf, until } from "./support.mjs";

const STORY = [
  "SystemTime timeInMillis=1500058800000 timeZoneId=Europe/Berlin",
  "KeepAlive",
  "DisplayTime isEnable=true",
  "DisplayTheme theme=2",
  "DisplaySpeed isSpeedInformationVisible=true",
  "GpsStatus isUnreliable=false",
  "DisplaySpeedWarning speed=50",
  "DisplaySpeedColor textColor=0xFFEAFFFD",
  "NotiTimeout timeout=60",
  "WifiStationMode ssid=Garage password=sesame securityType=2",
  "SpeedNotification message=48",
  "02 7D 7F 10 00 00 06 47 61 72 61 67 65 00 0B 6F 70 65 6E 03",
  "SpeedNotification message=57",
  'MusicNotification title="Blue in Green" message="Miles Davis"',
  'SocialNotification packageName=com.varno.email title=Anna message="Where are you?"',
  'InCommingCallNotification title=Ben message="is calling"',
];

const display = await start(["display", "tcp-listen://127.0.0.1:0", "--page", "--headless"], 2);
const browser = await launch();
const page = await open(browser, display.printed[0].split(" ")[1]);
const phone = await Phone.to(Number(display.printed[1].split(":").pop()));
await until("it is connected", async () => (await textOf(page, "#connection")) === "Connected");
for (const packet of STORY) {
  if (packet.startsWith("02 ")) phone.socket.write(Buffer.from(packet.replaceAll(" ", ""), "hex"));
  else phone.send(packet);
  await wait(200);
}
await wait(2500); // until the display has joined the network
const take = (name, options) =>
  page.screenshot({ path: `${process.env.PICTURES}/page-${name}.webp`, quality: 70, ...options });
const part = async (name, selector) =>
  (await page.$(selector)).screenshot({
    path: `${process.env.PICTURES}/page-${name}.webp`,
    quality: 70,
  });
await page.focus("#records");
await page.keyboard.press("End");
await page.waitForSelector("#frame .fields");
await take("overview");
await page.setViewport({ width: 1440, height: 1300 });
await page.$$eval("#records [role=option]", (rows) =>
  rows.find((row) => row.matches(".wrong")).click(),
);
await page.waitForSelector("#frame .fields tr.wrong");
await page.hover("#frame .fields tr.wrong");
await part("frame", ".frame");
await page.setViewport({ width: 1440, height: 1900 }); // so that all of the controls are in it
await page.select("#controls form select", "WifiStationStatusEventPacket");
await part("controls", ".controls");
await browser.close();
await display.stop();
