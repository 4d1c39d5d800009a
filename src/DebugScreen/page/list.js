// Draws the sections and rows, a stretch at a time, when it comes near the window.

import { drawRow, element, learnRows } from "./rows.js";

const list = document.getElementById("list");
const rowsOfChunk = 40; // rows are drawn this many at a time
const between = 1000; // milliseconds before rows that did not come are asked for again
const rowHeight = 64; // about, in pixels
const headingHeight = 46;

const near = new IntersectionObserver(
  (entries) => entries.filter(({ isIntersecting }) => isIntersecting).forEach(({ target }) => target.fill()),
  { rootMargin: "1200px" },
);

function drawHeading({ title }) {
  const heading = element("h2", "section");
  heading.append(element("span", "", title || "(no name)"));
  heading.title = title;
  return heading;
}

function sectionElement(section, ...content) {
  const made = element("section");
  made.setAttribute("aria-label", section.title || "(no name)");
  made.append(drawHeading(section), ...content);
  return made;
}

function drawRows(names, className) {
  const drawn = element("ul", className);
  drawn.setAttribute("role", "list");
  drawn.append(...names.map(drawRow));
  return drawn;
}

/**
 * A stretch of `count` rows, from row `from` of the list on, about `height` pixels high from the start. `draw(names)`
 * makes its elements. `known` are the names of the rows that have come already, from the first of the list on;
 * `askForRows(from, count)` resolves to an answer, to null when there is none, and to undefined when the list was drawn
 * anew meanwhile.
 */
function chunkOf({ from, count, height, draw }, known, askForRows) {
  const chunk = element("div", "chunk");
  chunk.style.minHeight = `${height}px`;
  const ask = async () => {
    const answer = await askForRows(from, count);
    return chunk.isConnected ? answer : undefined;
  };
  const drawAll = (names) => {
    chunk.check = ask;
    chunk.style.minHeight = "";
    chunk.append(...draw(names));
  };
  chunk.fill = async () => {
    near.unobserve(chunk);
    if (from + count <= known.length) {
      drawAll(known.slice(from, from + count));
      return;
    }
    const answer = await ask();
    if (answer) {
      drawAll(learnRows(answer.rows));
    } else if (answer === null) {
      setTimeout(() => chunk.isConnected && !list.inert && near.observe(chunk), between);
    }
  };
  return chunk;
}

/** The chunks of a long section, whose heading is there at once so that it can stick above all of them. */
function longSection(section, from, known, askForRows) {
  const chunks = [];
  for (let begun = 0; begun < section.count; begun += rowsOfChunk) {
    const count = Math.min(rowsOfChunk, section.count - begun);
    const ends = [begun === 0 ? "begins" : "", begun + count === section.count ? "ends" : ""].join(" ");
    const draw = (names) => [drawRows(names, ends)];
    chunks.push(chunkOf({ from: from + begun, count, height: count * rowHeight, draw }, known, askForRows));
  }
  return sectionElement(section, ...chunks);
}

/** One chunk with several short sections. */
function shortSections(sections, from, known, askForRows) {
  const count = sections.reduce((sum, section) => sum + section.count, 0);
  const draw = (names) => {
    let begun = 0;
    return sections.map((section) => {
      begun += section.count;
      return sectionElement(section, drawRows(names.slice(begun - section.count, begun), "begins ends"));
    });
  };
  const height = count * rowHeight + sections.length * headingHeight;
  return chunkOf({ from, count, height, draw }, known, askForRows);
}

/** Draws the list anew; parameters as in `chunkOf`. */
export function drawList(sections, known, askForRows) {
  near.disconnect();
  const parts = [];
  let from = 0;
  let short = [];
  let size = 0;
  const endShort = () => {
    if (short.length > 0) {
      parts.push(shortSections(short, from - size, known, askForRows));
    }
    short = [];
    size = 0;
  };
  for (const section of sections) {
    if (section.count > rowsOfChunk) {
      endShort();
      parts.push(longSection(section, from, known, askForRows));
    } else {
      short.push(section);
      size += section.count;
    }
    from += section.count;
    if (size >= rowsOfChunk) {
      endShort();
    }
  }
  endShort();
  list.replaceChildren(...parts);
  const [first, ...others] = list.querySelectorAll(".chunk");
  first?.fill();
  others.forEach((chunk) => near.observe(chunk));
}

/** Asks for all rows that are drawn, and calls `take` with each answer. */
export function checkDrawn(take) {
  [...list.querySelectorAll(".chunk")].forEach(async (chunk) => take(await chunk.check?.()));
}
