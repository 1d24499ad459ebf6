/** The recordings of a report: what was read. */
page.register("recordings", (element, data) => {
  if (data.recordings.length === 0) {
    element.append(page.make("p", { text: "Nothing could be read." }));
    return;
  }
  const rows = data.recordings.map((each) => [each.file, each.device, each.kind, each.reports]);
  element.append(page.makeTable("", ["File", "Device", "Kind", "Reports"], rows));
});
