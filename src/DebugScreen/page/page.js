// Draws what the flags screen's model tells, and tells it what the person does. Texts of flags are only ever set as
// text. Grouping, labels and search are the model's; this page knows no rule of them.

const byId = (id) => document.getElementById(id);
const list = byId("list");
const search = byId("search");
const choice = byId("choice");

const tab = crypto.getRandomValues(new Uint32Array(4)).join("-");
const rowsOfChunk = 40; // as many are drawn at once, when they come near the window
const between = 1000; // milliseconds from one look for changes to the next

/** By full name, those that are known: what is shown, and its elements once it has been drawn. */
let rows = new Map();
let count = 0; // of all rows

// Asking

class Refused extends Error {
  constructor(status) {
    super(`refused with ${status}`);
    this.status = status;
  }
}

async function post(action, wish) {
  const answer = await fetch(action, {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify({ tab, ...wish }),
  });
  if (!answer.ok) {
    throw new Refused(answer.status);
  }
  return answer.json();
}

let last = Promise.resolve();

/** One request after the other, so that no answer is older than the one before. Null when there is none. */
function ask(action, wish = {}) {
  const asked = last.then(() => post(action, wish)).catch((problem) => fail(problem, action));
  last = asked;
  return asked;
}

async function fail(problem, action) {
  if (problem instanceof Refused && problem.status === 409 && action !== "load") {
    draw(await post("load", { search: search.value })); // the screen had forgotten this tab
  } else if (!(problem instanceof Refused) || problem.status === 403) {
    end();
  } else {
    say("That did not work.");
  }
  return null;
}

function end() {
  clearTimeout(nextLook);
  isOver = true;
  document.body.classList.add("is-gone");
  byId("gone").textContent = "This screen was closed. Open it again from the application.";
  byId("gone").hidden = false;
  list.inert = true;
  document.querySelector("header").inert = true;
  choice.close();
}

// Drawing

function element(name, className, text) {
  const made = document.createElement(name);
  if (className) {
    made.className = className;
  }
  if (text !== undefined) {
    made.textContent = text;
  }
  return made;
}

let numbers = 0;

function drawRow(data) {
  const row = element("li", "row");
  const front = element("div", "front");
  const texts = element("div", "texts");
  const label = element("div", "label");
  const detail = element("div", "detail");
  const control = element("button", `control ${"isOn" in data ? "switch" : "value"}`);
  const reset = element("button", "reset", "Reset");
  control.type = reset.type = "button";
  label.id = `label-${++numbers}`;
  detail.id = `detail-${numbers}`;
  control.setAttribute("aria-describedby", detail.id);
  if ("isOn" in data) {
    control.setAttribute("role", "switch");
    control.setAttribute("aria-labelledby", label.id);
  } else {
    control.setAttribute("aria-haspopup", "dialog");
    control.append(element("span"));
  }
  texts.append(label, detail);
  front.append(texts, control);
  row.append(front, reset);
  rows.get(data.name).drawn = { row, label, detail, control, reset };
  update(data);
  control.addEventListener("click", () => ("isOn" in data ? toggle(data.name) : choose(data.name)));
  reset.addEventListener("click", () => resetRow(data.name));
  return row;
}

/** Brings a row up to date, where it stands. */
function update(data) {
  const known = rows.get(data.name);
  if (!known) {
    return;
  }
  const { drawn, data: before } = known;
  known.data = data;
  if (!drawn) {
    return;
  }
  if (!data.isGone && "isOn" in data !== "isOn" in before && !before.isGone) {
    drawn.row.replaceWith(drawRow(data)); // another flag of that name, of another kind
    return;
  }
  drawn.row.hidden = data.isGone === true;
  drawn.label.textContent = data.label ?? "";
  drawn.label.title = data.name;
  drawn.detail.textContent = data.detail ?? "";
  drawn.detail.hidden = data.detail === undefined;
  drawn.reset.setAttribute("aria-label", `Reset ${data.label}`);
  if ("isOn" in data) {
    drawn.control.setAttribute("aria-checked", data.isOn);
  } else {
    drawn.control.firstChild.textContent = data.value ?? "";
    drawn.control.setAttribute("aria-label", `${data.label}: ${data.value || "(empty)"}`);
  }
}

/** Pieces of sections, each with its header when it begins one; `from` counts through all sections. */
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
  const section = element("section");
  section.setAttribute("aria-label", title || "(no name)");
  if (begins) {
    section.append(element("h2", "section", title || "(no name)"));
  }
  const drawn = element("ul", `${begins ? "begins" : ""} ${ends ? "ends" : ""}`);
  drawn.setAttribute("role", "list");
  drawn.append(...names.map((name) => drawRow(rows.get(name).data)));
  section.append(drawn);
  return section;
}

