// The page of `kiv serve`, which shows what applications report.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";
import {
    accessibilityFaults, built, inEveryLook, inProject, openBrowser, openPage, start, temporaryFolder,
} from "./support.mjs";

const key = "5e0bd1f2c3a4b5d6e7f80912";
const otherKey = "0123456789abcdef01234567";
const hostile = `<img src=x onerror="document.title='taken'">`;

/** Starts a service. `payloads` are its payloads by key. */
async function serve(t, payloads) {
    const folder = join(temporaryFolder(t), "flags");
    mkdirSync(folder);
    for (const [each, payload] of Object.entries(payloads)) {
        writeFileSync(join(folder, `${each}.flags.json`), JSON.stringify(payload));
    }
    const { line, end } = await start(t, built("kiv"), ["serve", folder, "--port", "0", "--json", "--quiet"]);
    return { folder, end, ...JSON.parse(line) };
}

async function post(url, body) {
    const answer = await fetch(url, {
        method: "POST",
        headers: { "Content-Type": "application/json" },
        body: JSON.stringify(body),
    });
    assert.equal(answer.status, 200);
}

/** Uploads impressions as an application would. `counts` is { flag: { value: count } }. */
async function postImpressions(service, counts, ofKey = key) {
    const time = 1_700_000_000.25;
    const events = Object.entries(counts).flatMap(([flag, values]) =>
        Object.entries(values).flatMap(([value, count]) =>
            Array.from({ length: count }, () => ({ distinctId: "d", flag, time, type: "IMPRESSION", value })),
        ),
    );
    const upload = { analyticsVersion: "1.0.0", sdkVersion: "5.0.16", time: time * 1000, platform: "iOS" };
    const url = `${service.networkConfigurations.analyticsEndpoint}/impression/${ofKey}`;
    await post(url, { ...upload, corvaneKey: ofKey, events });
}

async function postState(service) {
    const stateMd5 = "0123456789abcdef0123456789abcdef";
    const flag = (name, defaultValue, options = []) => ({ name, defaultValue, options });
    const property = (name, type) => ({ name, type, externalType: "String" });
    await post(`${service.networkConfigurations.sendStateApiEndpoint}/${key}/${stateMd5}`, {
        stateMd5,
        app_key: key,
        feature_flags: [
            flag("checkoutFlow", "classic", ["classic", "one-page"]),
            flag("itemsPerPage", "20", ["10", "20", "40"]),
            flag("store.buttonColor", "blue", ["blue", "green", "red"]),
            flag("store.expressCheckout", "false", ["false", "true"]),
            flag("store.greeting", ""),
            flag(hostile, hostile),
        ],
        custom_properties: [property("appVersion", "semver"), property("orders", "int"), property(hostile, "string")],
        platform: "iOS",
    });
}

/** What the page shows as bars: { flag: { value: count } }. */
const shownCounts = (page) =>
    page.locator("#impressions > li").evaluateAll((cards) =>
        Object.fromEntries(
            cards.map((card) => [
                card.querySelector("h3").textContent,
                Object.fromEntries(
                    [...card.querySelectorAll(".values li")].map((row) => [
                        row.querySelector(".value").textContent,
                        Number(row.querySelector(".count").textContent.replaceAll(",", "")),
                    ]),
                ),
            ]),
        ),
    );

/** Repeats `look(page)` until `isRight` accepts its result, which is returned. */
async function eventually(page, look, isRight) {
    const until = Date.now() + 20_000;
    for (;;) {
        const shown = await look(page);
        if (isRight(shown)) {
            return shown;
        }
        assert.ok(Date.now() < until, `shown at last: ${JSON.stringify(shown)}`);
        await page.waitForTimeout(20);
    }
}

const sameCounts = (expected) => (shown) => JSON.stringify(shown) === JSON.stringify(expected);

