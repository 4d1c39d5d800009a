// Shows all flags of the chosen key, and asks for them again whenever the service announces a change.

import { counted, dateAndTime, describe, element, flagAddress, live, make, number, percent, read, setText, sync } from "./live.js";

const most = 1000; // rows of a list that the service sends at most

let chosenKey = location.hash.slice(1);
let stateVersion = "";

function makeRow() {
    const row = make("li");
    const bar = make("div", "bar");
    bar.setAttribute("aria-hidden", "true");
    bar.append(make("div"));
    row.append(make("span", "value"), bar, make("span", "count"), make("span", "share"));
    return row;
}

function updateRow(row, { value, count, isOthers }, all) {
    const [label, bar, shown, share] = row.children;
    const text = isOthers ? "other values" : describe(value);
    row.className = isOthers ? "others" : "";
    label.className = isOthers || !value ? "value special" : "value";
    setText(label, text);
    label.title = text;
    bar.firstChild.style.width = `${(100 * count) / all}%`;
    setText(shown, number(count));
    setText(share, percent(count / all));
}

function makeCard() {
    const card = make("li");
    const head = make("div", "flag");
    const name = make("h3");
    name.append(make("a"));
    head.append(name, make("span", "total"));
    card.append(head, make("p", "quiet about"), make("ul", "values"));
    return card;
}

/** What is known of the flag besides its counts. */
function about({ type, default: defaultValue, changed }) {
    return [
        type === undefined ? "not in the state" : type,
        defaultValue === undefined ? "" : `default ${describe(defaultValue)}`,
        changed === undefined ? "" : `changed ${dateAndTime(changed)}`,
    ]
        .filter(Boolean)
        .join(" · ");
}

function updateCard(card, flag) {
    const [head, facts, list] = card.children;
    const link = head.firstChild.firstChild;
    setText(link, flag.flag || "(no name)");
    if (flag.name === undefined) {
        link.removeAttribute("href");
    } else {
        link.href = flagAddress(chosenKey, flag.name);
    }
    setText(head.children[1], flag.count ? number(flag.count) : "no impressions");
    setText(facts, about(flag));
    const rows = [...flag.values];
    const others = flag.count - flag.values.reduce((sum, { count }) => sum + count, 0);
    if (others > 0) {
        rows.push({ count: others, isOthers: true });
    }
    list.hidden = rows.length === 0;
    sync(list, rows, makeRow, (row, item) => updateRow(row, item, flag.count));
}

function showFlags(flags, totals) {
    const isSearched = element("search").value !== "";
    setText(element("total"), `${number(totals.flags)} · ${counted(totals.impressions, "impression")}`);
    let found = isSearched ? `${number(totals.found)} of ${counted(totals.flags, "flag")} found` : "";
    if (flags.length < totals.found) {
        found = `${found || counted(totals.flags, "flag")}; the first ${number(most)} are shown`;
    }
    setText(element("found"), found);
    element("no-flags").hidden = totals.flags > 0;
    element("finder").hidden = totals.flags === 0;
    element("no-impressions").hidden = totals.flags === 0 || totals.impressions > 0;
    sync(element("flags"), flags, makeCard, updateCard);
}

function showDocument({ date, isRefused, findings }) {
    const served = date ? `Served is the file of ${dateAndTime(date)}.` : "None is served.";
    const refused = isRefused ? " The file as it is now is refused: it has errors, which a flag's page and the log show." : "";
    const warned = !isRefused && findings ? ` Lint has ${counted(findings, "warning")}.` : "";
    setText(element("document"), served + refused + warned);
    element("document").classList.toggle("bad", isRefused);
}

function showState(state) {
    element("no-state").hidden = state !== null;
    element("state").hidden = element("reported").hidden = state === null;
    stateVersion = state?.version ?? "";
    if (!state?.properties) {
        return;
    }
    const { properties, received } = state;
    element("received").dateTime = received;
    element("received").textContent = dateAndTime(received);
    element("no-properties").hidden = properties.length > 0;
    element("properties-table").hidden = properties.length === 0;
    setText(element("properties-total"), properties.length < most ? number(properties.length) : `the first ${number(most)}`);
    element("properties").replaceChildren(
        ...properties.map(({ name, type }) => {
            const line = make("tr");
            line.append(make("td", "", name), make("td", "", type));
            return line;
        }),
    );
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
    const wish = { key: chosenKey, search: element("search").value, sort: element("sort").value, state: stateVersion };
    const { keys, key, document: served, state, flags, totals } = await read(`/overview?${new URLSearchParams(wish)}`);
    if (key && key !== chosenKey && keys.includes(chosenKey)) {
        return; // another key was chosen meanwhile
    }
    chosenKey = key ?? "";
    showKeys(keys, key);
    if (key) {
        showDocument(served);
        showState(state);
        if (wish.search === element("search").value) {
            showFlags(flags, totals);
        }
    }
}

const refresh = live(ask);

function choose(key) {
    chosenKey = key;
    stateVersion = "";
    refresh();
}

element("key").addEventListener("change", ({ target }) => {
    location.hash = target.value; // its handler below chooses the key
});
element("search").addEventListener("input", refresh);
element("sort").addEventListener("change", refresh);
element("finder").addEventListener("submit", (event) => event.preventDefault());
addEventListener("hashchange", () => choose(location.hash.slice(1)));
