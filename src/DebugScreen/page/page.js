// The page of the flags screen: tells the tab's model what the person does, and shows what it answers. Grouping, labels
// and search follow rules of the model; the page knows none of them.

import { closeChoice, showChoice, tick } from "./choice.js";
import { checkDrawn, drawList } from "./list.js";
import { calm, say, waiting, warn, warnOfWait } from "./notices.js";
import { askToResetAll, closeQuestion, learnOverrides, tellOfStrangers } from "./overrides.js";
import { Refused, groupings, post, postPatiently } from "./requests.js";
import { forgetRows, labelOf, learnRows, rowOf, updateRow, wordsOf } from "./rows.js";

const byId = (id) => document.getElementById(id);
const list = byId("list");
const search = byId("search");

const between = 1000; // milliseconds from one look for changes to the next
const searchedPart = "between the first and second dot: store.CHECKOUT.discount";

let count = 0; // of the rows in all sections
let isOver = false;
let nextLook = 0;

// Asking

/** The answer, or null when there is none; the person is told why. */
async function answerTo(action, details) {
  if (isOver) {
    return null;
  }
  try {
    return await postPatiently(action, details, {
      onLongWait: warnOfWait,
      onSilence: () => warn("No answer. Trying again…"),
      onLateAnswer: () => checkDrawn(redraw), // the answer that was lost may have told of changes
    });
  } catch (problem) {
    if (!(problem instanceof Refused) || problem.status === 403) {
      end();
    } else if (problem.status === 409 && action !== "load") {
      draw(await answerTo("load", wish())); // the application had forgotten this tab
      if (action !== "changes" && action !== "rows") {
        warn("That did not work. Please try again.");
      }
    } else {
      warn("That did not work.");
    }
    return null;
  } finally {
    calm(waiting);
  }
}

let last = Promise.resolve();

/**
 * Makes one request after the other, so that no answer is older than the one before. Never rejects: a fault of this
 * page is reported as the browser reports faults.
 */
function ask(action, details = {}) {
  last = last.then(() => answerTo(action, details)).catch((fault) => {
    reportError(fault);
    return null;
  });
  return last;
}

function setOver(over) {
  isOver = over;
  clearTimeout(nextLook);
  warn("");
  document.body.classList.toggle("is-gone", over);
  byId("gone").hidden = !over;
  byId("gone-text").textContent = over ? "The application no longer shows this page. Open it again from there." : "";
  [list, byId("reset-all"), byId("search-form")].forEach((part) => (part.inert = over));
}

function end() {
  closeChoice();
  closeQuestion();
  setOver(true);
  byId("again").focus();
}

byId("again").addEventListener("click", async () => {
  const loaded = await post("load", wish(), { onLongWait: warnOfWait }).catch(() => null);
  calm(waiting);
  if (!loaded) {
    warn("Still no answer.");
    return;
  }
  draw(loaded);
  if (isOver) {
    setOver(false);
    search.focus();
    say("The page is back.");
    look();
  }
});

// Drawing

const isPressed = (id) => byId(id).getAttribute("aria-pressed") === "true";

/** What the person wants to see. */
const wish = () => ({ search: search.value, inWholeNames: isPressed("whole"), overriddenOnly: isPressed("overridden") });

function tellWhatIsSearched() {
  byId("search-hint").textContent = isPressed("whole") ? "Searches whole names" : `Searches ${searchedPart}`;
}

/** Says why the list is empty, and offers what may help. */
function explainEmptiness() {
  const { search: text, inWholeNames, overriddenOnly } = wish();
  const where = inWholeNames ? "in whole names" : searchedPart;
  const among = overriddenOnly ? " among the overridden flags" : "";
  let why = overriddenOnly ? "No flag is overridden." : "No flags are registered.";
  if (text) {
    why = `Nothing found${among} ${where}.`;
  }
  byId("empty-text").textContent = why;
  byId("empty").hidden = count > 0;
  byId("widen").hidden = !text || inWholeNames;
  byId("show-all").hidden = !overriddenOnly;
}

function draw(loaded) {
  if (!loaded) {
    return;
  }
  const { title, resetAll, sections } = loaded;
  const groupingHere = groupings;
  forgetRows();
  drawList(sections, learnRows(loaded.rows), async (from, size) => {
    const answer = await ask("rows", { from, count: size });
    return groupingHere === groupings ? answer : undefined; // rows are numbered otherwise by now
  });
  count = sections.reduce((sum, section) => sum + section.count, 0);
  byId("title").textContent = document.title = title;
  byId("reset-all").textContent = resetAll;
  learnOverrides(loaded.overrides);
  tellOfStrangers(isPressed("overridden"));
  tellWhatIsSearched();
  explainEmptiness();
}

