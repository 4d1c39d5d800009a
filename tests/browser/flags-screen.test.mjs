// The page of the flags screen, for an application that `kiv shell` plays.

import assert from "node:assert/strict";
import test from "node:test";
import { document, hostile, row, shop, shownNames, shownValue, switchOf, until, valueOf } from "./shop.mjs";
import { accessibilityFaults, inEveryLook, inProject, openBrowser, openPage } from "./support.mjs";

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
        assert.equal(await shownValue(page, "Discount"), "0.15");
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
            const nothing = page.getByText("Nothing found between the first and second dot: store.CHECKOUT.discount.");
            assert.equal(await nothing.isVisible(), names?.length === 0, text);
        }
    });

    await t.test("one tap searches whole names", async () => {
        const field = page.getByRole("searchbox", { description: /between the first and second dot: store.CHECKOUT/ });
        await field.fill("OUT.DISC");
        await page.locator("#empty").getByRole("button", { name: "Search whole names" }).click();
        await until(async () => (await shownNames(page)).join(), "store.checkout.discount");
        await page.getByRole("searchbox", { description: "Searches whole names" }).fill("");
        await until(async () => (await shownNames(page)).length, 10);
        await page.getByRole("button", { name: "Whole names", pressed: true }).click();
        await page.getByRole("button", { name: "Whole names", pressed: false }).waitFor();
    });

    await t.test("a switch overrides, and its row is reset", async () => {
        await switchOf(page, "Express Checkout").focus();
        await page.keyboard.press("Space");
        await until(() => row(page, "Express Checkout").locator(".detail").textContent(),
            "Overriding original value: FALSE");
        assert.equal(await switchOf(page, "Express Checkout").getAttribute("aria-checked"), "true");
        assert.equal(await read("store.expressCheckout"), true);
        await page.keyboard.press("Tab");
        assert.equal(await page.getByRole("button", { name: "Reset Express Checkout" })
            .evaluate((each) => each === document.activeElement), true);
        await page.keyboard.press("Enter");
        await until(() => switchOf(page, "Express Checkout").getAttribute("aria-checked"), "false");
        assert.equal(await row(page, "Express Checkout").locator(".detail").isVisible(), false);
        assert.equal(await switchOf(page, "Express Checkout").evaluate((each) => each === document.activeElement), true,
            "the focus stays in the row");
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
        assert.equal(await shownValue(page, "Discount"), "0.25");
        assert.equal(await shownValue(page, "Currency"), "Eur");
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
        await page.evaluate(() => (document.activeElement.blur(), scrollTo(0, 0)));
        await inEveryLook(page, "flags-screen", async (look) => {
            assert.deepEqual(await accessibilityFaults(page), [], look);
        });
    });

    await t.test("it bears failures, and says that it has ended", async () => {
        assert.deepEqual(faults, []);
        const closed = page.getByRole("alert").filter({ hasText: "The application no longer shows this page" });
        const answer = (action, how, times) => page.route(`**/${action}`, how, { times });

        await answer("toggle", (route) => route.fulfill({ status: 400 }), 1);
        await switchOf(page, "Express Checkout").click();
        await page.getByText("That did not work.").waitFor();
        await until(() => switchOf(page, "Express Checkout").getAttribute("aria-checked"), "true");

        await answer("changes", (route) => route.abort(), 2);
        await page.getByText("No answer. Trying again…").waitFor();
        await app.do("override", { name: "gift.ribbon", value: "gold" });
        await until(() => shownValue(page, "Ribbon"), "Gold");
        assert.equal(await closed.isVisible(), false);

        await answer("changes", (route) => route.fulfill({ status: 409 }), 1);
        await answer("load", (route) => route.fulfill({ status: 403 }), 1);
        await closed.waitFor();
        await page.getByRole("button", { name: "Try again" }).click();
        await closed.waitFor({ state: "hidden" });
        assert.equal(await page.getByRole("searchbox").evaluate((each) => each === document.activeElement), true);
        await app.do("override", { name: "gift.ribbon", value: "white" });
        await until(() => shownValue(page, "Ribbon"), "White");

        process.kill(app.pid, "SIGSTOP");
        await valueOf(page, "Ribbon").click();
        await page.getByText("Waiting for the application…").waitFor();
        const search = page.getByRole("searchbox");
        await search.fill("nosuch");
        process.kill(app.pid, "SIGCONT");
        await page.getByText("Nothing found").waitFor();
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
    const heading = await page.getByRole("heading", { name: "many" }).boundingBox();
    assert.equal(heading.y, (await page.locator("header").boundingBox()).height, "the heading sticks");
    assert.ok((await behind.boundingBox()).y >= heading.y + heading.height, "is in sight");
    await page.evaluate(() => scrollTo(0, 200_000));
    await until(async () => (await page.getByRole("heading", { name: "many" }).boundingBox()).y, heading.y);

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
    await until(() => page.locator(".chunk").evaluateAll((chunks) => chunks
        .filter((each) => each.getBoundingClientRect().bottom > -1000 && each.getBoundingClientRect().top < 1800)
        .every((each) => each.querySelector(".row"))), true);
});
