// SPDX-License-Identifier: Apache-2.0
// Calls `take(head, data)` for each record of a body as it comes. A record has the sizes of its head
// and of its data, four bytes each, lowest first; then the head, which is JSON; then the data.
async function readRecords(body, take) {
  const reader = body.getReader();
  const decoder = new TextDecoder();
  let rest = new Uint8Array(0);
  for (;;) {
    const { done, value } = await reader.read();
    if (done) return;
    const bytes = new Uint8Array(rest.length + value.length);
    bytes.set(rest);
    bytes.set(value, rest.length);
    let start = 0;
    const sizes = new DataView(bytes.buffer);
    while (bytes.length - start >= 8) {
      const headEnd = start + 8 + sizes.getUint32(start, true);
      const end = headEnd + sizes.getUint32(start + 4, true);
      if (bytes.length < end) break;
      take(JSON.parse(decoder.decode(bytes.subarray(start + 8, headEnd))), bytes.subarray(headEnd, end));
      start = end;
    }
    rest = bytes.slice(start);
  }
}

// Paints the parts of a picture, coarse ones as squares of many pixels.
class PicturePainter {
  constructor(canvas) {
    this.canvas = canvas;
    this.context = canvas.getContext("2d");
    this.context.imageSmoothingEnabled = false;
    this.part = document.createElement("canvas");
  }

  // What is there stays, as far as it goes, until there is something else.
  resize(width, height) {
    const { canvas, part } = this;
    if (canvas.width === width && canvas.height === height) return;
    Object.assign(part, { width: canvas.width, height: canvas.height });
    if (part.width && part.height) part.getContext("2d").drawImage(canvas, 0, 0);
    Object.assign(canvas, { width, height });
    if (part.width && part.height) this.context.drawImage(part, 0, 0, width, height);
    this.context.imageSmoothingEnabled = false;
  }

  paint({ x, y, width, height, divisor }, data) {
    const pixels = new ImageData(new Uint8ClampedArray(data), width, height);
    if (divisor === 1) return this.context.putImageData(pixels, x, y);
    Object.assign(this.part, { width, height });
    this.part.getContext("2d").putImageData(pixels, 0, 0);
    this.context.drawImage(this.part, x * divisor, y * divisor, width * divisor, height * divisor);
  }
}
