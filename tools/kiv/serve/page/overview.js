// Shows what the service has recorded of the chosen key, and asks for it again whenever the service announces a change.
// Everything from outside is put into the page as text, never as markup.

const most = 1000; // rows of a list that the service sends at most
const pause = 250; // milliseconds between an answer and the next request

const element = (id) => document.getElementById(id);
const number = (count) => count.toLocaleString("en");

let chosenKey = location.hash.slice(1);
let stateVersion = "";
let changes = null;
let isAsking = false;
let isStale = false;

function make(tag, className, text = "") {
    const made = document.createElement(tag);
    made.className = className;
    made.textContent = text;
    return made;
}

// Sets a text only when it differs: a screen reader may read aloud what is set, even when it is the same.
function setText(node, text) {
    if (node.textContent !== text) {
        node.textContent = text;
    }
}

// Gives `list` one child for each item. The children that it has are kept and updated, by position.
function sync(list, items, create, update) {
    while (list.children.length > items.length) {
        list.lastElementChild.remove();
    }
    items.forEach((item, index) => update(list.children[index] ?? list.appendChild(create()), item));
}

function makeRow() {
    const row = make("li", "");
    const bar = make("div", "bar");
    bar.setAttribute("aria-hidden", "true");
    bar.append(make("div", ""));
    row.append(make("span", "value"), bar, make("span", "count"), make("span", "share"));
    return row;
}

function updateRow(row, { value, count, isOthers }, all) {
    const [label, bar, counted, share] = row.children;
    const text = isOthers ? "other values" : value || "(empty)";
    row.className = isOthers ? "others" : "";
    label.className = isOthers || !value ? "value special" : "value";
    setText(label, text);
    label.title = text;
    bar.firstChild.style.width = `${(100 * count) / all}%`;
    setText(counted, number(count));
    setText(share, `${((100 * count) / all).toFixed(count === all ? 0 : 1)} %`);
}

function makeCard() {
    const card = make("li", "");
    const head = make("div", "flag");
    head.append(make("h3", ""), make("span", "total"));
    card.append(head, make("ul", "values"));
    return card;
}

function updateCard(card, { flag, count, values }) {
    const [head, list] = card.children;
    setText(head.children[0], flag || "(no name)");
    setText(head.children[1], number(count));
    const rows = [...values];
    const others = count - values.reduce((sum, each) => sum + each.count, 0);
    if (others > 0) {
        rows.push({ count: others, isOthers: true });
    }
    sync(list, rows, makeRow, (row, item) => updateRow(row, item, count));
}

function showImpressions(flags) {
    element("no-impressions").hidden = flags.length > 0;
    element("impressions-cut").hidden = flags.length < most;
    setText(element("total"), flags.length ? number(flags.reduce((sum, { count }) => sum + count, 0)) : "");
    sync(element("impressions"), flags, makeCard, updateCard);
}

function showTable(name, rows, cellsOf) {
    element(`no-${name}`).hidden = rows.length > 0;
    element(`${name}-table`).hidden = rows.length === 0;
    setText(element(`${name}-total`), rows.length < most ? number(rows.length) : `the first ${number(most)}`);
    element(name).replaceChildren(
        ...rows.map((row) => {
            const line = document.createElement("tr");
            line.append(...cellsOf(row).map((text) => make("td", "", text)));
            return line;
        }),
    );
}

function typeOf({ variations }) {
    if (variations.length === 2 && variations.includes("true") && variations.includes("false")) {
        return "on or off";
    }
    return variations.length ? `one of ${variations.join(", ")}` : "text";
}

function showState(state) {
    element("no-state").hidden = state !== null;
    element("state").hidden = element("reported").hidden = state === null;
    stateVersion = state?.version ?? "";
    if (state?.flags) {
        element("received").dateTime = state.received;
        element("received").textContent = new Date(state.received).toLocaleString("en-GB");
        showTable("flags", state.flags, (flag) => [flag.name, typeOf(flag), flag.default || "(empty)"]);
        showTable("properties", state.properties, ({ name, type }) => [name, type]);
    }
}

function showKeys(keys, key) {
    const chooser = element("key");
    if ([...chooser.options].map(({ value }) => value).join() !== keys.join()) {
        chooser.replaceChildren(...keys.map((each) => new Option(each, each)));
    }
    chooser.value = key ?? "";
    element("chooser").hidden = keys.length === 0;
    element("main").hidden = keys.length === 0;
    element("no-keys").hidden = keys.length > 0;
}

async function ask() {
    const response = await fetch(`/overview?key=${encodeURIComponent(chosenKey)}&state=${stateVersion}`);
    if (!response.ok) {
        throw new Error(`the service answers ${response.status}`);
    }
    const { keys, key, state, impressions } = await response.json();
    if (key && key !== chosenKey && keys.includes(chosenKey)) {
        return; // another key was chosen meanwhile
    }
    chosenKey = key ?? "";
    showKeys(keys, key);
    if (key) {
        showState(state);
        showImpressions(impressions);
    }
}

// One request at a time; a change that is announced meanwhile makes another one afterwards.
async function refresh() {
    isStale = true;
    if (isAsking) {
        return;
    }
    isAsking = true;
    while (isStale && !document.hidden) {
        isStale = false;
        await ask().catch((error) => connection("lost", `Cannot be read: ${error.message}`));
        await new Promise((resolve) => setTimeout(resolve, pause));
    }
    isAsking = false;
}

function connection(state, text) {
    element("connection").dataset.state = state;
    setText(element("connection"), text);
}

// Nobody looks at a hidden page, so it neither listens nor asks.
function listen() {
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
        if (changes.readyState === EventSource.CLOSED) {
            setTimeout(listen, 3000);
        }
    };
}

function choose(key) {
    chosenKey = key;
    stateVersion = "";
    refresh();
}

element("key").addEventListener("change", ({ target }) => {
    location.hash = target.value; // its handler below chooses the key
});
addEventListener("hashchange", () => choose(location.hash.slice(1)));
document.addEventListener("visibilitychange", listen);
listen();
