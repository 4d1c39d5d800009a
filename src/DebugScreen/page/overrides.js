// How many overrides there are, and "Reset All": it asks, and can be undone for ten seconds.

const byId = (id) => document.getElementById(id);
const sure = byId("sure");
const undoable = 10_000; // milliseconds

let all = 0;
let registered = 0;
let nextHide = 0;

const counted = (count) => `${count} ${count === 1 ? "override" : "overrides"}`;

/** Takes the "overrides" of an answer. Returns whether their number has changed. */
export function learnOverrides(overrides) {
  const before = all;
  ({ all, registered } = overrides ?? { all, registered });
  byId("overrides").textContent = all;
  const others = all - registered;
  byId("strangers").textContent =
    others === 1
      ? "1 more override is for a flag that this application has not registered."
      : `${others} more overrides are for flags that this application has not registered.`;
  return before !== all;
}

/** Shows or hides the line about overrides that have no row. */
export function tellOfStrangers(isWanted) {
  byId("strangers").hidden = !isWanted || all === registered;
}

function hideUndo() {
  clearTimeout(nextHide);
  if (byId("undo").contains(document.activeElement)) {
    byId("reset-all").focus();
  }
  byId("undo").hidden = true;
}

/**
 * Asks the person, and calls `reset()`, which resolves to whether it was done. For ten seconds after it was, offers to
 * undo it, which calls `undo()`.
 */
export function askToResetAll(title, reset, undo) {
  const before = all;
  byId("sure-title").textContent = `${title}?`;
  byId("sure-message").textContent = before
    ? `${counted(before)} will be removed, and frozen flags take their present values.`
    : "Nothing is overridden. Frozen flags take their present values.";
  byId("sure-reset").textContent = before ? `Remove ${counted(before)}` : "Reset";
  byId("sure-reset").onclick = async () => {
    sure.close();
    if ((await reset()) && before) {
      byId("undo-text").textContent = `${counted(before)} removed.`;
      byId("undo").hidden = false;
      clearTimeout(nextHide);
      nextHide = setTimeout(hideUndo, undoable);
    }
  };
  byId("undo-button").onclick = () => {
    hideUndo();
    undo();
  };
  hideUndo();
  sure.showModal();
}

export function closeQuestion() {
  sure.close();
  hideUndo();
}

byId("sure-cancel").addEventListener("click", () => sure.close());
sure.addEventListener("click", ({ target }) => target === sure && sure.close());
