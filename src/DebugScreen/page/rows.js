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
  const isSwitch = "isOn" in data;
  const row = element("li", "row");
  const texts = element("div", "texts");
  const label = element("div", "label");
  const fullName = element("div", "name", name);
  const control = element("button", `control ${isSwitch ? "switch" : "value"}`);
  const detail = element("div", "detail");
  const reset = element("button", "reset", "Reset");
  row.dataset.name = name;
  control.type = reset.type = "button";
  label.id = `label-${++numbers}`;
  fullName.id = `name-${numbers}`;
  detail.id = `detail-${numbers}`;
  control.setAttribute("aria-describedby", `${fullName.id} ${detail.id}`);
  if (isSwitch) {
    control.setAttribute("role", "switch");
    control.setAttribute("aria-labelledby", label.id);
  } else {
    control.setAttribute("aria-haspopup", "dialog");
    control.append(element("span", "shown"), " ", element("span", "raw"));
  }
  texts.append(label, fullName);
  row.append(texts, control, detail, reset);
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
  const isOverridden = data.detail !== undefined;
  if (!isOverridden && drawn.reset === document.activeElement) {
    drawn.control.focus();
  }
  drawn.row.hidden = data.isGone === true;
  drawn.label.textContent = labelOf(data);
  drawn.detail.textContent = data.detail ?? "";
  drawn.detail.hidden = drawn.reset.hidden = !isOverridden;
  drawn.reset.setAttribute("aria-label", `Reset ${labelOf(data)}`);
  if (!("isOn" in data)) {
    const [shown, raw] = drawn.control.children;
    shown.textContent = data.value ?? "";
    raw.textContent = data.raw ?? "";
    drawn.control.title = data.raw ?? data.value ?? "";
    drawn.control.setAttribute("aria-label", [wordsOf(data), data.raw ?? ""].join(" ").trim());
  } else if (known.flips === 0) {
    drawn.control.setAttribute("aria-checked", data.isOn);
  }
}
