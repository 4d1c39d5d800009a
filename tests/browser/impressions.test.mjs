// The page of `kiv serve` with all flags of a key.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync, utimesSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";
import { eventually, hostile, impressions, key, postState, same, serve, upload } from "./service.mjs";
import {
    accessibilityFaults, built, inEveryLook, inProject, openBrowser, openPage, start, temporaryFolder,
} from "./support.mjs";

const otherKey = "0123456789abcdef01234567";

const experiment = (flag, condition) =>
    ({ name: flag, featureFlags: [{ name: flag }], deploymentConfiguration: { condition } });

/** The cards of the flags as they are shown: [{ name, about, total, counts: { value: count } }]. */
const shownFlags = (page) => () =>
    page.locator("#flags > li").evaluateAll((cards) =>
        cards.map((card) => ({
            name: card.querySelector("h3").textContent,
            about: card.querySelector(".about").textContent,
            total: card.querySelector(".total").textContent,
            counts: Object.fromEntries(
                [...card.querySelectorAll(".values li")].map((row) => [
                    row.querySelector(".value").textContent,
                    Number(row.querySelector(".count").textContent.replaceAll(",", "")),
                ]),
            ),
        })),
    );

/** What is shown as bars: { flag: { value: count } }. */
const shownCounts = (page) => async () =>
    Object.fromEntries((await shownFlags(page)()).map(({ name, counts }) => [name, counts])
        .filter(([, counts]) => Object.keys(counts).length > 0));

const shownNames = (page) => async () => (await shownFlags(page)()).map(({ name }) => name);

test("counts, states and hostile names appear as they come", async (t) => {
    const service = await serve(t, { [key]: {}, [otherKey]: {} });
    const browser = await openBrowser(t);
    const { page, faults } = await openPage(browser, `${service.url}/#${key}`);

    await page.getByText("None yet. They arrive").waitFor();
    await page.getByText("None yet. An application").waitFor();
    await inEveryLook(page, "impressions-empty", async (look) =>
        assert.deepEqual(await accessibilityFaults(page), [], look),
    );

    const noTypes = [["count", "20"], ["ratio", "0.5"], ["store.greeting", ""], ["flagLike", "true"]];
    await postState(service, [
        ["checkoutFlow", "classic", ["classic", "one-page"]],
        ["store.expressCheckout", "false", ["false", "true"]],
        [hostile, hostile],
        ...noTypes,
    ], [["orders", "int"], [hostile, "string"]]);
    await eventually(
        async () => Object.fromEntries((await shownFlags(page)()).map(({ name, about }) => [name, about])),
        same({
            [hostile]: `text · default ${hostile}`,
            checkoutFlow: "one of classic, one-page · default classic",
            count: "a number or text · default 20",
            flagLike: "text · default true",
            ratio: "a number or text · default 0.5",
            "store.expressCheckout": "on or off · default false",
            "store.greeting": "text · default (empty)",
        }),
    );
    assert.match(await page.getByRole("row", { name: /^orders/ }).innerText(), /int/);

    const counts = {
        [hostile]: { [hostile]: 2, "": 1 },
        checkoutFlow: { classic: 41, "one-page": 23 },
        "store.expressCheckout": { true: 23, false: 41 },
        "store.greeting": Object.fromEntries(Array.from({ length: 12 }, (_, i) => [`Bonjour, client ${10 + i}`, 30 - i])),
    };
    await upload(service, impressions(counts));
    await upload(service, impressions({ checkoutFlow: { classic: 1 } }));
    const greetings = Object.entries(counts["store.greeting"]).slice(0, 8);
    await eventually(shownCounts(page), same({
        [hostile]: { [hostile]: 2, "(empty)": 1 },
        checkoutFlow: { classic: 42, "one-page": 23 },
        "store.expressCheckout": { false: 41, true: 23 },
        "store.greeting": { ...Object.fromEntries(greetings), "other values": 22 + 21 + 20 + 19 },
    }));
    await inEveryLook(page, "impressions", async (look) => {
        assert.deepEqual(await accessibilityFaults(page), [], look);
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `${look}: too wide`);
    });

    await page.getByLabel("Key").selectOption(otherKey);
    await page.getByText("None yet. They arrive").waitFor();
    await upload(service, impressions({ "other.flag": { on: 3 } }), { ofKey: otherKey });
    await eventually(shownCounts(page), same({ "other.flag": { on: 3 } }));
    assert.notEqual(await page.title(), "taken");
    assert.deepEqual(faults, []);
});

