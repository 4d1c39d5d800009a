// Who can use the page of the flags screen.

import assert from "node:assert/strict";
import { readdirSync, readFileSync } from "node:fs";
import { request } from "node:http";
import test from "node:test";
import { shop, until } from "./shop.mjs";

/** The status and the body of an answer to a request as it is written here. */
const answerTo = (address, path, { method = "GET", headers = {}, body } = {}) =>
    new Promise((resolve, reject) => {
        const { hostname, port } = new URL(address);
        const asked = request({ hostname, port, path, method, headers, agent: false }, (answer) => {
            let text = "";
            answer.on("data", (data) => (text += data));
            answer.on("end", () => resolve({ status: answer.statusCode, text, headers: answer.headers }));
        });
        asked.on("error", reject);
        asked.end(body);
    });

test("it lets nobody else in", async (t) => {
    const { address, app } = await shop(t);
    const { port, pathname } = new URL(address);
    const json = { "Content-Type": "application/json" };
    const wish = (more = {}) => JSON.stringify({ tab: "t", ...more });
    const load = { method: "POST", headers: json, body: wish() };
    const reset = { method: "POST", headers: json, body: wish({ name: "gift.ribbon" }) };
    await app.do("override", { name: "gift.ribbon", value: "gold" });

    const page = await answerTo(address, pathname);
    assert.equal(page.status, 200);
    assert.match(page.headers["content-security-policy"], /default-src 'none'.*frame-ancestors 'none'/);
    assert.equal(page.headers["cache-control"], "no-store");
    assert.equal(page.headers["referrer-policy"], "no-referrer");
    assert.equal(page.headers["access-control-allow-origin"], undefined);
    assert.ok(pathname.length >= 34, "a token of 128 bits and more");

    const wrong = `/${"0".repeat(pathname.length - 2)}/`;
    const forbidden = [
        ["/"], ["/page.js"], ["/favicon.ico"], [pathname.slice(0, -2) + "/"], [wrong], [`${wrong}load`, load],
        [`${wrong}load`, { ...load, body: "x".repeat(70_000) }],
        [wrong, { headers: { "Content-Length": 9, Expect: "100-continue" } }],
        [wrong, { headers: { "X-Long": "x".repeat(20_000) } }],
        [pathname, { headers: ["Host", `127.0.0.1:${port}`, "Host", `rebound.example:${port}`] }],
        [`${wrong}nothing`], ["/open/"], ["/open/x"], [pathname.slice(0, -1)],
        [pathname, { headers: { Host: `rebound.example:${port}` } }],
        [pathname, { headers: { Host: "127.0.0.1" } }],
        [`${pathname}page.js`, { headers: { "Sec-Fetch-Site": "cross-site" } }],
        [`${pathname}reset`, { ...reset, headers: { ...json, Origin: "https://elsewhere.example" } }],
        [`${pathname}reset`, { ...reset, headers: { ...json, Origin: "null" } }],
        [`${pathname}reset`, { ...reset, headers: { ...json, "Sec-Fetch-Site": "same-site" } }],
        [`${pathname}reset`, { ...reset, headers: { "Content-Type": "text/plain", Origin: "http://127.0.0.1:1" } }],
    ];
    const answers = await Promise.all(forbidden.map(([path, how]) => answerTo(address, path, how)));
    answers.forEach(({ status, text, headers }, i) => {
        assert.equal(status, 403, forbidden[i].join());
        assert.equal(text, "Forbidden\n");
        assert.equal(headers["cache-control"], "no-store");
    });

    assert.equal((await answerTo(address, `${pathname}load`, load)).status, 200);
    const faulty = [
        [400, "load", { ...load, body: "{" }], [400, "load", { ...load, body: "[]" }], [400, "load", { ...load, body: "{}" }],
        [413, "load", { ...load, body: wish({ search: "x".repeat(70_000) }) }],
        [415, "load", { ...load, headers: { "Content-Type": "text/plain" } }],
        [409, "reset", { ...reset, body: JSON.stringify({ tab: "unknown" }) }],
        [400, "reset", { ...reset, body: wish({ name: "no.such" }) }],
        [400, "toggle", { ...load, body: wish({ name: "gift.ribbon", isOn: true }) }],
        [400, "toggle", { ...load, body: wish({ name: "gift.wrapping", isOn: "yes" }) }],
        [400, "choose", { ...load, body: wish({ name: "gift.ribbon", title: "of nobody" }) }],
        [400, "choose", { ...load, body: wish({ name: "gift.ribbon", title: "Cancel" }) }],
        [404, "nothing", load], [404, "nothing", {}], [404, "reset", {}], [405, "reset", { ...reset, method: "PUT" }],
    ];
    for (const [status, action, how] of faulty) {
        const answer = await answerTo(address, `${pathname}${action}`, how);
        assert.equal(answer.status, status, `${action} ${how.body}`);
        assert.equal(answer.headers["cache-control"], "no-store");
    }
    assert.equal((await app.do("peek", { name: "gift.ribbon" })).value, "gold", "nothing of it had an effect");

    const threads = () =>
        readdirSync(`/proc/${app.pid}/task`).map((id) => readFileSync(`/proc/${app.pid}/task/${id}/comm`, "utf8").trim());
    assert.ok(threads().includes("kiv-screen"));
    await app.do("dismissFlagsScreen");
    await assert.rejects(answerTo(address, pathname), /ECONNREFUSED/);
    await until(() => threads().includes("kiv-screen"), false);
    const { address: next } = await app.do("flagsScreen");
    assert.notEqual(new URL(next).pathname, pathname, "a token of its own");
});
