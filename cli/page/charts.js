/** Drawings that several sections have: bars with axes that zoom, curves, and small drawings as SVG. */
const charts = (() => {
  // The legend sets styles in a way that the page's policy forbids; what it would say stands below each chart.
  Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

  const drawn = new Set();
  const waiting = new Map(); // a function that draws, by element

  /** A colour of page.css as it is now, such as "--accent". */
  function colour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
  }

  function themeOf(names) {
    return {
      colors: names.map(colour),
      axisLineColor: colour("--line"),
      gridLineColor: colour("--line"),
    };
  }

  for (const query of ["(prefers-color-scheme: dark)", "print"]) {
    matchMedia(query).addEventListener("change", () => {
      drawn.forEach((chart) => chart.updateOptions(themeOf(chart.names)));
    });
  }

  function drawNow(element) {
    observer.unobserve(element);
    const draw = waiting.get(element);
    waiting.delete(element);
    draw();
    element.dataset.drawn = "true";
  }

  // Hundreds of charts are drawn when they come into sight, and all before the page is printed.
  const observer = new IntersectionObserver((entries) => {
    entries.filter((entry) => entry.isIntersecting && waiting.has(entry.target))
      .forEach((entry) => drawNow(entry.target));
  }, { rootMargin: "400px" });
  addEventListener("beforeprint", () => {
    [...waiting.keys()].filter((element) => element.offsetWidth > 0).forEach(drawNow);
  });

  /** Calls `draw` once, when the element comes into sight, or before the page is printed. */
  function whenSeen(element, draw) {
    waiting.set(element, draw);
    observer.observe(element);
  }

  /** Draws the bars of a series, each around its value, as wide as neighbours leave room for. */
  function plotBars(e) {
    const context = e.drawingContext;
    const ground = e.dygraph.toDomYCoord(0);
    let width = 24;
    for (let i = 1; i < e.points.length; ++i) {
      width = Math.min(width, 0.8 * (e.points[i].canvasx - e.points[i - 1].canvasx));
    }
    width = Math.max(width, 1);
    context.fillStyle = e.color;
    for (const point of e.points) {
      context.fillRect(point.canvasx - width / 2, point.canvasy, width, ground - point.canvasy);
    }
  }

  /** Lets keys zoom and pan: plus and minus, the arrows, and 0 for everything. */
  function addKeys(element, chart, all) {
    element.addEventListener("keydown", (event) => {
      const [low, high] = chart.xAxisRange();
      const span = high - low;
      const windows = {
        "+": [low + span / 4, high - span / 4],
        "-": [Math.max(all[0], low - span / 2), Math.min(all[1], high + span / 2)],
        "ArrowLeft": [Math.max(all[0], low - span / 4), Math.max(all[0], low - span / 4) + span],
        "ArrowRight": [Math.min(all[1], high + span / 4) - span, Math.min(all[1], high + span / 4)],
        "0": all,
      };
      if (Object.hasOwn(windows, event.key) && !event.ctrlKey && !event.metaKey && !event.altKey) {
        event.preventDefault();
        chart.updateOptions({ dateWindow: windows[event.key] });
      }
    });
  }

  /**
   * A chart that zooms by dragging, or by keys while it has the focus. It is drawn when it comes into sight. Of values
   * whose distance is beyond the numbers of a script there is none, but a sentence that says so.
   * @param label    what it shows, for those who do not see it.
   * @param rows     arrays: a value, then a number or null for each series; in ascending order.
   * @param series   names of the series. They are the page's own, never texts of a recording.
   * @param colours  their colours, as page.css names them.
   * @param options  `unit` and `count` of the axes, `bars`: draws bars instead of steps, `first`: the range that is
   *                 shown at first, if not all, `describe`: a function from a row to what is said of it.
   */
  function chart(label, rows, series, colours, options) {
    const plane = page.make("div", { class: "chart", role: "img", tabindex: "0", "aria-label": label });
    const said = page.make("p", { class: "faint chart-said screen-only", text: kHint });
    const first = rows[0][0];
    const last = rows[rows.length - 1][0];
    const margin = last > first ? (last - first) * 0.03 : Math.max(Math.abs(first) * 0.1, 1);
    const all = [first - margin, last + margin];
    if (!Number.isFinite(all[1] - all[0])) {
      return page.make("p", { class: "faint chart-missing", text: "These values are too far apart to be drawn." });
    }
    whenSeen(plane, () => {
      const made = new Dygraph(plane, rows, {
        labels: ["value", ...series],
        stepPlot: !options.bars,
        ...(options.bars ? { plotter: plotBars } : {}),
        fillGraph: false,
        strokeWidth: 2,
        connectSeparatedPoints: true,
        includeZero: true,
        legend: "never",
        xlabel: options.unit,
        ylabel: options.count,
        dateWindow: options.first ?? all,
        xRangePad: 0,
        axes: { x: { valueFormatter: String, axisLabelFormatter: axisText }, y: { axisLabelFormatter: axisText } },
        highlightCallback: (event, x, points, row) => {
          said.textContent = options.describe(rows[row]);
        },
        unhighlightCallback: () => {
          said.textContent = kHint;
        },
        ...themeOf(colours),
      });
      made.names = colours;
      drawn.add(made);
      addKeys(plane, made, all);
      plane.chart = made;
    });
    return page.make("div", {}, plane, said);
  }

  const kHint = "Drag to zoom, double-click for everything; keys: + − ← → 0";

  /** A number of an axis, short. */
  function axisText(number) {
    return Math.abs(number) >= 1e6 || (number !== 0 && Math.abs(number) < 1e-3)
      ? number.toExponential(2)
      : String(Number(number.toPrecision(6)));
  }

  /** Makes an element of SVG. "text" is its text. */
  function svg(tag, attributes, ...children) {
    const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
    for (const [name, value] of Object.entries(attributes)) {
      if (name === "text") {
        element.textContent = value;
      } else {
        element.setAttribute(name, value);
      }
    }
    element.append(...children);
    return element;
  }

  /** A drawing of fixed width and height, which shrinks with the window. */
  function drawing(label, width, height, ...children) {
    const viewBox = `0 0 ${width} ${height}`;
    return svg("svg", { class: "drawing", viewBox, width, height, role: "img", "aria-label": label }, ...children);
  }

  /** A share of something as a bar. @param share  0 to 1. */
  function shareBar(share) {
    return svg("svg", { class: "share", viewBox: "0 0 100 10", width: 100, height: 10, "aria-hidden": "true" },
      svg("rect", { x: 0, y: 0, width: Math.max(0.5, 100 * share), height: 10, class: "fill" }));
  }

  /** Small bars without axes. @param label  for those who do not see them. */
  function smallBars(label, counts) {
    const most = Math.max(...counts);
    const width = 8;
    const bars = counts.map((count, place) => {
      const height = count === 0 ? 0 : Math.max(1, 22 * count / most);
      return svg("rect", { x: place * width, y: 22 - height, width: width - 1, height, class: "fill" });
    });
    return drawing(label, counts.length * width, 22, ...bars);
  }

  return { chart, whenSeen, svg, drawing, shareBar, smallBars };
})();