test("flags are searched and sorted, and the totals are of all", async (t) => {
    const payload = { experiments: [experiment("b.second", "\"x\""), experiment("c.third", "\"x\"")] };
    const service = await serve(t, { [key]: payload });
    const many = Array.from({ length: 1_100 }, (_, i) => [`many.flag${String(i).padStart(4, "0")}`, { on: 1 }]);
    await upload(service, impressions({ "a.first": { on: 5 }, "b.second": { on: 7 }, ...Object.fromEntries(many) }));
    const { page, faults } = await openPage(await openBrowser(t), service.url);
    await eventually(async () => (await shownFlags(page)()).length, same(1000));
    assert.equal(await page.locator("#total").textContent(), "1,103 · 1,112 impressions");
    assert.equal(await page.locator("#found").textContent(), "1,103 flags; the first 1,000 are shown");
    assert.deepEqual((await shownNames(page)()).slice(0, 4), ["a.first", "b.second", "c.third", "many.flag0000"]);

    await page.getByLabel("Sort by").selectOption("count");
    await eventually(async () => (await shownNames(page)()).slice(0, 3), same(["b.second", "a.first", "many.flag0000"]));

    // Later, the third flag's condition changes.
    payload.experiments[1] = experiment("c.third", "\"y\"");
    const file = join(service.folder, `${key}.flags.json`);
    writeFileSync(file, JSON.stringify(payload));
    utimesSync(file, Date.now() / 1000 + 60, Date.now() / 1000 + 60);
    await page.getByLabel("Sort by").selectOption("change");
    await eventually(async () => (await shownNames(page)()).slice(0, 3), same(["c.third", "b.second", "a.first"]));

    await page.getByLabel("Search").fill("FLAG109");
    await page.getByLabel("Sort by").selectOption("name");
    await eventually(async () => (await shownNames(page)()).length, same(10));
    assert.equal(await page.locator("#found").textContent(), "10 of 1,103 flags found");
    assert.equal(await page.locator("#total").textContent(), "1,103 · 1,112 impressions");
    await page.getByLabel("Search").fill("nothing like it");
    await eventually(shownNames(page), same([]));
    assert.deepEqual(await accessibilityFaults(page), []);
    assert.deepEqual(faults, []);
});

test("the page comes back with its service, and says at once that it has ended", async (t) => {
    const service = await serve(t, { [key]: {} });
    const browser = await openBrowser(t);
    const { page } = await openPage(browser, service.url);
    await page.getByText("Live").waitFor();
    await upload(service, impressions({ flag: { on: 1 } }));
    await service.end();
    // Well under a second on a quiet machine.
    await page.getByText("does not answer").waitFor({ timeout: 10_000 });
    await start(t, built("kiv"), ["serve", service.folder, "--port", new URL(service.url).port, "--json", "--quiet"]);
    await page.getByText("Live").waitFor({ timeout: 10_000 });
    await upload(service, impressions({ flag: { on: 2 } }));
    await eventually(shownCounts(page), same({ flag: { on: 3 } }));
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
    await page.getByRole("link", { name: "store.expressCheckout" }).waitFor();
    const discounts = async () => (await shownCounts(page)())["store.discount"] ?? {};
    const before = await eventually(discounts, (counts) => counts["0.15"] > 0);

    writeFileSync(payloadFile, payload.replace("0.15, 0)", "0.25, 0)"));
    await eventually(discounts, (counts) => counts["0.25"] > 0 && counts["0.15"] >= before["0.15"]);
    await discount.filter({ hasText: "0.25" }).waitFor();
    await screen.page.getByRole("heading", { name: "store", exact: true }).waitFor();
    assert.deepEqual(screen.faults, []);
    await inEveryLook(page, "storefront-impressions", async (look) =>
        assert.deepEqual(await accessibilityFaults(page), [], look),
    );
    assert.deepEqual(faults, []);
});
