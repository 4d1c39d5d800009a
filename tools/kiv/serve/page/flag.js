// Shows one flag of a key: its impressions over time, its shares, its condition, and what applications report of it.

import { chart, sample, styleOf } from "./chart.js";
import { dateAndTime, describe, element, live, make, number, percent, read, setText, sync } from "./live.js";

let span = "hour";
let shownPicture = "";
let last = null; // what the service has told last

const times = { hour: "hour", day: "day", month: "30 days, which are those of UTC" };

const named = () => new URLSearchParams(location.hash.slice(1));
const nameOf = (series) => (series.isOthers ? "other values" : describe(series.value));
const cell = (text, className = "") => make("td", className, text);

function rowOf(...cells) {
    const row = make("tr");
    row.append(...cells);
    return row;
}

function rowHeading(text, ...before) {
    const heading = make("th");
    heading.scope = "row";
    heading.append(...before, text);
    return heading;
}

/** The text for the beginning of a slot. */
function timeOf({ start, width }, slot) {
    const date = new Date((start + slot * width) * 1000);
    return width < 86400
        ? date.toLocaleTimeString("en-GB", { hour: "2-digit", minute: "2-digit" })
        : date.toLocaleDateString("en-GB", { day: "numeric", month: "short", timeZone: "UTC" });
}

function showOverTime(series, time) {
    const sums = series.map(({ counts }) => counts.reduce((sum, count) => sum + count, 0));
    const total = sums.reduce((sum, each) => sum + each, 0);
    setText(element("total"), `${number(total)} in the last ${times[time.name]}`);
    element("quiet-time").hidden = total > 0;
    element("over-time").hidden = total === 0;
    const room = Math.max(280, element("chart").clientWidth);
    const picture = JSON.stringify([series, time, room]);
    if (picture === shownPicture) {
        return;
    }
    shownPicture = picture;
    const parts = series.map((each, index) => `${nameOf(each)} ${number(sums[index])}`).join(", ");
    const label = `Impressions in the last ${times[time.name]}: ${parts}. The table has the counts.`;
    element("chart").replaceChildren(chart(series, time.slots, room, (slot) => timeOf(time, slot), label));
    element("legend").replaceChildren(...series.map((each, index) => {
        const item = make("li");
        item.append(sample(styleOf(each, index)), make("span", "", nameOf(each)));
        return item;
    }));
    const column = (each, index) => {
        const heading = make("th");
        heading.scope = "col";
        heading.append(sample(styleOf(each, index)), nameOf(each));
        return heading;
    };
    const first = make("th", "", "From");
    first.scope = "col";
    element("counts-head").replaceChildren(rowOf(first, ...series.map(column)));
    const slots = Array.from({ length: time.slots }, (_, slot) => time.slots - 1 - slot); // the latest first
    element("counts-rows").replaceChildren(...slots
        .filter((slot) => series.some(({ counts }) => counts[slot] > 0))
        .map((slot) => rowOf(rowHeading(timeOf(time, slot)), ...series.map(({ counts }) => cell(number(counts[slot]), "number")))));
}

function explain({ isKnown, obstacle, property, asksForMore }, flag) {
    if (isKnown === undefined) {
        return "No experiment of the document decides this flag, so nothing is expected.";
    }
    const quoted = (text) => `'${text.replaceAll("'", "'\\''")}'`;
    const command = `kiv split --flag ${quoted(flag)} --property ${quoted(property)}`;
    if (!isKnown) {
        const why = obstacle ? `${obstacle} looks at the ids themselves` : "the condition is too large";
        return `What is expected cannot be computed: ${why}. ${command} counts it for ids of yours.`;
    }
    const others = asksForMore
        ? " It is computed for users with no other property, group or flag set; the shares of others may differ."
        : "";
    return `Expected is how users divide by "${property}", as ${command} computes it.${others} ` +
        "Impressions count reads: a user who reads more often counts more.";
}

