// The page of the flags screen: draws the tab's model, and tells it what the person does. Grouping, labels and search
// follow rules of the model; the page knows none of them.

import { Refused, groupings, post, postPatiently } from "./requests.js";
import { drawRow, element, forgetRows, labelOf, learnRows, rowOf, updateRow, wordsOf } from "./rows.js";

const byId = (id) => document.getElementById(id);
const list = byId("list");
const search = byId("search");
const choice = byId("choice");
const actions = byId("choice-actions");

const rowsOfChunk = 40; // rows are drawn this many at a time, when they come near the window
const waiting = "Waiting for the application…";
const between = 1000; // milliseconds from one look for changes to the next

let count = 0; // of the rows in all sections
let isOver = false;
let nextLook = 0;

// Asking

/** The answer, or null when there is none; the person is told why. */
async function answerTo(action, wish) {
  if (isOver) {
    return null;
  }
  try {
    return await postPatiently(action, wish, {
      onLongWait: warnOfWait,
      onSilence: () => warn("No answer. Trying again…"),
      onLateAnswer: checkDrawn,
    });
  } catch (problem) {
    if (!(problem instanceof Refused) || problem.status === 403) {
      end();
    } else if (problem.status === 409 && action !== "load") {
      draw(await answerTo("load", { search: search.value })); // the application had forgotten this tab
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
function ask(action, wish = {}) {
  last = last.then(() => answerTo(action, wish)).catch((fault) => {
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
  choice.close();
  setOver(true);
  byId("again").focus();
}

byId("again").addEventListener("click", async () => {
  const loaded = await post("load", { search: search.value }, { onLongWait: warnOfWait }).catch(() => null);
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

/**
 * The sections, cut into pieces of at most `rowsOfChunk` rows. `begins` and `ends` say whether a piece is the first or
 * last of its section; `from` numbers its first row through all sections.
 */
function piecesOf(sections) {
  let from = 0;
  return sections.flatMap(({ title, count }) => {
    const pieces = [];
    for (let i = 0; i < count; i += rowsOfChunk) {
      const size = Math.min(rowsOfChunk, count - i);
      pieces.push({ title, from, count: size, begins: i === 0, ends: i + size === count });
      from += size;
    }
    return pieces;
  });
}

function drawPiece({ title, begins, ends }, names) {
  const section = element(begins ? "section" : "div");
  if (begins) {
    section.setAttribute("aria-label", title || "(no name)");
    section.append(element("h2", "section", title || "(no name)"));
  }
  const drawn = element("ul", `${begins ? "begins" : ""} ${ends ? "ends" : ""}`);
  drawn.setAttribute("role", "list");
  drawn.append(...names.map(drawRow));
  section.append(drawn);
  return section;
}

const near = new IntersectionObserver(
  (entries) => entries.filter(({ isIntersecting }) => isIntersecting).forEach(({ target }) => target.fill()),
  { rootMargin: "1200px" },
);

/**
 * A stretch of the list, about as high from the start as its rows will be. These are drawn when it comes near the
 * window. `names` are the rows that are known already, from the first of the list on.
 */
function chunkOf(pieces, names) {
  const chunk = element("div");
  const { from } = pieces[0];
  const count = pieces.reduce((sum, piece) => sum + piece.count, 0);
  const high = pieces.reduce((sum, piece) => sum + piece.count * 52 + (piece.begins ? 46 : 0), 0);
  chunk.style.minHeight = `${high}px`;
  const groupingHere = groupings;
  const askForRows = async () => {
    const answer = await ask("rows", { from, count });
    return groupingHere === groupings && chunk.isConnected ? answer : undefined; // rows are numbered otherwise by now
  };
  const drawAll = (own) => {
    chunk.check = async () => redraw(await askForRows());
    chunk.style.minHeight = "";
    chunk.append(...pieces.map((piece) => drawPiece(piece, own.slice(piece.from - from).slice(0, piece.count))));
  };
  chunk.fill = async () => {
    near.unobserve(chunk);
    if (from + count <= names.length) {
      drawAll(names.slice(from));
      return;
    }
    const answer = await askForRows();
    if (answer) {
      drawAll(learnRows(answer.rows));
    } else if (answer === null) {
      setTimeout(() => chunk.isConnected && !isOver && near.observe(chunk), between);
    }
  };
  return chunk;
}

/** Asks for all rows that are drawn: the answer that was lost may have told of changes. */
function checkDrawn() {
  [...list.children].forEach((chunk) => chunk.check?.());
}

function draw(loaded) {
  if (!loaded) {
    return;
  }
  near.disconnect();
  forgetRows();
  const names = learnRows(loaded.rows);
  const chunks = [];
  let pieces = [];
  let size = 0;
  for (const piece of piecesOf(loaded.sections)) {
    pieces.push(piece);
    size += piece.count;
    if (size >= rowsOfChunk) {
      chunks.push(chunkOf(pieces, names));
      pieces = [];
      size = 0;
    }
  }
  if (pieces.length > 0) {
    chunks.push(chunkOf(pieces, names));
  }
  list.replaceChildren(...chunks);
  chunks[0]?.fill();
  chunks.slice(1).forEach((chunk) => near.observe(chunk));
  count = loaded.sections.reduce((sum, section) => sum + section.count, 0);
  byId("title").textContent = document.title = loaded.title;
  byId("reset-all").textContent = loaded.resetAll;
  byId("empty").textContent = search.value
    ? "Nothing found. The search looks at the second part of a name."
    : "No flags are registered.";
  byId("empty").hidden = count > 0;
}

/** Draws the rows of an answer anew, and returns whether there is one. */
function redraw(answer) {
  answer?.rows.forEach(updateRow);
  tick();
  return Boolean(answer);
}

function say(text) {
  byId("said").textContent = text;
}

let nextCalm = 0;

/** Shows a warning for five seconds. */
function warn(text) {
  clearTimeout(nextCalm);
  byId("warned").textContent = text;
  nextCalm = setTimeout(() => calm(text), 5000);
}

/** Shows that the page waits; stays until the answer comes. */
function warnOfWait() {
  warn(waiting);
  clearTimeout(nextCalm);
}

/** Removes that warning, unless another one has replaced it. */
function calm(text) {
  if (byId("warned").textContent === text) {
    byId("warned").textContent = "";
  }
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
    rowOf(name)?.drawn?.row.scrollTo({ left: 0, behavior: "smooth" });
    say(`${label} is reset.`);
  }
}

let choiceOf = ""; // full name of the flag whose choice is shown, or was last

/**
 * Marks the present value in the choice. Marks none when several variations differ from it in case alone, because a row
 * shows its value capitalised.
 */
function tick() {
  const value = rowOf(choiceOf)?.data.value?.toLowerCase();
  const variations = [...actions.children].filter(({ className }) => className !== "cancel");
  const present = variations.filter(({ dataset }) => dataset.title.toLowerCase() === value);
  variations.forEach((each) => each.setAttribute("aria-current", present.length === 1 && present[0] === each));
}

async function choose(name) {
  const row = rowOf(name);
  const choices = await ask("choices", { name });
  if (!choices || isSearching || rowOf(name) !== row) {
    return; // the person has gone on to something else
  }
  byId("choice-title").textContent = choices.title;
  byId("choice-message").textContent = choices.message;
  actions.replaceChildren(
    ...choices.actions.map(({ title, isCancel }) => {
      const action = element("button", isCancel ? "cancel" : "", title || "(empty)");
      action.type = "button";
      action.dataset.title = title;
      action.addEventListener("click", async () => {
        choice.close();
        if (!isCancel && redraw(await ask("choose", { name, title })) && rowOf(name)) {
          say(wordsOf(rowOf(name).data));
        }
      });
      return action;
    }),
  );
  choiceOf = name;
  tick();
  if (!choice.open) {
    choice.showModal();
  }
  actions.querySelector("[aria-current=true]")?.focus();
}

/** A row that was swiped aside goes back when something else is touched. */
document.addEventListener("pointerdown", ({ target }) => {
  const touched = target.closest(".row");
  const aside = [...list.querySelectorAll(".row")].filter((row) => row !== touched && row.scrollLeft > 0);
  aside.forEach((row) => row.scrollTo({ left: 0, behavior: "smooth" }));
});

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

actions.addEventListener("keydown", (event) => {
  const all = [...actions.children];
  const at = all.indexOf(document.activeElement);
  const to = { ArrowUp: at - 1, ArrowDown: at + 1, Home: 0, End: all.length - 1 }[event.key];
  if (to !== undefined) {
    event.preventDefault();
    all[to]?.focus();
  }
});

choice.addEventListener("click", ({ target }) => target === choice && choice.close());

byId("reset-all").addEventListener("click", async () => {
  if (redraw(await ask("resetAll"))) {
    say("All flags are reset.");
  }
});

let isSearching = false;

/** Searches for the text in the field. Of the texts typed while an answer is awaited, only the last counts. */
async function runSearch() {
  if (isSearching) {
    return;
  }
  isSearching = true;
  let asked;
  let found;
  do {
    asked = search.value;
    found = await ask("load", { search: asked });
    if (asked === search.value) {
      draw(found);
    }
  } while (asked !== search.value && !isOver);
  isSearching = false;
  if (found) {
    say(`${count} ${count === 1 ? "flag" : "flags"}`);
  }
}

search.addEventListener("input", runSearch);
byId("search-form").addEventListener("submit", (event) => {
  event.preventDefault();
  runSearch();
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
addEventListener("scroll", () => document.querySelector("header").classList.toggle("raised", scrollY > 4), {
  passive: true,
});

draw(await ask("load", { search: search.value }));
look();
