// SPDX-License-Identifier: Apache-2.0
// The picture beside its heat maps. The mouse, or the arrow keys, move a cross over all of them, and
// the line below tells the numbers of that pixel, read back from the colours.
class Pictures {
  constructor(subject) {
    this.subject = subject;
    this.crosses = [];
    this.readout = make("p.readout.number", {}, "Point at a picture to read a pixel, or focus one and use the arrow keys.");
    this.place = null;
    this.element = make("div.pictures-holder", {},
      make("div.pictures", {},
        this.makeFigure(subject.picture, "Picture", `Picture of ${subject.name}`, make("p.note", {}, "What the camera sees, with the sun and the sky's light.")),
        subject.maps.map((map) => this.makeFigure(map.picture, map.title,
          `Heat map, ${map.title.toLowerCase()}: ${showNumber(map.mean)} ${map.unit} on average, at most ${showNumber(map.largest)}`,
          [this.makeScale(map), make("p.note", {}, `Mean ${showNumber(map.mean)}, most ${showNumber(map.largest)} ${map.unit}; ${map.note}.`)]))),
      this.readout);
  }

  makeFigure(picture, title, text, below) {
    const cross = make("span.cross", { "aria-hidden": "true" });
    this.crosses.push(cross);
    const image = make("img", { src: picture.source, width: picture.width, height: picture.height, alt: text });
    const frame = make("div.frame", { tabindex: "0", role: "group", "aria-label": `${title}; arrow keys read pixels`,
      onpointermove: (event) => this.follow(event, image), onpointerleave: () => this.hide(),
      onkeydown: (event) => this.pressKey(event), onblur: () => this.hide() }, image, cross);
    return make("figure.card.picture", {}, make("h4", {}, title), frame, below);
  }

  makeScale(map) {
    const end = map.scale_end;
    return make("div.scale", { "aria-hidden": "true" },
      make("div.ramp", { style: { background: `linear-gradient(90deg, ${report.heat_colors.join(", ")})` } }),
      make("div.ends.number", {}, [0, 0.25, 0.5, 0.75, 1].map((part) =>
        make("span", {}, showNumber(end * part) + (part === 1 ? (map.largest > end ? " +" : "") : "")))));
  }

  follow(event, image) {
    const rectangle = image.getBoundingClientRect();
    const across = (event.clientX - rectangle.left) / rectangle.width;
    const down = (event.clientY - rectangle.top) / rectangle.height;
    if (across >= 0 && across < 1 && down >= 0 && down < 1) this.show(across, down);
  }

  pressKey(event) {
    const moves = { ArrowLeft: [-0.02, 0], ArrowRight: [0.02, 0], ArrowUp: [0, -0.03], ArrowDown: [0, 0.03] };
    if (!moves[event.key]) return;
    event.preventDefault();
    const [across, down] = this.place ?? [0.5, 0.5];
    const limit = (part) => Math.max(0, Math.min(0.999, part));
    this.show(limit(across + moves[event.key][0]), limit(down + moves[event.key][1]));
    say(this.readout.textContent);
  }

  show(across, down) {
    this.place = [across, down];
    for (const cross of this.crosses)
      Object.assign(cross.style, { display: "block", left: `${100 * across}%`, top: `${100 * down}%` });
    const { width, height } = this.subject.picture;
    const [x, y] = [Math.floor(across * width), Math.floor(down * height)];
    const numbers = this.subject.maps.map((map) => {
      const value = this.readMap(map, x, y);
      return value === null ? null : `${value} ${map.unit}`;
    });
    this.readout.textContent = `Pixel ${x}, ${y}: ${numbers.filter(Boolean).join(" · ")}`;
  }

  hide() {
    this.crosses.forEach((cross) => (cross.style.display = "none"));
  }

  // The number whose colour stands in the map; it is rounded to the colours of the scale.
  readMap(map, x, y) {
    map.pixels ??= this.readPixels(map.picture);
    if (!map.pixels) return null;
    const at = 4 * (y * map.picture.width + x);
    const [red, green, blue] = map.pixels.subarray(at, at + 3);
    Pictures.steps ??= new Map(report.heat_colors.map((color, step) => [parseInt(color.slice(1), 16), step]));
    const step = Pictures.steps.get((red << 16) | (green << 8) | blue);
    if (step === undefined) return null;
    const steps = report.heat_colors.length - 1;
    return `${step === steps ? "≥ " : "≈ "}${showNumber(Number(((map.scale_end * step) / steps).toPrecision(3)))}`;
  }

  readPixels(picture) {
    const image = this.element.querySelector(`img[src="${picture.source}"]`);
    if (!image?.complete) return null;
    const canvas = Object.assign(document.createElement("canvas"), { width: picture.width, height: picture.height });
    const context = canvas.getContext("2d", { willReadFrequently: true });
    context.drawImage(image, 0, 0);
    return context.getImageData(0, 0, picture.width, picture.height).data;
  }
}
