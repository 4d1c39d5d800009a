// Helpers of the browser tests: they start a browser and this project's programs, and take pictures for people to look
// at. All that a test starts with them ends with the test.

import { spawn } from "node:child_process";
import { accessSync, constants, mkdirSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { delimiter, join } from "node:path";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";
import axe from "axe-core";
import { chromium } from "playwright-core";

const root = fileURLToPath(new URL("../../", import.meta.url));
const patience = 30_000; // milliseconds that a test waits for what must happen; long, as a busy machine is slow

/** The path of a command of this project, in the folder KIV_BIN or in the release build. */
export const built = (name) => join(process.env.KIV_BIN ?? join(root, "build/release/bin"), name);

/** The absolute path of a file of this project. */
export const inProject = (path) => join(root, path);

/** A new folder, which is removed after the test. */
export function temporaryFolder(test) {
    const folder = mkdtempSync(join(tmpdir(), "kiv-browser-"));
    test.after(() => rmSync(folder, { recursive: true, force: true }));
    return folder;
}

/**
 * Starts a program, and waits for the first line of its output for which `isReady(line)` is true: by default the first
 * line. Returns that line and `end()`, which ends the program and waits for it; the end of the test does so too.
 */
export async function start(test, command, args, { isReady = () => true, env = {} } = {}) {
    // setpriv kills the program when this process is killed.
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

/**
 * An application, played by `kiv shell`. `app.do(name, fields)` sends a line and resolves to the shell's answer; it
 * rejects when the answer is an error.
 */
export function application(t) {
    const child = spawn("setpriv", ["--pdeathsig", "KILL", "--", built("kiv"), "shell"], {
        stdio: ["pipe", "pipe", "inherit"],
    });
    t.after(() => child.kill("SIGKILL"));
    const waiting = [];
    const app = {
        pid: child.pid,
        lastEvent: null, // the last event "configurationFetched"
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

/** A new browser, which is closed after the test. */
export async function openBrowser(test) {
    const browser = await chromium.launch({
        executablePath: onPath("chromium"),
        args: process.getuid() === 0 ? ["--no-sandbox"] : [],
    });
    test.after(() => browser.close());
    return browser;
}

/**
 * Opens a page of the browser at the address. `faults` collects the page's errors: exceptions and error messages of
 * its scripts, refusals of its Content-Security-Policy, and requests to another origin. A test expects it to be empty.
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

/** The accessibility faults that axe-core finds in the page as it is now, one line for each. */
export async function accessibilityFaults(page) {
    // Evaluated by the browser's driver, as the page's Content-Security-Policy allows no other script to be loaded.
    await page.evaluate(axe.source);
    const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
    return violations.map(({ id, help, nodes }) => `${id}: ${help}: ${nodes.map(({ target }) => target).join(", ")}`);
}

/**
 * Shows the page on a desktop and on a phone, each light and dark. Calls `look(description)` for each of the four, and
 * then takes a picture: build/screenshots/NAME-desktop-light.png and so on.
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
