// SPDX-License-Identifier: Apache-2.0
// A camera that orbits around a target. Angles are in radians; azimuth 0 looks from +z, y is up.
class OrbitCamera {
  constructor() {
    this.fieldOfView = 0.6;
    this.frame([0, 0, 0], 1);
  }

  // Shows the sphere as a whole, from the usual side.
  frame(center, radius) {
    this.home = { center: [...center], radius: radius > 0 ? radius : 1 };
    this.reset();
  }

  reset() {
    this.target = [...this.home.center];
    this.distance = (0.88 * this.home.radius) / Math.sin(this.fieldOfView / 2);
    this.azimuth = 0.49;
    this.elevation = 0.31;
  }

  orbit(right, up) {
    this.azimuth -= right;
    this.elevation = Math.max(-1.55, Math.min(1.55, this.elevation + up));
  }

  zoom(factor) {
    const { radius } = this.home;
    this.distance = Math.max(radius * 0.02, Math.min(radius * 40, this.distance / factor));
  }

  // Moves the target, by fractions of the picture's height.
  pan(right, up) {
    const axes = this.getAxes();
    const scale = 2 * this.distance * Math.tan(this.fieldOfView / 2);
    for (let axis = 0; axis < 3; ++axis)
      this.target[axis] -= (axes.right[axis] * right + axes.up[axis] * up) * scale;
  }

  getAxes() {
    const [sa, ca] = [Math.sin(this.azimuth), Math.cos(this.azimuth)];
    const [se, ce] = [Math.sin(this.elevation), Math.cos(this.elevation)];
    return { right: [ca, 0, -sa], up: [-sa * se, ce, -ca * se], back: [sa * ce, se, ca * ce] };
  }

  getEye() {
    const { back } = this.getAxes();
    return this.target.map((place, axis) => place + back[axis] * this.distance);
  }

  // Narrow pictures see as much to the sides as square ones.
  getHalfSizes(aspect) {
    const half = Math.tan(this.fieldOfView / 2);
    return aspect >= 1 ? [half * aspect, half] : [half, half / aspect];
  }

  // From the scene to clip space, column by column.
  getMatrix(aspect) {
    const { right, up, back } = this.getAxes();
    const eye = this.getEye();
    const [wide, high] = this.getHalfSizes(aspect);
    const near = this.distance * 0.01;
    const far = this.distance + this.home.radius * 50;
    const a = (far + near) / (near - far);
    const b = (2 * far * near) / (near - far);
    const dot = (axis) => axis[0] * eye[0] + axis[1] * eye[1] + axis[2] * eye[2];
    const matrix = new Float32Array(16);
    for (let axis = 0; axis < 3; ++axis)
      matrix.set([right[axis] / wide, up[axis] / high, back[axis] * a, -back[axis]], 4 * axis);
    matrix.set([-dot(right) / wide, -dot(up) / high, -dot(back) * a + b, dot(back)], 12);
    return matrix;
  }

  // Through a place of the picture, both coordinates -1 to 1, upwards.
  getRay(x, y, aspect) {
    const { right, up, back } = this.getAxes();
    const [wide, high] = this.getHalfSizes(aspect);
    const direction = [0, 1, 2].map((i) => right[i] * x * wide + up[i] * y * high - back[i]);
    return { origin: this.getEye(), direction };
  }
}
