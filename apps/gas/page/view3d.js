// SPDX-License-Identifier: Apache-2.0
// A 3D view of a mesh and of the boxes of one level of its tree.
//
//   const view = new View3d(element, { label: "the mesh with its boxes" });
//   view.setTheme({ background, mesh, picked, ramp });  colours as [r, g, b] of 0 to 1; ramp: a list
//   view.setMesh(positions, indices);       Float32Array of three to a corner, Uint32Array
//   view.setBoxes(levels);                  [{ boxes: Float32Array of low and high corners,
//                                              values: Float32Array of 0 to 1 for the colours }]
//   view.setLevel(level);                   from 0; view.level, view.levelCount
//   view.setPicked(level, index);           or setPicked(null)
//   view.showMesh(isShown); view.showBoxes(isShown);
//   view.onPick = (level, index) => {};     a box was clicked, or reached by the keys N and P
//   view.onLevel = (level) => {};           the keys Page Up and Page Down changed the level
//   view.onCamera = (camera) => {};         an OrbitCamera
//   view.paint();                           draws at once; all calls above draw at the next frame
//
// Drag to orbit, drag with Shift or two fingers to move, turn the wheel or pinch to come nearer;
// arrow keys, + and -, Home. Without WebGL 2, or with `canvas2d: true`, it paints on a 2D canvas.
class View3d {
  constructor(host, { label = "3D view", canvas2d = false } = {}) {
    this.host = host;
    this.camera = new OrbitCamera();
    this.canvas = document.createElement("canvas");
    this.canvas.tabIndex = 0;
    this.canvas.className = "view3d";
    this.canvas.setAttribute("role", "application");
    this.canvas.setAttribute("aria-label", label);
    host.prepend(this.canvas);
    this.painter = (canvas2d ? null : GlPainter.create(this.canvas)) ?? CanvasPainter.create(this.canvas);
    this.canvas.dataset.painter = this.painter.name;
    this.theme = { background: [1, 1, 1], mesh: [0.7, 0.7, 0.7], picked: [1, 0.5, 0], ramp: [[0, 0, 0]] };
    this.levels = [];
    this.level = 0;
    this.picked = null;
    this.meshIsShown = true;
    this.boxesAreShown = true;
    this.onPick = this.onLevel = this.onCamera = () => {};
    this.pointers = new Map();
    this.listen();
    new ResizeObserver(() => this.ask()).observe(this.canvas);
  }

  get levelCount() {
    return this.levels.length;
  }

  setTheme(theme) {
    Object.assign(this.theme, theme);
    this.updateBoxes();
  }

  setMesh(positions, indices) {
    this.painter.setMesh(positions, indices);
    this.hasMesh = indices.length > 0;
    if (this.hasMesh) this.frameAround(positions);
    this.ask();
  }

  setBoxes(levels) {
    this.levels = levels;
    this.picked = null;
    if (!this.hasMesh && levels.length) this.frameAround(levels[0].boxes);
    this.setLevel(this.level);
  }

  frameAround(positions) {
    const low = [Infinity, Infinity, Infinity];
    const high = [-Infinity, -Infinity, -Infinity];
    positions.forEach((place, i) => {
      low[i % 3] = Math.min(low[i % 3], place);
      high[i % 3] = Math.max(high[i % 3], place);
    });
    const center = low.map((place, axis) => (place + high[axis]) / 2);
    this.camera.frame(center, Math.hypot(...low.map((place, axis) => high[axis] - place)) / 2);
  }

  setLevel(level) {
    this.level = Math.max(0, Math.min(this.levelCount - 1, level));
    if (this.picked && this.picked.level !== this.level) this.picked = null;
    this.updateBoxes();
  }

  setPicked(level, index) {
    this.picked = level === null ? null : { level, index };
    this.updateBoxes();
  }

  showMesh(isShown) {
    this.meshIsShown = isShown;
    this.ask();
  }

  showBoxes(isShown) {
    this.boxesAreShown = isShown;
    this.updateBoxes();
  }

  // The picked box comes last, over the others.
  updateBoxes() {
    const shown = this.boxesAreShown ? this.levels[this.level] : null;
    const source = shown ?? { boxes: new Float32Array(0), values: new Float32Array(0) };
    const count = source.boxes.length / 6;
    const extra = this.picked && shown ? 1 : 0;
    const boxes = new Float32Array(6 * (count + extra));
    const colors = new Float32Array(3 * (count + extra));
    boxes.set(source.boxes);
    for (let box = 0; box < count; ++box) colors.set(this.getColor(source.values[box]), 3 * box);
    if (extra) {
      const from = 6 * this.picked.index;
      boxes.set(source.boxes.subarray(from, from + 6), 6 * count);
      colors.set(this.theme.picked, 3 * count);
    }
    this.painter.setBoxes(boxes, colors);
    this.canvas.dataset.boxes = count;
    this.canvas.dataset.level = this.level;
    this.ask();
  }

  getColor(value) {
    const { ramp } = this.theme;
    const place = Math.max(0, Math.min(1, value)) * (ramp.length - 1);
    const low = Math.min(Math.floor(place), Math.max(0, ramp.length - 2));
    const next = ramp[Math.min(low + 1, ramp.length - 1)];
    return ramp[low].map((part, i) => part + (next[i] - part) * (place - low));
  }

  ask() {
    this.frame ??= requestAnimationFrame(() => this.paint());
  }

