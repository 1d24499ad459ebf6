/** A comparison: its findings as a table, then each with both distributions over each other and the devices as dots. */
page.register("comparison", (element, data) => {
  const { make, makeTable, countText } = page;
  const { svg, drawing } = charts;
  const { figures, drawings } = data;
  const kShownAtFirst = 20;

  const numberText = (number) => {
    if (number === null) {
      return "–";
    }
    const isFraction = typeof number === "number" && !Number.isInteger(number);
    return isFraction ? String(Number(number.toPrecision(6))) : countText(number);
  };
  const countOf = (kind) => figures.findings.filter((finding) => finding.kind === kind).length;

  function some(count, noun) {
    return `${countText(count)} ${noun}${count === 1 ? "" : "s"}`;
  }

  function movedText(finding) {
    return finding.devices_moved === null
      ? "–" : `${countText(finding.devices_moved)} of ${countText(finding.devices)}`;
  }

  function shiftText(finding) {
    const { shift } = finding;
    return shift === null
      ? "–" : `${numberText(shift.estimate)} (${numberText(shift.low)} to ${numberText(shift.high)})`;
  }

  function kindText(finding) {
    const name = finding.device ?? finding.device_hex;
    return finding.kind === "one device" ? `one device, ${name} of ${finding.side}` : finding.kind;
  }

  function addSides() {
    const row = (name, side) => [name, side.devices, side.recordings, side.reports];
    element.append(makeTable("", ["Side", "Devices", "Recordings", "Reports"],
      [row("a", figures.a), row("b", figures.b)]));
    const compared = `${some(figures.compared, "measure")} compared, ${countText(figures.tested)} tested at level ` +
      figures.level + (figures.paired ? ", device by device" : "") +
      `: ${some(countOf("group"), "change")}, ${some(countOf("one device"), "single device")}.`;
    element.append(make("p", { class: "said", text: compared }));
    if (figures.devices_needed !== null) {
      element.append(make("p", {
        class: "wrong",
        text: "Too few devices to tell a change from chance; " +
          `${countText(figures.devices_needed)} a side are the least. ` +
          "What follows are differences between these recordings.",
      }));
    } else if (figures.devices_for_one !== null) {
      element.append(make("p", {
        text: "With so few devices only what many measures share can show; one change alone needs " +
          `${countText(figures.devices_for_one)} devices a side.`,
      }));
    }
  }

  /** The distribution functions of both sides, on all places of either. */
  function curves(finding, drawn) {
    const finite = (curve) => curve.filter(([value]) => Number.isFinite(value));
    const a = new Map(finite(drawn.curve_a));
    const b = new Map(finite(drawn.curve_b));
    const values = [...new Set([...a.keys(), ...b.keys()])].sort((one, other) => one - other);
    if (values.length === 0) {
      return "";
    }
    const margin = Math.max((values[values.length - 1] - values[0]) * 0.03, Math.abs(values[0]) * 1e-3, 1e-9);
    const rows = [[values[0] - margin, 0, 0],
      ...values.map((value) => [value, a.get(value) ?? null, b.get(value) ?? null])];
    let last = [0, 0];
    const held = new Map(rows.map(([value, ...shares]) => {
      last = shares.map((share, side) => share ?? last[side]);
      return [value, last];
    }));
    rows.push([values[values.length - 1] + margin, ...last]);
    held.set(rows[rows.length - 1][0], last);
    const label = "Shares of values up to each value, of side a and side b. " +
      `Medians ${numberText(finding.a.median)} and ${numberText(finding.b.median)}, ` +
      `greatest distance ${numberText(finding.distance)}`;
    // The last hundredth of the values may lie very far from all others.
    const most = rows.find(([value]) => held.get(value).every((share) => share >= 0.99)) ?? rows[rows.length - 1];
    const shareText = (share, side) => `${"ab"[side]} ${(100 * share).toFixed(1)} %`;
    return charts.chart(label, rows, ["a", "b"], ["--side-a", "--side-b"], {
      unit: finding.unit,
      count: "share up to",
      first: [rows[0][0], most[0] + 0.1 * (most[0] - rows[0][0])],
      describe: ([value]) => `up to ${numberText(value)}: ${held.get(value).map(shareText).join(", ")}`,
    });
  }

  /** The devices' medians, a row for each side. Those that have moved are diamonds. */
  function dots(finding, devices) {
    const shown = devices.filter((device) => Number.isFinite(device.median));
    if (shown.length === 0) {
      return "";
    }
    const width = 560;
    const least = shown.reduce((found, device) => Math.min(found, device.median), Infinity);
    const greatest = shown.reduce((found, device) => Math.max(found, device.median), -Infinity);
    const at = (value) => 30 + (greatest === least ? width / 2 : (width - 20) * (value - least) / (greatest - least));
    const parts = [];
    ["a", "b"].forEach((side, row) => {
      const middle = 26 + 44 * row;
      parts.push(svg("text", { x: 4, y: middle + 4, text: side }),
        svg("line", { x1: 24, x2: width + 20, y1: middle, y2: middle, class: "rule" }));
      shown.filter((device) => device.side === side).forEach((device, place) => {
        const x = at(device.median);
        const y = middle + ((place * 7) % 5 - 2) * 5; // beside one another where they are close
        const shape = device.moved
          ? svg("path", { d: `M${x} ${y - 6}l5 6l-5 6l-5 -6z` })
          : svg("circle", { cx: x, cy: y, r: 3.5 });
        shape.setAttribute("class", "dot side-" + side);
        const moved = device.moved ? ", has moved" : "";
        shape.append(svg("title", { text: `${device.device}, ${side}: median ${numberText(device.median)}${moved}` }));
        parts.push(shape);
      });
    });
    parts.push(svg("text", { x: 30, y: 108, text: numberText(least) }),
      svg("text", { x: width + 10, y: 108, "text-anchor": "end", text: numberText(greatest) }));
    const ends = `from ${numberText(least)} to ${numberText(greatest)}`;
    return drawing(`The medians of ${countText(shown.length)} devices, ${ends}`, width + 40, 114, ...parts);
  }

  function addFinding(finding, place) {
    const drawn = drawings[place];
    const figuresText = ["distance", "p", "q"].map((name) => `${name} ${numberText(finding[name])}`).join(", ");
    const body = make("div", { class: "finding", id: `finding-${place + 1}` },
      make("h3", { text: `${place + 1}. ${finding.what}: ${drawn.label}` }),
      make("p", { class: "faint", text: `${kindText(finding)}; ${figuresText}` }));
    const unit = finding.unit === "" ? "" : `In ${finding.unit}`;
    const row = (name) => {
      const side = finding[name];
      return [name, side.devices, side.count, numberText(side.median), numberText(side.p99)];
    };
    body.append(makeTable(unit, ["Side", "Devices", "Values", "Median", "99th percentile"], [row("a"), row("b")]));
    body.append(make("p", {
      text: `Shift of the devices' medians (95 % interval): ${shiftText(finding)}. ` +
        `Devices moved: ${movedText(finding)}.`,
    }));
    if (drawn.curve_a.length + drawn.curve_b.length > 0) {
      const devices = make("div", { class: "scroll dots" });
      body.append(curves(finding, drawn),
        make("p", { class: "legend" },
          make("span", { class: "key side-a", text: "a" }), " and ", make("span", { class: "key side-b", text: "b" }),
          "; a dot is the median of a device, a diamond one that has moved"), devices);
      charts.whenSeen(devices, () => devices.append(dots(finding, drawn.devices)));
      const table = make("details", {}, make("summary", { text: "Devices as a table" }));
      table.addEventListener("toggle", () => {
        if (table.open && table.children.length === 1) {
          const rows = drawn.devices.map((device) =>
            [device.device, device.side, numberText(device.median), device.moved ? "yes" : ""]);
          table.append(makeTable("", ["Device", "Side", "Median", "Moved"], rows));
        }
      });
      body.append(table);
    }
    return body;
  }

  addSides();
  if (figures.findings.length === 0) {
    element.append(make("p", { text: "Nothing was found." }));
  } else {
    const headings = ["Rank", "What", "Which", "Kind", "Median of a", "Median of b", "99th percentile of a",
      "99th percentile of b", "Distance", "p", "q", "Devices moved", "Shift (95 % interval)"];
    const rows = figures.findings.map((finding, place) => [String(place + 1), finding.what,
      make("a", { href: `#finding-${place + 1}`, text: drawings[place].label }), kindText(finding),
      numberText(finding.a.median), numberText(finding.b.median), numberText(finding.a.p99), numberText(finding.b.p99),
      numberText(finding.distance), numberText(finding.p), numberText(finding.q),
      movedText(finding), shiftText(finding)]);
    element.append(make("h3", { text: "Findings, the most important first" }),
      make("div", { class: "findings" }, makeTable("", headings, rows)));
  }
  if (figures.settings.length > 0) {
    const side = (each) =>
      `${each.text ?? each.text_hex} (${countText(each.devices_with_it)} of ${countText(each.devices)})`;
    const rows = figures.settings.map((each) => [each.setting ?? each.setting_hex, side(each.a), side(each.b)]);
    element.append(make("h3", { text: "Settings that most devices have otherwise" }),
      makeTable("", ["Setting", "a", "b"], rows));
  }
  const bodies = figures.findings.map(addFinding);
  element.append(...bodies.slice(0, kShownAtFirst));
  if (bodies.length > kShownAtFirst) {
    const more = `${countText(bodies.length - kShownAtFirst)} more findings`;
    element.append(make("details", {}, make("summary", { text: more }), ...bodies.slice(kShownAtFirst)));
  }
});
