// The choice of a flag's value.

import { element, rowOf } from "./rows.js";

const choice = document.getElementById("choice");
const title = document.getElementById("choice-title");
const actions = document.getElementById("choice-actions");
let choiceOf = ""; // full name of the flag whose choice is shown, or was last

/** Marks the present value in the choice. */
export function tick() {
  const data = rowOf(choiceOf)?.data;
  const value = data?.raw ?? data?.value;
  [...actions.children]
    .filter(({ className }) => className !== "cancel")
    .forEach((each) => each.setAttribute("aria-current", each.dataset.title === value));
}

/** Shows the choices for the flag of that name; `pick(title)` is called with the one that the person picks. */
export function showChoice(name, choices, pick) {
  title.textContent = choices.title;
  document.getElementById("choice-message").textContent = choices.message;
  actions.replaceChildren(
    ...choices.actions.map((each) => {
      const action = element("button", each.isCancel ? "cancel" : "", each.title || "(empty)");
      action.type = "button";
      action.dataset.title = each.title;
      action.addEventListener("click", () => {
        choice.close();
        if (!each.isCancel) {
          pick(each.title);
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
  if (title.scrollHeight > title.clientHeight) {
    title.tabIndex = 0; // so that the keyboard can scroll a long name
  } else {
    title.removeAttribute("tabindex");
  }
  (actions.querySelector("[aria-current=true]") ?? actions.firstElementChild)?.focus();
}

export function closeChoice() {
  choice.close();
}

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
