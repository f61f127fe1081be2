// What is tried against the page by those who are not to see it, and by those who overdo it.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import http from "node:http";
import net from "node:net";
import { setTimeout as wait } from "node:timers/promises";
import { after, before, test } from "node:test";
import { start, until } from "./support.mjs";

let program;
let port;
let root;
let origin;

before(async () => {
  program = await start(["page", process.env.SAMPLE]);
  const address = new URL(program.printed[0]);
  port = Number(address.port);
  root = address.pathname;
  origin = address.origin;
  assert.match(root, /^\/[0-9a-f]{32}\/$/);
});
after(async () => assert.equal(await program.stop(), 0));

// Sends a request; tells its status, and its body as text.
function ask(path, { method = "GET", headers = {}, body } = {}) {
  return new Promise((resolve, reject) => {
    const all = { Host: new URL(origin).host, ...headers };
    const request = http.request({ port, path, method, headers: all, agent: false }, (response) => {
      let text = "";
      response.on("data", (chunk) => (text += chunk));
      response.on("end", () =>
        resolve({ status: response.statusCode, headers: response.headers, text }),
      );
      response.on("error", reject);
    });
    request.on("error", reject);
    request.end(body);
  });
}

// Sends bytes as they are and tells what comes back until the other side hangs up.
function raw(text) {
  return new Promise((resolve) => {
    let answer = "";
    const socket = net.connect(port, "127.0.0.1", () => socket.write(text));
    socket.on("data", (chunk) => (answer += chunk));
    socket.on("error", () => {});
    socket.on("close", () => resolve(answer));
  });
}

const json = { "Content-Type": "application/json" };
const post = (headers, body = '{"do":"open"}') => ({ method: "POST", headers, body });

test("whoever was not given the address is kept out", async () => {
  const rows = [
    ["the page", root, {}, 200],
    ["by another name of this machine", root, { headers: { Host: `localhost:${port}` } }, 200],
    ["through a forwarded port", root, { headers: { Host: "127.0.0.1:9" } }, 200],
    ["a forged host", root, { headers: { Host: `rebound.example:${port}` } }, 421],
    ["a host that begins like an address", root, { headers: { Host: "127.0.0.1.example" } }, 421],
    ["no token", "/", {}, 403],
    ["a wrong token", `/${"0".repeat(32)}/`, {}, 403],
    ["a token that is cut off", root.slice(0, -2), {}, 403],
    ["out of the folder", `${root}../index.html`, {}, 404],
    ["another site's script", `${root}events`, { headers: { Origin: "http://evil.example" } }, 403],
    ["an unknown method", root, { method: "DELETE" }, 405],
    ["a command", `${root}command`, post({ ...json, Origin: origin }), 200],
    [
      "another site's command",
      `${root}command`,
      post({ ...json, Origin: "http://evil.example" }),
      403,
    ],
    ["a sandbox's command", `${root}command`, post({ ...json, Origin: "null" }), 403],
    [
      "a command by a link",
      `${root}command`,
      post({ ...json, "Sec-Fetch-Site": "cross-site" }),
      403,
    ],
    ["a form's command", `${root}command`, post({ "Content-Type": "text/plain" }), 415],
    ["a command without a token", "/command", post(json), 403],
    ["a command that is none", `${root}command`, post(json, "[["), 200],
    ["an unknown record", `${root}frame/18446744073709551615`, {}, 404],
  ];
  for (const [what, path, options, status] of rows) {
    const answer = await ask(path, options);
    assert.equal(answer.status, status, `${what}: ${answer.text}`);
    assert.match(answer.headers["content-security-policy"] ?? "", /default-src 'none'/, what);
    assert.doesNotMatch(answer.headers["content-security-policy"], /unsafe/);
  }
  const twice = await raw(`GET ${root} HTTP/1.1\r\nHost: 127.0.0.1\r\nHost: evil.example\r\n\r\n`);
  assert.match(twice, /^HTTP\/1.1 421 /);
});

test("a body without end is refused, and costs no memory", async () => {
  const memory = () =>
    Number(/VmHWM:\s+(\d+)/.exec(readFileSync(`/proc/${program.child.pid}/status`, "utf8"))[1]);
  const usual = memory();
  const huge = Buffer.alloc(100_000_000, "x");
  const answers = await Promise.all([
    raw(
      `POST ${root}command HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\nContent-Length: ${huge.length}\r\n\r\n${huge.toString("latin1", 0, 1000)}`,
    ),
    raw(
      `POST ${root}command HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n5F5E100\r\n${"x".repeat(1000)}`,
    ),
    raw(`GET /${"x".repeat(1_000_000)} HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n`),
    raw(
      `GET ${root} HTTP/1.1\r\nHost: 127.0.0.1\r\nRange: bytes=${"0-0,".repeat(20_000)}0-0\r\n\r\n`,
    ),
    raw(`GET ${root} HTTP/1.1\r\n${"X-Header: y\r\n".repeat(50_000)}\r\n`),
  ]);
  assert.match(answers[0], /^HTTP\/1.1 413 /);
  assert.match(answers[1], /^HTTP\/1.1 411 /);
  const whole = await ask(
    `${root}command`,
    post({ ...json, "Content-Length": huge.length }, huge),
  ).catch((error) => error);
  // The answer may be lost as the peer still sends.
  assert.ok(whole.status === 413 || ["ECONNRESET", "EPIPE"].includes(whole.code), String(whole));
  assert.ok(memory() - usual < 30_000, `${memory() - usual} KiB more`);
  assert.equal((await ask(root)).status, 200);
});

test("a thousand connections leave room for those who look on", async () => {
  const viewer = await new Promise((resolve) =>
    http.get({ port, path: `${root}events`, agent: false }, resolve),
  );
  let seen = "";
  viewer.on("data", (chunk) => (seen += chunk));
  await until("the viewer has the records", () => seen.includes("event: records"));
  const sockets = [];
  for (let count = 0; count < 1000; ++count) {
    const socket = net.connect(port, "127.0.0.1");
    socket.on("error", () => {});
    sockets.push(socket);
  }
  let answer = "";
  sockets[999].on("data", (chunk) => (answer += chunk));
  await until("one too many is told so", () => answer.startsWith("HTTP/1.1 503 "));
  const heard = seen.length;
  await until("the viewer still hears", () => seen.length > heard);
  for (const socket of sockets) socket.destroy();
  await until(
    "there is room again",
    async () => (await ask(root).catch(() => ({}))).status === 200,
  );
  viewer.destroy();
});

test("more viewers than may be are told so, and one that leaves makes room", async () => {
  const viewers = [];
  const hasRoom = async () => (await ask(`${root}hello`)).status === 200;
  await until("those of before are gone", async () => {
    await wait(2500); // the program notices when it writes
    return hasRoom();
  });
  for (let count = 0; count < 8; ++count) {
    viewers.push(
      await new Promise((resolve) =>
        http.get({ port, path: `${root}events`, agent: false }, (response) => {
          response.resume();
          resolve(response);
        }),
      ),
    );
    assert.equal(viewers[count].statusCode, 200);
  }
  const refused = await ask(`${root}events`);
  assert.equal(refused.status, 503);
  assert.match(JSON.parse(refused.text).error, /^As many as may look on do: 8\./);
  viewers[0].destroy();
  await until("there is room", hasRoom);
  for (const viewer of viewers) viewer.destroy();
});
