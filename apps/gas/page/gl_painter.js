// SPDX-License-Identifier: Apache-2.0
// Paints a mesh and boxes with WebGL 2. Lines of boxes are drawn as thin quads, first those behind the
// mesh, faintly, then those before it.
const meshShader = {
  vertex: `#version 300 es
    in vec3 a_position;
    uniform mat4 u_camera;
    uniform vec3 u_eye;
    out vec3 v_place;
    void main() {
      v_place = a_position - u_eye;
      gl_Position = u_camera * vec4(a_position, 1.0);
    }`,
  fragment: `#version 300 es
    precision highp float;
    in vec3 v_place;
    uniform vec3 u_color;
    uniform vec3 u_up;
    uniform vec3 u_right;
    out vec4 color;
    void main() {
      vec3 normal = normalize(cross(dFdx(v_place), dFdy(v_place)));
      vec3 towards = normalize(-v_place);
      if (dot(normal, towards) < 0.0) normal = -normal;
      vec3 key = normalize(towards + 0.7 * u_up - 0.55 * u_right);
      float light = 0.30 + 0.62 * max(dot(normal, key), 0.0) + 0.14 * (0.5 + 0.5 * dot(normal, u_up));
      color = vec4(u_color * light, 1.0);
    }`,
};

const boxShader = {
  vertex: `#version 300 es
    in vec3 a_from;
    in vec3 a_to;
    in vec2 a_place;
    in vec3 i_low;
    in vec3 i_high;
    in vec3 i_color;
    uniform mat4 u_camera;
    uniform vec2 u_pixel;
    uniform float u_near;
    out vec3 v_color;
    void main() {
      vec4 from = u_camera * vec4(mix(i_low, i_high, a_from), 1.0);
      vec4 to = u_camera * vec4(mix(i_low, i_high, a_to), 1.0);
      if (from.w < u_near && to.w > u_near) from = mix(from, to, (u_near - from.w) / (to.w - from.w));
      if (to.w < u_near && from.w > u_near) to = mix(to, from, (u_near - to.w) / (from.w - to.w));
      vec2 along = (to.xy / to.w - from.xy / from.w) / u_pixel;
      vec2 side = normalize(vec2(-along.y, along.x) + 1e-6);
      vec4 place = a_place.x < 0.5 ? from : to;
      place.xy += side * u_pixel * a_place.y * place.w;
      gl_Position = place;
      v_color = i_color;
    }`,
  fragment: `#version 300 es
    precision mediump float;
    in vec3 v_color;
    uniform float u_opacity;
    out vec4 color;
    void main() { color = vec4(v_color * u_opacity, u_opacity); }`,
};

// Twelve edges of six corners each: both ends of the edge, which end, which side.
function makeEdges() {
  const numbers = [];
  for (let axis = 0; axis < 3; ++axis)
    for (const [low, high] of [[0, 0], [0, 1], [1, 0], [1, 1]]) {
      const from = [0, 0, 0];
      from[(axis + 1) % 3] = low;
      from[(axis + 2) % 3] = high;
      const to = [...from];
      to[axis] = 1;
      for (const place of [[0, -1], [0, 1], [1, -1], [1, -1], [0, 1], [1, 1]])
        numbers.push(...from, ...to, ...place);
    }
  return new Float32Array(numbers);
}

class GlPainter {
  // Null where there is no WebGL 2.
  static create(canvas) {
    const gl = canvas.getContext("webgl2", { antialias: true, alpha: true, depth: true });
    return gl ? new GlPainter(gl) : null;
  }

  constructor(gl) {
    this.gl = gl;
    this.name = "WebGL";
    this.mesh = this.makeProgram(meshShader);
    this.boxes = this.makeProgram(boxShader);
    this.edges = this.fill(gl.createBuffer(), gl.ARRAY_BUFFER, makeEdges());
    this.positions = gl.createBuffer();
    this.indices = gl.createBuffer();
    this.instances = gl.createBuffer();
    this.indexCount = 0;
    this.boxCount = 0;
  }

  makeProgram({ vertex, fragment }) {
    const { gl } = this;
    const program = gl.createProgram();
    for (const [kind, text] of [[gl.VERTEX_SHADER, vertex], [gl.FRAGMENT_SHADER, fragment]]) {
      const shader = gl.createShader(kind);
      gl.shaderSource(shader, text);
      gl.compileShader(shader);
      gl.attachShader(program, shader);
    }
    gl.linkProgram(program);
    return program;
  }

