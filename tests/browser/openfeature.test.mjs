// `kiv serve` with the clients that OpenFeature publishes, and the examples of docs/openfeature.md.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdirSync, readFileSync, renameSync, symlinkSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { join } from "node:path";
import test from "node:test";
import { promisify } from "node:util";
import { OFREPProvider } from "@openfeature/ofrep-provider";
import { OpenFeature } from "@openfeature/server-sdk";
import { built, inProject, openBrowser, start, temporaryFolder } from "./support.mjs";

const key = "5e0bd1f2c3a4b5d6e7f80912";
const storefront = readFileSync(inProject("examples/storefront/storefront.flags.json"), "utf8");
const modules = inProject("tests/browser/node_modules");

/** Starts a service of one payload. `publish(text)` replaces the payload. */
async function serve(t, payload, ...options) {
    const folder = join(temporaryFolder(t), "flags");
    mkdirSync(folder);
    const publish = (text) => {
        writeFileSync(join(folder, "unfinished"), text);
        renameSync(join(folder, "unfinished"), join(folder, `${key}.flags.json`));
    };
    publish(payload);
    const { line } = await start(t, built("kiv"), ["serve", folder, "--port", "0", "--json", "--quiet", ...options]);
    return { publish, baseUrl: `${JSON.parse(line).url}/${key}` };
}

const payloadOf = (conditions) =>
    JSON.stringify({
        experiments: Object.entries(conditions).map(([name, condition]) => ({
            name: `Experiment of ${name}`,
            featureFlags: [{ name }],
            deploymentConfiguration: { condition },
        })),
    });

/** The example of the page that imports the package, for the service at the base URL. */
function example(packageName, baseUrl, from = "docs/openfeature.md") {
    const page = readFileSync(inProject(from), "utf8");
    const found = [...page.matchAll(/^```js\n(.*?)^```/gms)].map(([, code]) => code);
    const [code] = found.filter((each) => each.includes(`from "${packageName}"`));
    const written = `http://127.0.0.1:8490/${key}`;
    assert.ok(code?.includes(written), packageName);
    return code.replace(written, baseUrl);
}

test("the examples for servers print what the pages say", async (t) => {
    const { baseUrl } = await serve(t, storefront);
    const folder = temporaryFolder(t);
    symlinkSync(modules, join(folder, "node_modules"));
    const printed = async (from) => {
        writeFileSync(join(folder, "example.mjs"), example("@openfeature/server-sdk", baseUrl, from));
        return (await promisify(execFile)(process.execPath, [join(folder, "example.mjs")])).stdout;
    };
    assert.equal(await printed("docs/openfeature.md"), "express checkout\nprices in EUR\n");
    assert.equal(await printed("README.md"), "EUR\n");
});

test("the server client gets values, details and errors", async (t) => {
    const { baseUrl } = await serve(
        t,
        payloadOf({
            "on/off": 'eq(property("plan"), "gold")',
            colour: '"dark green"',
            rate: "0.15",
            limits: '{"items": 5, "unit": "kg"}',
            half: 'ifThen(isInPercentage(1, property("distinct_id")), "new", "old")',
            later: "undefined",
            broken: 'isInPercentage(0.5, property("plan"))',
        }),
    );
    await OpenFeature.setProviderAndWait(new OFREPProvider({ baseUrl }));
    t.after(() => OpenFeature.close());
    const client = OpenFeature.getClient();
    const gold = { targetingKey: "ada", plan: "gold", since: new Date(), tags: ["a"], nested: { deep: 1 } };

    const details = await client.getBooleanDetails("on/off", false, gold);
    assert.equal(details.value, true);
    assert.equal(details.reason, "TARGETING_MATCH");
    assert.equal(details.variant, "true");
    assert.deepEqual(details.flagMetadata, { experimentName: "Experiment of on/off" });
    assert.equal(await client.getStringValue("colour", "", gold), "dark green");
    assert.equal(await client.getNumberValue("rate", 0, gold), 0.15);
    assert.deepEqual(await client.getObjectValue("limits", {}, gold), { items: 5, unit: "kg" });
    assert.equal((await client.getStringDetails("half", "", gold)).reason, "SPLIT");
    assert.equal(await client.getStringValue("later", "from the code", gold), "from the code");

    const errorOf = async (flag, context) => (await client.getStringDetails(flag, "", context)).errorCode;
    assert.equal(await errorOf("missing", gold), "FLAG_NOT_FOUND");
    assert.equal(await errorOf("half", { plan: "gold" }), "TARGETING_KEY_MISSING");
    assert.equal(await errorOf("broken", { plan: 7 }), "GENERAL");
    assert.equal(await errorOf("colour", { targetingKey: "ada", since: "date:yesterday" }), "INVALID_CONTEXT");
    assert.equal(await errorOf("rate", gold), "TYPE_MISMATCH");
});

