// SPDX-License-Identifier: Apache-2.0
// Ways of building trees side by side: a table that sorts by any column, and bars of time, rays,
// visits and memory.
const rateWays = [["single", "camera, one by one"], ["packets", "camera, packets of 64"], ["streams", "camera, streams"], ["picture", "all of a picture, with shading"]];

function listColumns(subject) {
  const sets = (subject.rows[0]?.rates ?? []).map(({ set }) => set);
  const columns = [
    { name: "Build, ms", digits: 1, sparesGrids: true, get: (row) => row.build_seconds * 1e3 },
    { name: "SAH cost", digits: 1, sparesGrids: true, get: (row, tree) => tree.sah_cost },
    { name: "Depth", digits: 0, get: (row, tree) => tree.depth },
    { name: "Memory, MB", digits: 2, get: (row) => row.whole.total / 1e6 },
  ];
  if (sets.length)
    columns.push(
      { name: "Nodes a ray", digits: 2, get: (row) => row.nodes_per_ray },
      { name: "Leaf calls a ray", digits: 2, get: (row) => row.leaf_calls_per_ray },
      ...sets.map((set, i) => ({ name: `M rays/s, ${set}`, digits: 2, isBestHigh: true, get: (row) => row.rates[i].single })));
  return columns;
}

class Comparison {
  constructor(subject) {
    this.subject = subject;
    this.columns = listColumns(subject);
    this.partIndex = 0;
    this.sortedBy = null;
    this.tableHolder = make("div.card.scrolls", { tabindex: "0", role: "region", "aria-label": "Trees side by side, table" });
    this.way = "single";
    this.rateHolder = make("div.bars-holder");
    this.element = make("div", {},
      this.tableHolder,
      make("div.charts", {}, this.makeRates(), this.makeBuilds(), this.makeVisits(), this.makeMemory()));
    this.drawTable();
  }

  getNumber(column, row) {
    return column.get(row, this.subject.parts[this.partIndex].trees[row.tree]);
  }

  drawTable() {
    const { rows, parts } = this.subject;
    const ordered = [...rows];
    if (this.sortedBy) {
      const { column, isUp } = this.sortedBy;
      ordered.sort((a, b) => (this.getNumber(column, a) - this.getNumber(column, b)) * (isUp ? 1 : -1));
    }
    const best = this.columns.map((column) => {
      const numbers = rows.filter((row) => !(column.sparesGrids && row.kind === "grid")).map((row) => this.getNumber(column, row)).filter((number) => number !== null);
      return numbers.length > 1 && column.name !== "Depth" ? Math[column.isBestHigh ? "max" : "min"](...numbers) : null;
    });
    const head = this.columns.map((column) => {
      const isSorted = this.sortedBy?.column === column;
      const order = isSorted ? (this.sortedBy.isUp ? "ascending" : "descending") : "none";
      return make("th", { scope: "col", "aria-sort": order }, make("button.sort", { type: "button",
        onclick: () => this.sort(column) }, column.name, make("span", { "aria-hidden": "true" }, isSorted ? (this.sortedBy.isUp ? " ↑" : " ↓") : "")));
    });
    const part = parts.length > 1 ? `; cost and depth of ${parts[this.partIndex].name}` : "";
    this.tableHolder.replaceChildren(make("table.compare", {},
      make("caption.hidden-text", {}, `Trees side by side${part}`),
      make("thead", {}, make("tr", {}, make("th", { scope: "col" }, "Tree"), head)),
      make("tbody", {}, ordered.map((row) => make("tr", {},
        make("th", { scope: "row" }, nameRow(row)),
        this.columns.map((column, i) => {
          const number = this.getNumber(column, row);
          const isBest = number === best[i] && !(column.sparesGrids && row.kind === "grid");
          return make(isBest ? "td.best" : "td", {}, number === null ? "–" : number.toFixed(column.digits), isBest ? make("span.hidden-text", {}, " (best)") : null);
        }))))));
    if (rows.some(({ kind }) => kind === "grid"))
      this.tableHolder.append(make("p.note", {}, "Grids build a cell when a ray reaches it: their build leaves cells out, and their cost counts a cell that no ray reached as one leaf."));
    if (parts.length > 1)
      this.tableHolder.prepend(make("div.controls", {}, makeChoice("Cost and depth of", parts.map(({ name }, i) => [String(i), name]), String(this.partIndex), (value) => {
        this.partIndex = Number(value);
        this.drawTable();
      })));
  }

  sort(column) {
    const isUp = this.sortedBy?.column === column ? !this.sortedBy.isUp : !column.isBestHigh;
    this.sortedBy = { column, isUp };
    this.drawTable();
    [...this.tableHolder.querySelectorAll(".sort")][this.columns.indexOf(column)].focus();
    say(`Sorted by ${column.name}, ${isUp ? "least" : "most"} first`);
  }

  makeRates() {
    if (!this.subject.rows[0]?.rates.length) return null;
    this.rateChoice = make("div.controls", {}, makeChoice("Rays", rateWays, this.way, (value) => {
      this.way = value;
      this.drawRates();
      this.rateChoice.querySelector("select").focus();
    }));
    this.drawRates();
    return this.rateHolder;
  }

  drawRates() {
    const { rows } = this.subject;
    const parts = rows[0].rates.map(({ set }, i) => ({ name: set, color: `var(--series-${i === 0 ? 8 : 1})` }));
    this.rateHolder.replaceChildren(makeBarList({
      title: "Million rays a second",
      text: this.way === "picture" ? "On all threads, by instruction set; longer is better." : "Tracing alone, on one thread, by instruction set; longer is better.",
      parts,
      controls: this.rateChoice,
      rows: rows.map((row) => ({ name: nameRow(row), values: row.rates.map((rate) => rate[this.way]) })),
    }));
  }

  makeBuilds() {
    return makeBarList({ title: "Time to build", text: "On all threads; shorter is better. Grids build their cells when rays reach them.",
      parts: [{ name: "build", color: "var(--series-3)" }], show: showSeconds,
      rows: this.subject.rows.map((row) => ({ name: nameRow(row), values: [row.build_seconds] })) });
  }

  makeVisits() {
    if (this.subject.rows[0]?.nodes_per_ray === null) return null;
    return makeBarList({ title: "Visits of a camera ray", text: "Nodes and leaf calls, rays one by one; shorter is better.", isStacked: true,
      parts: [{ name: "nodes", color: "var(--series-1)" }, { name: "leaf calls", color: "var(--series-2)" }],
      rows: this.subject.rows.map((row) => ({ name: nameRow(row), values: [row.nodes_per_ray, row.leaf_calls_per_ray] })) });
  }

  makeMemory() {
    return makeBarList({ title: "Memory", text: "Of all trees of the scene; shorter is better.", isStacked: true, show: showBytes,
      parts: [{ name: "nodes", color: "var(--series-1)" }, { name: "wide nodes", color: "var(--series-5)" }, { name: "lists and samples", color: "var(--series-8)" }],
      rows: this.subject.rows.map(({ whole, ...row }) => ({ name: nameRow(row),
        values: [whole.nodes, whole.wide_nodes, whole.total - whole.nodes - whole.wide_nodes] })) });
  }
}
