/**
 * The reports of a recording, as the time line draws and shows them: typed arrays and searches in them. Places count
 * reports in the order of time; the axis counts microseconds (cli/page/time_line_columns.h).
 */
const timeLineData = (() => {
  /** Reads the numbers of VarintColumn, one after the other. */
  class Varints {
    constructor(buffer) {
      this.bytes = new Uint8Array(buffer);
      this.place = 0;
    }

    next() {
      let number = 0;
      let factor = 1;
      for (;;) {
        const byte = this.bytes[this.place++];
        number += (byte & 0x7f) * factor;
        if (byte < 0x80) {
          return number;
        }
        factor *= 128;
      }
    }

    nextSigned() {
      const number = this.next();
      return number % 2 === 0 ? number / 2 : -(number + 1) / 2;
    }

    fill(column) {
      for (let i = 0; i < column.length; ++i) {
        column[i] = this.next();
      }
      return column;
    }

    /** Each number is the distance to the one before and `step`. */
    fillWithSums(column, step, start) {
      let before = start;
      for (let i = 0; i < column.length; ++i) {
        before += this.nextSigned() + step;
        column[i] = before;
      }
      return column;
    }
  }

  /** The first index from `begin` on whose number is not below `number`; the numbers ascend. */
  function lowerBound(numbers, number, begin = 0, end = numbers.length) {
    while (begin < end) {
      const middle = (begin + end) >>> 1;
      if (numbers[middle] < number) {
        begin = middle + 1;
      } else {
        end = middle;
      }
    }
    return begin;
  }

  /** The least and greatest of any range of numbers, from those of blocks of 64 and of 64 blocks. */
  class Extremes {
    constructor(values) {
      this.levels = [{ least: values, greatest: values }];
      while (this.levels.at(-1).least.length > 64) {
        const below = this.levels.at(-1);
        const count = Math.ceil(below.least.length / 64);
        const level = {
          least: new Float64Array(count).fill(Infinity),
          greatest: new Float64Array(count).fill(-Infinity),
        };
        for (let i = 0; i < below.least.length; ++i) {
          const block = i >>> 6;
          level.least[block] = Math.min(level.least[block], below.least[i]);
          level.greatest[block] = Math.max(level.greatest[block], below.greatest[i]);
        }
        this.levels.push(level);
      }
    }

    /** Of the numbers from `begin` to before `end`, which must not be empty: an array of both. */
    of(begin, end, level = 0, found = [Infinity, -Infinity]) {
      const { least, greatest } = this.levels[level];
      const add = (from, to) => {
        for (let i = from; i < to; ++i) {
          found[0] = Math.min(found[0], least[i]);
          found[1] = Math.max(found[1], greatest[i]);
        }
      };
      const first = Math.ceil(begin / 64);
      const last = Math.floor(end / 64);
      if (first >= last || level + 1 === this.levels.length) {
        add(begin, end);
      } else {
        add(begin, first * 64);
        add(last * 64, end);
        this.of(first, last, level + 1, found);
      }
      return found;
    }
  }

  /** The number of some bytes, the lowest first. */
  const numberOf = (bytes) => bytes.reduceRight((sum, byte) => sum << 8n | BigInt(byte), 0n);
  const hexOf = (bytes) => Array.from(bytes, (byte) => byte.toString(16).padStart(2, "0")).join("");

  class Recording {
    constructor(summary, facts, blocks, layouts) {
      Object.assign(this, { summary, facts, layouts });
      this.count = facts.kept;
      this.stretchStarts = Float64Array.from(facts.stretches, (stretch) => stretch.report);
      this.readReports(new Varints(blocks.reports));
      this.groupByKind();
      this.readSlices(new Varints(blocks.slices));
      this.payloads = new Uint8Array(blocks.payloads);
      let start = 0;
      for (const kind of facts.kinds) {
        kind.firstByte = start;
        start += kind.payloads * 32;
      }
      this.overviews = new DataView(blocks.overviews);
    }

    readReports(column) {
      this.axis = column.fill(new Float64Array(this.count));
      for (let i = 1; i < this.count; ++i) {
        this.axis[i] += this.axis[i - 1];
      }
      this.kindOf = column.fill(new Uint16Array(this.count));
      this.numbers = column.fillWithSums(new Uint32Array(this.count), this.facts.stride, -this.facts.stride);
      this.indexes = column.fillWithSums(new Float64Array(this.count), this.facts.stride, -this.facts.stride);
      if (this.facts.has_times) {
        this.lowTimes = column.fill(new Uint32Array(this.count));
        this.highTimes = column.fill(new Uint32Array(this.count));
      }
    }

    groupByKind() {
      const kinds = this.facts.kinds;
      const counts = new Uint32Array(kinds.length);
      this.rankOf = new Uint32Array(this.count); // among the reports of its kind
      for (let i = 0; i < this.count; ++i) {
        this.rankOf[i] = counts[this.kindOf[i]]++;
      }
      kinds.forEach((kind, number) => {
        kind.number = number;
        kind.places = new Uint32Array(counts[number]);
      });
      for (let i = 0; i < this.count; ++i) {
        kinds[this.kindOf[i]].places[this.rankOf[i]] = i;
      }
    }

    readSlices(column) {
      const rows = this.facts.threads.flatMap((thread) => thread.rows);
      const count = rows.reduce((sum, row) => sum + row, 0);
      const slices = {
        place: column.fillWithSums(new Uint32Array(count), 0, 0),
        begin: new Float64Array(count),
        end: new Float64Array(count),
        name: new Uint16Array(count),
      };
      const length = column.fill(new Float64Array(count));
      column.fill(slices.name);
      for (let i = 0; i < count; ++i) {
        slices.end[i] = this.axis[slices.place[i]] - column.next();
        slices.begin[i] = slices.end[i] - length[i];
      }
      this.slices = slices;
      this.sliceOf = new Int32Array(this.count).fill(-1);
      for (let i = 0; i < count; ++i) {
        this.sliceOf[slices.place[i]] = i;
      }
    }

    kind(place) {
      return this.facts.kinds[this.kindOf[place]];
    }

    /** What a report is called in the time line. */
    nameOf(place) {
      const slice = this.sliceOf[place];
      const kind = this.kind(place);
      if (kind.others) {
        return "report of another kind";
      }
      return slice >= 0 ? this.facts.functions[this.slices.name[slice]] : kind.component + " " + kind.event;
    }

    /** The stretch of a report. Its place on the axis may be that of the next stretch as well. */
    stretchOf(place) {
      return this.facts.stretches[lowerBound(this.stretchStarts, this.indexes[place] + 1) - 1];
    }

    /** The stretch of a place on the axis: the later one where two meet. */
    stretchAt(axis) {
      const stretches = this.facts.stretches;
      let number = stretches.length - 1;
      while (number > 0 && stretches[number].axis > axis) {
        --number;
      }
      return stretches[number];
    }

    /** The firmware's time at a place on the axis, in microseconds. */
    timeAt(axis) {
      const stretch = this.stretchAt(axis);
      return BigInt(stretch.time) + BigInt(Math.round(axis - stretch.axis));
    }

    /** The time stamp of a report, exact also where the axis has ended. */
    timeOf(place) {
      if (this.facts.has_times) {
        return BigInt(this.highTimes[place]) << 32n | BigInt(this.lowTimes[place]);
      }
      const stretch = this.stretchOf(place);
      return BigInt(stretch.time) + BigInt(this.axis[place] - stretch.axis);
    }

    /** The time at a place on the axis as `wallTime` has it. */
    wallTimeAt(axis) {
      return this.wallTime(this.stretchAt(axis), this.timeAt(axis));
    }

    /** A time of a stretch as a date and a time of day with its distance from UTC; undefined without a clock. */
    wallTime(stretch, time) {
      if (stretch.wall === undefined) {
        return undefined;
      }
      const zone = /(Z|[+-]\d\d:\d\d)$/.exec(stretch.wall_time)[0];
      const minutes = zone === "Z" ? 0 : Number(zone.slice(1, 3)) * 60 + Number(zone.slice(4));
      const distance = zone[0] === "-" ? -minutes : minutes;
      // The clock counts nanoseconds in 64 bits, which wrap.
      const wall = BigInt.asUintN(64, 1000n * (BigInt(stretch.wall) + time - BigInt(stretch.time))) / 1000n;
      const date = new Date(Number(wall / 1000n) + distance * 60000);
      return date.toISOString().slice(0, -1) + String(wall % 1000n).padStart(3, "0") + zone;
    }

    /** Where the payload of a report stands among those of its kind; -1 when it is left out. */
    payloadRank(place) {
      const kind = this.kind(place);
      const chosen = kind.payloads;
      const count = kind.places.length;
      const rank = this.rankOf[place];
      const after = Math.floor((rank + 1) * chosen / count);
      return after !== Math.floor(rank * chosen / count) ? after - 1 : -1;
    }

    /** The 48 bytes of a report; undefined when its payload is left out. */
    bytesOf(place) {
      const rank = this.payloadRank(place);
      if (rank < 0) {
        return undefined;
      }
      const kind = this.kind(place);
      const bytes = new Uint8Array(48);
      const view = new DataView(bytes.buffer);
      view.setUint32(0, kind.ids, true);
      view.setUint32(4, this.numbers[place], true);
      view.setBigUint64(8, this.timeOf(place), true);
      for (let i = 0; i < 32; ++i) {
        bytes[16 + i] = this.payloads[kind.firstByte + i * kind.payloads + rank];
      }
      return bytes;
    }

    /** The fields of the payload of 48 bytes, with their places. */
    layoutOf(kind, bytes) {
      const version = bytes[16] | bytes[17] << 8;
      return this.layouts[kind.payload.versions[version] ?? kind.payload.otherwise];
    }

    /** Key and text of every field of a report, as `decode --format jsonl` has them. */
    fieldsOf(place) {
      const kind = this.kind(place);
      const fields = [];
      if (!kind.others) {
        for (const [number, name] of ["type", "event", "component", "category"].entries()) {
          fields.unshift([name, kind[name]], [name + "_id", String(kind.ids >>> 8 * number & 0xff)]);
        }
      }
      fields.push(["sequence_num", String(this.numbers[place])], ["timestamp", String(this.timeOf(place))]);
      const wall = this.wallTime(this.stretchOf(place), this.timeOf(place));
      if (wall !== undefined) {
        fields.push(["wall_time", wall]);
      }
      if (this.facts.boot_time !== undefined) {
        fields.push(["boot_timestamp", this.facts.boot_time]);
      }
      const bytes = this.bytesOf(place);
      return bytes === undefined ? fields : fields.concat(this.payloadFields(kind, bytes));
    }

    payloadFields(kind, bytes) {
      const fields = [];
      for (const field of this.layoutOf(kind, bytes)) {
        fields.push(...this.showField(kind, bytes, field));
      }
      return fields.length === 0 ? [["raw", hexOf(bytes.subarray(16))]] : fields;
    }

    showField(kind, bytes, field) {
      const view = new DataView(bytes.buffer);
      const part = bytes.subarray(field.offset, field.offset + field.size);
      switch (field.how) {
        case "constant":
          return [[field.key, String(field.parameter)]];
        case "number":
        case "hexadecimal": {
          const number = numberOf(part);
          const name = this.facts.value_names[field.field]?.[number];
          return [[field.key, String(number)], ...(name === undefined ? [] : [[field.key + "_name", name]])];
        }
        case "signed":
          return [[field.key, String(BigInt.asIntN(8 * field.size, numberOf(part)))]];
        case "fixed point":
          return [[field.key, String(view.getInt32(field.offset, true) / 2 ** field.parameter)]];
        case "subject": {
          const id = view.getUint32(field.offset, true);
          return [[field.key, this.facts.subjects[kind.ids >>> 16 & 0xff]?.[id] ?? String(id)]];
        }
        case "text": {
          const end = part.indexOf(0);
          const text = end < 0 ? part : part.subarray(0, end);
          try {
            return [[field.key, new TextDecoder("utf-8", { fatal: true, ignoreBOM: true }).decode(text)]];
          } catch {
            return [[field.key + "_hex", hexOf(text)]];
          }
        }
        default: {
          const size = field.how === "counted bytes" ? view.getUint16(field.parameter, true) : field.size;
          return [[field.key, hexOf(part.subarray(0, size))]]; // at most the whole part
        }
      }
    }

    /** The curve of a number in the payloads of a kind: places and values of the reports whose payloads are there. */
    curveOf(kind, fieldPlace) {
      const field = this.layouts[kind.payload.otherwise][fieldPlace];
      const places = kind.places.filter((place) => this.payloadRank(place) >= 0);
      const values = new Float64Array(places.length);
      const axis = new Float64Array(places.length);
      const number = new DataView(new ArrayBuffer(4));
      for (let i = 0; i < places.length; ++i) {
        for (let byte = 0; byte < field.size; ++byte) {
          number.setUint8(byte, this.payloads[kind.firstByte + (field.offset - 16 + byte) * kind.payloads + i]);
        }
        values[i] = field.how === "fixed point" ? number.getInt32(0, true) / 2 ** field.parameter
          : field.size === 4 ? number.getInt32(0, true)
          : field.size === 2 ? number.getUint16(0, true) : number.getUint8(0);
        axis[i] = this.axis[places[i]];
      }
      const overview = this.overviewOf(kind, fieldPlace);
      return { name: field.key, axis, values, extremes: new Extremes(values), overview };
    }

    /** Least and greatest values by bucket of the axis, for a curve of which payloads are left out; or undefined. */
    overviewOf(kind, fieldPlace) {
      let start = 0;
      const buckets = this.facts.buckets;
      for (const number of this.facts.overviews) {
        const other = this.facts.kinds[number];
        if (other === kind) {
          start += kind.curves.indexOf(fieldPlace) * 2 * buckets;
          const valueAt = (place) => this.overviews.getFloat32(4 * place, true);
          const read = (from) => Float64Array.from({ length: buckets }, (unused, i) => valueAt(from + i));
          return { least: read(start), greatest: read(start + buckets) };
        }
        start += other.curves.length * 2 * buckets;
      }
      return undefined;
    }
  }

  /** Reads a recording: a promise. @param summary  of the section's data. */
  async function read(summary, layoutsBlock) {
    const json = async (name) => JSON.parse(new TextDecoder().decode(await page.readBlock(name)));
    const names = ["reports", "slices", "payloads", "overviews"];
    const [facts, layouts, ...columns] = await Promise.all([
      json(summary.block + "-facts"),
      json(layoutsBlock),
      ...names.map((name) => page.readBlock(summary.block + "-" + name)),
    ]);
    const blocks = Object.fromEntries(names.map((name, i) => [name, columns[i]]));
    return new Recording(summary, facts, blocks, layouts);
  }

  return { read, lowerBound, hexOf };
})();
