// What the pages of the service share: how they are drawn, and how they hear of changes. Everything from outside is put
// into a page as text, never as markup.

const least = 250; // milliseconds between an answer and the next request
const again = 500; // milliseconds from the end of the service to each attempt to reach it

export const element = (id) => document.getElementById(id);
export const number = (count) => count.toLocaleString("en");
export const percent = (part) => `${(100 * part).toFixed(part === 1 || part === 0 ? 0 : 1)} %`;
export const counted = (count, noun) => `${number(count)} ${noun}${count === 1 ? "" : "s"}`;
export const dateAndTime = (date) => new Date(date).toLocaleString("en-GB", { dateStyle: "medium", timeStyle: "short" });

export function make(tag, className = "", text = "") {
    const made = document.createElement(tag);
    made.className = className;
    made.textContent = text;
    return made;
}

/** Sets a text only when it differs: a screen reader may read aloud what is set, even when it is the same. */
export function setText(node, text) {
    if (node.textContent !== text) {
        node.textContent = text;
    }
}

/** Gives `list` one child for each item. The children that it has are kept and updated, by position. */
export function sync(list, items, create, update) {
    while (list.children.length > items.length) {
        list.lastElementChild.remove();
    }
    items.forEach((item, index) => update(list.children[index] ?? list.appendChild(create()), item, index));
}

export const describe = (value) => (value === "" ? "(empty)" : value);

/** The address of a flag's page. */
export const flagAddress = (key, name) => `/flag#${new URLSearchParams({ key, flag: name })}`;

function connection(state, text) {
    element("connection").dataset.state = state;
    setText(element("connection"), text);
}

/**
 * Calls `ask()`, which asks for what the page shows and shows it: at once, whenever the service announces a change, and
 * whenever the returned function is called. One request at a time; the pause after each is ten times as long as it took,
 * so that a page takes at most a tenth of the service's time.
 */
export function live(ask) {
    let changes = null;
    let nextListen = 0;
    let isAsking = false;
    let isStale = false;

    async function refresh() {
        isStale = true;
        if (isAsking) {
            return;
        }
        isAsking = true;
        while (isStale && !document.hidden) {
            isStale = false;
            const begun = performance.now();
            await ask().catch((error) => connection("lost", `Cannot be read: ${error.message}`));
            const pause = Math.max(least, 10 * (performance.now() - begun));
            await new Promise((resolve) => setTimeout(resolve, pause));
        }
        isAsking = false;
    }

    // Nobody looks at a hidden page, so it neither listens nor asks.
    function listen() {
        clearTimeout(nextListen);
        changes?.close();
        changes = null;
        if (document.hidden) {
            return;
        }
        changes = new EventSource("/changes");
        changes.onopen = () => {
            connection("live", "Live");
            refresh();
        };
        changes.addEventListener("changed", refresh);
        changes.onerror = () => {
            connection("lost", "The service does not answer; trying again");
            changes.close(); // the browser would wait some seconds before it tries again
            nextListen = setTimeout(listen, again);
        };
    }

    document.addEventListener("visibilitychange", listen);
    listen();
    return refresh;
}

/** The JSON at the address. Throws when the service refuses it. */
export async function read(address) {
    const response = await fetch(address);
    if (!response.ok) {
        throw new Error(`the service answers ${response.status}`);
    }
    return response.json();
}