  fill(buffer, kind, numbers) {
    this.gl.bindBuffer(kind, buffer);
    this.gl.bufferData(kind, numbers, this.gl.STATIC_DRAW);
    return buffer;
  }

  setMesh(positions, indices) {
    this.fill(this.positions, this.gl.ARRAY_BUFFER, positions);
    this.fill(this.indices, this.gl.ELEMENT_ARRAY_BUFFER, indices);
    this.indexCount = indices.length;
  }

  // Six numbers to a box, and three of its colour.
  setBoxes(boxes, colors) {
    this.boxCount = boxes.length / 6;
    const numbers = new Float32Array(9 * this.boxCount);
    for (let box = 0; box < this.boxCount; ++box) {
      numbers.set(boxes.subarray(6 * box, 6 * box + 6), 9 * box);
      numbers.set(colors.subarray(3 * box, 3 * box + 3), 9 * box + 6);
    }
    this.fill(this.instances, this.gl.ARRAY_BUFFER, numbers);
  }

  setAttributes(program, buffer, list, isPerInstance) {
    const { gl } = this;
    const stride = 4 * list.reduce((sum, [, size]) => sum + size, 0);
    let offset = 0;
    gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
    for (const [name, size] of list) {
      const place = gl.getAttribLocation(program, name);
      gl.enableVertexAttribArray(place);
      gl.vertexAttribPointer(place, size, gl.FLOAT, false, stride, offset);
      gl.vertexAttribDivisor(place, isPerInstance ? 1 : 0);
      offset += 4 * size;
    }
  }

  // `look`: {camera, background, mesh (colour, or null for none), lineWidth}, colours of 0 to 1.
  draw(width, height, look) {
    const { gl } = this;
    gl.viewport(0, 0, width, height);
    gl.clearColor(...look.background, 1);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    gl.enable(gl.DEPTH_TEST);
    gl.depthFunc(gl.LEQUAL);
    const matrix = look.camera.getMatrix(width / height);
    if (look.mesh && this.indexCount > 0) this.drawMesh(matrix, look);
    if (this.boxCount > 0) this.drawBoxes(matrix, width, height, look);
  }

  drawMesh(matrix, look) {
    const { gl, mesh } = this;
    const axes = look.camera.getAxes();
    const uniform = (name) => gl.getUniformLocation(mesh, name);
    gl.useProgram(mesh);
    gl.disable(gl.BLEND);
    gl.enable(gl.POLYGON_OFFSET_FILL);
    gl.polygonOffset(1, 1);
    gl.uniformMatrix4fv(uniform("u_camera"), false, matrix);
    gl.uniform3fv(uniform("u_eye"), look.camera.getEye());
    gl.uniform3fv(uniform("u_color"), look.mesh);
    gl.uniform3fv(uniform("u_up"), axes.up);
    gl.uniform3fv(uniform("u_right"), axes.right);
    this.setAttributes(mesh, this.positions, [["a_position", 3]], false);
    gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, this.indices);
    gl.drawElements(gl.TRIANGLES, this.indexCount, gl.UNSIGNED_INT, 0);
    gl.disable(gl.POLYGON_OFFSET_FILL);
  }

  drawBoxes(matrix, width, height, look) {
    const { gl, boxes } = this;
    const uniform = (name) => gl.getUniformLocation(boxes, name);
    gl.useProgram(boxes);
    gl.enable(gl.BLEND);
    gl.blendFunc(gl.ONE, gl.ONE_MINUS_SRC_ALPHA);
    gl.depthMask(false);
    gl.uniformMatrix4fv(uniform("u_camera"), false, matrix);
    gl.uniform2f(uniform("u_pixel"), look.lineWidth / width, look.lineWidth / height);
    gl.uniform1f(uniform("u_near"), look.camera.distance * 0.01);
    this.setAttributes(boxes, this.edges, [["a_from", 3], ["a_to", 3], ["a_place", 2]], false);
    this.setAttributes(boxes, this.instances, [["i_low", 3], ["i_high", 3], ["i_color", 3]], true);
    const passes = look.mesh ? [[gl.GREATER, 0.16], [gl.LEQUAL, 0.95]] : [[gl.ALWAYS, 0.8]];
    for (const [depth, opacity] of passes) {
      gl.depthFunc(depth);
      gl.uniform1f(uniform("u_opacity"), opacity);
      gl.drawArraysInstanced(gl.TRIANGLES, 0, 72, this.boxCount);
    }
    gl.depthMask(true);
  }
}
