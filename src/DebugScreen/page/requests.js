// Makes the requests of this tab to the application.

const tab = crypto.getRandomValues(new Uint32Array(4)).join("-");
const pauses = [200, 400, 800, 1500, 2100]; // milliseconds before a request that got no answer is made again
const long = 2000; // milliseconds without an answer, after which the person is told

/** How often the application has grouped the flags for this tab. Rows are asked for by their number in the last one. */
export let groupings = 0;

/** The application has answered that it does not do what was asked. */
export class Refused extends Error {
  constructor(status) {
    super(`refused with ${status}`);
    this.status = status;
  }
}

/**
 * The answer to one request. Waits for as long as it takes, because the application may be stopped in a debugger, or
 * its properties slow to compute; calls `onLongWait` after two seconds. Throws Refused, and the browser's errors when
 * there is no answer.
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
 * Like `post`, but makes the request again when there is no answer, about five seconds long. Calls `onSilence` before
 * each repetition, and `onLateAnswer` when one of them is answered. The application may have done what was asked more
 * than once by then, which does no harm.
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
