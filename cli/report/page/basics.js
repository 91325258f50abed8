// The page's own figures are computed by the program. This script only draws, sorts and filters.
"use strict";

const report = JSON.parse(document.getElementById("report-data").textContent);
const byId = (id) => document.getElementById(id);

// An HTML element with attributes and children. Texts become text nodes, never markup.
function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

// The name of a category between other words. It cannot change their order.
const isolated = (name) => element("bdi", {}, name);

function drawn(name, attributes = {}, ...children) {
  const made = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

// The same forms of numbers as in the tables of the program.
const grouped = (number) => String(number).replace(/\B(?=(\d{3})+$)/g, ",");
const counted = (number, noun) => `${grouped(number)} ${noun}${number === 1 ? "" : "s"}`;
const percent = (share) => `${(100 * share).toFixed(1)}\u00a0%`;

// An SVG with a name and a description for people who cannot see it.
let drawnCharts = 0;
function picture(name, description, width, height) {
  const id = `chart-${++drawnCharts}`;
  return drawn("svg",
    {class: "chart", role: "img", viewBox: `0 0 ${width} ${height}`, "aria-labelledby": `${id}-t ${id}-d`},
    drawn("title", {id: `${id}-t`}, name), drawn("desc", {id: `${id}-d`}, description));
}
