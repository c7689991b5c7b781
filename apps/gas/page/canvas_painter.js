// SPDX-License-Identifier: Apache-2.0
// Paints the same as GlPainter on a 2D canvas: triangles through a depth buffer of its own, lines of
// boxes over them, fainter where they are behind the mesh.
class CanvasPainter {
  static create(canvas) {
    const context = canvas.getContext("2d");
    return context ? new CanvasPainter(context) : null;
  }

  constructor(context) {
    this.context = context;
    this.name = "2D canvas";
    this.positions = new Float32Array(0);
    this.indices = new Uint32Array(0);
    this.boxes = new Float32Array(0);
    this.colors = new Float32Array(0);
    this.image = null;
  }

  setMesh(positions, indices) {
    this.positions = positions;
    this.indices = indices;
    this.screen = new Float32Array(positions.length);
  }

  setBoxes(boxes, colors) {
    this.boxes = boxes;
    this.colors = colors;
  }

  draw(width, height, look) {
    this.matrix = look.camera.getMatrix(width / height);
    this.width = width;
    this.height = height;
    this.clear(look.background);
    if (look.mesh) this.drawMesh(look);
    this.context.putImageData(this.image, 0, 0);
    this.drawBoxes(look);
  }

  clear(background) {
    const count = this.width * this.height;
    if (!this.image || this.depths.length !== count || this.image.width !== this.width) {
      this.image = this.context.createImageData(this.width, this.height);
      this.pixels = new Uint32Array(this.image.data.buffer);
      this.depths = new Float32Array(count);
    }
    this.pixels.fill(CanvasPainter.pack(background, 1));
    this.depths.fill(Infinity);
  }

  static pack(color, light) {
    const [red, green, blue] = color.map((part) => Math.round(255 * Math.min(1, part * light)));
    return ((255 << 24) | (blue << 16) | (green << 8) | red) >>> 0;
  }

  // Pixels from the upper left corner, and the distance along the camera's axis.
  project(x, y, z) {
    const m = this.matrix;
    const w = m[3] * x + m[7] * y + m[11] * z + m[15];
    const across = (m[0] * x + m[4] * y + m[8] * z + m[12]) / w;
    const up = (m[1] * x + m[5] * y + m[9] * z + m[13]) / w;
    return [(0.5 + 0.5 * across) * this.width, (0.5 - 0.5 * up) * this.height, w];
  }

  drawMesh(look) {
    const { positions, indices, screen } = this;
    for (let i = 0; i < positions.length; i += 3) {
      const place = this.project(positions[i], positions[i + 1], positions[i + 2]);
      screen[i] = place[0];
      screen[i + 1] = place[1];
      screen[i + 2] = place[2];
    }
    // Colours of 64 steps of light.
    const shades = Array.from({ length: 65 }, (_, i) => CanvasPainter.pack(look.mesh, i / 64));
    const { back, up, right } = look.camera.getAxes();
    const key = [0, 1, 2].map((i) => (back[i] + 0.7 * up[i] - 0.55 * right[i]) / 1.34);
    for (let i = 0; i < indices.length; i += 3) {
      const light = this.getLight(3 * indices[i], 3 * indices[i + 1], 3 * indices[i + 2], key, up, back);
      this.fillTriangle(3 * indices[i], 3 * indices[i + 1], 3 * indices[i + 2], shades[light]);
    }
  }

  getLight(a, b, c, key, up, back) {
    const p = this.positions;
    const [ux, uy, uz] = [p[b] - p[a], p[b + 1] - p[a + 1], p[b + 2] - p[a + 2]];
    const [vx, vy, vz] = [p[c] - p[a], p[c + 1] - p[a + 1], p[c + 2] - p[a + 2]];
    const [x, y, z] = [uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx];
    const length = Math.hypot(x, y, z) || 1;
    const side = x * back[0] + y * back[1] + z * back[2] < 0 ? -1 / length : 1 / length;
    const dot = (axis) => (x * axis[0] + y * axis[1] + z * axis[2]) * side;
    const light = 0.3 + 0.62 * Math.max(dot(key), 0) + 0.14 * (0.5 + 0.5 * dot(up));
    return Math.max(0, Math.min(64, Math.round(64 * light)));
  }

  fillTriangle(a, b, c, color) {
    const { screen, width, height, depths, pixels } = this;
    const [ax, ay, az] = [screen[a], screen[a + 1], screen[a + 2]];
    const [bx, by, bz] = [screen[b], screen[b + 1], screen[b + 2]];
    const [cx, cy, cz] = [screen[c], screen[c + 1], screen[c + 2]];
    if (az <= 0 || bz <= 0 || cz <= 0) return;
    const area = (bx - ax) * (cy - ay) - (by - ay) * (cx - ax);
    if (!area) return;
    const left = Math.max(0, Math.floor(Math.min(ax, bx, cx)));
    const right = Math.min(width - 1, Math.ceil(Math.max(ax, bx, cx)));
    const top = Math.max(0, Math.floor(Math.min(ay, by, cy)));
    const bottom = Math.min(height - 1, Math.ceil(Math.max(ay, by, cy)));
    for (let y = top; y <= bottom; ++y)
      for (let x = left; x <= right; ++x) {
        const [px, py] = [x + 0.5, y + 0.5];
        const u = ((bx - px) * (cy - py) - (by - py) * (cx - px)) / area;
        const v = ((cx - px) * (ay - py) - (cy - py) * (ax - px)) / area;
        if (u < 0 || v < 0 || u + v > 1) continue;
        const depth = u * az + v * bz + (1 - u - v) * cz;
        const pixel = y * width + x;
        if (depth < depths[pixel]) {
          depths[pixel] = depth;
          pixels[pixel] = color;
        }
      }
  }

  drawBoxes(look) {
    const { context, boxes, colors } = this;
    context.lineWidth = look.lineWidth;
    for (let box = 0; box < boxes.length / 6; ++box) {
      const at = (axis, bit) => boxes[6 * box + 3 * bit + axis];
      const corners = Array.from({ length: 8 }, (_, i) =>
        this.project(at(0, i & 1), at(1, (i >> 1) & 1), at(2, i >> 2)));
      if (corners.some((corner) => corner[2] <= 0)) continue;
      const color = colors.subarray(3 * box, 3 * box + 3);
      const opacity = look.mesh ? this.getOpacity(corners) : 0.8;
      context.strokeStyle = `rgb(${Array.from(color, (c) => Math.round(255 * c))} / ${opacity})`
        .replace(/,/g, " ");
      context.beginPath();
      for (let from = 0; from < 8; ++from)
        for (const bit of [1, 2, 4])
          if (!(from & bit)) {
            context.moveTo(corners[from][0], corners[from][1]);
            context.lineTo(corners[from | bit][0], corners[from | bit][1]);
          }
      context.stroke();
    }
  }

  // By the share of corners that the mesh does not hide.
  getOpacity(corners) {
    let seen = 0;
    for (const [x, y, depth] of corners) {
      const inside = x >= 0 && y >= 0 && x < this.width && y < this.height;
      const pixel = Math.floor(y) * this.width + Math.floor(x);
      if (!inside || depth < this.depths[pixel]) ++seen;
    }
    return 0.15 + 0.8 * (seen / 8);
  }
}