function showShares({ since, all, rows, expectation }, flag) {
    setText(element("since"), `since ${dateAndTime(since * 1000)}`);
    const isExpected = rows.some(({ expected }) => expected !== null);
    element("shares").replaceChildren(...rows.map((row) => {
        const name = row.isOthers ? "other values" : row.value === null ? "the application's default" : describe(row.value);
        return rowOf(
            rowHeading(name),
            cell(number(row.count), "number"),
            cell(all ? percent(row.count / all) : "", "number"),
            cell(row.expected === null || !isExpected ? "–" : percent(row.expected), "number"),
        );
    }));
    element("shares-table").hidden = rows.length === 0;
    setText(element("expectation"), explain(expectation, flag));
}

function makeFinding() {
    const item = make("li");
    item.append(make("strong"), make("span"));
    return item;
}

function updateFinding(item, { isError, position, message, advice }) {
    item.className = isError ? "bad" : "warned";
    setText(item.children[0], isError ? "Error" : "Warning");
    setText(item.children[1], `${position ? ` at ${position}` : ""}: ${message}${advice ? ` (${advice})` : ""}`);
}

function showCondition({ experiment, condition, findings = [], problems = [], date, isRefused }, changed) {
    setText(element("changed"), changed ? `changed ${dateAndTime(changed)}` : "");
    const none = date ? "No experiment of the document decides this flag: it has its default." : "No document is served.";
    setText(element("experiment"), experiment ?? none);
    element("condition").hidden = condition === undefined;
    setText(element("condition"), condition ?? "");
    const refused = problems.map((message) => ({ isError: true, position: "", message, advice: "" }));
    sync(element("findings"), [...findings, ...refused], makeFinding, updateFinding);
    const served = date ? `The document is of ${dateAndTime(date)}.` : "";
    const clean = condition !== undefined && findings.length === 0 ? " Lint finds nothing in this experiment." : "";
    const stale = isRefused ? " The file as it is now is refused, and this document from before is still served." : "";
    setText(element("document"), served + clean + stale);
}

function showReported(reported, origins) {
    element("unreported").hidden = reported !== undefined;
    element("reported").hidden = reported === undefined;
    if (reported) {
        setText(element("type"), reported.type);
        setText(element("default"), describe(reported.default));
        setText(element("options"), reported.options.map(describe).join(", ") || "any value");
        setText(element("received"), dateAndTime(reported.received));
    }
    element("no-origins").hidden = origins.length > 0;
    element("origins-table").hidden = origins.length === 0;
    element("origins").replaceChildren(...origins.map(({ version, platform, count }) =>
        rowOf(rowHeading(version || "(not sent)"), cell(platform || "(not sent)"), cell(number(count), "number"))));
}

async function ask() {
    const wish = { key: named().get("key") ?? "", flag: named().get("flag") ?? "", span };
    const told = await read(`/flag/data?${new URLSearchParams(wish)}`);
    if (wish.span !== span || wish.flag !== (named().get("flag") ?? "")) {
        return; // something else is asked for by now
    }
    const title = told.flag || "(no name)";
    setText(element("name"), title);
    document.title = `${title} – kiv serve`;
    setText(element("key"), told.key);
    element("back").href = `/#${told.key}`;
    element("main").hidden = false;
    last = told;
    showOverTime(told.series, told.span);
    showShares(told.shares, told.flag);
    showCondition(told.document, told.changed);
    showReported(told.reported, told.origins);
}

const refresh = live(ask);
new ResizeObserver(() => last && showOverTime(last.series, last.span)).observe(element("chart"));
addEventListener("hashchange", refresh);
element("spans").addEventListener("click", ({ target }) => {
    if (target.dataset.span) {
        span = target.dataset.span;
        [...element("spans").children].forEach((each) => each.setAttribute("aria-pressed", each === target));
        refresh();
    }
});
setInterval(() => document.hidden || refresh(), 30_000); // time passes also when nothing arrives
