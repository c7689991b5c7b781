// SPDX-License-Identifier: Apache-2.0
// Elements, numbers as text, and what is said to readers of the screen. Texts become text nodes, so
// that names of files can hold anything.
const svgSpace = "http://www.w3.org/2000/svg";
let lastId = 0;

// make("p.note", { id: "x" }, "text", element...): lists are flattened, null is left out.
function make(kind, attributes = {}, ...children) {
  const [name, ...classes] = kind.split(".");
  return fillElement(document.createElement(name), classes, attributes, children);
}

function makeSvg(kind, attributes = {}, ...children) {
  const [name, ...classes] = kind.split(".");
  return fillElement(document.createElementNS(svgSpace, name), classes, attributes, children);
}

function fillElement(element, classes, attributes, children) {
  element.classList.add(...classes);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (name === "style") Object.assign(element.style, value);
    else element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined));
  return element;
}

function makeId(word) {
  return `${word}-${++lastId}`;
}

// A label with a list of choices: [[value, text]...].
function makeChoice(text, choices, chosen, onchange) {
  const select = make("select", { onchange: () => onchange(select.value) },
    choices.map(([value, name]) => make("option", { value, selected: value === chosen }, name)));
  return make("label", {}, make("span", {}, text), select);
}

function makeSwitch(text, isOn, onchange) {
  const box = make("input", { type: "checkbox", checked: isOn, onchange: () => onchange(box.checked) });
  return make("label", {}, box, text);
}

const spoken = () => document.getElementById("spoken");
function say(text) {
  spoken().textContent = text;
}

// Whole numbers with thin spaces, others with three digits that count.
function showNumber(number) {
  if (number === null || number === undefined) return "–";
  if (!Number.isFinite(number)) return String(number);
  const size = Math.abs(number);
  if (Number.isInteger(number) && size < 1e7) return showWhole(number);
  if (size >= 1e7) return `${showNumber(Number((number / 1e6).toPrecision(3)))} M`;
  if (size >= 1000) return showWhole(Math.round(number));
  if (size !== 0 && size < 0.001) return number.toExponential(1);
  return String(Number(number.toPrecision(3)));
}

function showWhole(number) {
  return String(number).replace(/\B(?=(\d{3})+(?!\d))/g, "\u2009");
}

function showBytes(bytes) {
  if (bytes < 1e6) return `${showNumber(Number((bytes / 1e3).toPrecision(3)))} kB`;
  return `${showNumber(Number((bytes / 1e6).toPrecision(3)))} MB`;
}

function showSeconds(seconds) {
  if (seconds < 1) return `${showNumber(seconds * 1e3)} ms`;
  return `${showNumber(seconds)} s`;
}

// 1, 2, 5, 10...: steps of an axis from 0 to at least `largest`, about `count` of them.
function chooseTicks(largest, count = 4) {
  if (!(largest > 0)) return [0, 1];
  const rough = largest / count;
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].map((part) => part * power).find((size) => size >= rough * 0.999);
  const ticks = [];
  for (let i = 0; i <= Math.ceil((largest / step) * 0.999); ++i) ticks.push(i * step);
  return ticks.length > 1 ? ticks : [0, step];
}

function readColor(name) {
  const text = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
  return [1, 3, 5].map((place) => parseInt(text.slice(place, place + 2), 16) / 255);
}
