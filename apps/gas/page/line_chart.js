// SPDX-License-Identifier: Apache-2.0
// A chart of lines over the levels of trees, as a figure with a legend that hides lines, a cursor that
// follows the mouse and the arrow keys, and a table of the same numbers.
class LineChart {
  // `series`: [{ name, color, values }], one value for each level from 1.
  constructor({ title, text, unit, series }) {
    Object.assign(this, { title, text, unit, series });
    this.hidden = new Set();
    this.level = null;
    this.titleId = makeId("chart");
    this.holder = make("div.plot");
    this.tip = make("div.tip", { "aria-hidden": "true" });
    this.element = make("figure.card.chart", { "aria-labelledby": this.titleId },
      make("h4", { id: this.titleId }, title),
      make("p.note", {}, text),
      this.makeLegend(),
      make("div.plot-holder", {}, this.holder, this.tip),
      this.makeTable());
    new ResizeObserver(() => this.draw()).observe(this.holder);
  }

  get levelCount() {
    return Math.max(1, ...this.series.map(({ values }) => values.length));
  }

  get shown() {
    return this.series.filter(({ name }) => !this.hidden.has(name));
  }

  makeLegend() {
    return make("div.legend", { role: "group", "aria-label": "Lines that are shown" },
      this.series.map(({ name, color }) => {
        const button = make("button", {
          type: "button",
          "aria-pressed": "true",
          onclick: () => {
            if (!this.hidden.delete(name)) this.hidden.add(name);
            button.setAttribute("aria-pressed", String(!this.hidden.has(name)));
            this.draw();
          },
        }, make("span.key", { style: { background: color } }), name);
        return button;
      }));
  }

  makeTable() {
    const levels = Array.from({ length: this.levelCount }, (_, level) => level);
    return make("details", {}, make("summary", {}, "Table"), make("div.scrolls", { tabindex: "0", role: "region", "aria-label": `${this.title}, table` },
      make("table", {}, make("caption.hidden-text", {}, `${this.title}, ${this.unit}`),
        make("thead", {}, make("tr", {}, make("th", { scope: "col" }, "Level"),
          this.series.map(({ name }) => make("th", { scope: "col" }, name)))),
        make("tbody", {}, levels.map((level) => make("tr", {},
          make("th", { scope: "row" }, String(level + 1)),
          this.series.map(({ values }) => make("td", {}, level < values.length ? showNumber(values[level]) : "–"))))))));
  }

  draw() {
    const width = Math.max(220, Math.floor(this.holder.clientWidth));
    const height = Math.round(Math.min(250, Math.max(180, width * 0.42)));
    const largest = Math.max(0, ...this.shown.flatMap(({ values }) => values));
    const ticks = chooseTicks(largest);
    const margin = { left: 14 + 7 * Math.max(...ticks.map((tick) => showNumber(tick).length)), right: 10, top: 8, bottom: 34 };
    const inner = { width: width - margin.left - margin.right, height: height - margin.top - margin.bottom };
    const last = Math.max(1, this.levelCount - 1);
    this.getX = (level) => margin.left + (inner.width * level) / last;
    const getY = (value) => margin.top + inner.height * (1 - value / ticks.at(-1));
    const svg = makeSvg("svg", { width, height, viewBox: `0 0 ${width} ${height}`, tabindex: "0", role: "img",
      "aria-label": this.describe(), onpointermove: (event) => this.follow(event),
      onpointerleave: () => this.setLevel(null), onkeydown: (event) => this.pressKey(event), onblur: () => this.setLevel(null) });
    svg.append(...ticks.map((tick) => makeSvg("g", {},
      makeSvg("line.grid", { x1: margin.left, x2: width - margin.right, y1: getY(tick), y2: getY(tick) }),
      makeSvg("text.tick", { x: margin.left - 7, y: getY(tick) + 4, "text-anchor": "end" }, showNumber(tick)))));
    const every = Math.ceil(this.levelCount / Math.max(4, inner.width / 34));
    for (let level = 0; level < this.levelCount; level += every)
      svg.append(makeSvg("text.tick", { x: this.getX(level), y: height - 18, "text-anchor": "middle" }, String(level + 1)));
    svg.append(makeSvg("text.tick", { x: margin.left + inner.width / 2, y: height - 3, "text-anchor": "middle" }, "level of the tree, the root is 1"));
    for (const { color, values } of this.shown) {
      const points = values.map((value, level) => `${this.getX(level).toFixed(1)},${getY(value).toFixed(1)}`);
      svg.append(makeSvg("polyline.line", { points: points.join(" "), style: { stroke: color } }));
    }
    this.cursor = makeSvg("line.cursor", { y1: margin.top, y2: margin.top + inner.height, visibility: "hidden" });
    this.dots = this.shown.map(({ color }) => makeSvg("circle.dot", { r: 4, visibility: "hidden", style: { fill: color } }));
    svg.append(this.cursor, ...this.dots);
    this.getY = getY;
    this.holder.replaceChildren(svg);
    this.svg = svg;
    if (this.level !== null) this.setLevel(this.level);
  }

  describe() {
    const parts = this.shown.map(({ name, values }) => {
      const largest = Math.max(...values);
      return `${name}: ${values.length} levels, at most ${showNumber(largest)} at level ${values.indexOf(largest) + 1}`;
    });
    return `${this.title}, ${this.unit}. ${parts.join("; ")}. Arrow keys read the levels.`;
  }

  follow(event) {
    const x = event.clientX - this.svg.getBoundingClientRect().left;
    const step = this.getX(1) - this.getX(0);
    this.setLevel(Math.max(0, Math.min(this.levelCount - 1, Math.round((x - this.getX(0)) / step))));
  }

  pressKey(event) {
    const at = this.level ?? -1;
    const level = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: this.levelCount - 1 }[event.key];
    if (level === undefined) return;
    event.preventDefault();
    this.setLevel(Math.max(0, Math.min(this.levelCount - 1, level)));
    say(`Level ${this.level + 1}: ${this.shown.filter(({ values }) => this.level < values.length)
      .map(({ name, values }) => `${name} ${showNumber(values[this.level])}`).join("; ")}`);
  }

  setLevel(level) {
    this.level = level;
    const visible = level === null ? "hidden" : "visible";
    this.cursor.setAttribute("visibility", visible);
    this.tip.style.display = level === null ? "none" : "block";
    this.shown.forEach(({ values }, i) => {
      const has = level !== null && level < values.length;
      this.dots[i].setAttribute("visibility", has ? "visible" : "hidden");
      if (!has) return;
      this.dots[i].setAttribute("cx", this.getX(level));
      this.dots[i].setAttribute("cy", this.getY(values[level]));
    });
    if (level === null) return;
    const x = this.getX(level);
    this.cursor.setAttribute("x1", x);
    this.cursor.setAttribute("x2", x);
    this.tip.replaceChildren(make("strong", {}, `Level ${level + 1}`),
      ...this.shown.filter(({ values }) => level < values.length).map(({ name, color, values }) =>
        make("div", {}, make("span.key", { style: { background: color } }), `${name} `, make("b", {}, showNumber(values[level])))));
    const right = x > this.holder.clientWidth / 2;
    Object.assign(this.tip.style, { left: right ? "auto" : `${x + 12}px`, right: right ? `${this.holder.clientWidth - x + 12}px` : "auto" });
  }
}
