// The confusion matrix. A row is a label of the texts, a column an answer; the last column is for
// texts without an answer, if there are any. Only cells with texts are drawn.
const matrix = {
  names: report.labels,
  cells: new Map(),   // "row column" -> cell
  rows: [],           // the cells of each row, the greatest first
  order: [],          // the labels from the top to the bottom
  place: [],          // of each label in the order
  row: 0, column: 0,  // places of the cursor
  size: 0,            // of a cell, in pixels
  left: 0, top: 0,
};

const noAnswer = () => matrix.names.length;
const columnCount = () => matrix.names.length + (report.has_no_answer ? 1 : 0);
const answerName = (column) => column === noAnswer() ? "(no answer)" : matrix.names[column];
const cellAt = (row, column) => matrix.cells.get(`${row} ${column}`);
const placeOfColumn = (column) => column === noAnswer() ? matrix.names.length : matrix.place[column];
const labelOfRow = () => matrix.order[matrix.row];
const labelOfColumn = () => matrix.column < matrix.names.length ? matrix.order[matrix.column] : noAnswer();

function readCells() {
  matrix.rows = matrix.names.map(() => []);
  for (const [row, column, texts, first, listed] of report.cells) {
    const cell = {row, column, texts, first, listed};
    matrix.cells.set(`${row} ${column}`, cell);
    matrix.rows[row].push(cell);
  }
  for (const row of matrix.rows) row.sort((left, right) => right.texts - left.texts || left.column - right.column);
}

const textsOfRow = (row) => matrix.rows[row].reduce((sum, cell) => sum + cell.texts, 0);

function errorsOf(label) {
  let errors = 0;
  for (const cell of matrix.cells.values()) {
    if ((cell.row === label) !== (cell.column === label)) errors += cell.texts;
  }
  return errors;
}

function orderOf(kind) {
  const names = matrix.names.map((_, index) => index);
  if (kind === "similarity") return report.similarity;
  if (kind === "name") return names;
  const weight = names.map(kind === "size" ? textsOfRow : errorsOf);
  return names.sort((left, right) => weight[right] - weight[left] || left - right);
}

function shortName(name, longest) {
  const characters = [...name];
  return characters.length <= longest ? name : characters.slice(0, longest - 1).join("") + "\u2026";
}

// Numbers are black or white, as the contrast with the colour of the cell is greater: always more
// than 4.6. These strengths of a colour are the limits on white and on the dark panel.
const limitsOfWhite = {light: {right: 0.825, wrong: 0.875}, dark: {right: 0.575, wrong: 0.625}};

function numberClass(name, strength) {
  return "inside" + (strength > limitsOfWhite.light[name] ? " white-on-light" : "") +
    (strength < limitsOfWhite.dark[name] ? " white-on-dark" : "");
}

