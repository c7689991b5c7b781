// SPDX-License-Identifier: Apache-2.0
// Bars as a table: each row has a name, bars of one or several parts, and their numbers. So it reads
// as what it shows.
//
//   rows: [{ name, values: [numbers, one for each part; null where there is none] }]
//   controls: an element to stand above them
//   parts: [{ name, color }]; stacked in one bar, or each in a bar of its own
function makeBarList({ title, text, parts, rows, controls = null, show = showNumber, isStacked = false }) {
  const id = makeId("bars");
  const sum = (values) => values.reduce((total, value) => total + (value ?? 0), 0);
  const largest = Math.max(1e-12, ...rows.map(({ values }) =>
    isStacked ? sum(values) : Math.max(...values.map((value) => value ?? 0))));
  const makeBar = (value, part) =>
    make("span.bar", { title: `${part.name}: ${show(value)}`, style: { width: `${(100 * (value ?? 0)) / largest}%`, background: part.color } });
  const makeBars = (values) => isStacked
    ? make("span.bars.stacked", { "aria-hidden": "true" }, values.map((value, i) => makeBar(value, parts[i])))
    : values.map((value, i) => make("span.bars", { "aria-hidden": "true" }, makeBar(value, parts[i])));
  return make("figure.card.chart", { "aria-labelledby": id },
    make("h4", { id }, title),
    make("p.note", {}, text),
    controls,
    parts.length > 1 ? make("div.legend", {}, parts.map(({ name, color }) =>
      make("span", {}, make("span.key", { style: { background: color } }), name))) : null,
    make("table.bar-list", {},
      make("caption.hidden-text", {}, title),
      make("thead.hidden-text", {}, make("tr", {}, make("th", { scope: "col" }, "Tree"),
        make("th", { scope: "col" }, "Bar"), make("th", { scope: "col" }, "Figure"))),
      make("tbody", {}, rows.map(({ name, values }) => make("tr", {},
        make("th", { scope: "row" }, name),
        make("td.bar-cell", {}, makeBars(values)),
        isStacked
          ? make("td", {}, show(sum(values)), make("span.hidden-text", {}, ` (${parts.map((part, i) => `${part.name} ${show(values[i])}`).join(", ")})`))
          : make("td", {}, values.map((value, i) => make("span.bar-number", {}, value === null ? "–" : show(value), make("span.hidden-text", {}, ` ${parts[i].name}`)))))))));
}
