function openForPrint() {
  for (const closed of document.querySelectorAll("details:not([open])")) {
    closed.dataset.closed = "";
    closed.open = true;
  }
}

function closeAfterPrint() {
  for (const opened of document.querySelectorAll("details[data-closed]")) {
    delete opened.dataset.closed;
    opened.open = false;
  }
}

document.documentElement.classList.add("live");
makeSortable(byId("category-table"));
makeSortable(byId("confusion-table"));
makeFilter(byId("category-filter"), byId("category-table"), byId("category-count"));
drawCharts();
if (report.labels.length > 0) startMatrix();
openFromTables();
markWords("both");
byId("word-mode").addEventListener("change", (event) => markWords(event.target.value));
window.addEventListener("beforeprint", openForPrint);
window.addEventListener("afterprint", closeAfterPrint);