const near = new IntersectionObserver(
  (entries) => entries.filter(({ isIntersecting }) => isIntersecting).forEach(({ target }) => target.fill()),
  { rootMargin: "1200px" },
);

/**
 * A stretch of the list, as high as it will be about, that is drawn when it comes near the window. `names` has those
 * of the rows that are known already.
 */
function chunkOf(pieces, names) {
  const chunk = element("div");
  const { from } = pieces[0];
  const count = pieces.reduce((sum, piece) => sum + piece.count, 0);
  const high = pieces.reduce((sum, piece) => sum + piece.count * 52 + (piece.begins ? 46 : 0), 0);
  chunk.style.minHeight = `${high}px`;
  const drawAll = (own) => {
    chunk.style.minHeight = "";
    chunk.append(...pieces.map((piece) => drawPiece(piece, own.slice(piece.from - from).slice(0, piece.count))));
  };
  chunk.fill = async () => {
    near.unobserve(chunk);
    if (from + count <= names.length) {
      drawAll(names.slice(from));
      return;
    }
    const answer = await ask("rows", { from, count });
    if (answer && chunk.isConnected) {
      answer.rows.forEach((data) => rows.set(data.name, { data, drawn: null }));
      drawAll(answer.rows.map(({ name }) => name));
    }
  };
  return chunk;
}

function draw(screen) {
  if (!screen) {
    return;
  }
  near.disconnect();
  rows = new Map(screen.rows.map((data) => [data.name, { data, drawn: null }]));
  const names = screen.rows.map(({ name }) => name);
  const chunks = [];
  let pieces = [];
  let size = 0;
  for (const piece of piecesOf(screen.sections)) {
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
  count = screen.sections.reduce((sum, section) => sum + section.count, 0);
  byId("title").textContent = document.title = screen.title;
  byId("reset-all").textContent = screen.resetAll;
  byId("empty").textContent = search.value ? "No flag is called that." : "No flags are registered.";
  byId("empty").hidden = count > 0;
}

function redraw(answer) {
  answer?.rows.forEach(update);
  return answer !== null; // it was done
}

function say(text) {
  byId("said").textContent = text;
}

// What the person does

async function toggle(name) {
  redraw(await ask("toggle", { name, isOn: !rows.get(name).data.isOn }));
}

async function resetRow(name) {
  const { label } = rows.get(name).data;
  if (redraw(await ask("reset", { name }))) {
    rows.get(name)?.drawn?.row.scrollTo({ left: 0, behavior: "smooth" });
    say(`${label} is reset.`);
  }
}

async function choose(name) {
  const choices = await ask("choices", { name });
  if (!choices) {
    return;
  }
  byId("choice-title").textContent = choices.title;
  byId("choice-message").textContent = choices.message;
  byId("choice-actions").replaceChildren(
    ...choices.actions.map(({ title, isCancel }) => {
      const action = element("button", isCancel ? "cancel" : "", title || "(empty)");
      action.type = "button";
      action.addEventListener("click", async () => {
        choice.close();
        if (!isCancel) {
          redraw(await ask("choose", { name, title }));
        }
      });
      return action;
    }),
  );
  choice.showModal();
}

choice.addEventListener("click", ({ target }) => target === choice && choice.close());

byId("reset-all").addEventListener("click", async () => {
  if (redraw(await ask("resetAll"))) {
    say("All flags are reset.");
  }
});

let isSearching = false;

/** Of what is typed while an answer is awaited, only the last counts. */
async function runSearch() {
  if (isSearching) {
    return;
  }
  isSearching = true;
  let asked;
  do {
    asked = search.value;
    const found = await ask("load", { search: asked });
    if (asked === search.value) {
      draw(found);
    }
  } while (asked !== search.value && !isOver);
  isSearching = false;
  say(`${count} ${count === 1 ? "flag" : "flags"}`);
}

search.addEventListener("input", runSearch);
byId("search-form").addEventListener("submit", (event) => {
  event.preventDefault();
  runSearch();
});

// What changes elsewhere

let isOver = false;
let nextLook = 0;

/** Takes the application at most a small part of its time, however long its properties take to compute. */
async function look() {
  clearTimeout(nextLook);
  const answer = document.hidden ? null : await ask("changes");
  redraw(answer);
  if (!isOver) {
    nextLook = setTimeout(look, Math.max(between, 20 * (answer?.took ?? 0)));
  }
}

document.addEventListener("visibilitychange", () => !isOver && look());
addEventListener("scroll", () => document.querySelector("header").classList.toggle("raised", scrollY > 4), {
  passive: true,
});

draw(await ask("load", { search: search.value }));
look();
