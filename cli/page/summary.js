/** The summary of a report: devices, what was lost, what woke the application processor, slow functions. */
page.register("summary", (element, data) => {
  const { make, makeTable, countText } = page;
  const sum = (key) => data.devices.reduce((total, device) => total + Number(device[key] ?? 0), 0);

  function secondsText(microseconds) {
    const seconds = Number(microseconds) / 1e6;
    return seconds < 1000 ? seconds.toFixed(3) + " s" : countText(Math.round(seconds)) + " s";
  }

  function span(device) {
    if (device.reports === 0) {
      return "";
    }
    const ends = "earliest_wall_time" in device
      ? [device.earliest_wall_time, device.latest_wall_time]
      : [countText(device.earliest), countText(device.latest)];
    const [first, last] = ends.map((text) => make("span", { class: "unbroken", text }));
    return make("span", {}, first, " to ", last);
  }

  const figures = [
    ["devices", data.devices.length],
    ["recordings", sum("recordings")],
    ["reports", sum("reports")],
    ["firmware time", secondsText(sum("time"))],
    ["gaps", sum("gaps")],
    ["missing reports", sum("missing")],
    ["restarts", sum("restarts")],
    ["wakes", sum("wakes")],
  ];
  element.append(make("dl", { class: "figures" }, ...figures.map(([name, value]) => make("div", {},
    make("dt", { text: name }),
    make("dd", { text: typeof value === "number" ? countText(value) : value, "data-figure": name })))));
  if (sum("reports") === 0) {
    element.append(make("p", { text: "There are no reports in these recordings." }));
  }
  if (sum("damaged") > 0) {
    element.append(make("p", {
      class: "wrong",
      text: countText(sum("damaged")) +
        " of the recordings could not be read to the end; the page shows what is before that.",
    }));
  }

  if (data.devices.length > 0) {
    const rows = data.devices.map((device) => [device.device, device.recordings, device.reports, span(device),
      device.time === undefined ? "" : secondsText(device.time), device.gaps, device.missing, device.restarts,
      device.trailing_bytes, device.wakes]);
    element.append(makeTable(
      "Devices. Time stamps are microseconds of firmware time, or wall time where a clock is known.",
      ["Device", "Recordings", "Reports", "First to last time stamp", "Firmware time", "Gaps", "Missing", "Restarts",
        "Bytes after the last report", "Wakes"], rows));
  }

  function addBreaks(caption, breaks, total) {
    if (breaks.length === 0) {
      return;
    }
    const rows = breaks.map((each) => [each.device, each.file, each.offset, each.before, each.after, each.missing,
      each.time_before, each.time]);
    const more = total > breaks.length ? `, the first ${countText(breaks.length)} of ${countText(total)}` : "";
    element.append(makeTable(caption + more, ["Device", "File", "Byte", "Number before", "Number after", "Missing",
      "Time before", "Time after"], rows));
  }
  if (data.gaps.length + data.restarts.length > 0) {
    element.append(make("h3", { text: "What was lost" }));
    addBreaks("Gaps in the sequence numbers", data.gaps, sum("gaps"));
    addBreaks("Restarts of the coprocessor", data.restarts, sum("restarts"));
  }

  if (data.wakes.length > 0) {
    element.append(make("h3", { text: "What woke the application processor" }));
    const rows = data.wakes.map((wake) =>
      [wake.kind, wake.name, wake.count, charts.shareBar(wake.count / sum("wakes"))]);
    element.append(makeTable("", ["Kind", "Reason", "Wakes", "Share"], rows));
    if (data.other_wakes > 0) {
      element.append(make("p", { text: countText(data.other_wakes) + " wakes had reasons beyond those." }));
    }
  }

  if (data.functions.length > 0) {
    element.append(make("h3", { text: "Slowest functions" }));
    const rows = data.functions.map((row) => {
      const bins = row.histogram.map((bin) =>
        `${countText(bin.from)} to below ${countText(bin.below)}: ${countText(bin.count)}`);
      const bars = charts.smallBars("Durations. " + bins.join("; "), row.histogram.map((bin) => bin.count));
      bars.append(charts.svg("title", { text: bins.join("\n") }));
      return [row.function, row.count, row.median, row.p99, row.longest, bars];
    });
    const all = countText(data.function_count);
    const more = data.function_count > rows.length ? `, ${countText(rows.length)} of ${all}` : "";
    element.append(makeTable(`By the 99th percentile of their durations, in microseconds${more}`,
      ["Function", "Calls", "Median", "99th percentile", "Longest", "Durations, doubling from bar to bar"], rows));
  }

  if (data.events.length > 0) {
    const rows = data.events.map((event) => [event.category, event.component, event.event, event.count,
      charts.shareBar(event.count / sum("reports"))]);
    const shown = 10;
    const headings = ["Category", "Component", "Event", "Reports", "Share"];
    element.append(make("h3", { text: "Events" }), makeTable("", headings, rows.slice(0, shown)));
    if (rows.length > shown) {
      element.append(make("details", {}, make("summary", { text: countText(rows.length - shown) + " more" }),
        makeTable("", headings, rows.slice(shown))));
    }
    if (data.other_events > 0) {
      element.append(make("p", { text: countText(data.other_events) + " reports are of events beyond those." }));
    }
  }
});
