// SPDX-License-Identifier: Apache-2.0
// The 3D view of a part with the boxes of one of its trees, its controls, and the node that was picked.
class BoxesPanel {
  constructor(subject, pack) {
    Object.assign(this, { subject, pack, colorBy: "cost", meshes: new Map(), trees: new Map() });
    this.host = make("div.view-host");
    this.levelText = make("output.number");
    this.slider = make("input", { type: "range", min: 0, step: 1, value: 0, oninput: () => {
      this.view.setLevel(Number(this.slider.value));
      this.afterLevel();
    } });
    this.cappedText = make("p.note", { "data-role": "capped" });
    this.meshText = make("p.note");
    this.card = make("div.node", { "data-role": "node", "aria-live": "polite" });
    this.treeLabel = make("span.tree-choice");
    this.view = new View3d(this.host, { label: `3D view of ${subject.name} with the boxes of its tree. Arrow keys turn it, plus and minus zoom, Page Up and Page Down change the level, N and P pick boxes.` });
    this.view.onPick = (level, index) => this.showNode(level, index);
    this.view.onLevel = () => this.afterLevel();
    this.element = make("div.boxes-panel", {}, this.makeControls(), this.host,
      make("div.side", {}, this.card, this.meshText, this.cappedText, this.makeHelp()));
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.setTheme());
    this.setTheme();
    this.choosePart(0);
  }

  get part() {
    return this.subject.parts[this.partIndex];
  }

  makeControls() {
    const parts = this.subject.parts.map(({ name }, i) => [String(i), name]);
    return make("div.controls", {},
      parts.length > 1 ? makeChoice("Part", parts, "0", (value) => this.choosePart(Number(value))) : null,
      this.treeLabel,
      make("label.level", {}, make("span", {}, "Level"), this.slider, this.levelText),
      makeChoice("Colour", [["cost", "cost below"], ["items", "items"], ["area", "surface area"]], "cost", (value) => {
        this.colorBy = value;
        this.setLevels();
      }),
      makeSwitch("mesh", true, (isOn) => this.view.showMesh(isOn)),
      makeSwitch("boxes", true, (isOn) => this.view.showBoxes(isOn)),
      make("button", { type: "button", onclick: () => (this.view.camera.reset(), this.view.ask()) }, "Reset view"));
  }

  makeHelp() {
    return make("details", {}, make("summary", {}, "Mouse and keys"), make("p.note", {},
      "Drag to turn, Shift-drag or two fingers to move, wheel or pinch to zoom (after a click into the view). Click a box to see its node; click again for the one behind it. Keys: arrows turn, + and − zoom, Home resets, Page Up and Page Down change the level, N and P pick the next and previous box."));
  }

  setTheme() {
    this.view.setTheme({
      background: readColor("--surface"),
      mesh: readColor("--mesh"),
      picked: readColor("--picked"),
      ramp: [1, 2, 3, 4, 5].map((step) => readColor(`--ramp-${step}`)),
    });
  }

  choosePart(index) {
    this.partIndex = index;
    const { part } = this;
    const trees = part.trees.map((tree, i) => [String(i), tree.name]).filter((entry, i) => part.trees[i].levels);
    const main = part.trees[this.subject.main_tree]?.levels ? this.subject.main_tree : Number(trees[0][0]);
    this.treeLabel.replaceChildren(makeChoice("Tree", trees, String(main), (value) => this.chooseTree(Number(value))));
    if (!this.meshes.has(index) && part.mesh) this.meshes.set(index, this.pack.readMesh(part.mesh));
    const mesh = this.meshes.get(index) ?? { positions: new Float32Array(0), indices: new Uint32Array(0) };
    this.view.setMesh(mesh.positions, mesh.indices);
    if (part.mesh) this.frame(part.mesh);
    this.meshText.textContent = this.describeMesh(mesh);
    this.chooseTree(main, 6);
  }

  // Without what lies far off, where that is much.
  frame({ box, focus }) {
    const size = (sides) => Math.hypot(...[0, 1, 2].map((axis) => sides[axis + 3] - sides[axis]));
    if (size(focus) > 0.8 * size(box)) return;
    this.view.camera.frame([0, 1, 2].map((axis) => (focus[axis] + focus[axis + 3]) / 2), 0.55 * size(focus));
  }

  describeMesh({ indices }) {
    const { mesh } = this.part;
    if (!mesh) return "The items of a saved tree are not known; its boxes alone are shown.";
    const shown = showWhole(indices.length / 3);
    const notes = [];
    if (mesh.octahedra) notes.push("Items without triangles are drawn as octahedra.");
    if (mesh.stride > 1) notes.push(`Only every ${mesh.stride}th item is drawn.`);
    if (mesh.by_instance) notes.push(`Simplified: ${shown} of ${showWhole(mesh.triangles)} triangles, the corners of each shape merged on a grid of its own. Trees are over all of them.`);
    else if (mesh.grid) notes.push(`Simplified: ${shown} of ${showWhole(mesh.triangles)} triangles, corners merged on a grid of ${mesh.grid} cells along the longest side. The tree is over all of them.`);
    else notes.push(`${shown} triangles.`);
    return notes.join(" ");
  }

  chooseTree(index, level = this.view.level) {
    this.treeIndex = index;
    const key = `${this.partIndex}/${index}`;
    if (!this.trees.has(key)) this.trees.set(key, this.part.trees[index].levels.map((one) => this.pack.readLevel(one)));
    this.levels = this.trees.get(key);
    this.slider.max = this.levels.length - 1;
    this.view.level = Math.min(level, this.levels.length - 1);
    this.setLevels();
    this.afterLevel();
  }

  setLevels() {
    const { level, picked } = this.view;
    this.view.setBoxes(this.levels.map((one) => ({ boxes: one.boxes, values: this.getValues(one) })));
    this.view.setLevel(level);
    if (picked) this.view.setPicked(picked.level, picked.index);
  }

  // From the least to the largest of the level, by logarithms.
  getValues(level) {
    const numbers = Float64Array.from({ length: level.count }, (_, i) =>
      Math.log(this.colorBy === "items" ? level.items[i] : this.colorBy === "cost" ? level.costs[i] : getArea(level.boxes, i)));
    const finite = numbers.filter(Number.isFinite);
    const low = finite.reduce((a, b) => Math.min(a, b), Infinity);
    const high = finite.reduce((a, b) => Math.max(a, b), -Infinity);
    return Float32Array.from(numbers, (number) => (high > low && Number.isFinite(number) ? (number - low) / (high - low) : 0.5));
  }

  afterLevel() {
    const { level } = this.view;
    const { count, total } = this.levels[level];
    this.slider.value = level;
    this.levelText.textContent = `${level + 1} of ${this.levels.length}`;
    this.slider.setAttribute("aria-valuetext", `level ${level + 1} of ${this.levels.length}, ${total} boxes`);
    this.cappedText.textContent = count < total
      ? `Level ${level + 1} has ${showWhole(total)} boxes; the ${showWhole(count)} with the largest surface areas are shown.`
      : `Level ${level + 1} has ${showWhole(total)} ${total === 1 ? "box" : "boxes"}, all shown.`;
    if (!this.view.picked) this.showNone();
  }

  showNone() {
    delete this.card.dataset.number;
    this.card.replaceChildren(make("h4", {}, "Node"), make("p.note", {}, "Click a box, or press N in the view, to see its node."),
      make("div.controls", {}, this.makeStep("First box", () => this.view.step(1))));
  }

  makeStep(text, onclick, isPossible = true) {
    return make("button", { type: "button", onclick, disabled: !isPossible }, text);
  }

  // Moves to a box of another level.
  goTo(level, index) {
    this.view.setLevel(level);
    this.view.pick(index);
    this.afterLevel();
  }

  showNode(level, index) {
    const one = this.levels[level];
    const root = getArea(this.levels[0].boxes, 0);
    const area = getArea(one.boxes, index);
    const corner = (first) => [0, 1, 2].map((axis) => showNumber(one.boxes[6 * index + first + axis])).join(", ");
    const number = one.numbers[index];
    const facts = [
      ["Depth", `level ${level + 1}`],
      ["Items", `${showWhole(one.items[index])}${one.leaves[index] ? ", a leaf" : ""}`],
      ["Surface area", `${showNumber(area)} (${showNumber((100 * area) / root)} % of the root's)`],
      ["Cost below", `${showNumber(one.costs[index])} visits for a ray that crosses the root's box`],
      ["Cost entered", `${showNumber((one.costs[index] * root) / area)} visits for a ray that crosses this box`],
      ["Box", `${corner(0)} to ${corner(3)}`],
    ];
    Object.assign(this.card.dataset, { number, level: level + 1, items: one.items[index], area, cost: one.costs[index] });
    const up = level > 0 ? this.levels[level - 1].numbers.indexOf(one.parents[index]) : -1;
    const below = level + 1 < this.levels.length ? [...this.levels[level + 1].parents].flatMap((parent, i) => (parent === number ? [i] : [])) : [];
    const focused = this.card.contains(document.activeElement) ? document.activeElement.textContent : null;
    this.card.replaceChildren(make("h4", {}, `Node ${showWhole(number)}`),
      make("dl", {}, facts.map(([name, value]) => [make("dt", {}, name), make("dd.number", {}, value)])),
      make("div.controls", {},
        this.makeStep("Parent", () => this.goTo(level - 1, up), up >= 0),
        this.makeStep("First child", () => this.goTo(level + 1, below[0]), below.length > 0),
        this.makeStep("Second child", () => this.goTo(level + 1, below[1]), below.length > 1),
        this.makeStep("Previous", () => this.view.step(-1)),
        this.makeStep("Next", () => this.view.step(1))));
    if (focused) [...this.card.querySelectorAll("button")].find((button) => button.textContent === focused)?.focus();
  }
}
