#!/usr/bin/env node
// Opens the flags screen of an application with 10,000 flags in a browser, and measures how long a person waits for the
// first rows, and for the new list after each key in the search field. The figures are medians.

import { application, openBrowser, openPage, temporaryFolder } from "../tests/browser/support.mjs";

const rounds = 5;
const texts = ["f", "fl", "fla", "flag", "flag1", "flag12", "text", ""];
const many = Array.from({ length: 10_000 }, (_, i) =>
    i % 2 ? { name: `flag${i}`, type: "flag", default: false } : { name: `text${i}`, type: "string", default: "a" });

const median = (all) => [...all].sort((a, b) => a - b)[Math.floor(all.length / 2)];

/** Runs in the page: enters each text in the search field. Returns the milliseconds from each entry to the new list. */
async function timesOfKeys(texts) {
    const field = document.querySelector("#search");
    const times = [];
    for (const text of texts) {
        await new Promise((resolve) => setTimeout(resolve, 150));
        const before = performance.now();
        const drawn = new Promise((resolve) =>
            new MutationObserver((_, observer) => resolve(observer.disconnect()))
                .observe(document.querySelector("#list"), { childList: true }));
        field.value = text;
        field.dispatchEvent(new Event("input"));
        await drawn;
        times.push(performance.now() - before);
    }
    return times;
}

const ends = [];
const scope = { after: (end) => ends.unshift(end) };
try {
    const app = application(scope);
    await app.do("host", { libraryDirectory: temporaryFolder(scope), locale: "en_GB" });
    await app.do("register", { namespace: "many", flags: many });
    await app.do("setup", { key: "5e0bd1f2c3a4b5d6e7f80912", options: { networkConfigurations: {} } });
    const browser = await openBrowser(scope);
    const firstRows = [];
    const keys = [];
    for (let round = 0; round < rounds; ++round) {
        const { address } = await app.do("flagsScreen");
        const begun = performance.now();
        const { page } = await openPage(browser, address);
        await page.locator(".row").first().waitFor();
        firstRows.push(performance.now() - begun);
        keys.push(...(await page.evaluate(timesOfKeys, texts)));
        await page.context().close();
        await app.do("dismissFlagsScreen");
    }
    const line = (name, times, most) =>
        console.log(`${name.padEnd(29)}${median(times).toFixed(0).padStart(11)} ms   longest ${
            Math.max(...times).toFixed(0)} ms, <= ${most}`);
    line("flags screen, first rows", firstRows, 1000);
    line("flags screen, a search key", keys, 50);
} finally {
    for (const end of ends) {
        await end();
    }
}
