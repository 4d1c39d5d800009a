// Draws counts over time as stacked bars. A value has a colour and a pattern, so that eight can be told apart by everybody.

const svgNamespace = "http://www.w3.org/2000/svg";
const height = 240;
const margin = { left: 48, right: 8, top: 10, bottom: 24 };

function svg(name, attributes, ...content) {
    const made = document.createElementNS(svgNamespace, name);
    Object.entries(attributes).forEach(([attribute, value]) => made.setAttribute(attribute, value));
    made.append(...content);
    return made;
}

// Lines in the colour of the ground, in a tile of 8 by 8; none for the first value.
const strokes = [
    "", "M-2 2l4-4M0 8l8-8M6 10l4-4", "M0 4h8", "M-2 6l4 4M0 0l8 8M6-2l4 4", "M4 0v8", "M0 4h8M4 0v8",
    "M2 2h.01M6 6h.01", "M0 0l8 8M8 0l-8 8", "M0 1h8M0 5h8",
];

/** The number of the style for a series: the others have the last one. */
export const styleOf = (series, index) => (series.isOthers ? strokes.length - 1 : index);

function pattern(style) {
    const isDots = strokes[style].includes("h.01");
    return svg(
        "pattern",
        { id: `style-${style}`, width: 8, height: 8, patternUnits: "userSpaceOnUse", class: `style-${style}` },
        svg("rect", { width: 8, height: 8, class: "fill" }),
        svg("path", { d: strokes[style], class: isDots ? "dots" : "lines" }),
    );
}

/** A sample of a style, for the legend. */
export function sample(style) {
    return svg("svg", { class: "sample", viewBox: "0 0 24 16", "aria-hidden": "true" },
        svg("rect", { width: 24, height: 16, rx: 3, fill: `url(#style-${style})` }));
}

/** The smallest of 1, 2, 5, 10, 20, 50 … that is at least `least`. */
function roundUp(least) {
    const power = 10 ** Math.floor(Math.log10(Math.max(least, 1)));
    return [1, 2, 5, 10].map((each) => each * power).find((each) => each >= least);
}

/**
 * The picture of the series, each {counts, isOthers}, all with as many counts as there are slots; `width` pixels wide.
 * `timeOf(slot)` is the text below a slot, and `label` what the picture shows, for those who cannot see it.
 */
export function chart(series, slots, width, timeOf, label) {
    const totals = Array.from({ length: slots }, (_, slot) => series.reduce((sum, { counts }) => sum + counts[slot], 0));
    const top = roundUp(Math.max(...totals, 1));
    const inner = { width: width - margin.left - margin.right, height: height - margin.top - margin.bottom };
    const xOf = (slot) => margin.left + (slot * inner.width) / slots;
    const yOf = (count) => margin.top + inner.height * (1 - count / top);
    const picture = svg("svg", { viewBox: `0 0 ${width} ${height}`, role: "img", "aria-label": label, class: "chart" });
    picture.append(svg("defs", {}, ...strokes.map((_, style) => pattern(style))));
    for (const count of top >= 2 ? [0, top / 2, top] : [0, top]) {
        picture.append(svg("line", { x1: margin.left, x2: width - margin.right, y1: yOf(count), y2: yOf(count), class: "grid" }));
        picture.append(svg("text", { x: margin.left - 6, y: yOf(count) + 4, class: "scale end" }, count.toLocaleString("en")));
    }
    const below = Array(slots).fill(0);
    series.forEach((each, index) => {
        each.counts.forEach((count, slot) => {
            if (count > 0) {
                const gap = Math.min(2, inner.width / slots / 5);
                picture.append(svg("rect", {
                    x: xOf(slot) + gap / 2,
                    y: yOf(below[slot] + count),
                    width: inner.width / slots - gap,
                    height: yOf(below[slot]) - yOf(below[slot] + count),
                    fill: `url(#style-${styleOf(each, index)})`,
                    class: "bar-part",
                }));
                below[slot] += count;
            }
        });
    });
    const step = Math.ceil(slots / Math.max(2, Math.floor(inner.width / 90)));
    for (let slot = 0; slot < slots; slot += step) {
        picture.append(svg("text", { x: xOf(slot), y: height - 6, class: "scale" }, timeOf(slot)));
    }
    return picture;
}
