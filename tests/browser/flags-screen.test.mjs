// The page of the flags screen, for an application that `kiv shell` plays.

import assert from "node:assert/strict";
import { mkdirSync, readdirSync, readFileSync, writeFileSync } from "node:fs";
import { request } from "node:http";
import { join } from "node:path";
import test from "node:test";
import {
    accessibilityFaults, application, built, inEveryLook, inProject, openBrowser, openPage, start, temporaryFolder,
} from "./support.mjs";

const key = "5e0bd1f2c3a4b5d6e7f80912";
const hostile = `<img src=x onerror="document.title='taken'">`;

const experiment = (flag, condition) => ({
    _id: flag,
    name: flag,
    deploymentConfiguration: { condition },
    featureFlags: [{ name: flag }],
});

const document = (discount, currency) => ({
    application: key,
    experiments: [
        experiment("kiv.internal.pushUpdates", "true"),
        experiment("store.checkout.discount", discount),
        experiment("store.currency", `"${currency}"`),
    ],
    targetGroups: [],
});

const shopFlags = [
    ["store", [
        { name: "expressCheckout", type: "flag", default: false },
        { name: "newSearch", type: "flag", default: true },
        { name: "buttonColor", type: "string", default: "blue", variations: ["blue", "dark green", "red"] },
        { name: "paymentRetries", type: "int", default: 3, variations: [1, 3, 5] },
        { name: "currency", type: "string", default: "USD", variations: ["USD", "EUR", "GBP"], freeze: 1 },
    ]],
    ["store.checkout", [
        { name: "discount", type: "double", default: 0, variations: [0, 0.15, 0.25] },
        { name: "greeting", type: "string", default: "Hello" },
    ]],
    ["gift", [
        { name: "wrapping", type: "flag", default: false },
        { name: "ribbon", type: "string", default: "white", variations: ["white", "gold"] },
    ]],
    ["", [{ name: "maintenance", type: "flag", default: false }]],
];

/** A shop that is set up, and whose service serves a document that can be changed. */
async function shop(t, registered = shopFlags) {
    const folder = join(temporaryFolder(t), "flags");
    mkdirSync(folder);
    const publish = (content) => writeFileSync(join(folder, `${key}.flags.json`), JSON.stringify(content));
    publish(document("0.15", "EUR"));
    const { line } = await start(t, built("kiv"), ["serve", folder, "--port", "0", "--json", "--quiet"]);
    const { customSigningCertificate, networkConfigurations } = JSON.parse(line);
    const app = application(t);
    await app.do("host", { libraryDirectory: temporaryFolder(t), locale: "en_GB" });
    for (const [namespace, flags] of registered) {
        await app.do("register", { namespace, flags });
    }
    await app.do("setup", { key, options: { customSigningCertificate, networkConfigurations } });
    await app.do("wait", { event: "configurationFetched", timeout: 10 });
    assert.equal(app.lastEvent.errorDetails, null);
    const { address } = await app.do("flagsScreen");
    return { app, publish, address };
}

const row = (page, label) =>
    page.locator(".row").filter({ has: page.locator(".label", { hasText: new RegExp(`^${label}$`) }) });
const switchOf = (page, label) => page.getByRole("switch", { name: label, exact: true });
const valueOf = (page, label) => row(page, label).locator(".value");
const until = async (look, expected) => {
    const late = Date.now() + 10_000;
    let seen = await look();
    while (seen !== expected && Date.now() < late) {
        await new Promise((resolve) => setTimeout(resolve, 50));
        seen = await look();
    }
    assert.equal(seen, expected);
};
const shownNames = (page) => page.locator(".row:visible .label").evaluateAll((all) => all.map((each) => each.title));

