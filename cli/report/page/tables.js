// Tables that a click on a heading sorts. The sorting value of a cell is its data-value, or its text.
function valueOf(row, column) {
  const cell = row.cells[column];
  return cell.dataset.value === undefined ? cell.textContent : Number(cell.dataset.value);
}

function sortBy(table, column, direction) {
  const body = table.tBodies[0];
  const sign = direction === "ascending" ? 1 : -1;
  const rows = [...body.rows].map((row, index) => ({row, index, value: valueOf(row, column)}));
  rows.sort((left, right) => {
    const order = typeof left.value === "number"
      ? left.value - right.value
      : (left.value < right.value ? -1 : left.value > right.value ? 1 : 0);
    return sign * order || left.index - right.index;
  });
  body.append(...rows.map((entry) => entry.row));
  [...table.tHead.rows[0].cells].forEach((head, index) => {
    if (index === column) head.setAttribute("aria-sort", direction);
    else head.removeAttribute("aria-sort");
  });
}

// The first click shows what needs attention: names from A, shares from the lowest, counts from the
// highest. The next click reverses the order.
function makeSortable(table) {
  [...table.tHead.rows[0].cells].forEach((head, column) => {
    const button = element("button", {type: "button", class: "plain"}, ...head.childNodes);
    head.append(button);
    const first = head.classList.contains("number") ? "descending" : "ascending";
    const second = first === "ascending" ? "descending" : "ascending";
    button.addEventListener("click",
      () => sortBy(table, column, head.getAttribute("aria-sort") === first ? second : first));
  });
}

// Shows the rows whose first cell contains what is typed.
function makeFilter(input, table, output) {
  const rows = [...table.tBodies[0].rows];
  const names = rows.map((row) => row.cells[0].textContent.toLowerCase());
  const apply = () => {
    const wanted = input.value.trim().toLowerCase();
    let shown = 0;
    rows.forEach((row, index) => {
      row.hidden = !names[index].includes(wanted);
      if (!row.hidden) ++shown;
    });
    output.textContent = wanted === ""
      ? (rows.length === 1 ? "1 category" : `${grouped(rows.length)} categories`)
      : `${grouped(shown)} of ${grouped(rows.length)} categories`;
  };
  input.addEventListener("input", apply);
  apply();
}
