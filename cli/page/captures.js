/** State captures: the last press, assets, sensors, other dictionaries, and lines of the log. */
page.register("captures", (element, data) => {
  const { make, makeTable, countText } = page;
  const { svg, drawing } = charts;
  const numberText = (number) => typeof number === "number" ? countText(number) : number;
  const kNames = 270;  // the width of the names beside a drawing
  const kTrack = 560;  // the width of what is drawn to scale
  const kRow = 22;

  /** Time stamps from the earliest to the latest, a row each; behind them, the time that each click was down. */
  function pressDrawing(stamps) {
    const last = Number(stamps[stamps.length - 1].offset);
    const at = (stamp) => kNames + 10 + (last === 0 ? 0 : kTrack * Number(stamp.offset) / last);
    const height = stamps.length * kRow + 8;
    const parts = [];
    for (const down of stamps.filter((stamp) => stamp.name.endsWith(" down"))) {
      const up = stamps.find((stamp) => stamp.name === down.name.replace(/ down$/, " up"));
      if (up !== undefined && at(up) > at(down)) {
        parts.push(svg("rect", { x: at(down), y: 0, width: at(up) - at(down), height, class: "band" }));
      }
    }
    stamps.forEach((stamp, place) => {
      const y = place * kRow + kRow / 2 + 4;
      parts.push(
        svg("line", { x1: kNames + 10, x2: kNames + 10 + kTrack, y1: y, y2: y, class: "rule" }),
        svg("circle", { cx: at(stamp), cy: y, r: 5, class: "fill" }),
        svg("text", { x: kNames, y: y + 4, "text-anchor": "end", text: stamp.name }),
        svg("text", { x: kNames + kTrack + 22, y: y + 4, text: "+" + numberText(stamp.offset) }));
    });
    const told = stamps.map((stamp) => `${stamp.name} +${numberText(stamp.offset)}`);
    return drawing("Time line of the last press. " + told.join(", "), kNames + kTrack + 120, height, ...parts);
  }

  /**
   * Each range as a bar from its least to its greatest latency, with the last press's latencies as diamonds on it. Each
   * has a scale of its own, from 0 on, since some latencies are a hundred times as long as others.
   */
  function rangeDrawing(ranges, latencies) {
    const parts = [];
    const told = [];
    ranges.forEach((range, place) => {
      const y = place * (kRow + 8) + kRow / 2 + 4;
      const own = latencies.filter((each) => each.range === range.name);
      const greatest = Math.max(1, Number(range.maximum), ...own.map((each) => Number(each.ticks)));
      const at = (ticks) => kNames + 10 + kTrack * Number(ticks) / greatest;
      const ends = `${numberText(range.minimum)} to ${numberText(range.maximum)}`;
      parts.push(
        svg("line", { x1: kNames + 10, x2: kNames + 10 + kTrack, y1: y, y2: y, class: "rule" }),
        svg("text", { x: kNames, y: y + 4, "text-anchor": "end", text: range.name }),
        svg("text", { x: kNames + kTrack + 22, y: y + 4, text: ends }));
      if (Number(range.maximum) >= Number(range.minimum)) {
        const width = Math.max(2, at(range.maximum) - at(range.minimum));
        parts.push(svg("rect", { x: at(range.minimum), y: y - 6, width, height: 12, class: "extremes" }));
      }
      for (const each of own) {
        const x = at(each.ticks);
        parts.push(svg("path", { d: `M${x} ${y - 8}l6 8l-6 8l-6 -8z`, class: "mark" },
          svg("title", { text: `${each.name}: ${numberText(each.ticks)}` })));
      }
      told.push(`${range.name} from ${ends}, last press ` +
        (own.map((each) => numberText(each.ticks)).join(", ") || "none"));
    });
    const label = "Latencies against their extremes. " + told.join("; ");
    return drawing(label, kNames + kTrack + 200, ranges.length * (kRow + 8) + 8, ...parts);
  }

  function place(latency, range) {
    if (range === undefined) {
      return "";
    }
    return Number(latency.ticks) < Number(range.minimum) ? "below the least"
      : Number(latency.ticks) > Number(range.maximum) ? "above the greatest" : "within";
  }

  function addPress(body, press) {
    body.append(make("h4", { text: "Last press" }));
    const counts = press.counts.map((count) => `${count.name}: ${numberText(count.count)}`);
    if (counts.length > 0) {
      body.append(make("p", { text: counts.join(", ") }));
    }
    if (press.stamps.length > 0) {
      body.append(make("div", { class: "scroll press" }, pressDrawing(press.stamps)));
      body.append(make("details", {}, make("summary", { text: "Time stamps as a table" }),
        makeTable("In ticks", ["Time stamp", "Ticks", "After the earliest"],
          press.stamps.map((stamp) => [stamp.name, stamp.ticks, stamp.offset]))));
    }
    if (press.absent.length > 0) {
      body.append(make("p", { class: "faint", text: "No time stamp (0): " + press.absent.join(", ") }));
    }
    if (press.ranges.length > 0) {
      body.append(make("h4", { text: "Latencies against their extremes" }),
        make("div", { class: "scroll extremes-of-latencies" }, rangeDrawing(press.ranges, press.latencies)));
    }
    if (press.latencies.length > 0) {
      body.append(makeTable("In ticks", ["Latency of the last press", "Ticks", "Least", "Greatest", "Where it lies"],
        press.latencies.map((latency) => {
          const range = press.ranges.find((each) => each.name === latency.range);
          return [latency.name, latency.ticks, range?.minimum ?? "", range?.maximum ?? "", place(latency, range)];
        })));
    }
  }

  function addAssets(body, assets) {
    const speeds = [...new Set(assets.map((asset) => asset.speed))];
    const events = [...new Set(assets.map((asset) => asset.event))];
    const on = (asset) => asset.enable === "0" ? "off" : asset.enable === "1" ? "on" : asset.enable;
    const gain = (asset) => asset.gain.includes(".") ? asset.gain.replace(/\.?0+$/, "") : asset.gain;
    const rows = events.map((event) => [event, ...speeds.map((speed) => {
      const asset = assets.find((each) => each.speed === speed && each.event === event);
      return asset === undefined
        ? "" : `${on(asset)}, slot ${asset.slot}, gain ${gain(asset)}, ${asset.min} to ${asset.max}`;
    })]);
    body.append(make("h4", { text: "Haptic assets" }), makeTable("", ["Event", ...speeds], rows));
  }

  function addSensors(body, sensors) {
    const kTypeKey = "sensorType";
    const valueOf = (sensor, key) => sensor.find((entry) => entry.key === key)?.value ?? "";
    const allKeys = new Set(sensors.flatMap((sensor) => sensor.map((entry) => entry.key)));
    const row = (name, key) => [name, ...sensors.map((sensor) => valueOf(sensor, key))];
    const rows = [...allKeys].filter((key) => key !== kTypeKey).map((key) => row(key, key));
    body.append(make("h4", { text: "Sensors" }), makeTable("", row("Setting", kTypeKey), rows));
  }

  function addLines(body, device) {
    const shown = device.lines_shown < device.lines
      ? `the last ${countText(device.lines_shown)} of ${countText(device.lines)}` : countText(device.lines);
    const text = make("pre", { class: "lines", tabindex: "0", "aria-label": "Lines of the log" });
    const details = make("details", { class: "log" }, make("summary", { text: `Lines of the log, ${shown}` }), text);
    details.addEventListener("toggle", async () => {
      if (details.open && text.textContent === "" && device.lines_block !== undefined) {
        text.textContent = new TextDecoder().decode(await page.readBlock(device.lines_block));
      }
    });
    body.append(details);
  }

  data.devices.forEach((device, number) => {
    const body = make("details", { class: "device" }, make("summary", {},
      make("h3", { text: `${device.device}, ${countText(device.records)} records` })));
    body.open = number === 0;
    if (device.latencies !== undefined) {
      addPress(body, device.latencies);
    }
    if (device.assets !== undefined) {
      addAssets(body, device.assets);
    }
    if (device.sensors.length > 0) {
      addSensors(body, device.sensors);
    }
    for (const table of device.tables) {
      body.append(make("h4", { text: table.title }),
        makeTable("", ["Key", "Value"], table.entries.map((entry) => [entry.key, entry.value])));
    }
    if (device.more_tables > 0) {
      const more = countText(device.more_tables) + " more records are not shown; qorstat show prints them.";
      body.append(make("p", { text: more }));
    }
    if (device.lines > 0) {
      addLines(body, device);
    }
    element.append(body);
  });
  if (data.records_of_other_devices > 0) {
    const more = countText(data.records_of_other_devices) + " records of more devices are not shown.";
    element.append(make("p", { text: more }));
  }
});