test("a person groups, searches, switches, picks and resets", async (t) => {
    const { app, publish, address } = await shop(t);
    const read = async (name) => (await app.do("read", { name })).value;
    assert.equal(await read("store.currency"), "EUR"); // and is frozen now
    const browser = await openBrowser(t);
    const { page, faults } = await openPage(browser, address);

    await t.test("sections stand in the order of their first flags", async () => {
        await page.getByRole("heading", { level: 1, name: "KIV" }).waitFor();
        await page.getByRole("heading", { level: 2 }).first().waitFor();
        const titles = await page.getByRole("heading", { level: 2 }).allTextContents();
        assert.deepEqual(titles, ["gift", "Default Namespace", "store", "store.checkout"]);
        assert.equal(await valueOf(page, "Discount").textContent(), "0.15");
    });

    await t.test("the search looks at the second component", async () => {
        const field = page.getByRole("searchbox", { name: "Search flags" });
        for (const [text, names] of [
            ["CHECKOUT", ["store.checkout.discount", "store.checkout.greeting", "store.expressCheckout"]],
            ["discount", []],
            ["maint", ["maintenance"]],
            ["", null],
        ]) {
            await field.fill(text);
            await until(async () => (await shownNames(page)).length, names ? names.length : 10);
            if (names) {
                assert.deepEqual((await shownNames(page)).sort(), names);
            }
            const nothing = page.getByText("Nothing found. The search looks at the second part of a name.");
            assert.equal(await nothing.isVisible(), names?.length === 0, text);
        }
    });

    await t.test("a switch overrides, and its row is reset", async () => {
        await switchOf(page, "Express Checkout").focus();
        await page.keyboard.press("Space");
        await until(() => row(page, "Express Checkout").locator(".detail").textContent(),
            "Overriding original value: FALSE");
        assert.equal(await switchOf(page, "Express Checkout").getAttribute("aria-checked"), "true");
        assert.equal(await read("store.expressCheckout"), true);
        await row(page, "Express Checkout").hover();
        await page.getByRole("button", { name: "Reset Express Checkout" }).click();
        await until(() => switchOf(page, "Express Checkout").getAttribute("aria-checked"), "false");
        assert.equal(await row(page, "Express Checkout").locator(".detail").isVisible(), false);
        assert.equal(await read("store.expressCheckout"), false);
    });

    await t.test("two quick flips are two changes", async () => {
        const asked = [];
        const note = (request) => request.url().endsWith("/toggle") && asked.push(request.postDataJSON().isOn);
        page.on("request", note);
        const shown = await switchOf(page, "Express Checkout").evaluate((each) =>
            [1, 2].map(() => (each.click(), each.getAttribute("aria-checked"))));
        assert.deepEqual(shown, ["true", "false"]);
        await until(() => asked.join(), "true,false");
        page.off("request", note);
        await row(page, "Express Checkout").locator(".detail").waitFor();
        assert.equal(await switchOf(page, "Express Checkout").getAttribute("aria-checked"), "false");
        assert.equal(await read("store.expressCheckout"), false);
    });

    await t.test("a variation is stored as it is and shown capitalised", async () => {
        await valueOf(page, "Button Color").click();
        const dialog = page.getByRole("dialog", { name: "store.buttonColor" });
        assert.equal(await dialog.locator("p").textContent(), "Override the value with");
        assert.deepEqual(await dialog.getByRole("button").allTextContents(), ["blue", "dark green", "red", "Cancel"]);
        assert.deepEqual(await accessibilityFaults(page), []);
        await page.keyboard.press("Escape");
        assert.equal(await valueOf(page, "Button Color").evaluate((each) => each === document.activeElement), true);
        await page.keyboard.press("Enter");
        await dialog.waitFor();
        assert.deepEqual(await dialog.locator("[aria-current=true]").allTextContents(), ["blue"]);
        await page.keyboard.press("ArrowDown");
        await page.keyboard.press("Enter");
        await until(() => page.locator("#said").textContent(), "Button Color: Dark Green");
        assert.equal(await read("store.buttonColor"), "dark green");
        assert.equal(await row(page, "Button Color").locator(".detail").textContent(),
            "Overriding original value: blue");
    });

    await t.test("a push appears by itself, and not in a frozen flag", async () => {
        await valueOf(page, "Discount").click();
        publish(document("0.25", "GBP"));
        await until(() => page.locator("[aria-current=true]").textContent(), "0.25");
        await page.keyboard.press("Escape");
        assert.equal(await valueOf(page, "Discount").textContent(), "0.25");
        assert.equal(await valueOf(page, "Currency").textContent(), "Eur");
    });

    await t.test("two tabs search for themselves and show the same values", async () => {
        const other = await openPage(browser, address);
        await other.page.getByRole("searchbox").fill("newSearch");
        await until(async () => (await shownNames(other.page)).length, 1);
        await switchOf(other.page, "New Search").click();
        await until(() => switchOf(page, "New Search").getAttribute("aria-checked"), "false");
        assert.equal((await shownNames(page)).length, 10);
        assert.deepEqual(other.faults, []);
    });

    await t.test("it looks well and everybody can use it", async () => {
        await switchOf(page, "Express Checkout").click();
        await page.mouse.move(0, 0);
        await page.evaluate(() => document.activeElement.blur());
        await inEveryLook(page, "flags-screen", async (look) => {
            assert.deepEqual(await accessibilityFaults(page), [], look);
        });
    });

    await t.test("all is reset, and thaws", async () => {
        await page.getByRole("button", { name: "Reset All" }).click();
        await until(() => valueOf(page, "Button Color").textContent(), "Blue");
        await until(() => valueOf(page, "Currency").textContent(), "Gbp");
        assert.equal(await page.locator(".detail:visible").count(), 0);
        assert.equal(await read("store.newSearch"), true);
    });

    await t.test("it bears failures, and says that it has ended", async () => {
        assert.deepEqual(faults, []);
        const closed = page.getByRole("alert").filter({ hasText: "The application no longer shows this page" });
        const answer = (action, how, times) => page.route(`**/${action}`, how, { times });

        await answer("toggle", (route) => route.fulfill({ status: 400 }), 1);
        await switchOf(page, "Express Checkout").click();
        await page.getByText("That did not work.").waitFor();
        await until(() => switchOf(page, "Express Checkout").getAttribute("aria-checked"), "false");

        await answer("changes", (route) => route.abort(), 2);
        await page.getByText("No answer. Trying again…").waitFor();
        await app.do("override", { name: "gift.ribbon", value: "gold" });
        await until(() => valueOf(page, "Ribbon").textContent(), "Gold");
        assert.equal(await closed.isVisible(), false);

        await answer("changes", (route) => route.fulfill({ status: 409 }), 1);
        await answer("load", (route) => route.fulfill({ status: 403 }), 1);
        await closed.waitFor();
        await page.getByRole("button", { name: "Try again" }).click();
        await closed.waitFor({ state: "hidden" });
        assert.equal(await page.getByRole("searchbox").evaluate((each) => each === document.activeElement), true);
        await app.do("override", { name: "gift.ribbon", value: "white" });
        await until(() => valueOf(page, "Ribbon").textContent(), "White");

        process.kill(app.pid, "SIGSTOP");
        await valueOf(page, "Ribbon").click();
        await page.getByText("Waiting for the application…").waitFor();
        const search = page.getByRole("searchbox");
        await search.fill("nosuch");
        process.kill(app.pid, "SIGCONT");
        await page.getByText("Nothing found.").waitFor();
        assert.equal(await page.getByText("Waiting for the application…").isVisible(), false);
        assert.equal(await page.getByRole("dialog").isVisible(), false, "the choice comes too late");
        await search.fill("");
        await valueOf(page, "Ribbon").waitFor();

        await app.do("shutdown");
        await page.setViewportSize({ width: 390, height: 400 });
        await page.mouse.wheel(0, 2000);
        await closed.waitFor();
        assert.ok((await closed.boundingBox()).y >= 0, "stands in the window");
        assert.deepEqual(await accessibilityFaults(page), []);
        await page.screenshot({ path: inProject("build/screenshots/flags-screen-closed.png") });
    });
});

