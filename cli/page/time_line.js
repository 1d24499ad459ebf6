/** The time line: a canvas that draws the reports of a recording, and the fields of the one that is chosen. */
(() => {
  const { lowerBound, hexOf } = timeLineData;

  /** Okabe and Ito's colours, which colour-blind people tell apart; each thing has its name beside it as well. */
  const palette = ["#e69f00", "#56b4e9", "#009e73", "#f0e442", "#0072b2", "#d55e00", "#cc79a7", "#8c8c8c"];
  const gutter = 180; // pixels, for the names of tracks
  const sliceHeight = 16;
  const rulerHeight = 34;
  const leastSpan = 8; // microseconds in view

  const categoryOf = (kind) => kind.ids >>> 24;
  const colourOf = (number) => palette[number % palette.length];

  /** "7,203.975031 s" */
  function secondsText(time) {
    const whole = time / 1000000n;
    return whole.toLocaleString("en-US") + "." + String(time % 1000000n).padStart(6, "0") + " s";
  }

  function durationText(microseconds) {
    const units = [[1e6, "s"], [1e3, "ms"], [1, "µs"]];
    const [size, unit] = units.find(([least]) => microseconds >= least) ?? units[2];
    return Number((microseconds / size).toPrecision(4)).toLocaleString("en-US") + " " + unit;
  }

  /** What part of the axis is seen, and where it is on the canvas. */
  class View {
    constructor(length) {
      this.length = Math.max(length, leastSpan);
      this.width = 800;
      this.showAll();
    }

    get span() {
      return this.end - this.begin;
    }

    showAll() {
      this.show(0, Infinity);
    }

    /** Shows a part, as far as there is something: beside it there is room for a fiftieth of what is seen. */
    show(begin, end) {
      const span = this.allowedSpan(end - begin);
      const first = end === Infinity ? -Infinity : (begin + end - span) / 2;
      this.begin = Math.min(Math.max(first, -span / 50), this.length - span * 0.98);
      this.end = this.begin + span;
    }

    allowedSpan(span) {
      return Math.min(Math.max(span, leastSpan), this.length / 0.96);
    }

    pan(part) {
      this.show(this.begin + part * this.span, this.end + part * this.span);
    }

    zoom(factor, axis = (this.begin + this.end) / 2) {
      const span = this.allowedSpan(this.span * factor);
      const begin = axis - (axis - this.begin) * span / this.span;
      this.show(begin, begin + span);
    }

    x(axis) {
      return gutter + (axis - this.begin) / this.span * (this.width - gutter);
    }

    axisAt(x) {
      return this.begin + (x - gutter) / (this.width - gutter) * this.span;
    }
  }

  /** What a frame is drawn with: the context, the view, and for each pixel the first place that is not before it. */
  class Frame {
    constructor(context, view, recording, colours) {
      Object.assign(this, { context, view, recording, colours });
      this.firsts = new Uint32Array(view.width - gutter + 1);
      for (let i = 0, place = 0; i < this.firsts.length; ++i) {
        place = lowerBound(recording.axis, view.axisAt(gutter + i), place);
        this.firsts[i] = place;
      }
    }

    rectangle(x, y, width, height, colour) {
      this.context.fillStyle = colour;
      this.context.fillRect(x, y, width, height);
    }

    text(text, x, y, width, colour = this.colours.text) {
      if (width < 8) {
        return;
      }
      this.context.save();
      this.context.beginPath();
      this.context.rect(x, y - 14, width, 20);
      this.context.clip();
      this.context.fillStyle = colour;
      this.context.fillText(text, x, y);
      this.context.restore();
    }
  }

  /** A track of marks: reports by their places. */
  class MarkTrack {
    constructor(name, places, colour, isTrigger = () => false) {
      Object.assign(this, { name, places, colour, isTrigger, height: 20, count: places.length });
    }

    labelOf(place, recording) {
      return recording.kind(place).event;
    }

    draw(frame, top) {
      const { firsts, view, recording } = frame;
      let index = lowerBound(this.places, firsts[0]);
      let labelled = gutter - 1;
      for (let i = 0; i + 1 < firsts.length; ++i) {
        if (firsts[i] === firsts[i + 1] || index === this.places.length || this.places[index] >= firsts[i + 1]) {
          continue;
        }
        const next = lowerBound(this.places, firsts[i + 1], index);
        const count = next - index;
        const height = Math.min(18, 6 + 2 * Math.log2(count));
        const x = gutter + i;
        frame.rectangle(x, top + 19 - height, 1.5, height, this.colour);
        if (count === 1 && this.isTrigger(this.places[index])) {
          const { context } = frame;
          context.beginPath();
          context.moveTo(x - 4, top + 2);
          context.lineTo(x + 5, top + 2);
          context.lineTo(x + 0.5, top + 10);
          context.fill();
        }
        const free = (next < this.places.length ? view.x(recording.axis[this.places[next]]) : view.width) - x;
        if (count === 1 && free > 40 && x > labelled) {
          frame.text(this.labelOf(this.places[index], recording), x + 6, top + 14, free - 8, frame.colours.faint);
          labelled = x;
        }
        index = next;
      }
    }

    /** The place of the mark that is nearest to a point of the axis, at most `reach` away; -1 for none. */
    find(axis, unused, reach, recording) {
      return nearest(this.places, recording.axis, axis, reach);
    }
  }

  /** When something woke the device: marks with the reason, and a line through all tracks where there are few. */
  class WakeTrack extends MarkTrack {
    labelOf(place, recording) {
      const reason = recording.fieldsOf(place).find(([key]) => key === "wake_reason");
      return reason === undefined ? super.labelOf(place, recording) : "reason " + reason[1];
    }

    drawBands(frame, height) {
      const { firsts, view, recording } = frame;
      const first = lowerBound(this.places, firsts[0]);
      const last = lowerBound(this.places, firsts.at(-1));
      for (let index = first; index < last && last - first < 100; ++index) {
        frame.rectangle(view.x(recording.axis[this.places[index]]) - 1, 0, 3, height, frame.colours.wake);
      }
    }
  }

  /** The nearest of `places` to a point of the axis; -1 when it is farther than `reach`. */
  function nearest(places, axisOf, axis, reach) {
    const after = lowerBound(places, lowerBound(axisOf, axis));
    let best = -1;
    let distance = reach;
    for (const index of [after - 1, after]) {
      const away = index >= 0 && index < places.length ? Math.abs(axisOf[places[index]] - axis) : Infinity;
      if (away <= distance) {
        best = places[index];
        distance = away;
      }
    }
    return best;
  }

  /** The slices of a thread, in a row for each depth. */
  class SliceTrack {
    constructor(name, slices, rows, first, functions) {
      Object.assign(this, { name, slices, functions, height: rows.length * sliceHeight + 6 });
      this.rows = [];
      for (const count of rows) {
        this.rows.push({ begins: slices.begin.subarray(first, first + count), first, count });
        first += count;
      }
      this.count = rows.reduce((sum, count) => sum + count, 0);
    }

    draw(frame, top) {
      this.rows.forEach((row, depth) => this.drawRow(frame, top + 3 + depth * sliceHeight, row));
    }

    /** Draws at most a slice for each pixel: from what is narrower it goes on to the next pixel. */
    drawRow(frame, top, row) {
      const { view } = frame;
      let index = Math.max(0, lowerBound(row.begins, view.begin) - 1);
      while (index < row.count && row.begins[index] < view.end) {
        const slice = row.first + index;
        const x = Math.max(gutter, view.x(this.slices.begin[slice]));
        const end = Math.min(view.width, view.x(this.slices.end[slice]));
        if (end >= gutter) {
          const name = this.slices.name[slice];
          const width = Math.max(1, end - x);
          frame.rectangle(x, top, width, sliceHeight - 2, colourOf(name));
          if (width > 24) {
            frame.text(this.functions[name], x + 3, top + 11, width - 6, "#000000");
          }
        }
        const nextPixel = view.axisAt(Math.floor(x) + 1);
        index = end - x >= 1 ? index + 1 : Math.max(index + 1, lowerBound(row.begins, nextPixel, index));
      }
    }

    find(axis, y, reach) {
      const row = this.rows[Math.min(this.rows.length - 1, Math.max(0, Math.floor((y - 3) / sliceHeight)))];
      if (row === undefined) {
        return -1;
      }
      const index = lowerBound(row.begins, axis);
      for (const near of [index - 1, index]) {
        const slice = row.first + near;
        const { begin, end, place } = this.slices;
        if (near >= 0 && near < row.count && begin[slice] - reach <= axis && axis <= end[slice] + reach) {
          return place[slice];
        }
      }
      return -1;
    }
  }

  /** The curves of a kind of reports. A state, such as the button's, stays until the next report. */
  class CurveTrack {
    constructor(name, recording, kind, isState) {
      Object.assign(this, { name, kind, isState, count: kind.places.length, height: 64 });
      this.curves = kind.curves.map((place) => recording.curveOf(kind, place));
      const vector = this.curves.every((curve) => ["x", "y", "z"].includes(curve.name));
      const ranges = this.curves.map((curve) => this.rangeOf(curve));
      const all = [Math.min(...ranges.map((range) => range[0])), Math.max(...ranges.map((range) => range[1]))];
      this.curves.forEach((curve, number) => {
        curve.range = vector ? all : ranges[number];
      });
    }

    rangeOf(curve) {
      const known = curve.values.length === 0 ? [Infinity, -Infinity] : curve.extremes.of(0, curve.values.length);
      const { least, greatest } = curve.overview ?? { least: [], greatest: [] };
      const isNumber = (value) => !Number.isNaN(value);
      return [Math.min(known[0], ...least.filter(isNumber)), Math.max(known[1], ...greatest.filter(isNumber))];
    }

    draw(frame, top) {
      const y = (curve, value) => {
        const [least, greatest] = curve.range;
        const part = greatest > least ? (value - least) / (greatest - least) : 0.5;
        return top + this.height - 6 - part * (this.height - 26);
      };
      const pressed = this.isState ? this.curves.find((curve) => curve.name === "buttonState") : undefined;
      if (pressed !== undefined) {
        this.drawPresses(frame, pressed, top);
      }
      this.curves.forEach((curve, number) => {
        const bucket = frame.recording.facts.length / frame.recording.facts.buckets;
        if (curve.overview !== undefined && frame.view.span > bucket * 64) {
          this.drawOverview(frame, curve, y, colourOf(number));
        } else {
          this.drawValues(frame, curve, y, colourOf(number));
        }
      });
      let x = gutter + 4;
      this.curves.forEach((curve, number) => {
        const [least, greatest] = curve.range;
        const ends = [least, greatest].map((value) => value.toLocaleString("en-US"));
        const label = curve.name + " " + (least <= greatest ? ends.join("…") : "");
        frame.rectangle(x, top + 5, 8, 8, colourOf(number));
        frame.text(label, x + 11, top + 13, 400, frame.colours.faint);
        x += 24 + frame.context.measureText(label).width;
      });
    }

    /** Where the button is down: bands behind the curves. */
    drawPresses(frame, curve, top) {
      const { view } = frame;
      let index = Math.max(0, lowerBound(curve.axis, view.begin) - 1);
      while (index < curve.values.length && curve.axis[index] < view.end) {
        const x = Math.max(gutter, view.x(curve.axis[index]));
        const next = index + 1 < curve.values.length ? Math.min(view.width, view.x(curve.axis[index + 1])) : x + 2;
        if (curve.values[index] !== 0) {
          frame.rectangle(x, top + 16, Math.max(1, next - x), this.height - 20, frame.colours.band);
        }
        index = next - x >= 1 ? index + 1 : Math.max(index + 1, lowerBound(curve.axis, view.axisAt(x + 1), index));
      }
    }

    drawOverview(frame, curve, y, colour) {
      const { view, recording } = frame;
      const { least, greatest } = curve.overview;
      const bucket = (recording.facts.length + 1) / recording.facts.buckets;
      for (let i = 0; i < least.length; ++i) {
        const x = Math.max(gutter, view.x(i * bucket));
        const end = view.x((i + 1) * bucket);
        if (!Number.isNaN(least[i]) && end >= gutter) {
          const high = y(curve, greatest[i]);
          frame.rectangle(x, high, Math.max(1, end - x), Math.max(1, y(curve, least[i]) - high), colour);
        }
      }
    }

    drawValues(frame, curve, y, colour) {
      const { view, context } = frame;
      let index = Math.max(0, lowerBound(curve.axis, view.begin) - 1);
      const last = Math.min(curve.values.length, lowerBound(curve.axis, view.end) + 1);
      context.save();
      context.beginPath();
      context.rect(gutter, 0, view.width - gutter, 1e6);
      context.clip();
      context.strokeStyle = colour;
      context.lineWidth = 1.25;
      context.beginPath();
      let before;
      while (index < last) {
        const x = view.x(curve.axis[index]);
        const end = Math.min(last, Math.max(index + 1, lowerBound(curve.axis, view.axisAt(Math.floor(x) + 1), index)));
        const [least, greatest] = curve.extremes.of(index, end);
        if (before === undefined) {
          context.moveTo(x, y(curve, curve.values[index]));
        } else if (this.isState) {
          context.lineTo(x, before);
        }
        context.lineTo(x, y(curve, least));
        context.lineTo(x, y(curve, greatest));
        before = y(curve, curve.values[end - 1]);
        context.lineTo(x, before);
        index = end;
      }
      context.stroke();
      context.restore();
      if (last - lowerBound(curve.axis, view.begin) < (view.width - gutter) / 8) {
        for (index = lowerBound(curve.axis, view.begin); index < last; ++index) {
          frame.rectangle(view.x(curve.axis[index]) - 1.5, y(curve, curve.values[index]) - 1.5, 3, 3, colour);
        }
      }
    }

    find(axis, unused, reach, recording) {
      return nearest(this.kind.places, recording.axis, axis, reach);
    }
  }

  /** Gaps, restarts and places where time goes back. */
  class BreakTrack {
    constructor(breaks) {
      Object.assign(this, { name: "gaps and restarts", breaks, count: breaks.length, height: 20 });
    }

    static textOf(one) {
      const parts = [];
      if (one.restart) {
        parts.push("restart");
      } else if (one.missing > 0) {
        parts.push(page.countText(one.missing) + " missing");
      } else if (!one.back) {
        parts.push("number goes back");
      }
      if (one.back && !one.restart) {
        parts.push("time goes back");
      }
      return parts.join(", ");
    }

    /** Calls `use` with every break in view, its place and width in pixels, and how far the next one is. */
    each(frame, use) {
      const { view } = frame;
      const seen = [];
      for (const one of this.breaks) {
        const x = Math.max(gutter, view.x(Math.min(one.begin, one.end)));
        const end = Math.min(view.width, view.x(Math.max(one.begin, one.end)));
        const isHidden = seen.length > 0 && end <= seen.at(-1).end + 1 && !one.restart;
        if (end >= gutter && x <= view.width && !isHidden) {
          seen.push({ one, x, end: Math.max(end, x + 2) });
        }
      }
      seen.forEach(({ one, x, end }, i) => {
        const next = i + 1 < seen.length ? seen[i + 1].x : view.width;
        use(one, x, end - x, next - end);
      });
    }

    /** Behind all tracks. */
    drawBands(frame, height) {
      const { gap, restart } = frame.colours;
      this.each(frame, (one, x, width) => frame.rectangle(x, 0, width, height, one.restart ? restart : gap));
    }

    draw(frame, top) {
      this.each(frame, (one, x, width, free) => {
        frame.rectangle(x, top + 3, width, 14, one.restart ? frame.colours.wrong : frame.colours.faint);
        const text = BreakTrack.textOf(one);
        const needed = frame.context.measureText(text).width + 6;
        if (width > needed) {
          frame.text(text, x + 3, top + 14, width, frame.colours.ground);
        } else if (free > needed) {
          frame.text(text, x + width + 3, top + 14, free);
        }
      });
    }

    find() {
      return -1;
    }
  }

  function mergePlaces(kinds) {
    const places = new Uint32Array(kinds.reduce((sum, kind) => sum + kind.places.length, 0));
    let start = 0;
    for (const kind of kinds) {
      places.set(kind.places, start);
      start += kind.places.length;
    }
    return kinds.length > 1 ? places.sort() : places;
  }

  /** The tracks of a recording, from top to bottom. */
  function tracksOf(recording) {
    const { facts } = recording;
    const tracks = [];
    if (facts.breaks.length > 0) {
      tracks.push(new BreakTrack(facts.breaks));
    }
    const drawnAs = (how) => facts.kinds.filter((kind) => kind.draws === how);
    const wakes = drawnAs("wake");
    if (wakes.length > 0) {
      tracks.push(new WakeTrack("wakes", mergePlaces(wakes), palette[5]));
    }
    for (const kind of drawnAs("button")) {
      tracks.push(new CurveTrack("button, " + kind.event, recording, kind, true));
    }
    let first = 0;
    const threads = facts.threads.map((thread) => {
      const track = new SliceTrack(thread.name, recording.slices, thread.rows, first, facts.functions);
      first += track.count;
      return track;
    });
    tracks.push(...[...threads.slice(1), threads[0]].filter((track) => track.count > 0));
    for (const kind of drawnAs("curve")) {
      tracks.push(new CurveTrack(kind.component + " " + kind.event, recording, kind, false));
    }
    const components = new Map();
    for (const kind of facts.kinds.filter((one) => one.draws === "mark" || one.draws === "trigger")) {
      const name = kind.others ? "other kinds" : kind.category + " " + kind.component;
      components.set(name, [...(components.get(name) ?? []), kind]);
    }
    for (const [name, kinds] of components) {
      const isTrigger = (place) => recording.kind(place).draws === "trigger";
      tracks.push(new MarkTrack(name, mergePlaces(kinds), colourOf(categoryOf(kinds[0])), isTrigger));
    }
    return tracks;
  }

  /** What was left out, in sentences. */
  function thinnedTexts(recording) {
    const { facts } = recording;
    const { countText } = page;
    const texts = [];
    const payloads = facts.kinds.reduce((sum, kind) => sum + kind.payloads, 0);
    if (facts.stride > 1) {
      texts.push(`Of ${countText(facts.reports)} reports one of every ${countText(facts.stride)} is in this page.`);
    }
    if (payloads < facts.kept) {
      texts.push(`The payloads of ${countText(payloads)} of ${countText(facts.kept)} reports are in this page, ` +
        "spread evenly over each kind and rare kinds whole; the other reports have their ids, number and time, " +
        "and their place in the time line.");
    }
    const missing = facts.kinds.filter((kind, number) =>
      kind.curves.length > 0 && kind.payloads < kind.places.length && !facts.overviews.includes(number)).length;
    if (facts.overviews.length > 0) {
      texts.push("Where payloads are left out, curves show the least and the greatest value in each of " +
        `${facts.buckets} parts of the recording, and single values when a smaller part is in view.`);
    }
    if (missing > 0) {
      texts.push(`${countText(missing)} kinds have curves of the kept payloads alone.`);
    }
    if (facts.threads[0].rows.length > 0) {
      texts.push(`${countText(facts.threads[0].rows[0])} slices are of threads beyond ` +
        `the ${facts.threads.length - 1} most frequent ones and share a track.`);
    }
    if (facts.kinds.some((kind) => kind.others)) {
      texts.push(`Reports of more than ${countText(facts.kinds.length - 1)} kinds: ` +
        "those of the others have only their time and number.");
    }
    if (facts.break_count > facts.breaks.length) {
      texts.push(`Of ${countText(facts.break_count)} gaps and restarts ` +
        `the first ${countText(facts.breaks.length)} are drawn.`);
    }
    return texts;
  }

  /** The canvas, what is under it, and what the user does with them. */
  class TimeLine {
    constructor(element) {
      this.element = element;
      this.buildControls();
      this.context = this.canvas.getContext("2d");
      new ResizeObserver(() => this.schedule()).observe(this.scroller);
      matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.schedule());
      for (const [event, isPrinting] of [["beforeprint", true], ["afterprint", false]]) {
        window.addEventListener(event, () => {
          this.isPrinting = isPrinting;
          this.draw();
        });
      }
    }

    buildControls() {
      const button = (text, title, action) => {
        const made = page.make("button", { type: "button", title, "aria-label": title, text });
        made.addEventListener("click", () => action());
        return made;
      };
      this.search = page.make("input",
        { type: "search", placeholder: "Search a name", "aria-label": "Search reports by a name" });
      this.found = page.make("span", { class: "faint", role: "status" });
      this.search.addEventListener("input", () => this.findMatches());
      this.search.addEventListener("keydown", (event) => {
        if (event.key === "Enter") {
          this.goToMatch(event.shiftKey ? -1 : 1);
          event.preventDefault();
        }
      });
      const tools = page.make("div", { class: "tools screen-only", role: "toolbar", "aria-label": "Time line" },
        button("+", "Zoom in", () => this.change(() => this.view.zoom(0.5))),
        button("−", "Zoom out", () => this.change(() => this.view.zoom(2))),
        button("Whole", "Show the whole recording", () => this.change(() => this.view.showAll())),
        button("←", "Previous report", () => this.step(-1)),
        button("→", "Next report", () => this.step(1)),
        this.search,
        button("Previous match", "Previous match", () => this.goToMatch(-1)),
        button("Next match", "Next match", () => this.goToMatch(1)),
        this.found);
      this.range = page.make("p", { class: "faint range", role: "status" });
      this.thinned = page.make("div", { class: "thinned" });
      this.canvas = page.make("canvas", {
        tabindex: "0",
        role: "application",
        "aria-label": "Time line. Left and right arrows move, plus and minus zoom, 0 shows everything, " +
          "N and P choose the next and the previous report, Enter chooses the one in the middle, " +
          "Home and End go to the ends, slash searches.",
      });
      this.spacer = page.make("div", { class: "spacer" }, this.canvas);
      this.scroller = page.make("div", { class: "time-line" }, this.spacer);
      this.tracksList = page.make("ul", { class: "visually-hidden", "aria-label": "Tracks of the time line" });
      this.details = page.make("div",
        { class: "details", role: "region", "aria-label": "The chosen report", "aria-live": "polite" });
      const hint = "Drag or Shift and the wheel: move. Ctrl and the wheel: zoom. Click: choose a report.";
      this.element.append(tools, this.range, this.scroller, page.make("p", { class: "faint screen-only", text: hint }),
        this.thinned, this.tracksList, this.details);
      this.scroller.addEventListener("scroll", () => this.schedule());
      this.canvas.addEventListener("wheel", (event) => this.onWheel(event), { passive: false });
      this.canvas.addEventListener("pointerdown", (event) => this.onPress(event));
      this.canvas.addEventListener("dblclick", (event) => {
        this.change(() => this.view.zoom(0.25, this.view.axisAt(event.offsetX)));
      });
      this.canvas.addEventListener("keydown", (event) => this.onKey(event));
    }

    /** Shows another recording. */
    show(recording) {
      this.recording = recording;
      this.view = new View(recording.facts.length);
      this.tracks = tracksOf(recording);
      let top = rulerHeight;
      this.tracksList.replaceChildren();
      for (const track of this.tracks) {
        track.top = top;
        top += track.height;
        this.tracksList.append(page.make("li", { "data-top": track.top, "data-height": track.height,
          text: track.name + ": " + page.countText(track.count) }));
      }
      this.height = top + 4;
      this.selected = -1;
      this.matches = new Uint32Array(0);
      this.spacer.style.height = this.height + "px";
      this.thinned.replaceChildren(...thinnedTexts(recording).map((text) => page.make("p", { class: "faint", text })));
      this.details.replaceChildren();
      this.findMatches();
      this.draw();
    }

    change(action) {
      action();
      this.schedule();
    }

    schedule() {
      this.frame ??= requestAnimationFrame(() => this.draw());
    }

    colours() {
      if (this.isPrinting) {
        return { ground: "#ffffff", text: "#000000", faint: "#444444", line: "#bbbbbb", accent: "#0062a3",
          wrong: "#b3261e", gap: "#00000014", restart: "#b3261e30", band: "#0072b230", wake: "#d55e0030" };
      }
      const style = getComputedStyle(document.documentElement);
      const names = ["ground", "text", "faint", "line", "accent", "wrong", "gap", "restart", "band", "wake"];
      return Object.fromEntries(names.map((name) => [name, style.getPropertyValue("--" + name).trim()]));
    }

    draw() {
      if (this.frame !== undefined) {
        cancelAnimationFrame(this.frame);
        this.frame = undefined;
      }
      if (this.recording === undefined) {
        return;
      }
      const width = Math.max(gutter + 40, Math.floor(this.scroller.clientWidth));
      const height = this.isPrinting ? Math.min(this.height, 1000) : Math.min(this.height, this.scroller.clientHeight);
      const ratio = window.devicePixelRatio || 1;
      this.canvas.width = width * ratio;
      this.canvas.height = height * ratio;
      this.canvas.style.width = width + "px";
      this.canvas.style.height = height + "px";
      this.view.width = width;
      const { context } = this;
      context.setTransform(ratio, 0, 0, ratio, 0, 0);
      context.font = "12px system-ui, sans-serif";
      const frame = new Frame(context, this.view, this.recording, this.colours());
      frame.rectangle(0, 0, width, height, frame.colours.ground);
      this.tracks.filter((track) => track instanceof BreakTrack || track instanceof WakeTrack)
        .forEach((track) => track.drawBands(frame, height));
      const scrolled = this.scroller.scrollTop;
      for (const track of this.tracks) {
        const top = track.top - scrolled;
        if (top + track.height > 0 && top < height) {
          frame.rectangle(0, top + track.height - 1, width, 1, frame.colours.line);
          track.draw(frame, top);
          frame.rectangle(0, top, gutter, track.height - 1, frame.colours.ground);
          frame.text(track.name, 4, top + 14, gutter - 8);
        }
      }
      this.drawChosen(frame, height);
      this.drawRuler(frame);
      this.tellRange();
    }

    /** The chosen report, and the matches of the search. */
    drawChosen(frame, height) {
      let index = lowerBound(this.matches, frame.firsts[0]);
      for (let i = 0; i + 1 < frame.firsts.length && index < this.matches.length; ++i) {
        if (this.matches[index] < frame.firsts[i + 1]) {
          frame.rectangle(gutter + i, rulerHeight - 6, 1.5, 6, frame.colours.accent);
          index = lowerBound(this.matches, frame.firsts[i + 1], index);
        }
      }
      if (this.selected >= 0) {
        const x = this.view.x(this.recording.axis[this.selected]);
        if (x >= gutter) {
          frame.rectangle(x - 0.75, rulerHeight, 1.5, height, frame.colours.accent);
        }
      }
    }

    drawRuler(frame) {
      const { view } = frame;
      frame.rectangle(0, 0, view.width, rulerHeight - 6, frame.colours.ground);
      const rough = view.span / Math.max(1, (view.width - gutter) / 150);
      const power = 10 ** Math.floor(Math.log10(rough));
      const step = Math.max(1, [1, 2, 5, 10].find((factor) => factor * power >= rough) * power);
      // Round times of the firmware, from the first stretch in view on.
      const stretch = this.recording.stretchAt(Math.max(0, view.begin));
      const origin = stretch.axis - Number(BigInt(stretch.time) % BigInt(step));
      const first = origin + Math.ceil((Math.max(0, view.begin) - origin) / step) * step;
      for (let axis = first; axis <= Math.min(view.end, view.length); axis += step) {
        const x = view.x(axis);
        frame.rectangle(x, 0, 1, rulerHeight, frame.colours.line);
        frame.text(secondsText(this.recording.timeAt(axis)), x + 4, 12, 140, frame.colours.faint);
        const wall = this.recording.wallTimeAt(axis);
        if (wall !== undefined) {
          frame.text(wall.slice(11, 26), x + 4, 26, 140, frame.colours.faint);
        }
      }
    }

    tellRange() {
      const begin = Math.max(0, this.view.begin);
      const end = Math.min(this.recording.facts.length, this.view.end);
      const count = lowerBound(this.recording.axis, end + 1) - lowerBound(this.recording.axis, begin);
      const wall = this.recording.wallTimeAt(begin);
      const date = wall === undefined ? "" : ` (${wall})`;
      const text = `${secondsText(this.recording.timeAt(begin))}${date}, ${durationText(end - begin)}: ` +
        `${page.countText(count)} reports`;
      if (this.range.textContent !== text) {
        this.range.textContent = text;
      }
      Object.assign(this.element.dataset,
        { begin: this.view.begin, end: this.view.end, selected: this.selected, inView: count });
    }

    onWheel(event) {
      if (event.ctrlKey || event.metaKey) {
        event.preventDefault();
        this.change(() => this.view.zoom(Math.exp(event.deltaY / 300), this.view.axisAt(event.offsetX)));
      } else if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
        event.preventDefault();
        this.change(() => this.view.pan((event.deltaX || event.deltaY) / 1000));
      }
    }

    onPress(event) {
      if (event.button !== 0) {
        return;
      }
      const start = { x: event.offsetX, y: event.offsetY, begin: this.view.begin, end: this.view.end };
      let hasMoved = false;
      const move = (moved) => {
        const distance = moved.offsetX - start.x;
        if (hasMoved || Math.abs(distance) > 4) {
          hasMoved = true;
          const by = -distance / (this.view.width - gutter) * (start.end - start.begin);
          this.change(() => this.view.show(start.begin + by, start.end + by));
        }
      };
      const release = () => {
        this.canvas.removeEventListener("pointermove", move);
        this.canvas.removeEventListener("pointerup", release);
        this.canvas.removeEventListener("pointercancel", release);
        if (!hasMoved) {
          this.chooseAt(start.x, start.y);
        }
      };
      this.canvas.setPointerCapture(event.pointerId);
      this.canvas.addEventListener("pointermove", move);
      this.canvas.addEventListener("pointerup", release);
      this.canvas.addEventListener("pointercancel", release);
    }

    onKey(event) {
      const middle = (this.view.begin + this.view.end) / 2;
      const actions = {
        ArrowLeft: () => this.view.pan(-0.2),
        ArrowRight: () => this.view.pan(0.2),
        ArrowUp: () => this.scroller.scrollBy(0, -60),
        ArrowDown: () => this.scroller.scrollBy(0, 60),
        "+": () => this.view.zoom(0.5),
        "=": () => this.view.zoom(0.5),
        "-": () => this.view.zoom(2),
        0: () => this.view.showAll(),
        Home: () => this.view.show(0, this.view.span),
        End: () => this.view.show(this.view.length - this.view.span, this.view.length),
        n: () => this.step(1),
        p: () => this.step(-1),
        Enter: () => this.choose(this.nearestTo(middle)),
        "/": () => this.search.focus(),
      };
      const action = actions[event.key.length === 1 ? event.key.toLowerCase() : event.key];
      if (action !== undefined && !event.ctrlKey && !event.metaKey && !event.altKey) {
        event.preventDefault();
        this.change(action);
      }
    }

    nearestTo(axis) {
      const after = lowerBound(this.recording.axis, axis);
      const before = Math.max(0, after - 1);
      const isBefore = after === this.recording.count ||
        axis - this.recording.axis[before] < this.recording.axis[after] - axis;
      return isBefore ? before : after;
    }

    chooseAt(x, y) {
      const below = y + this.scroller.scrollTop;
      const track = this.tracks.find((one) => one.top <= below && below < one.top + one.height);
      if (track === undefined || x < gutter || y < rulerHeight) {
        return;
      }
      const reach = 5 / (this.view.width - gutter) * this.view.span;
      const place = track.find(this.view.axisAt(x), below - track.top, reach, this.recording);
      if (place >= 0) {
        this.choose(place);
      }
    }

    step(by) {
      const next = this.selected < 0 ? this.nearestTo((this.view.begin + this.view.end) / 2) : this.selected + by;
      if (next >= 0 && next < this.recording.count) {
        this.choose(next);
      }
    }

    /** Chooses a report, brings it into view and shows its fields. */
    choose(place) {
      if (this.recording.count === 0) {
        return;
      }
      this.selected = place;
      const axis = this.recording.axis[place];
      if (axis < this.view.begin || axis > this.view.end) {
        this.view.show(axis - this.view.span / 2, axis + this.view.span / 2);
      }
      this.showDetails();
      this.schedule();
    }

    showDetails() {
      const { recording } = this;
      const place = this.selected;
      const bytes = recording.bytesOf(place);
      const slice = recording.sliceOf[place];
      const { countText } = page;
      const { begin, end } = recording.slices;
      const text = `Report ${countText(recording.indexes[place] + 1)} of ${countText(recording.facts.reports)}` +
        (slice < 0 ? "" : `; ends after ${durationText(end[slice] - begin[slice])}`);
      const parts = [page.make("h3", { text: recording.nameOf(place) }), page.make("p", { class: "faint", text })];
      parts.push(page.makeTable("", ["Field", "Value"], recording.fieldsOf(place)));
      if (bytes === undefined) {
        parts.push(page.make("p", { class: "thinned", text: "The payload of this report was left out of the page." }));
      } else {
        const line = (start) => Array.from(bytes.subarray(start, start + 16), (byte) => hexOf([byte])).join(" ");
        const label = "The 48 bytes of the report";
        parts.push(page.make("pre", { class: "bytes", "aria-label": label, text: [0, 16, 32].map(line).join("\n") }));
      }
      this.details.replaceChildren(...parts);
    }

    /** Finds the reports that have the search's text in a name. */
    findMatches() {
      const wanted = this.search.value.trim().toLowerCase();
      const { recording } = this;
      const has = (text) => text.toLowerCase().includes(wanted);
      if (recording === undefined || wanted === "") {
        this.matches = new Uint32Array(0);
        this.found.textContent = "";
        this.schedule();
        return;
      }
      const isFunction = recording.facts.functions.map(has);
      const isKind = recording.facts.kinds.map((kind) =>
        !kind.others && [kind.category, kind.component, kind.event, kind.type].some(has));
      const matches = [];
      for (let place = 0; place < recording.count; ++place) {
        const slice = recording.sliceOf[place];
        if (isKind[recording.kindOf[place]] || (slice >= 0 && isFunction[recording.slices.name[slice]])) {
          matches.push(place);
        }
      }
      this.matches = Uint32Array.from(matches);
      this.found.textContent = matches.length === 1 ? "1 report" : page.countText(matches.length) + " reports";
      this.schedule();
    }

    goToMatch(direction) {
      if (this.matches.length === 0) {
        return;
      }
      const after = lowerBound(this.matches, this.selected + (direction > 0 ? 1 : 0));
      const index = direction > 0 ? after : after - 1;
      this.choose(this.matches[(index + this.matches.length) % this.matches.length]);
    }
  }

  page.register("time-line", async (element, data) => {
    const recordings = data.recordings.filter((recording) => recording.reports > 0);
    if (recordings.length === 0) {
      element.append(page.make("p", { text: "There are no reports." }));
      return;
    }
    const holder = page.make("div", { class: "time-line-view" });
    const textOf = ({ device, file, reports }) => `${device}: ${file}, ${page.countText(reports)} reports`;
    const choice = page.make("select", { "aria-label": "Recording" },
      ...recordings.map((recording, number) => page.make("option", { value: number, text: textOf(recording) })));
    if (recordings.length > 1) {
      element.append(page.make("p", {}, "Recording: ", choice));
    }
    element.append(holder);
    const timeLine = new TimeLine(holder);
    const show = async () => {
      const number = Number(choice.value);
      const recording = await timeLineData.read(recordings[number], data.layouts);
      if (Number(choice.value) === number) {
        timeLine.show(recording);
      }
    };
    choice.addEventListener("change", show);
    await show();
  });
})();