test("each answer with all flags is of one document, while documents change", async (t) => {
    const names = Array.from({ length: 200 }, (_, i) => `flag${i}`);
    const ask = 'ifThen(isUndefined(property("distinct_id")), 0, VERSION)';
    const version = (number) =>
        payloadOf(Object.fromEntries(names.map((name) => [name, ask.replace("VERSION", number)])));
    const last = 12;
    const { publish, baseUrl } = await serve(t, version(1));
    const seen = new Set();
    const until = Date.now() + 60_000;
    const client = async () => {
        while (!seen.has(last)) {
            assert.ok(Date.now() < until, `seen: ${[...seen]}`);
            const answer = await fetch(`${baseUrl}/ofrep/v1/evaluate/flags`, {
                method: "POST",
                headers: { "Content-Type": "application/json" },
                body: '{"context": {"targetingKey": "ada"}}',
            });
            const { flags } = await answer.json();
            assert.equal(flags.length, names.length);
            assert.ok(flags.every(({ value }) => value === flags[0].value), JSON.stringify(flags));
            seen.add(flags[0].value);
        }
    };
    const publisher = async () => {
        for (let number = 2; number <= last; ++number) {
            const before = number - 1;
            while (!seen.has(before) && Date.now() < until) {
                await new Promise((resolve) => setTimeout(resolve, 5));
            }
            publish(version(number));
        }
    };
    await Promise.all([client(), client(), client(), client(), publisher()]);
    assert.equal(seen.size, last);
});

/** Serves a page of an origin of its own, in which a module can import the OpenFeature packages. */
async function site(t) {
    const at = {
        "@openfeature/core": "core/dist/esm/index.js",
        "@openfeature/web-sdk": "web-sdk/dist/esm/index.js",
        "@openfeature/ofrep-web-provider": "ofrep-web-provider/index.esm.js",
        "@openfeature/ofrep-core": "ofrep-web-provider/node_modules/@openfeature/ofrep-core/index.esm.js",
    };
    const fileOf = (path) => [`/${path}`, readFileSync(join(modules, "@openfeature", path))];
    const pages = new Map(Object.values(at).map(fileOf));
    const server = createServer((request, response) => {
        const page = pages.get(request.url);
        const type = request.url.endsWith(".js") ? "text/javascript" : "text/html";
        response.writeHead(page ? 200 : 404, { "Content-Type": `${type}; charset=utf-8` }).end(page);
    });
    await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
    t.after(() => server.close());
    t.after(() => server.closeAllConnections());
    const imports = Object.fromEntries(Object.entries(at).map(([name, path]) => [name, `/${path}`]));
    return {
        origin: `http://127.0.0.1:${server.address().port}`,
        show: (code) => {
            const map = `<script type="importmap">${JSON.stringify({ imports })}</script>`;
            pages.set("/", `<!doctype html><title>no value</title>${map}<script type="module">${code}</script>`);
        },
    };
}

/** Opens the site's page. `statuses` collects the statuses of the answers about all flags. */
async function open(t, { origin }) {
    const page = await (await openBrowser(t)).newPage();
    const statuses = [];
    page.on("response", (response) => {
        if (response.url().includes("/evaluate/flags") && response.request().method() === "POST") {
            statuses.push(response.status());
        }
    });
    await page.goto(origin);
    return { page, statuses, titled: (title) => page.waitForFunction((text) => document.title === text, title) };
}

test("the example for browsers follows a change that arrives by stream", async (t) => {
    const shop = await site(t);
    const service = await serve(t, storefront, "--allow-origin", shop.origin);
    shop.show(example("@openfeature/web-sdk", service.baseUrl));
    const { page, statuses, titled } = await open(t, shop);
    await titled("prices in EUR");
    service.publish(storefront.replace('\\"EUR\\"', '\\"CHF\\"'));
    await titled("prices in CHF");
    assert.deepEqual(statuses, [200, 200]);
    // A change that gives this context the same values.
    const known = page.waitForResponse((response) => response.status() === 304);
    service.publish(storefront.replace('\\"EUR\\"', '\\"CHF\\"').replace('\\"JPY\\"', '\\"YEN\\"'));
    await known;
    assert.equal(await page.title(), "prices in CHF");
});

test("only pages of a site that the service was told of can ask", async (t) => {
    const shop = await site(t);
    for (const [allowed, expected] of [[shop.origin, "answered 200"], ["https://shop.example", "refused"]]) {
        const { baseUrl } = await serve(t, storefront, "--allow-origin", allowed);
        shop.show(`
            const url = "${baseUrl}/ofrep/v1/evaluate/flags/store.currency";
            const headers = { "Content-Type": "application/json", "X-Api-Key": "any", Authorization: "Bearer any" };
            const asked = fetch(url, { method: "POST", headers, body: '{"context": {}}' });
            document.title = await asked.then(({ status }) => "answered " + status, () => "refused");`);
        const { titled } = await open(t, shop);
        await titled(expected);
    }
});
