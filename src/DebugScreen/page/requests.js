// Asks the application, for this tab.

const tab = crypto.getRandomValues(new Uint32Array(4)).join("-");
const pauses = [200, 400, 800, 1500, 2100]; // milliseconds before a request that got no answer is made again
const long = 2000; // milliseconds that an answer takes before the person is told

/** How many groupings the application has made for this tab; rows are asked for by their places in the last one. */
export let groupings = 0;

/** The application answered, and does not do it. */
export class Refused extends Error {
  constructor(status) {
    super(`refused with ${status}`);
    this.status = status;
  }
}

/**
 * What the application answers to one request, however long it takes: it may have been stopped, or its properties may
 * be slow to compute. `onLongWait` is told. Throws Refused, and the browser's errors when there is no answer.
 */
export async function post(action, wish, { onLongWait }) {
  const wait = setTimeout(onLongWait, long);
  try {
    const answer = await fetch(action, {
      method: "POST",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify({ tab, ...wish }),
    });
    if (!answer.ok) {
      throw new Refused(answer.status);
    }
    const content = await answer.json();
    if (action === "load") {
      ++groupings;
    }
    return content;
  } finally {
    clearTimeout(wait);
  }
}

/**
 * The same, and asks again while there is no answer, which `onSilence` is told of each time. What is asked for may then
 * have been done more than once, which does no harm; `onLateAnswer` is told when an answer comes after all.
 */
export async function postPatiently(action, wish, { onLongWait, onSilence, onLateAnswer }) {
  for (let tried = 0; ; ++tried) {
    try {
      const content = await post(action, wish, { onLongWait });
      if (tried > 0) {
        onLateAnswer();
      }
      return content;
    } catch (problem) {
      if (problem instanceof Refused || tried === pauses.length) {
        throw problem;
      }
      onSilence();
      await new Promise((resolve) => setTimeout(resolve, pauses[tried]));
    }
  }
}
