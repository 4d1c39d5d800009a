// The page of one flag of `kiv serve`.

import assert from "node:assert/strict";
import { utimesSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";
import { eventually, hostile, impression, key, postState, same, serve, upload } from "./service.mjs";
import { accessibilityFaults, inEveryLook, openBrowser, openPage } from "./support.mjs";

const now = () => Date.now() / 1000;

const payload = {
    experiments: [
        {
            name: "Colour",
            stickinessProperty: "userId",
            featureFlags: [{ name: "store.colour" }],
            deploymentConfiguration: {
                condition: 'ifThen(isInPercentageRange(0, 0.25, mergeSeed("s", property("userId"))), "green", undefined)',
            },
        },
        {
            name: "Nobody",
            featureFlags: [{ name: "store.nobody" }],
            deploymentConfiguration: { condition: 'isInPercentageRange(0.5, 0.5, "s")' },
        },
    ],
};

const flagUrl = (service, flag) => `${service.url}/flag#${new URLSearchParams({ key, flag })}`;

/** The rows of a table's body, each as the texts of its cells. */
const rowsOf = (page, id) => () =>
    page.locator(`#${id} tr`).evaluateAll((rows) => rows.map((row) => [...row.children].map((cell) => cell.textContent)));

test("counts over time, shares against what is expected, the condition, and what applications report", async (t) => {
    const service = await serve(t, { [key]: payload });
    const file = join(service.folder, `${key}.flags.json`);
    utimesSync(file, now(), now());
    await postState(service, [["store.colour", "blue", ["blue", "green"]]]);
    const at = now();
    const hours = (count) => at - count * 3600;
    await upload(service, [
        ...Array.from({ length: 30 }, () => impression("store.colour", "green", at)),
        ...Array.from({ length: 70 }, () => impression("store.colour", "blue", at)),
    ]);
    await upload(service, [impression("store.colour", "red", hours(5)), impression("store.colour", "red", hours(24 * 10)),
        impression("store.colour", "red", hours(24 * 40)), impression("store.colour", "red", at + 7200),
        impression("store.other", "blue", at)], { sdkVersion: "4.9.0", platform: "Android" });

    const { page, faults } = await openPage(await openBrowser(t), service.url);
    await page.getByRole("link", { name: "store.colour" }).focus();
    await page.keyboard.press("Enter");
    await page.getByRole("heading", { level: 1, name: "store.colour" }).waitFor();
    await page.getByText("Live").waitFor();

    await t.test("an hour, a day and a month", async () => {
        const sums = async () => {
            const rows = await rowsOf(page, "counts-rows")();
            return rows.reduce((all, [, ...counts]) => all.map((sum, i) => sum + Number(counts[i] ?? 0)), [0, 0, 0]);
        };
        for (const [span, expected, total] of [["Hour", [70, 30, 0], "100 in the last hour"],
            ["Day", [70, 30, 1], "101 in the last day"], ["Month", [70, 30, 2], "102 in the last 30 days"]]) {
            await page.getByRole("button", { name: span }).focus();
            await page.keyboard.press("Enter");
            await eventually(() => page.locator("#total").textContent(), (text) => text.startsWith(total));
            assert.deepEqual(await sums(), expected);
        }
        const picture = page.getByRole("img", { name: /blue 70, green 30, red 2\. The table has the counts/ });
        const heights = await picture.locator(".bar-part").evaluateAll((parts) =>
            parts.map((part) => part.getBoundingClientRect().height).sort((a, b) => b - a));
        assert.ok(Math.abs(heights[0] / heights[1] - 7 / 3) < 0.01, "as high as the counts");
    });

    await t.test("shares since the flag changed", async () => {
        assert.deepEqual(await eventually(rowsOf(page, "shares"), (rows) => rows.length === 2),
            [["blue", "70", "70.0 %", "75.0 %"], ["green", "30", "30.0 %", "25.0 %"]]);
        await page.getByText(/how users divide by "userId", as kiv split --flag 'store.colour'/).waitFor();
    });

    await t.test("the condition, the state and the versions", async () => {
        assert.equal(await page.locator("#condition").textContent(), payload.experiments[0].deploymentConfiguration.condition);
        await page.getByText("Lint finds nothing in this experiment.").waitFor();
        assert.match(await page.locator("#reported").innerText(), /one of blue, green\s+Default\s+blue/);
        assert.deepEqual(await rowsOf(page, "origins")(), [["5.0.16", "iOS", "100"], ["4.9.0", "Android", "4"]]);
    });

    await t.test("what comes appears", async () => {
        await upload(service, [impression("store.colour", "green", now())]);
        await eventually(async () => (await rowsOf(page, "shares")())[1], same(["green", "31", "30.7 %", "25.0 %"]));
    });

    await t.test("eight values can be told apart, and others are added up", async () => {
        const values = Array.from({ length: 10 }, (_, i) => Array.from({ length: 40 - 3 * i }, (_, n) =>
            impression("store.many", `value ${i}`, now() - (n % 20) * 170)));
        await upload(service, values.flat());
        await page.goto(flagUrl(service, "store.many"));
        await page.getByRole("button", { name: "Hour" }).click();
        await eventually(() => page.locator("#legend li").allTextContents(),
            same([...Array.from({ length: 8 }, (_, i) => `value ${i}`), "other values"]));
        const looks = new Map();
        await inEveryLook(page, "flag-page", async (look) => {
            assert.deepEqual(await accessibilityFaults(page), [], look);
            assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `${look}: too wide`);
            const styles = await page.locator(".chart pattern").evaluateAll((all) => all.map((each) =>
                [getComputedStyle(each.querySelector(".fill")).fill, each.querySelector("path").getAttribute("d")]));
            looks.set(look, styles);
        });
        for (const [look, styles] of looks) {
            const ground = look.endsWith("dark") ? "rgb(26, 31, 40)" : "rgb(255, 255, 255)";
            assert.equal(new Set(styles.map(([fill]) => fill)).size, 9, `${look}: colours`);
            assert.equal(new Set(styles.map(([, lines]) => lines)).size, 9, `${look}: patterns`);
            styles.forEach(([fill]) => assert.ok(contrast(fill, ground) >= 3, `${look}: ${fill} on ${ground}`));
        }
    });

    await t.test("lint's findings, and flags of which little is known", async () => {
        await page.goto(flagUrl(service, "store.nobody"));
        await page.locator("#findings li").getByText("the range of shares is empty").waitFor();
        assert.deepEqual(await accessibilityFaults(page), []);
        writeFileSync(file, JSON.stringify(payload).replace("ifThen", "ifElse"));
        await page.locator("#findings li").getByText(/experiment 1 "Colour".*ifElse/).waitFor();
        await page.getByText("this document from before is still served").waitFor();
        await page.goto(flagUrl(service, hostile));
        await page.getByRole("heading", { level: 1, name: hostile }).waitFor();
        await page.getByText("No experiment of the document decides this flag: it has its default.").waitFor();
        await page.getByText("The last state of an application of this key has no such flag.").waitFor();
        await page.getByText("No impressions in this time.").waitFor();
        assert.equal(await page.locator("main img").count(), 0);
    });
    assert.deepEqual(faults, []);
});

/** The contrast of two colours, as WCAG defines it. */
function contrast(one, other) {
    const luminance = (colour) => {
        const [red, green, blue] = colour.match(/\d+/g).map((each) => {
            const part = Number(each) / 255;
            return part <= 0.03928 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
        });
        return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
    };
    const [light, dark] = [luminance(one), luminance(other)].sort((a, b) => b - a);
    return (light + 0.05) / (dark + 0.05);
}