  paint() {
    if (this.frame) cancelAnimationFrame(this.frame);
    this.frame = null;
    const scale = Math.min(2, devicePixelRatio || 1);
    const width = Math.round(this.canvas.clientWidth * scale);
    const height = Math.round(this.canvas.clientHeight * scale);
    if (!width || !height) return;
    if (this.canvas.width !== width || this.canvas.height !== height)
      Object.assign(this.canvas, { width, height });
    this.painter.draw(width, height, {
      camera: this.camera,
      background: this.theme.background,
      mesh: this.meshIsShown && this.hasMesh ? this.theme.mesh : null,
      lineWidth: 1.1 * scale,
    });
    this.canvas.dataset.frames = Number(this.canvas.dataset.frames ?? 0) + 1;
  }

  move(change) {
    change();
    this.ask();
    this.onCamera(this.camera);
  }

  // The box under a place of the canvas: of those that the ray enters, the nearest; of these the
  // smallest. A second click at the same place takes the next one.
  pickAt(x, y) {
    const rectangle = this.canvas.getBoundingClientRect();
    const across = (2 * (x - rectangle.left)) / rectangle.width - 1;
    const up = 1 - (2 * (y - rectangle.top)) / rectangle.height;
    const ray = this.camera.getRay(across, up, rectangle.width / rectangle.height);
    const { boxes } = this.levels[this.level] ?? { boxes: [] };
    const found = [];
    for (let box = 0; box < boxes.length / 6; ++box) {
      const hit = View3d.enter(ray, boxes, 6 * box);
      if (hit !== null) found.push({ box, ...hit });
    }
    found.sort((a, b) => a.distance - b.distance || a.size - b.size);
    const again = found.findIndex(({ box }) => this.picked && box === this.picked.index);
    if (found.length) this.pick(found[(again + 1) % found.length].box);
  }

  static enter({ origin, direction }, boxes, first) {
    let near = 0;
    let far = Infinity;
    let size = 0;
    for (let axis = 0; axis < 3; ++axis) {
      const inverse = 1 / direction[axis];
      const a = (boxes[first + axis] - origin[axis]) * inverse;
      const b = (boxes[first + 3 + axis] - origin[axis]) * inverse;
      near = Math.max(near, Math.min(a, b));
      far = Math.min(far, Math.max(a, b));
      size += boxes[first + 3 + axis] - boxes[first + axis];
    }
    return near <= far ? { distance: near, size } : null;
  }

  pick(index) {
    this.setPicked(this.level, index);
    this.onPick(this.level, index);
  }

  step(by) {
    const count = (this.levels[this.level]?.boxes.length ?? 0) / 6;
    if (count) this.pick(((this.picked ? this.picked.index + by : by > 0 ? 0 : -1) + count) % count);
  }

  listen() {
    const { canvas } = this;
    canvas.addEventListener("pointerdown", (event) => this.press(event));
    canvas.addEventListener("pointermove", (event) => this.drag(event));
    canvas.addEventListener("pointerup", (event) => this.lift(event));
    canvas.addEventListener("pointercancel", (event) => this.pointers.delete(event.pointerId));
    canvas.addEventListener("keydown", (event) => this.pressKey(event));
    // The page scrolls on unless the view has the focus.
    canvas.addEventListener("wheel", (event) => {
      if (document.activeElement !== canvas) return;
      event.preventDefault();
      this.move(() => this.camera.zoom(Math.exp(-event.deltaY * 0.0015)));
    }, { passive: false });
  }

  press(event) {
    this.canvas.focus({ preventScroll: true });
    this.canvas.setPointerCapture(event.pointerId);
    this.pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    this.moved = this.pointers.size > 1;
    this.pressed = { x: event.clientX, y: event.clientY };
  }

  drag(event) {
    const last = this.pointers.get(event.pointerId);
    if (!last) return;
    const now = { x: event.clientX, y: event.clientY };
    if (Math.hypot(now.x - this.pressed.x, now.y - this.pressed.y) > 4) this.moved = true;
    const height = this.canvas.clientHeight;
    const right = (now.x - last.x) / height;
    const up = (last.y - now.y) / height;
    this.move(() => {
      const other = [...this.pointers].find(([id]) => id !== event.pointerId)?.[1];
      if (other) {
        const apart = (place) => Math.hypot(place.x - other.x, place.y - other.y) || 1;
        this.camera.zoom(apart(now) / apart(last));
        this.camera.pan(right / 2, up / 2);
      } else if (event.shiftKey || event.buttons === 4 || event.buttons === 2)
        this.camera.pan(right, up);
      else this.camera.orbit(4 * right, -4 * up);
    });
    this.pointers.set(event.pointerId, now);
  }

  lift(event) {
    const wasPressed = this.pointers.delete(event.pointerId);
    if (wasPressed && !this.moved && this.pointers.size === 0) this.pickAt(event.clientX, event.clientY);
  }

  pressKey(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const { camera } = this;
    const turn = 0.12;
    const moves = {
      ArrowLeft: () => camera.orbit(turn, 0),
      ArrowRight: () => camera.orbit(-turn, 0),
      ArrowUp: () => camera.orbit(0, turn),
      ArrowDown: () => camera.orbit(0, -turn),
      "+": () => camera.zoom(1.15),
      "=": () => camera.zoom(1.15),
      "-": () => camera.zoom(1 / 1.15),
      Home: () => camera.reset(),
    };
    const steps = { n: 1, N: 1, p: -1, P: -1 };
    const levels = { PageDown: 1, PageUp: -1 };
    if (moves[event.key]) this.move(moves[event.key]);
    else if (steps[event.key]) this.step(steps[event.key]);
    else if (levels[event.key]) {
      this.setLevel(this.level + levels[event.key]);
      this.onLevel(this.level);
    } else return;
    event.preventDefault();
  }
}
