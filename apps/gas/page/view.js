// SPDX-License-Identifier: Apache-2.0
// The page of gas view: asks for pictures as the camera and the choices change.
const find = (id) => document.getElementById(id);

const showRate = (rate) => `${showNumber(rate / 1e6)} M`;

// The choices: the name of the argument, and its label.
const labels = {
  show: "Show",
  tree: "Tree",
  build: "Build",
  wide: "Wide nodes",
  packet: "Packets",
  stream: "Streams",
  isa: "Instructions",
  spp: "Samples",
  ao: "Ambient rays",
};
const texts = {
  show: { picture: "picture", heatmap: "nodes and leaves", leaves: "leaf calls", time: "ray times" },
  packet: { 1: "one by one", 4: "4 rays", 16: "16 rays", 64: "64 rays", 256: "256 rays" },
  stream: { off: "none", on: "scattered rays", all: "all rays" },
};

// What gas render does where nothing else is said; of packets only with a picture.
const usual = { tree: "plain", wide: "on", build: "sah-fast", stream: "on", spp: "12", ao: "3" };

class Viewer {
  constructor(scene) {
    this.scene = scene;
    this.choice = { show: "picture", ...scene.start };
    this.page = crypto.randomUUID();
    this.canvas = find("picture");
    this.painter = new PicturePainter(this.canvas);
    this.camera = new OrbitCamera();
    this.overlay = new BoxOverlay(find("overlay"));
    this.level = -1;
    this.seen = new Map();
    this.pictures = 0;
    this.showScene();
    this.makeForm();
    this.resetCamera();
    this.listen();
    find("level").addEventListener("input", () => this.chooseLevel(Number(find("level").value)));
    new ResizeObserver(() => this.ask()).observe(this.canvas);
    this.ask();
  }

  showScene() {
    const { name, placed_items, instances, threads } = this.scene;
    const things = instances > 1 ? `${showWhole(instances)} instances that place ` : "";
    find("name").textContent = name;
    find("scene-note").textContent =
      `${things}${showWhole(placed_items)} items, drawn by ${threads} thread${threads > 1 ? "s" : ""}`;
  }

  makeForm() {
    const { choices } = this.scene;
    const lists = {
      ...choices,
      isa: choices.isa.map(({ name }) => name),
      spp: [1, 4, 12, 32, 64, 256],
      ao: [0, 1, 3, 8],
    };
    const named = { ...texts, isa: Object.fromEntries(choices.isa.map(({ name, text }) => [name, text])) };
    const form = find("choices");
    for (const [name, label] of Object.entries(labels)) {
      const select = make("select", { id: `choose-${name}`, name });
      for (const value of lists[name])
        select.append(make("option", { value }, named[name]?.[value] ?? String(value)));
      select.value = String(this.choice[name]);
      select.addEventListener("change", () => {
        this.choice[name] = select.value;
        this.update();
        this.ask();
      });
      form.append(make("label", { for: select.id }, label), select);
    }
    this.update();
  }

  // Choices that make no difference cannot be made.
  update() {
    const { tree, show } = this.choice;
    find("choose-wide").disabled = tree === "compressed";
    find("choose-ao").disabled = show !== "picture";
    find("choose-isa").disabled = show === "heatmap" || show === "leaves";
  }

  resetCamera() {
    const { azimuth, elevation, target, distance, field_of_view, reach } = this.scene.camera;
    const { clientWidth, clientHeight } = this.canvas;
    // It was framed for pictures of 16 by 10.
    const wider = Math.max(1, 1.6 / (clientWidth / Math.max(1, clientHeight)));
    Object.assign(this.camera, {
      fieldOfView: field_of_view,
      home: { center: [...target], radius: distance / 4 },
      target: [...target],
      distance: Math.min(distance * wider, reach / 2),
      azimuth: (azimuth * Math.PI) / 180,
      elevation: (elevation * Math.PI) / 180,
    });
  }

  // No farther than the scene's trees were made for.
  limitCamera() {
    const { camera } = this;
    const limit = this.scene.camera.reach / 2;
    camera.target = camera.target.map((place) => Math.max(-limit, Math.min(limit, place)));
    camera.distance = Math.min(camera.distance, limit);
  }

