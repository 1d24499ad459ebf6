/** Analytics stores: each distribution with its percentiles, and the scalars. */
page.register("stores", (element, data) => {
  const { make, makeTable, countText } = page;
  const numberText = (number) => typeof number === "number" ? countText(number) : number;

  function distribution(row) {
    const unit = row.unit ?? "";
    const figures = ["count", "min", "mean", "p50", "p90", "p99", "max"];
    const body = make("div", { class: "distribution", "data-key": row.key }, make("h4", { text: row.key }));
    if (row.help !== undefined) {
      body.append(make("p", { class: "faint", text: row.help + (unit === "" ? "" : `, in ${unit}`) }));
    }
    body.append(makeTable("", figures, [figures.map((name) => row[name])]));
    if (row.bars.length === 0) {
      body.append(make("p", { text: "No value is finite." }));
      return body;
    }
    const label = `Histogram of ${numberText(row.count)} values from ${numberText(row.min)} to ${numberText(row.max)}`;
    const rows = row.bars.map((bar) => [(bar.from + bar.to) / 2, Number(bar.count)]);
    const rangeText = (bar) => bar.from === bar.to ? countText(bar.from) : `${bar.from} to ${bar.to}`;
    const textOf = new Map(rows.map(([middle], place) => [middle, rangeText(row.bars[place])]));
    body.append(charts.chart(label, rows, ["values"], ["--accent"], {
      bars: true,
      unit,
      count: "values",
      describe: ([middle, count]) => `${textOf.get(middle)}: ${countText(count)}`,
    }));
    body.append(make("details", {}, make("summary", { text: "As a table" }),
      makeTable("", ["Value", "Count"], row.bars.map((bar) => [rangeText(bar), bar.count]))));
    return body;
  }

  if (data.is_sum_of_all) {
    element.append(make("p", {
      text: `The sum of the stores of ${countText(data.device_count)} devices, ` +
        "which are too many to be shown one by one.",
    }));
  }
  data.devices.forEach((device, place) => {
    const stores = device.stores === 1 ? "" : `, ${countText(device.stores)} stores added up`;
    const heading = make("h3", { text: device.device + stores });
    const body = make("details", { class: "device" }, make("summary", {}, heading));
    body.open = place === 0;
    if (device.scalars.length > 0) {
      body.append(makeTable("Scalars", ["Key", "Value", "What it is"],
        device.scalars.map((row) => [row.key, row.value, (row.help ?? "") + (row.unit ? ", in " + row.unit : "")])));
    }
    body.append(make("div", { class: "distributions" }, ...device.distributions.map(distribution)));
    if (device.scalars.length + device.distributions.length === 0) {
      body.append(make("p", { text: "The store is empty." }));
    }
    element.append(body);
  });
});
