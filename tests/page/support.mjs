// What the tests of the page share: the command, a phone, a browser.

import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import net from "node:net";
import puppeteer from "puppeteer-core";

export const VARNO = process.env.VARNO;
export const TOKEN = "page-test";

const WAIT_MS = 20_000;

// Runs the command, until it has printed so many lines; all that it prints is read.
export async function start(args, lines = 1, stream = "stdout") {
  const stdio = ["pipe", "inherit", "inherit"];
  stdio[stream === "stdout" ? 1 : 2] = "pipe";
  const child = spawn(VARNO, args, { stdio });
  const printed = [];
  let rest = "";
  child[stream].on("data", (chunk) => {
    const parts = (rest + chunk).split("\n");
    rest = parts.pop();
    printed.push(...parts);
  });
  await until(`varno ${args.join(" ")} begins`, () => printed.length >= lines);
  return {
    child,
    printed,
    async stop() {
      if (child.exitCode !== null) return child.exitCode;
      child.kill("SIGTERM");
      await once(child, "exit");
      return child.exitCode;
    },
  };
}

// The frame of a packet, as bytes.
export function frameOf(...packets) {
  return execFileSync(VARNO, ["encode", "--raw", ...packets]);
}

// An end of a link.
export class Phone {
  received = Buffer.alloc(0);

  constructor(socket) {
    this.socket = socket;
    socket.on("data", (bytes) => {
      this.received = Buffer.concat([this.received, bytes]);
    });
    socket.on("error", () => {});
  }
  static async to(port) {
    const phone = new Phone(net.connect(port, "127.0.0.1"));
    await once(phone.socket, "connect");
    return phone;
  }
  send(...packets) {
    this.socket.write(frameOf(...packets));
  }
}

export async function until(what, isSo, waitMs = WAIT_MS) {
  for (const end = Date.now() + waitMs; Date.now() < end;) {
    if (await (async () => isSo())().catch(() => false)) return;
    await new Promise((done) => setTimeout(done, 50));
  }
  assert.fail(`never: ${what}`);
}

export async function launch() {
  return puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: ["--no-sandbox", "--disable-dev-shm-usage"],
  });
}

// A page at the address; what it writes on the console goes into `said`.
export async function open(browser, address, size = { width: 1440, height: 900 }) {
  const page = await browser.newPage();
  page.said = [];
  page.on("console", (message) => page.said.push(message.text()));
  page.on("pageerror", (error) => page.said.push(String(error)));
  await page.setViewport(size);
  await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: "dark" }]);
  await page.goto(address);
  return page;
}

export const textOf = (page, selector) => page.$eval(selector, (element) => element.textContent);

export const rowTexts = (page) =>
  page.$$eval("#records [role=option]", (rows) =>
    rows
      .map((row) => [Number(row.getAttribute("aria-posinset")), row.textContent])
      .sort((one, other) => one[0] - other[0])
      .map(([, text]) => text),
  );
