// What the browser tests share: a browser, programs of ours beside it, and pictures for a person to look at. What a
// test starts here ends with it.

import { spawn } from "node:child_process";
import { accessSync, constants, mkdirSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { delimiter, join } from "node:path";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";
import axe from "axe-core";
import { chromium } from "playwright-core";

const root = fileURLToPath(new URL("../../", import.meta.url));
const patience = 20_000; // milliseconds

/** The path of a command that was built. */
export const built = (name) => join(process.env.KIV_BIN ?? join(root, "build/release/bin"), name);

/** The path of a file of the project. */
export const inProject = (path) => join(root, path);

/** A folder that is gone after the test. */
export function temporaryFolder(test) {
    const folder = mkdtempSync(join(tmpdir(), "kiv-browser-"));
    test.after(() => rmSync(folder, { recursive: true, force: true }));
    return folder;
}

/**
 * Starts a program, and waits for the first line of its output that `isReady` says true to, by default its first.
 * Returns that line, and `end`, which ends the program; the end of the test does so too.
 */
export async function start(test, command, args, { isReady = () => true, env = {} } = {}) {
    // Killed with this process, should that be killed.
    const child = spawn("setpriv", ["--pdeathsig", "KILL", "--", command, ...args], {
        stdio: ["ignore", "pipe", "pipe"],
        env: { ...process.env, ...env },
    });
    const ended = new Promise((resolve) => child.once("close", resolve));
    const end = async () => {
        child.kill("SIGTERM");
        const reluctant = setTimeout(() => child.kill("SIGKILL"), 5_000);
        await ended;
        clearTimeout(reluctant);
    };
    test.after(end);

    let said = "";
    child.stderr.on("data", (data) => (said += data));
    const line = await new Promise((resolve, reject) => {
        const fail = (why) => reject(new Error(`${command} ${why}:\n${said}`));
        const late = setTimeout(() => fail("did not become ready"), patience);
        child.once("error", reject);
        ended.then(() => fail("ended"));
        createInterface({ input: child.stdout }).on("line", (text) => {
            said += `${text}\n`;
            if (isReady(text)) {
                clearTimeout(late);
                resolve(text);
            }
        });
    });
    return { line, end };
}

/** An application that `kiv shell` plays: `app.do(name, fields)` answers what the shell does, and throws its errors. */
export function application(t) {
    const child = spawn("setpriv", ["--pdeathsig", "KILL", "--", built("kiv"), "shell"], {
        stdio: ["pipe", "pipe", "inherit"],
    });
    t.after(() => child.kill("SIGKILL"));
    const waiting = [];
    const app = {
        pid: child.pid,
        lastEvent: null, // that a configuration was fetched
        do: (name, fields = {}) => {
            child.stdin.write(`${JSON.stringify({ do: name, ...fields })}\n`);
            return new Promise((resolve, reject) => waiting.push({ resolve, reject }));
        },
    };
    createInterface({ input: child.stdout }).on("line", (line) => {
        const answer = JSON.parse(line);
        if ("ok" in answer) {
            const { resolve, reject } = waiting.shift();
            answer.ok ? resolve(answer) : reject(new Error(line));
        } else if (answer.event === "configurationFetched") {
            app.lastEvent = answer;
        }
    });
    return app;
}

function onPath(command) {
    const found = process.env.PATH.split(delimiter)
        .map((folder) => join(folder, command))
        .find((path) => {
            try {
                accessSync(path, constants.X_OK);
                return true;
            } catch {
                return false;
            }
        });
    if (!found) {
        throw new Error(`there is no ${command} on the PATH; ./run install installs it`);
    }
    return found;
}

/** A browser that is closed after the test. */
export async function openBrowser(test) {
    const browser = await chromium.launch({
        executablePath: onPath("chromium"),
        args: process.getuid() === 0 ? ["--no-sandbox"] : [],
    });
    test.after(() => browser.close());
    return browser;
}

/**
 * A page of the browser at the address. Errors of its scripts, what its Content-Security-Policy refuses and requests
 * to anywhere but loopback are collected in `faults`, which a test expects to be empty.
 */
export async function openPage(browser, address, options = {}) {
    const context = await browser.newContext({ viewport: { width: 1280, height: 860 }, ...options });
    context.setDefaultTimeout(patience);
    const page = await context.newPage();
    const faults = [];
    page.on("pageerror", (error) => faults.push(String(error)));
    page.on("console", (message) => message.type() === "error" && faults.push(message.text()));
    page.on("request", (request) => {
        if (new URL(request.url()).origin !== new URL(address).origin) {
            faults.push(`asked for ${request.url()}`);
        }
    });
    await page.goto(address);
    return { page, faults };
}

/** What axe-core has to say against the page as it is, one line for each fault. */
export async function accessibilityFaults(page) {
    // Evaluated from outside: the page's Content-Security-Policy lets no other script in.
    await page.evaluate(axe.source);
    const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
    return violations.map(({ id, help, nodes }) => `${id}: ${help}: ${nodes.map(({ target }) => target).join(", ")}`);
}

/**
 * Calls `look` for a desktop and a phone, light and dark, with a name for it, and takes a picture of each:
 * build/screenshots/NAME-desktop-light.png and so on.
 */
export async function inEveryLook(page, name, look = async () => {}) {
    const sizes = { desktop: { width: 1280, height: 860 }, phone: { width: 390, height: 844 } };
    mkdirSync(inProject("build/screenshots"), { recursive: true });
    for (const [size, viewport] of Object.entries(sizes)) {
        for (const colorScheme of ["light", "dark"]) {
            await page.setViewportSize(viewport);
            await page.emulateMedia({ colorScheme });
            await look(`${size}, ${colorScheme}`);
            await page.screenshot({ path: inProject(`build/screenshots/${name}-${size}-${colorScheme}.png`) });
        }
    }
}
