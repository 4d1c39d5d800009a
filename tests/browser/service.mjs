// A service for the browser tests, and what applications report to it.

import assert from "node:assert/strict";
import { mkdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { built, start, temporaryFolder } from "./support.mjs";

export const key = "5e0bd1f2c3a4b5d6e7f80912";
export const hostile = `<img src=x onerror="document.title='taken'">`;

/** Starts a service. `payloads` are its payloads by key. */
export async function serve(t, payloads) {
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

/** An impression as an application reports it; `time` is of the read, in seconds since 1970. */
export const impression = (flag, value, time = 1_700_000_000.25) =>
    ({ distinctId: "d", flag, time, type: "IMPRESSION", value });

/** The impressions of { flag: { value: count } }. */
export const impressions = (counts) =>
    Object.entries(counts).flatMap(([flag, values]) =>
        Object.entries(values).flatMap(([value, count]) => Array.from({ length: count }, () => impression(flag, value))));

/** Uploads impressions as an application would. */
export async function upload(service, events, { ofKey = key, sdkVersion = "5.0.16", platform = "iOS" } = {}) {
    const url = `${service.networkConfigurations.analyticsEndpoint}/impression/${ofKey}`;
    const time = 1_700_000_000_250;
    await post(url, { analyticsVersion: "1.0.0", sdkVersion, time, platform, corvaneKey: ofKey, events });
}

/** Reports a state. `flags` are [name, default, options] each; `properties` [name, type]. */
export async function postState(service, flags, properties = []) {
    const stateMd5 = "0123456789abcdef0123456789abcdef";
    await post(`${service.networkConfigurations.sendStateApiEndpoint}/${key}/${stateMd5}`, {
        stateMd5,
        app_key: key,
        feature_flags: flags.map(([name, defaultValue, options = []]) => ({ name, defaultValue, options })),
        custom_properties: properties.map(([name, type]) => ({ name, type, externalType: "String" })),
        platform: "iOS",
    });
}

/** Repeats `look()` until `isRight` accepts its result, which is returned. */
export async function eventually(look, isRight) {
    const until = Date.now() + 20_000;
    for (;;) {
        const shown = await look();
        if (isRight(shown)) {
            return shown;
        }
        assert.ok(Date.now() < until, `shown at last: ${JSON.stringify(shown)}`);
        await new Promise((resolve) => setTimeout(resolve, 20));
    }
}

/** Accepts a result that is the same as `expected`. */
export const same = (expected) => (shown) => JSON.stringify(shown) === JSON.stringify(expected);
