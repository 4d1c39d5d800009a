// Overrides on the page of the flags screen, and what a person sees of names and values on small screens.

import assert from "node:assert/strict";
import test from "node:test";
import { shop, shownNames, shownValue, until } from "./shop.mjs";
import { accessibilityFaults, inEveryLook, inProject, openBrowser, openPage } from "./support.mjs";

const phone = { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true };

test("overrides are counted, shown alone, and reset in their rows", async (t) => {
    const { app, address } = await shop(t);
    await app.do("override", { name: "gift.ribbon", value: "gold" });
    await app.do("override", { name: "store.newSearch", value: "false" });
    await app.do("override", { name: "of.nobody", value: "1" });
    const { page, faults } = await openPage(await openBrowser(t), address, phone);
    const count = page.locator("#overrides");
    await until(() => count.textContent(), "3");
    assert.equal(await page.getByRole("button", { name: /^Reset (?!All)/ }).count(), 2, "only overridden rows have it");
    await page.getByRole("button", { name: "Overridden: 3" }).tap();
    await until(async () => (await shownNames(page)).join(), "gift.ribbon,store.newSearch");
    await page.getByText("1 more override is for a flag that this application has not registered.").waitFor();
    await inEveryLook(page, "flags-screen-overridden", async (look) => {
        assert.deepEqual(await accessibilityFaults(page), [], look);
        for (const each of await page.getByRole("button", { name: /^Reset (?!All)/ }).all()) {
            const { x, width } = await each.boundingBox();
            assert.ok(x + width <= page.viewportSize().width, `${look}: in sight`);
        }
    });
    await page.getByRole("button", { name: "Reset Ribbon" }).tap();
    await until(async () => (await shownNames(page)).join(), "store.newSearch");
    assert.equal(await count.textContent(), "2");
    await app.do("override", { name: "store.paymentRetries", value: "5" });
    await until(async () => (await shownNames(page)).join(), "store.newSearch,store.paymentRetries");
    assert.equal((await app.do("read", { name: "gift.ribbon" })).value, "white");
    assert.deepEqual(faults, []);
});

test("Reset All asks with the number, thaws, and can be undone for ten seconds, by keyboard alone", async (t) => {
    const { app, publish, address, document } = await shop(t);
    const read = async (name) => (await app.do("read", { name })).value;
    assert.equal(await read("store.currency"), "EUR"); // and is frozen now
    publish(document("0.15", "GBP"));
    await app.do("override", { name: "gift.ribbon", value: "gold" });
    await app.do("override", { name: "store.newSearch", value: "false" });
    const { page, faults } = await openPage(await openBrowser(t), address);
    await page.clock.install();
    await until(() => shownValue(page, "Ribbon"), "Gold");

    const sure = page.getByRole("dialog", { name: "Reset All?" });
    const resetAll = async (button) => {
        await page.getByRole("button", { name: "Reset All" }).focus();
        await page.keyboard.press("Enter");
        await sure.waitFor();
        await sure.getByRole("button", { name: button }).focus();
        await page.keyboard.press("Enter");
        await sure.waitFor({ state: "hidden" });
    };
    await resetAll("Cancel");
    assert.equal(await read("gift.ribbon"), "gold");

    await page.getByRole("button", { name: "Reset All" }).click();
    await page.getByText("2 overrides will be removed").waitFor();
    await inEveryLook(page, "flags-screen-reset-all", async (look) =>
        assert.deepEqual(await accessibilityFaults(page), [], look));
    await page.keyboard.press("Escape");
    await resetAll("Remove 2 overrides");
    await until(() => shownValue(page, "Ribbon"), "White");
    await until(() => shownValue(page, "Currency"), "Gbp"); // it has thawed
    assert.equal(await page.locator(".detail:visible").count(), 0);
    assert.equal(await read("store.newSearch"), true);
    assert.deepEqual(await accessibilityFaults(page), []);
    await app.do("override", { name: "store.newSearch", value: "true" });

    assert.equal(await page.evaluate(() => document.activeElement.id), "reset-all");
    await page.keyboard.press("Tab");
    await page.keyboard.press("Enter");
    await until(() => shownValue(page, "Ribbon"), "Gold");
    assert.equal(await page.locator("#undo").isVisible(), false);
    assert.equal(await read("store.newSearch"), true, "what was overridden meanwhile stays so");

    await resetAll("Remove 2 overrides");
    await page.locator("#undo").waitFor();
    await page.clock.fastForward(9_000);
    assert.equal(await page.locator("#undo").isVisible(), true);
    await page.clock.fastForward(1_000);
    await page.locator("#undo").waitFor({ state: "hidden" });
    await resetAll("Reset"); // there is nothing left to remove, and so nothing to undo
    assert.equal(await page.locator("#undo").isVisible(), false);
    assert.deepEqual(faults, []);
});

test("full names, raw values and the choice stay readable on a small screen", async (t) => {
    const long = "conversionHTTPServer2Go".repeat(24).slice(0, 534);
    const variations = ["a", "A", "b", "c", "d", "e"];
    const odd = [
        { name: "HTTPServer2Go", type: "flag", default: true },
        { name: "letter", type: "string", default: "a", variations },
        { name: long, type: "string", default: "b", variations },
    ];
    const { address, app } = await shop(t, [["store", odd], ["s".repeat(540), odd]]);
    const browser = await openBrowser(t);
    const { page, faults } = await openPage(browser, address, { viewport: { width: 320, height: 480 } });
    const shown = (name) => page.locator(`.row[data-name="${name}"]`);
    await shown("store.HTTPServer2Go").getByText("store.HTTPServer2Go", { exact: true }).waitFor();
    assert.equal(await shown("store.letter").locator(".value").innerText(), "A\na");
    await app.do("override", { name: "store.letter", value: "A" });
    await until(() => shown("store.letter").locator(".value").innerText(), "A");
    await shown("store.letter").locator(".value").click();
    await until(() => page.locator("[aria-current=true]").textContent(), "A");
    await page.keyboard.press("Escape");

    await shown(`store.${long}`).locator(".value").click();
    const dialog = page.getByRole("dialog");
    for (const name of ["a", "Cancel"]) {
        const { y, height } = await dialog.getByRole("button", { name, exact: true }).boundingBox();
        assert.ok(y >= 0 && y + height <= 480, `"${name}" at ${y}`);
    }
    assert.deepEqual(await accessibilityFaults(page), []);
    await page.screenshot({ path: inProject("build/screenshots/flags-screen-long-name.png") });
    await page.keyboard.press("Escape");

    await page.evaluate(() => scrollTo(0, document.body.scrollHeight));
    const heading = page.getByRole("heading", { level: 2 }).nth(1);
    await until(async () => (await heading.boundingBox()).y === 0 && (await heading.boundingBox()).height < 90, true);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), "not too wide");
    assert.deepEqual(faults, []);

    const plain = await browser.newContext({ javaScriptEnabled: false });
    const silent = await plain.newPage();
    await silent.goto(address);
    await silent.locator("noscript p").filter({ hasText: "This page needs JavaScript" }).waitFor();
});
