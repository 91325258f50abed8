// Charts of shares: both axes are from 0 to 1 unless said otherwise.
const plot = {width: 480, height: 340, left: 44, right: 12, top: 10, bottom: 42};

function frameOf(svg, area, xName, yName, xTicks, yTicks, x, y) {
  for (const [at, text] of xTicks) {
    svg.append(
      drawn("line", {class: "grid", x1: x(at), x2: x(at), y1: area.top, y2: area.height - area.bottom}),
      drawn("text", {x: x(at), y: area.height - area.bottom + 16, "text-anchor": "middle"}, text));
  }
  for (const [at, text] of yTicks) {
    svg.append(
      drawn("line", {class: "grid", x1: area.left, x2: area.width - area.right, y1: y(at), y2: y(at)}),
      drawn("text", {x: area.left - 6, y: y(at) + 4, "text-anchor": "end"}, text));
  }
  svg.append(drawn("text",
    {x: (area.left + area.width - area.right) / 2, y: area.height - 6, "text-anchor": "middle"}, xName));
  if (yName) {
    svg.append(drawn("text", {
      x: 12, y: (area.top + area.height - area.bottom) / 2, "text-anchor": "middle",
      transform: `rotate(-90 12 ${(area.top + area.height - area.bottom) / 2})`}, yName));
  }
}

const scales = (area, lowX, highX, lowY, highY) => [
  (value) => area.left + (value - lowX) / (highX - lowX) * (area.width - area.left - area.right),
  (value) => area.height - area.bottom -
    (value - lowY) / (highY - lowY) * (area.height - area.top - area.bottom)];
const shareTicks = [0, 0.2, 0.4, 0.6, 0.8, 1].map((at) => [at, `${Math.round(100 * at)}`]);

// A point for each bin. On the dashed line the mean equals the share of right answers. The
// bars below show how many texts a bin has.
function reliability(of) {
  const svg = picture(`Reliability of the ${of.name}`,
    `${counted(of.bins.length, "bin")} of texts. A point shows the share of right answers for a mean ` +
    `${of.name}. The table below has the same numbers.`, plot.width, plot.height);
  const [x, y] = scales(plot, 0, 1, 0, 1);
  const most = Math.max(...of.bins.map((bin) => bin[4]), 1);
  frameOf(svg, plot, `Mean ${of.name}, %`, "Right answers, %", shareTicks, shareTicks, x, y);
  for (const [mean, , , , texts] of of.bins) {
    const height = 56 * texts / most;
    svg.append(drawn("rect", {class: "counts", x: x(mean) - 7, width: 14, y: y(0) - height, height}));
  }
  svg.append(drawn("line", {class: "ideal", x1: x(0), y1: y(0), x2: x(1), y2: y(1)}));
  const line = of.bins.map(([mean, share]) => `${x(mean).toFixed(1)},${y(share).toFixed(1)}`);
  svg.append(drawn("polyline", {class: "curve", points: line.join(" ")}));
  for (const [mean, share, low, high, texts] of of.bins) {
    svg.append(
      drawn("line", {class: "interval", x1: x(mean), x2: x(mean), y1: y(low), y2: y(high)}),
      drawn("circle", {class: "point", cx: x(mean), cy: y(share), r: 4.5},
        drawn("title", {}, `${percent(share)} of ${counted(texts, "text")} right, mean ${of.name} ${percent(mean)}`)));
  }
  return svg;
}

// Two histograms, right answers upwards and wrong ones downwards, so that they differ without colour.
function distribution(of) {
  const area = {width: 480, height: 240, left: 44, right: 12, top: 10, bottom: 42};
  const most = Math.max(...of.right, ...of.wrong, 1);
  const wrongs = of.wrong.reduce((sum, texts) => sum + texts, 0);
  const rights = of.right.reduce((sum, texts) => sum + texts, 0);
  const svg = picture(`Distribution of the ${of.name}`,
    `${counted(rights, "right answer")} upwards and ${counted(wrongs, "wrong answer")} downwards.`,
    area.width, area.height);
  const below = Math.max(...of.wrong, most / 8);
  const [x, y] = scales(area, 0, 1, -below, most);
  frameOf(svg, area, `${of.name[0].toUpperCase()}${of.name.slice(1)}, %`, "Texts", shareTicks,
    [[most, grouped(most)], [0, "0"], [-below, grouped(Math.round(below))]], x, y);
  const step = 1 / of.right.length;
  of.right.forEach((texts, index) => {
    const from = {x: x(index * step) + 1, width: x(step) - x(0) - 2};
    const range = `${of.name} ${percent(index * step)} to ${percent((index + 1) * step)}`;
    svg.append(
      drawn("rect", {class: "right", ...from, y: y(texts), height: y(0) - y(texts)},
        drawn("title", {}, `${counted(texts, "right answer")}, ${range}`)),
      drawn("rect", {class: "wrong", ...from, y: y(0), height: y(-of.wrong[index]) - y(0)},
        drawn("title", {}, `${counted(of.wrong[index], "wrong answer")}, ${range}`)));
  });
  return svg;
}

// The accuracy axis begins at the greatest tenth below all intervals.
function answeredCurve(of) {
  const points = of.points;
  const least = Math.floor(10 * Math.min(...points.map((point) => point[3]), 0.9)) / 10;
  const svg = picture("Accuracy against share answered",
    "A curve from few answered texts on the left to all of them on the right. The table has the same numbers.",
    plot.width, plot.height);
  const [x, y] = scales(plot, 0, 1, least, 1);
  const ticks = [];
  const steps = least < 0.5 ? 5 : 10;
  for (let at = Math.round(10 * least); at <= 10; at += steps === 5 ? 2 : 1) ticks.push([at / 10, `${10 * at}`]);
  frameOf(svg, plot, "Texts that get an answer, %", "Accuracy, %", shareTicks, ticks, x, y);
  const at = (share, value) => `${x(share).toFixed(1)},${y(value).toFixed(1)}`;
  svg.append(
    drawn("polygon", {class: "band", points: [
      ...points.map((point) => at(point[0], point[4])),
      ...points.slice().reverse().map((point) => at(point[0], point[3]))].join(" ")}),
    drawn("polyline", {class: "curve", points: points.map((point) => at(point[0], point[2])).join(" ")}));
  for (const [share, threshold, accuracy, , , texts, isInTable] of points) {
    if (!isInTable) continue;
    svg.append(drawn("circle", {class: "point", cx: x(share), cy: y(accuracy), r: 4},
      drawn("title", {}, `${percent(accuracy)} of ${counted(texts, "text")} right, ${of.by} at least ${threshold.toFixed(4)}`)));
  }
  return svg;
}

function drawCharts() {
  for (const of of report.calibration) {
    if (of.bins.length > 0) byId(`reliability-${of.name}`).append(reliability(of));
    byId(`distribution-${of.name}`).append(distribution(of));
  }
  if (report.answered.points.length > 0) byId("answered-chart").append(answeredCurve(report.answered));
}
