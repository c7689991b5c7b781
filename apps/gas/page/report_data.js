// SPDX-License-Identifier: Apache-2.0
// The report's data: JSON, and arrays of numbers that are deflated beside it.
const report = JSON.parse(document.getElementById("report-data").textContent);

async function inflate(base64) {
  const bytes = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// Arrays by their places, [offset, count]. First stand the lowest bytes of all numbers, then the next.
class BytePack {
  constructor(bytes) {
    this.bytes = bytes;
  }

  read([offset, count], Type) {
    const size = Type.BYTES_PER_ELEMENT;
    const mixed = new Uint8Array(count * size);
    for (let byte = 0; byte < size; ++byte)
      for (let i = 0; i < count; ++i) mixed[i * size + byte] = this.bytes[offset + byte * count + i];
    return new Type(mixed.buffer);
  }

  // Each corner is stored as its difference from the one before, each index as its distance from the
  // first that was not used yet.
  readMesh(mesh) {
    const [low, high] = [mesh.box.slice(0, 3), mesh.box.slice(3)];
    const count = mesh.steps[0][1];
    const positions = new Float32Array(3 * count);
    mesh.steps.forEach((place, axis) => {
      const steps = this.read(place, Uint16Array);
      const scale = (high[axis] - low[axis]) / 65535;
      let step = 0;
      for (let i = 0; i < count; ++i) {
        step = (step + steps[i]) & 65535;
        positions[3 * i + axis] = low[axis] + step * scale;
      }
    });
    const indices = this.read(mesh.distances, Uint32Array);
    let next = 0;
    for (let i = 0; i < indices.length; ++i) {
      indices[i] = next - indices[i];
      next = Math.max(next, indices[i] + 1);
    }
    return { positions, indices };
  }

  // What a level shows: boxes, and of each its number, parent, items, and whether it is a leaf.
  readLevel(level) {
    const columns = level.columns.map((place) => this.read(place, Float32Array));
    const count = columns[0].length;
    const boxes = new Float32Array(6 * count);
    columns.forEach((column, place) => column.forEach((number, i) => (boxes[6 * i + place] = number)));
    const packed = this.read(level.items, Uint32Array);
    return {
      total: level.count,
      count,
      boxes,
      costs: this.read(level.costs, Float32Array),
      items: packed.map((number) => number >>> 1),
      leaves: packed.map((number) => number & 1),
      numbers: this.read(level.numbers, Uint32Array),
      parents: this.read(level.parents, Uint32Array),
    };
  }
}

function getArea(boxes, index) {
  const [x, y, z] = [0, 1, 2].map((axis) => boxes[6 * index + 3 + axis] - boxes[6 * index + axis]);
  return 2 * (x * y + y * z + z * x);
}

// What a row of the comparison is called, with its wide nodes.
function nameRow(row) {
  return row.kind === "plain" ? `${row.name}, ${row.wide ? "wide nodes" : "binary nodes"}` : row.name;
}