// One path has all cells of one colour, since thousands of elements would make the page slow.
// Small matrices have names at both axes and numbers in the cells. If the cells are too small for
// them, the line below the matrix names the cell.
function drawMatrix() {
  const box = byId("matrix");
  const count = matrix.names.length;
  const longest = Math.max(...matrix.names.map((name) => Math.min([...name].length, 18)), 4);
  const wide = box.clientWidth - 18;
  const margin = Math.min(7.2 * longest + 10, wide * 0.34);
  const named = (wide - margin) / columnCount() >= 11;
  matrix.left = named ? margin : 2;
  matrix.top = named ? Math.min(7.2 * longest + 10, 140) : 2;
  matrix.size = Math.max(4, Math.min(46, Math.floor((wide - matrix.left) / columnCount() * 4) / 4));
  const {left, top, size} = matrix;
  const width = left + size * columnCount() + 2;
  const height = top + size * count + 2;
  const svg = drawn("svg", {"aria-hidden": "true", width, height, viewBox: `0 0 ${width} ${height}`});
  svg.append(
    drawn("rect", {class: "cross", id: "cross-row"}), drawn("rect", {class: "cross", id: "cross-column"}),
    drawn("rect", {class: "frame", x: left, y: top, width: size * columnCount(), height: size * count}));
  const gap = size >= 8 ? 1 : 0;
  const squares = new Map();  // "class opacity" -> outline of all squares
  const numbers = [];
  let behind = "";  // the outline of all squares, so that no cross changes their colours
  matrix.order.forEach((label, place) => {
    const total = textsOfRow(label);
    for (const cell of matrix.rows[label]) {
      const column = cell.column === noAnswer() ? count : matrix.place[cell.column];
      const share = cell.texts / total;
      const strength = Math.round((0.16 + 0.84 * Math.sqrt(share)) * 20) / 20;
      const name = cell.row === cell.column ? "right" : "wrong";
      const kind = `${name} ${strength.toFixed(2)}`;
      const square = `M${left + column * size + gap / 2} ${top + place * size + gap / 2}` +
        `h${size - gap}v${size - gap}h${gap - size}z`;
      behind += square;
      squares.set(kind, (squares.get(kind) ?? "") + square);
      if (size >= 24) {
        numbers.push(drawn("text", {
          class: numberClass(name, strength), "text-anchor": "middle", "font-size": cell.texts > 999 ? 9 : 12,
          x: left + (column + 0.5) * size, y: top + (place + 0.5) * size + 4}, String(cell.texts)));
      }
    }
    if (named) {
      const room = Math.floor((margin - 10) / 7.2);
      const font = Math.min(12, size);
      svg.append(drawn("text", {
        class: "axis", "font-size": font, "text-anchor": "end", x: left - 6, y: top + (place + 0.5) * size + font / 3},
        shortName(matrix.names[label], room)));
    }
  });
  svg.append(drawn("path", {class: "behind", d: behind}));
  for (const [kind, outline] of squares) {
    const [name, opacity] = kind.split(" ");
    svg.append(drawn("path", {class: name, "fill-opacity": opacity, d: outline}));
  }
  svg.append(...numbers);
  if (named) {
    const columns = report.has_no_answer ? [...matrix.order, noAnswer()] : matrix.order;
    columns.forEach((label, place) => {
      const x = left + (place + 0.5) * size + 4;
      const font = Math.min(12, size);
      svg.append(drawn("text", {
        class: "axis", "font-size": font, x, y: top - 6, transform: `rotate(-90 ${x} ${top - 6})`},
        shortName(answerName(label), Math.floor((top - 10) / 7.2))));
    });
  }
  svg.append(drawn("rect", {class: "cursor", id: "matrix-cursor", width: size, height: size}));
  box.replaceChildren(svg);
  showCursor(false);
}

function describe(row, column) {
  const cell = cellAt(row, column);
  const texts = cell ? cell.texts : 0;
  const total = textsOfRow(row);
  const share = total > 0 ? `, ${percent(texts / total)} of ${grouped(total)}` : "";
  return ["Label ", isolated(matrix.names[row]), ", answer ", isolated(answerName(column)),
    `: ${counted(texts, "text")}${share}.`];
}

function showCursor(reads) {
  const {left, top, size} = matrix;
  const cursor = byId("matrix-cursor");
  cursor.setAttribute("x", left + matrix.column * size);
  cursor.setAttribute("y", top + matrix.row * size);
  const lines = {
    "cross-row": {x: left, y: top + matrix.row * size, width: size * columnCount(), height: size},
    "cross-column": {x: left + matrix.column * size, y: top, width: size, height: size * matrix.names.length}};
  for (const [id, place] of Object.entries(lines)) {
    for (const [key, value] of Object.entries(place)) byId(id).setAttribute(key, value);
  }
  if (reads) byId("readout").replaceChildren(...describe(labelOfRow(), labelOfColumn()));
}

