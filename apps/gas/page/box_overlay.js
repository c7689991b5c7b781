// SPDX-License-Identifier: Apache-2.0
// Draws the edges of boxes over a picture, as its camera sees them.
class BoxOverlay {
  constructor(canvas) {
    this.canvas = canvas;
    this.context = canvas.getContext("2d");
    this.boxes = new Float32Array(0);
  }

  // Six numbers to a box: its lower and its upper corner.
  setBoxes(boxes) {
    this.boxes = boxes;
    this.canvas.dataset.boxes = boxes.length / 6;
  }

  draw(camera) {
    const { canvas, context, boxes } = this;
    const scale = Math.min(2, devicePixelRatio || 1);
    const size = [canvas.clientWidth, canvas.clientHeight].map((length) => Math.round(length * scale));
    Object.assign(canvas, { width: size[0], height: size[1] });
    if (!boxes.length || !size[0]) return;
    const project = this.makeProjection(camera, ...size);
    const near = camera.distance * 0.01;
    context.beginPath();
    for (let box = 0; box < boxes.length; box += 6)
      for (const [from, to] of BoxOverlay.edges) {
        const ends = [from, to].map((corner) =>
          project(...[0, 1, 2].map((axis) => boxes[box + axis + ((corner >> axis) & 1 ? 3 : 0)])));
        this.addEdge(ends[0], ends[1], near, size);
      }
    // Bright over dark: to be seen on any picture.
    for (const [color, width] of [["rgb(0 0 0 / 45%)", 2.6], ["rgb(110 240 255 / 90%)", 1]]) {
      context.strokeStyle = color;
      context.lineWidth = width * scale;
      context.stroke();
    }
  }

  // To the camera's own axes: right, up, and away.
  makeProjection(camera, width, height) {
    const { right, up, back } = camera.getAxes();
    const eye = camera.getEye();
    this.half = Math.tan(camera.fieldOfView / 2) / (height / 2);
    return (...place) => {
      const from = place.map((part, axis) => part - eye[axis]);
      const along = (axis) => from[0] * axis[0] + from[1] * axis[1] + from[2] * axis[2];
      return [along(right), along(up), -along(back)];
    };
  }

  // What lies before the picture's plane is cut off.
  addEdge(a, b, near, [width, height]) {
    if (a[2] < near && b[2] < near) return;
    const cut = (from, to) => {
      if (from[2] >= near) return from;
      const share = (near - from[2]) / (to[2] - from[2]);
      return from.map((part, axis) => part + (to[axis] - part) * share);
    };
    const toPixel = ([x, y, depth]) => [width / 2 + x / (depth * this.half), height / 2 - y / (depth * this.half)];
    this.context.moveTo(...toPixel(cut(a, b)));
    this.context.lineTo(...toPixel(cut(b, a)));
  }
}

// Corners differ in one bit, that of the edge's axis.
BoxOverlay.edges = [0, 1, 2].flatMap((axis) =>
  [...Array(8).keys()].filter((corner) => !((corner >> axis) & 1)).map((corner) => [corner, corner | (1 << axis)]));