  move(change) {
    change(this.camera);
    this.limitCamera();
    this.ask();
  }

  getArguments() {
    // What is asked for stands in the command, too: no more digits than one can see.
    const round = (number) => Number(number.toPrecision(7));
    const degrees = (angle) => round((angle * 180) / Math.PI);
    const { camera } = this;
    const { clientWidth, clientHeight } = this.canvas;
    const scale = Math.min(1, Math.sqrt(4e6 / (clientWidth * clientHeight)));
    const side = (length) => Math.max(16, Math.floor(length * scale));
    return {
      ...this.choice,
      ...(this.boxesAreWanted ? { level: this.level } : {}),
      size: `${side(clientWidth)}x${side(clientHeight)}`,
      camera: `${degrees(camera.azimuth) % 360},${degrees(camera.elevation)}`,
      "look-at": [...camera.target, camera.distance].map(round).join(","),
    };
  }

  // The words of the command that makes the picture; what it does by itself is not said.
  getCommand({ show, isa, level, ...others }) {
    const quote = (word) => (/^[\w.,/:=+-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`);
    const words = this.scene.command.map(quote);
    if (isa !== this.scene.start.isa) words.unshift(`GAS_ISA=${isa}`);
    if (show !== "picture") words.push("--heatmap");
    for (const [name, value] of Object.entries(others))
      if (String(value) !== usual[name]) words.push(`--${name}=${value}`);
    return [...words, "-o picture.png"];
  }

  showCommand(words) {
    find("command").replaceChildren(...words.flatMap((word, i) => [i ? " " : "", make("span", {}, word)]));
  }

  chooseLevel(level) {
    this.level = level;
    this.shownBoxes = null;
    if (level < 0) this.showBoxes({}, new Float32Array(0));
    else this.ask();
  }

  showBoxes({ level, levels, shown, of }, boxes) {
    this.overlay.setBoxes(boxes);
    this.overlay.draw(this.camera);
    if (levels) find("level").max = levels - 1;
    const count = shown < of ? `${showWhole(shown)} of ${showWhole(of)}` : showWhole(of ?? 0);
    const text = levels ? `${level}: ${count} box${of === 1 ? "" : "es"}` : "none";
    find("level-text").textContent = text;
    find("level").setAttribute("aria-valuetext", text);
  }

  // Boxes stay as they are while the camera moves.
  get boxesAreWanted() {
    return this.level >= 0 && this.shownBoxes !== this.boxesName;
  }

  get boxesName() {
    const { tree, build, wide } = this.choice;
    return [tree, build, wide, this.level].join();
  }

  // Asks for a picture, once the one that is coming can be seen.
  ask() {
    this.isWanted = true;
    this.overlay.draw(this.camera);
    if (!this.current || this.current.isSeen) this.draw();
  }

  async draw() {
    this.isWanted = false;
    this.current?.abort.abort();
    const wanted = this.getArguments();
    const [width, height] = wanted.size.split("x").map(Number);
    const current = { abort: new AbortController(), isSeen: false, start: performance.now(), figures: {} };
    current.boxesName = this.boxesName;
    Object.assign(current, { wanted, pixels: width * height, painted: 0, passes: 0 });
    this.current = current;
    this.canvas.dataset.state = "drawing";
    this.showCommand(this.getCommand(wanted));
    this.painter.resize(width, height);
    try {
      const query = new URLSearchParams({ ...wanted, page: this.page });
      const response = await fetch(`picture?${query}`, { method: "POST", signal: current.abort.signal });
      if (!response.ok) throw new Error(await response.text());
      await readRecords(response.body, (head, data) => this.take(current, head, data));
    } catch (error) {
      if (current.abort.signal.aborted) return;
      this.fail(error instanceof TypeError ? "gas view does not answer: it may have been stopped" : error.message);
    }
    if (this.current === current) {
      current.isSeen = true;
      if (this.isWanted) this.draw();
    }
  }

  take(current, head, data) {
    if (this.current !== current) return;
    const kinds = {
      pixels: () => this.takePixels(current, head, data),
      boxes: () => {
        this.shownBoxes = current.boxesName;
        this.showBoxes(head, new Float32Array(data.slice().buffer));
      },
      state: () => this.showProgress(head.doing, head.done, current),
      trees: () => Object.assign(current.figures, head),
      pass: () => this.takePass(current, head),
      counts: () => Object.assign(current.figures, head),
      end: () => this.finish(current),
      error: () => this.fail(head.text),
    };
    kinds[head.kind]?.();
  }

  takePixels(current, head, data) {
    this.painter.paint(head, data);
    if (current.wanted.show !== "picture") return;
    if (current.divisor !== head.divisor) Object.assign(current, { divisor: head.divisor, painted: 0 });
    current.painted += head.width * head.height * head.divisor ** 2;
    const doing = head.divisor > 1 ? `Drawing, ${head.divisor} pixels wide` : "Drawing";
    this.showProgress(doing, Math.min(1, current.painted / current.pixels), current);
  }

  takePass(current, head) {
    const now = performance.now();
    current.figures.firstSeen ??= (now - current.start) / 1000;
    Object.assign(current, { passes: current.passes + 1, painted: 0, doing: null, isSeen: true });
    if (!head.preview)
      Object.assign(current.figures, { rate: head.rays / head.seconds, samples: head.samples, drawn: (now - current.start) / 1000 });
    this.showFigures(current);
    if (this.isWanted) this.draw();
  }

  showProgress(doing, done, current) {
    if (current.doing !== doing) Object.assign(current, { doing, passStart: performance.now() });
    const seconds = (performance.now() - current.passStart) / 1000;
    const left = seconds > 0.7 && done > 0.02 && done < 1 ? `, ${Math.ceil((seconds * (1 - done)) / done)} s left` : "";
    find("progress").value = done;
    find("doing").className = "note number";
    find("doing").textContent = `${doing}${done > 0 && done < 1 ? ` ${Math.floor(100 * done)} %` : ""}${left}`;
  }

  showFigures(current) {
    const { figures } = current;
    const rows = [
      ["Trees built in", figures.build_seconds, showSeconds],
      ["Memory of the trees", figures.bytes, showBytes],
      [`SAH cost (${figures.largest})`, figures.sah_cost, showNumber],
      ["Depth", figures.depth, showWhole],
      ["Cells", figures.cells, showWhole],
      ["Nodes a camera ray", figures.nodes_per_ray, showNumber],
      ["Leaves a camera ray", figures.leaves_per_ray, showNumber],
      ["Rays a second", current.wanted.show === "picture" ? figures.rate : undefined, showRate],
      ["First picture after", figures.firstSeen, showSeconds],
      ["Whole picture after", figures.drawn, showSeconds],
    ];
    find("figures").replaceChildren(
      ...rows.flatMap(([name, value, show]) => (value === undefined ? [] : [make("dt", {}, name), make("dd", {}, show(value))])),
    );
  }

  finish(current) {
    this.showFigures(current);
    this.showSeen(current);
    this.pictures += 1;
    this.canvas.dataset.state = "done";
    this.canvas.dataset.pictures = this.pictures;
    find("progress").value = 1;
    const done = `Done after ${showSeconds(current.figures.drawn)}`;
    find("doing").textContent = done;
    say(`${done}. ${showNumber(current.figures.nodes_per_ray)} nodes a ray.`);
  }

  describeChoice({ tree, build, wide, packet, stream, isa, show }) {
    const nodes = tree === "plain" ? `, wide nodes ${wide}` : "";
    const ways = `${texts.packet[packet]}, streams: ${texts.stream[stream]}`;
    return `${tree}, ${build}${nodes}; ${ways}; ${show === "picture" ? isa : texts.show[show]}`;
  }

  showSeen({ wanted, figures }) {
    const choice = this.describeChoice(wanted);
    // A heat map is counted, not timed.
    const rate = wanted.show === "picture" ? figures.rate : undefined;
    this.seen.delete(choice);
    this.seen.set(choice, { ...figures, rate });
    const most = 12;
    while (this.seen.size > most) this.seen.delete(this.seen.keys().next().value);
    const cell = (value, show) => make("td", {}, value === undefined ? "–" : show(value));
    const rows = [...this.seen].reverse().map(([name, row]) => {
      const line = make("tr", { "aria-current": name === choice ? "true" : null });
      line.append(
        make("th", { scope: "row" }, name),
        cell(row.build_seconds, showSeconds),
        cell(row.sah_cost, showNumber),
        cell(row.bytes, showBytes),
        cell(row.nodes_per_ray, showNumber),
        cell(row.leaves_per_ray, showNumber),
        cell(row.rate, showRate),
      );
      return line;
    });
    find("seen").replaceChildren(...rows);
  }

  fail(text) {
    this.canvas.dataset.state = "failed";
    find("doing").className = "failed";
    find("doing").textContent = text;
    say(text);
  }

  save() {
    this.canvas.toBlob((blob) => {
      const address = URL.createObjectURL(blob);
      make("a", { href: address, download: "picture.png" }).click();
      URL.revokeObjectURL(address);
    });
  }

  async copy() {
    const text = find("command").textContent;
    try {
      await navigator.clipboard.writeText(text);
      say("Copied");
      find("copy").textContent = "Copied";
    } catch {
      getSelection().selectAllChildren(find("command"));
    }
  }

  listen() {
    const { canvas } = this;
    const drags = new Map();
    canvas.addEventListener("pointerdown", (event) => {
      canvas.focus({ preventScroll: true });
      canvas.setPointerCapture(event.pointerId);
      drags.set(event.pointerId, [event.clientX, event.clientY]);
    });
    canvas.addEventListener("pointermove", (event) => this.drag(event, drags));
    for (const name of ["pointerup", "pointercancel"])
      canvas.addEventListener(name, (event) => drags.delete(event.pointerId));
    canvas.addEventListener("contextmenu", (event) => event.preventDefault());
    // The page scrolls on unless the picture has the focus.
    canvas.addEventListener("wheel", (event) => {
      if (document.activeElement !== canvas) return;
      event.preventDefault();
      this.move((camera) => camera.zoom(Math.exp(-event.deltaY * 0.0015)));
    }, { passive: false });
    canvas.addEventListener("keydown", (event) => this.pressKey(event));
    find("home").addEventListener("click", () => this.move(() => this.resetCamera()));
    find("save").addEventListener("click", () => this.save());
    find("copy").addEventListener("click", () => this.copy());
  }

  drag(event, drags) {
    const last = drags.get(event.pointerId);
    if (!last) return;
    const now = [event.clientX, event.clientY];
    const height = this.canvas.clientHeight;
    const [right, up] = [(now[0] - last[0]) / height, (last[1] - now[1]) / height];
    const other = [...drags].find(([id]) => id !== event.pointerId)?.[1];
    drags.set(event.pointerId, now);
    const apart = (place) => Math.hypot(place[0] - other[0], place[1] - other[1]) || 1;
    this.move((camera) => {
      if (other) camera.zoom(apart(now) / apart(last));
      else if (event.shiftKey || event.buttons === 2 || event.buttons === 4) camera.pan(right, up);
      else camera.orbit(4 * right, -4 * up);
    });
  }

  pressKey(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const steps = { ArrowLeft: [1, 0], ArrowRight: [-1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] };
    const zooms = { "+": 1.15, "=": 1.15, "-": 1 / 1.15 };
    const step = steps[event.key];
    if (step && event.shiftKey) this.move((camera) => camera.pan(step[0] * 0.05, -step[1] * 0.05));
    else if (step) this.move((camera) => camera.orbit(step[0] * 0.12, step[1] * 0.12));
    else if (zooms[event.key]) this.move((camera) => camera.zoom(zooms[event.key]));
    else if (event.key === "Home") this.move(() => this.resetCamera());
    else return;
    event.preventDefault();
  }
}

fetch("scene")
  .then((response) => response.json())
  .then((scene) => {
    window.viewer = new Viewer(scene);
  });