function moveTo(row, column) {
  matrix.row = Math.max(0, Math.min(matrix.names.length - 1, row));
  matrix.column = Math.max(0, Math.min(columnCount() - 1, column));
  showCursor(true);
  const {left, top, size} = matrix;
  const box = byId("matrix");
  const x = left + matrix.column * size;
  const y = top + matrix.row * size;
  if (x < box.scrollLeft || x + size > box.scrollLeft + box.clientWidth) box.scrollLeft = x - box.clientWidth / 2;
  if (y < box.scrollTop || y + size > box.scrollTop + box.clientHeight) box.scrollTop = y - box.clientHeight / 2;
}

function moveToConfusion(direction) {
  for (let column = matrix.column + direction; column >= 0 && column < columnCount(); column += direction) {
    const label = column < matrix.names.length ? matrix.order[column] : noAnswer();
    if (label !== labelOfRow() && cellAt(labelOfRow(), label)) {
      moveTo(matrix.row, column);
      return;
    }
  }
}

const matrixKeys = {
  ArrowUp: () => moveTo(matrix.row - 1, matrix.column),
  ArrowDown: () => moveTo(matrix.row + 1, matrix.column),
  ArrowLeft: () => moveTo(matrix.row, matrix.column - 1),
  ArrowRight: () => moveTo(matrix.row, matrix.column + 1),
  Home: () => moveTo(matrix.row, 0),
  End: () => moveTo(matrix.row, columnCount() - 1),
  PageUp: () => moveToConfusion(-1),
  PageDown: () => moveToConfusion(1),
  Enter: () => listCell(labelOfRow(), labelOfColumn(), byId("matrix")),
  " ": () => listCell(labelOfRow(), labelOfColumn(), byId("matrix")),
};

function placeOf(event) {
  const bounds = byId("matrix").firstElementChild.getBoundingClientRect();
  return {
    row: Math.floor((event.clientY - bounds.top - matrix.top) / matrix.size),
    column: Math.floor((event.clientX - bounds.left - matrix.left) / matrix.size)};
}

const isInside = ({row, column}) =>
  row >= 0 && row < matrix.names.length && column >= 0 && column < columnCount();

function setOrder(kind) {
  const row = matrix.order.length > 0 ? labelOfRow() : undefined;
  const column = matrix.order.length > 0 ? labelOfColumn() : undefined;
  matrix.order = orderOf(kind);
  matrix.place = [];
  matrix.order.forEach((label, place) => { matrix.place[label] = place; });
  if (row !== undefined) {
    matrix.row = matrix.place[row];
    matrix.column = placeOfColumn(column);
  }
  drawMatrix();
}

function showGreatestConfusion() {
  let greatest = null;
  for (const cell of matrix.cells.values()) {
    if (cell.row !== cell.column && (!greatest || cell.texts > greatest.texts)) greatest = cell;
  }
  if (greatest) listCell(greatest.row, greatest.column, null);
  else showCursor(true);
}

function startMatrix() {
  readCells();
  const box = byId("matrix");
  setOrder(byId("matrix-order").value);
  showGreatestConfusion();
  byId("matrix-order").addEventListener("change", (event) => setOrder(event.target.value));
  box.addEventListener("keydown", (event) => {
    const work = matrixKeys[event.key];
    if (work && !event.altKey && !event.ctrlKey && !event.metaKey) {
      event.preventDefault();
      work();
    }
  });
  box.addEventListener("focus", () => showCursor(true));
  box.addEventListener("pointermove", (event) => {
    const place = placeOf(event);
    if (isInside(place) && (place.row !== matrix.row || place.column !== matrix.column)) {
      matrix.row = place.row;
      matrix.column = place.column;
      showCursor(true);
    }
  });
  box.addEventListener("click", (event) => {
    const place = placeOf(event);
    if (isInside(place)) {
      moveTo(place.row, place.column);
      listCell(labelOfRow(), labelOfColumn(), box);
    }
  });
  let width = box.clientWidth;
  new ResizeObserver(() => {
    if (Math.abs(box.clientWidth - width) > 1) {
      width = box.clientWidth;
      drawMatrix();
    }
  }).observe(box);
}