test("a finger swipes a row aside", async (t) => {
    const { address, app } = await shop(t);
    await app.do("override", { name: "gift.ribbon", value: "gold" });
    const look = { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true };
    const { page, faults } = await openPage(await openBrowser(t), address, look);
    await until(() => valueOf(page, "Ribbon").textContent(), "Gold");
    const reset = page.getByRole("button", { name: "Reset Ribbon" });
    assert.ok((await reset.boundingBox()).x >= 374, "is out of sight");
    const isAside = async () => (await reset.boundingBox()).x < 310;
    const swipe = () => row(page, "Ribbon").evaluate((each) => each.scrollTo(200, 0));
    await swipe();
    await until(isAside, true);
    await page.getByRole("heading", { level: 1 }).tap();
    await until(isAside, false);
    await swipe();
    await until(isAside, true);
    await reset.tap();
    await until(() => valueOf(page, "Ribbon").textContent(), "White");
    assert.deepEqual(await accessibilityFaults(page), []);
    assert.deepEqual(faults, []);
});

test("ten thousand flags, one of them hostile", async (t) => {
    const many = Array.from({ length: 10_000 }, (_, i) =>
        i % 2 ? { name: `flag${i}`, type: "flag", default: false } : { name: `text${i}`, type: "string", default: "a" });
    const nasty = { name: hostile, type: "string", default: hostile, variations: [hostile, "tame"] };
    const { address, app } = await shop(t, [["many", many], ["nasty", [nasty]]]);
    const browser = await openBrowser(t);
    const { page, faults } = await openPage(browser, address);
    await page.locator(".row").first().waitFor();
    for (const text of ["f", "fla", "flag", "flag12", "text", ""]) {
        await page.getByRole("searchbox").fill(text);
        const expected = many.filter(({ name }) => name.includes(text)).length + (text === "" ? 1 : 0);
        await page.locator("#said").getByText(new RegExp(`^${expected} flags?$`)).waitFor();
        const drawn = await page.locator(".row").count();
        assert.ok(drawn > 0 && drawn <= Math.min(expected, 200), `${drawn} rows are drawn for "${text}"`);
    }

    await page.evaluate(() => scrollTo(0, 1000));
    const behind = page.locator(".row .control").nth(5);
    await behind.focus();
    assert.ok((await behind.boundingBox()).y > (await page.locator("header").boundingBox()).height, "is in sight");

    await page.getByRole("searchbox").fill("<img");
    await until(async () => (await shownNames(page)).join(), `nasty.${hostile}`);
    await page.locator(".value").click();
    await page.getByRole("dialog").getByRole("button", { name: "<img" }).click();
    await page.locator(".detail").filter({ hasText: hostile }).waitFor();
    assert.equal(await page.title(), "KIV");
    assert.equal(await page.locator("main img, dialog img").count(), 0);
    assert.deepEqual(faults, []);
    assert.equal((await app.do("read", { name: `nasty.${hostile}` })).value, hostile);

    await page.route("**/rows", (route) => route.fulfill({ status: 500 }), { times: 1 });
    await page.getByRole("searchbox").fill("");
    await page.getByRole("region", { name: "many" }).waitFor();
    await page.evaluate(() => scrollTo(0, 100_000));
    await page.getByText("That did not work.").waitFor();
    await until(() => page.locator("#list > div").evaluateAll((chunks) => chunks
        .filter((each) => each.getBoundingClientRect().bottom > -1000 && each.getBoundingClientRect().top < 1800)
        .every((each) => each.querySelector(".row"))), true);
});

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
