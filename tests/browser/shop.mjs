// A shop with ten flags, played by `kiv shell`, and how to find its rows on the page of the flags screen.

import assert from "node:assert/strict";
import { mkdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { application, built, start, temporaryFolder } from "./support.mjs";

export const key = "5e0bd1f2c3a4b5d6e7f80912";
export const hostile = `<img src=x onerror="document.title='taken'">`;

const experiment = (flag, condition) => ({
    _id: flag,
    name: flag,
    deploymentConfiguration: { condition },
    featureFlags: [{ name: flag }],
});

export const document = (discount, currency) => ({
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
export async function shop(t, registered = shopFlags) {
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
    return { app, publish, address, document };
}

export const row = (page, label) =>
    page.locator(".row").filter({ has: page.locator(".label", { hasText: new RegExp(`^${label}$`) }) });
export const switchOf = (page, label) => page.getByRole("switch", { name: label, exact: true });
export const valueOf = (page, label) => row(page, label).locator(".value");
export const shownValue = (page, label) => valueOf(page, label).locator(".shown").textContent();
export const until = async (look, expected) => {
    const late = Date.now() + 10_000;
    let seen = await look();
    while (seen !== expected && Date.now() < late) {
        await new Promise((resolve) => setTimeout(resolve, 50));
        seen = await look();
    }
    assert.equal(seen, expected);
};
export const shownNames = (page) => page.locator(".row:visible .name").allTextContents();
