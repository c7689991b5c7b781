// SPDX-License-Identifier: Apache-2.0
// Puts the page together: for each mesh, scene or saved tree its pictures, boxes, levels and ways of
// building, side by side where there are several.
const seriesColors = [1, 2, 3, 4, 5, 6].map((number) => `var(--series-${number})`);

// Which trees are drawn together: [name, test].
function listGroups(part, mainTree) {
  const main = part.trees[mainTree];
  const method = main.name.split(", ").at(-1);
  const ofKind = (kind) => part.trees.filter((tree) => !tree.saved && tree.name.startsWith(`${kind}, `));
  const groups = ["plain", "compressed", "grid"].map((kind) => [`methods, ${kind} trees`, ofKind(kind)]);
  groups.push([`kinds of trees, ${method}`, part.trees.filter((tree) => !tree.saved && tree.name.endsWith(`, ${method}`))]);
  const saved = part.trees.filter((tree) => tree.saved);
  if (saved.length) groups.unshift(["saved trees", [...saved, ...(saved.includes(main) ? [] : [main])]]);
  return groups.filter(([, trees]) => trees.length);
}

class LevelCharts {
  constructor(subject) {
    this.subject = subject;
    this.part = subject.parts[0];
    this.group = "0";
    this.choice = make("div.controls");
    this.holder = make("div.charts");
    this.element = make("div", {}, this.choice, this.holder);
    this.draw();
  }

  draw() {
    const { parts, main_tree } = this.subject;
    const groups = listGroups(this.part, main_tree);
    const choices = groups.map(([name], i) => [String(i), name]);
    const partChoices = parts.map(({ name }, i) => [String(i), name]);
    this.choice.replaceChildren(
      ...(parts.length > 1 ? [makeChoice("Part", partChoices, String(parts.indexOf(this.part)), (value) => {
        this.part = parts[value];
        this.draw();
      })] : []),
      ...(choices.length > 1 ? [makeChoice("Compare", choices, this.group, (value) => {
        this.group = value;
        this.draw();
      })] : []));
    const trees = groups[this.group][1];
    const makeChart = (title, unit, text, get) => new LineChart({ title, unit, text,
      series: trees.slice(0, 6).map((tree, i) => ({ name: tree.name, color: seriesColors[i], values: get(tree) })) }).element;
    this.holder.replaceChildren(
      makeChart("Depth", "boxes of each level", "Boxes of each level, nodes and leaves together.", (tree) => tree.nodes.map((count, i) => count + tree.leaves[i])),
      makeChart("Leaf depth", "leaves of each level", "How deep leaves lie: a tall narrow hill is a balanced tree.", (tree) => tree.leaves),
      makeChart("Cost by level", "expected visits by level", "Visits to expect of a ray that crosses the root's box, by surface areas.", (tree) => tree.costs),
      makeChart("Box overlap", "shared area by level", "The surface area that siblings share, over that of their parents; 0 is best.", (tree) => tree.overlaps));
  }
}

function makeFacts(subject) {
  const rows = subject.rows;
  const part = subject.parts[0];
  const main = part.trees[subject.main_tree];
  const facts = [["Items", showNumber(subject.items), subject.instances > 1 ? `placed by ${showNumber(subject.instances)} instances` : main.name]];
  const rates = rows.flatMap((row) => row.rates.map((rate) => ({ row, rate })));
  if (rates.length) {
    const best = rates.reduce((a, b) => (b.rate.single > a.rate.single ? b : a));
    facts.push(["Most rays a second", `${showNumber(best.rate.single)} M`, `${nameRow(best.row)}, ${best.rate.set}, one by one, on a thread`]);
    const cheapest = rows.reduce((a, b) => (b.nodes_per_ray + b.leaf_calls_per_ray < a.nodes_per_ray + a.leaf_calls_per_ray ? b : a));
    facts.push(["Fewest visits a ray", showNumber(cheapest.nodes_per_ray + cheapest.leaf_calls_per_ray), nameRow(cheapest)]);
  }
  const built = rows.filter((row) => row.kind !== "grid").reduce((a, b) => (b.build_seconds < a.build_seconds ? b : a));
  facts.push([built.saved ? "Mapped in" : "Quickest whole build", showSeconds(built.build_seconds), nameRow(built)]);
  const small = rows.reduce((a, b) => (b.whole.total < a.whole.total ? b : a));
  facts.push(["Least memory", showBytes(small.whole.total), nameRow(small)]);
  if (part.trees.length === 1) facts.push(["SAH cost", showNumber(main.sah_cost), `${main.depth} levels`]);
  return make("dl.facts", {}, facts.map(([name, value, text]) =>
    make("div.card", {}, make("dt", {}, name), make("dd", {}, make("span.value.number", {}, value), make("span.note", {}, text)))));
}

function makeSection(title, text, ...content) {
  const id = makeId("section");
  return make("section", { "aria-labelledby": id }, make("h3", { id }, title), text ? make("p.note", {}, text) : null, content);
}

function makeSubject(subject, pack) {
  const id = makeId("subject");
  const parts = [make("h2", { id }, subject.name), makeFacts(subject)];
  if (subject.picture)
    parts.push(makeSection("What rays cost, pixel by pixel", null, new Pictures(subject).element));
  parts.push(makeSection("The tree's boxes", null, new BoxesPanel(subject, pack).element),
    makeSection("Level by level", null, new LevelCharts(subject).element),
    makeSection(subject.rows.length > 1 ? "Side by side" : "In figures", null, new Comparison(subject).element));
  if (subject.notes.length)
    parts.push(make("ul.note", {}, subject.notes.map((note) => make("li", {}, note))));
  return make("article.subject", { "aria-labelledby": id }, parts);
}

const pack = new BytePack(await inflate(document.getElementById("report-bytes").textContent));
document.getElementById("machine").textContent =
  `Made ${report.date} by gas ${report.version} on ${report.threads} ${report.threads === 1 ? "thread" : "threads"}, ${report.instruction_set}.`;
document.getElementById("subjects").append(...report.subjects.map((subject) => makeSubject(subject, pack)));
document.getElementById("subjects").classList.toggle("several", report.subjects.length > 1);
document.getElementById("foot").append(...report.methods.map((text) => make("p", {}, text)));
document.documentElement.dataset.ready = "yes";