// The list of texts beside the matrix. Escape brings the focus back to where the list was opened,
// also after steps from list to list.
let openedBy = byId("matrix");

function showList(title, ...contents) {
  byId("cell-title").replaceChildren(...title);
  byId("cell-body").replaceChildren(...contents);
}

function focusList(opener) {
  if (opener !== byId("cell")) openedBy = opener;
  byId("cell-title").focus({preventScroll: true});
  byId("cell").scrollIntoView({block: "nearest"});
}

function sampleItem([text, score, labelScore, confidence, labels]) {
  const notes = [];
  if (score !== null) notes.push(`score of the answer ${score.toFixed(3)}`);
  if (labelScore !== null) notes.push(`score of the label ${labelScore.toFixed(3)}`);
  if (confidence !== null) notes.push(`confidence ${percent(confidence)}`);
  const item = element("li", {dir: "auto"}, text);
  item.append(element("small", {dir: "ltr", class: "soft"}, ...(labels ? ["labels ", isolated(labels), " · "] : []), notes.join(" · ")));
  return item;
}

// Scrolls if there is more than it can show. The keyboard can move it in all browsers.
const scrolled = (list) =>
  element("div", {class: "list", tabindex: "0", role: "region", "aria-label": "List of the cell"}, list);

// Moves the cursor of the matrix to the cell. `opener`: gets the focus back; the element "cell": the
// one before gets it; null: the focus does not move.
function listCell(row, column, opener) {
  if (opener) {
    moveTo(matrix.place[row], placeOfColumn(column));
  } else {
    matrix.row = matrix.place[row];
    matrix.column = placeOfColumn(column);
    showCursor(true);
  }
  const cell = cellAt(row, column);
  const texts = cell ? cell.texts : 0;
  const listed = cell ? report.samples.slice(cell.first, cell.first + cell.listed) : [];
  const note = element("p", {class: "soft"}, texts === 0
    ? "There is no such text."
    : listed.length === texts ? counted(texts, "text") : `${listed.length} of ${counted(texts, "text")}`);
  const list = element("ol", {}, ...listed.map(sampleItem));
  const title = row === column
    ? [isolated(matrix.names[row]), ", answered right"]
    : ["Label ", isolated(matrix.names[row]), ", answer ", isolated(answerName(column))];
  showList(title, note, scrolled(list), rowButton(row));
  if (opener) focusList(opener);
}

function rowButton(row) {
  const button = element("button", {type: "button", class: "plain"}, "All answers for ", isolated(matrix.names[row]));
  button.addEventListener("click", () => listRow(row, byId("cell")));
  return button;
}

function listRow(row, opener) {
  const items = matrix.rows[row].map((cell) => {
    const button = element("button", {type: "button", class: "plain"}, isolated(answerName(cell.column)));
    button.addEventListener("click", () => listCell(row, cell.column, byId("cell")));
    return element("li", {}, button, `: ${counted(cell.texts, "text")}`,
      cell.row === cell.column ? " (right)" : "");
  });
  showList(["Answers for ", isolated(matrix.names[row])],
    element("p", {class: "soft"}, counted(textsOfRow(row), "text")), scrolled(element("ul", {}, ...items)));
  focusList(opener);
}

// Names in the tables become buttons that open the list.
function openFromTables() {
  for (const place of document.querySelectorAll("[data-row]")) {
    const row = Number(place.dataset.row);
    const button = element("button", {type: "button", class: "plain"}, ...place.childNodes);
    place.append(button);
    button.addEventListener("click", () => {
      if (place.dataset.column === undefined) listRow(row, button);
      else listCell(row, Number(place.dataset.column), button);
    });
  }
  byId("cell").addEventListener("keydown", (event) => {
    if (event.key === "Escape") openedBy.focus();
  });
}
