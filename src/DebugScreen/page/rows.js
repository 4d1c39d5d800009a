// The rows that the tab was told of, and how a row is drawn. Names and values of flags are set as text, never as HTML.

/**
 * By full name: the row's data, its elements (null until it is drawn), and the number of flips of its switch that are
 * not answered yet.
 */
let rows = new Map();
let numbers = 0;

/** The row of that full name, undefined when none is known. */
export const rowOf = (name) => rows.get(name);

/** Forgets all rows. */
export function forgetRows() {
  rows = new Map();
}

/** Makes rows known by their data, and returns their full names. */
export function learnRows(all) {
  return all.map((data) => {
    rows.set(data.name, { data, drawn: null, flips: 0 });
    return data.name;
  });
}

export function element(name, className, text) {
  const made = document.createElement(name);
  if (className) {
    made.className = className;
  }
  if (text !== undefined) {
    made.textContent = text;
  }
  return made;
}

export const labelOf = ({ label, name }) => label?.trim() || name;

/** The label and the value of a row with a button. */
export const wordsOf = (data) => `${labelOf(data)}: ${data.value || "(empty)"}`;

/** The element of a known row. Its data-name is the full name; its buttons are of class "switch", "value", "reset". */
export function drawRow(name) {
  const { data } = rowOf(name);
  const row = element("li", "row");
  const front = element("div", "front");
  const texts = element("div", "texts");
  const label = element("div", "label");
  const detail = element("div", "detail");
  const control = element("button", `control ${"isOn" in data ? "switch" : "value"}`);
  const reset = element("button", "reset", "Reset");
  row.dataset.name = name;
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
  rowOf(name).drawn = { row, label, detail, control, reset };
  updateRow(data);
  return row;
}

/** Takes new data for a row, and shows them where the row stands. */
export function updateRow(data) {
  const known = rowOf(data.name);
  if (!known) {
    return;
  }
  const { drawn, data: before } = known;
  known.data = data;
  if (!drawn) {
    return;
  }
  if (!data.isGone && "isOn" in data !== "isOn" in before && !before.isGone) {
    drawn.row.replaceWith(drawRow(data.name)); // another flag of that name, of another kind
    return;
  }
  drawn.row.hidden = data.isGone === true;
  drawn.label.textContent = labelOf(data);
  drawn.label.title = data.name;
  drawn.detail.textContent = data.detail ?? "";
  drawn.detail.hidden = data.detail === undefined;
  drawn.reset.setAttribute("aria-label", `Reset ${labelOf(data)}`);
  if (!("isOn" in data)) {
    drawn.control.firstChild.textContent = drawn.control.title = data.value ?? "";
    drawn.control.setAttribute("aria-label", wordsOf(data));
  } else if (known.flips === 0) {
    drawn.control.setAttribute("aria-checked", data.isOn);
  }
}