test("counts, states and hostile names appear as they come", async (t) => {
    const service = await serve(t, { [key]: {}, [otherKey]: {} });
    const browser = await openBrowser(t);
    const { page, faults } = await openPage(browser, `${service.url}/#${key}`);

    await page.getByText("None yet. They arrive").waitFor();
    await page.getByText("None yet. An application").waitFor();
    await inEveryLook(page, "impressions-empty", async (look) =>
        assert.deepEqual(await accessibilityFaults(page), [], look),
    );

    await postState(service);
    await page.getByRole("table", { name: /^Flags/ }).getByText("store.expressCheckout").waitFor();
    assert.match(await page.getByRole("row", { name: /^store.expressCheckout/ }).innerText(), /on or off\s+false/);
    assert.match(await page.getByRole("row", { name: /^orders/ }).innerText(), /int/);
    assert.match(await page.locator("#flags tr", { hasText: "onerror" }).innerText(), /<img src=x/);

    const counts = {
        [hostile]: { [hostile]: 2, "": 1 },
        checkoutFlow: { classic: 41, "one-page": 23 },
        itemsPerPage: { 40: 57, 10: 7 },
        "store.buttonColor": { green: 35, red: 29 },
        "store.expressCheckout": { true: 23, false: 41 },
        "store.greeting": Object.fromEntries(Array.from({ length: 12 }, (_, i) => [`Bonjour, client ${10 + i}`, 30 - i])),
    };
    await postImpressions(service, counts);
    await postImpressions(service, { checkoutFlow: { classic: 1 } });
    const greetings = Object.entries(counts["store.greeting"]).slice(0, 8);
    const expected = {
        [hostile]: { [hostile]: 2, "(empty)": 1 },
        checkoutFlow: { classic: 42, "one-page": 23 },
        itemsPerPage: { 40: 57, 10: 7 },
        "store.buttonColor": { green: 35, red: 29 },
        "store.expressCheckout": { false: 41, true: 23 },
        "store.greeting": { ...Object.fromEntries(greetings), "other values": 22 + 21 + 20 + 19 },
    };
    await eventually(page, shownCounts, sameCounts(expected));
    await inEveryLook(page, "impressions", async (look) => {
        assert.deepEqual(await accessibilityFaults(page), [], look);
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `${look}: too wide`);
    });

    await page.getByLabel("Key").selectOption(otherKey);
    await page.getByText("None yet. They arrive").waitFor();
    await postImpressions(service, { "other.flag": { on: 3 } }, otherKey);
    await eventually(page, shownCounts, sameCounts({ "other.flag": { on: 3 } }));
    assert.notEqual(await page.title(), "taken");
    assert.deepEqual(faults, []);
});

test("the page comes back with its service", async (t) => {
    const service = await serve(t, { [key]: {} });
    const browser = await openBrowser(t);
    const { page } = await openPage(browser, service.url);
    await page.getByText("Live").waitFor();
    await postImpressions(service, { flag: { on: 1 } });
    await service.end();
    await page.getByText("does not answer").waitFor();
    await start(t, built("kiv"), ["serve", service.folder, "--port", new URL(service.url).port, "--json", "--quiet"]);
    await page.getByText("Live").waitFor();
    await postImpressions(service, { flag: { on: 2 } });
    await eventually(page, shownCounts, sameCounts({ flag: { on: 3 } }));
});

// The next test runs the shop of examples/storefront.

test("counts move, and the flags screen follows, while the storefront reads flags", async (t) => {
    const payload = readFileSync(inProject("examples/storefront/storefront.flags.json"), "utf8");
    const service = await serve(t, { [key]: JSON.parse(payload) });
    const work = temporaryFolder(t);
    const data = join(service.folder, ".kiv");
    const shipped = join(work, "shipped.json");
    const payloadFile = join(service.folder, `${key}.flags.json`);
    execFileSync(built("kiv"), [
        "config", "sign", payloadFile, "--signing-key", join(data, "signing.key.pem"), "--out", shipped,
        "--date", "2026-01-01T00:00:00.000Z",
    ]);
    const shop = ["live", service.url, shipped, join(data, "signing.certificate.txt"), join(work, "library")];
    execFileSync(built("storefront"), shop);

    const browser = await openBrowser(t);
    const { page, faults } = await openPage(browser, service.url);
    const { line } = await start(t, built("storefront"), [...shop, payloadFile, "stay"], {
        isReady: (said) => said.includes("override: http"),
    });
    const screen = await openPage(browser, /http\S+/.exec(line)[0]);
    const discount = screen.page.locator(".row", { hasText: "Discount" }).locator(".value");
    await discount.filter({ hasText: "0.15" }).waitFor();
    await page.getByRole("row", { name: /^store.expressCheckout/ }).waitFor();
    const discounts = async () => (await shownCounts(page))["store.discount"] ?? {};
    const before = await eventually(page, discounts, (counts) => counts["0.15"] > 0);

    writeFileSync(payloadFile, payload.replace("0.15, 0)", "0.25, 0)"));
    await eventually(page, discounts, (counts) => counts["0.25"] > 0 && counts["0.15"] >= before["0.15"]);
    await discount.filter({ hasText: "0.25" }).waitFor();
    await screen.page.getByRole("heading", { name: "store", exact: true }).waitFor();
    assert.deepEqual(screen.faults, []);
    await inEveryLook(page, "storefront-impressions", async (look) =>
        assert.deepEqual(await accessibilityFaults(page), [], look),
    );
    assert.deepEqual(faults, []);
});