/** Draws the rows of an answer anew, and returns whether there is one. */
function redraw(answer) {
  answer?.rows.forEach(updateRow);
  tick();
  if (answer && learnOverrides(answer.overrides) && isPressed("overridden")) {
    load();
  }
  return Boolean(answer);
}

// What the person does

/** The switch stands as the person has put it until the last flip is answered. */
async function toggle(name) {
  const row = rowOf(name);
  const isOn = row.drawn.control.getAttribute("aria-checked") !== "true";
  row.drawn.control.setAttribute("aria-checked", isOn);
  ++row.flips;
  const answer = await ask("toggle", { name, isOn });
  --row.flips;
  redraw(answer);
  if (rowOf(name) === row) {
    updateRow(row.data);
  }
}

async function resetRow(name) {
  const label = labelOf(rowOf(name).data);
  if (redraw(await ask("reset", { name }))) {
    say(`${label} is reset.`);
  }
}

async function choose(name) {
  const row = rowOf(name);
  const choices = await ask("choices", { name });
  if (!choices || isSearching || rowOf(name) !== row) {
    return; // the person has gone on to something else
  }
  showChoice(name, choices, async (title) => {
    if (redraw(await ask("choose", { name, title })) && rowOf(name)) {
      say(wordsOf(rowOf(name).data));
    }
  });
}

list.addEventListener("click", ({ target }) => {
  const button = target.closest("button");
  const name = button?.closest(".row").dataset.name;
  if (button?.matches(".switch")) {
    toggle(name);
  } else if (button?.matches(".value")) {
    choose(name);
  } else if (button) {
    resetRow(name);
  }
});

byId("reset-all").addEventListener("click", () =>
  askToResetAll(
    byId("reset-all").textContent,
    async () => {
      const isDone = redraw(await ask("resetAll"));
      if (isDone) {
        say("All flags are reset. This can be undone for ten seconds.");
      }
      return isDone;
    },
    async () => {
      if (redraw(await ask("undoResetAll"))) {
        say("The overrides are back.");
      }
    },
  ),
);

let isSearching = false;

/** Loads what the person wants to see. Of the wishes made while an answer is awaited, only the last counts. */
async function load() {
  if (isSearching) {
    return;
  }
  isSearching = true;
  let asked;
  let found;
  const isStale = () => JSON.stringify(asked) !== JSON.stringify(wish());
  do {
    asked = wish();
    found = await ask("load", asked);
    if (!isStale()) {
      const wasInList = list.contains(document.activeElement);
      draw(found);
      if (wasInList) {
        byId("overridden").focus();
      }
    }
  } while (isStale() && !isOver);
  isSearching = false;
  if (found) {
    say(`${count} ${count === 1 ? "flag" : "flags"}`);
  }
}

function press(id, isOn) {
  byId(id).setAttribute("aria-pressed", isOn);
  tellWhatIsSearched();
  load();
}

search.addEventListener("input", load);
["whole", "overridden"].forEach((id) => byId(id).addEventListener("click", () => press(id, !isPressed(id))));
byId("widen").addEventListener("click", () => {
  press("whole", true);
  search.focus();
});
byId("show-all").addEventListener("click", () => {
  press("overridden", false);
  byId("overridden").focus();
});
byId("search-form").addEventListener("submit", (event) => {
  event.preventDefault();
  load();
});

// What changes elsewhere

/**
 * Looks for changes, again and again. The pauses are so long that this takes at most a twentieth of the application's
 * time, however long its properties take to compute.
 */
async function look() {
  clearTimeout(nextLook);
  const answer = document.hidden ? null : await ask("changes");
  redraw(answer);
  if (!isOver) {
    clearTimeout(nextLook);
    nextLook = setTimeout(look, Math.max(between, 20 * (answer?.took ?? 0)));
  }
}

document.addEventListener("visibilitychange", () => !isOver && look());

/** Lets section headings stick below the header. A low window has no room for that: there the header scrolls away. */
const header = document.querySelector("header");
function measureHeader() {
  const height = getComputedStyle(header).position === "sticky" ? header.getBoundingClientRect().height : 0;
  document.documentElement.style.setProperty("--header", `${height}px`);
}
new ResizeObserver(measureHeader).observe(header);
addEventListener("resize", measureHeader);

draw(await ask("load", wish()));
look();
