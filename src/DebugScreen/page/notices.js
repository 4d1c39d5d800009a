// What the page tells the person in passing.

const heard = document.getElementById("said");
const shown = document.getElementById("warned");
let nextCalm = 0;

export const waiting = "Waiting for the application…";

/** Tells those who hear the page. */
export function say(text) {
  heard.textContent = text;
}

/** Shows a warning for five seconds. */
export function warn(text) {
  clearTimeout(nextCalm);
  shown.textContent = text;
  nextCalm = setTimeout(() => calm(text), 5000);
}

/** Shows that the page waits; stays until the answer comes. */
export function warnOfWait() {
  warn(waiting);
  clearTimeout(nextCalm);
}

/** Removes that warning, unless another one has replaced it. */
export function calm(text) {
  if (shown.textContent === text) {
    shown.textContent = "";
  }
}
