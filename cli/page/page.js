"use strict";

/**
 * What all sections share. A script of its own for each kind of section calls page.register; start.js comes last and
 * shows them.
 *
 * Texts of a recording may hold anything. They are shown as text nodes alone: nothing here makes markup of a text.
 */
const page = (() => {
  const kinds = new Map();

  /**
   * @param kind  as in PageSection::kind.
   * @param show  function (element, data): fills the empty element of a section from its data; may return a promise.
   */
  function register(kind, show) {
    kinds.set(kind, show);
  }

  /**
   * Makes an element.
   * @param attributes  by name; "text" is its text.
   * @param children  elements or texts.
   */
  function make(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
      if (name === "text") {
        element.textContent = value;
      } else if (value !== undefined) {
        element.setAttribute(name, value);
      }
    }
    element.append(...children);
    return element;
  }

  /**
   * Makes a table.
   * @param headings  texts.
   * @param rows  arrays of cells: a text, a number (aligned to the right, as `countText` writes it) or an element.
   */
  function makeTable(caption, headings, rows) {
    const isNumber = headings.map((heading, column) => rows.length > 0 && typeof rows[0][column] === "number");
    const cell = (tag, content, column) => {
      const element = make(tag, isNumber[column] ? { class: "number" } : {});
      element.append(typeof content === "number" ? countText(content) : content);
      return element;
    };
    const head = make("tr", {}, ...headings.map((heading, column) => cell("th", heading, column)));
    for (const heading of head.children) {
      heading.setAttribute("scope", "col");
    }
    const bodyRow = (row) => make("tr", {}, ...row.map((content, column) => cell("td", content, column)));
    const table = make("table", {}, make("thead", {}, head), make("tbody", {}, ...rows.map(bodyRow)));
    if (caption !== "") {
      table.prepend(make("caption", { text: caption }));
    }
    return make("div", { class: "scroll" }, table);
  }

  /** "1,234,567", as the program writes counts. */
  function countText(number) {
    return Number.isInteger(number) ? number.toLocaleString("en-US") : String(number);
  }

  /** The bytes of PageBlock `name`, unpacked: a promise of an ArrayBuffer. */
  async function readBlock(name) {
    const text = atob(document.getElementById("block-" + name).textContent);
    const packed = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) {
      packed[i] = text.charCodeAt(i);
    }
    const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
    return new Response(stream).arrayBuffer();
  }

  /** Shows one section; what goes wrong in it is said in it, and the others stay. */
  async function showSection(section, number) {
    const id = "section-" + number;
    const heading = make("h2", { id: id + "-heading", text: section.heading });
    const body = make("div");
    const element = make("section", { id, "aria-labelledby": heading.id, "data-kind": section.kind }, heading, body);
    document.getElementById("sections").append(element);
    document.getElementById("contents-list").append(make("a", { href: "#" + id, text: section.heading }));
    try {
      await kinds.get(section.kind)(body, section.data);
    } catch (error) {
      body.append(make("p", { class: "wrong", role: "alert", text: "This section cannot be shown: " + error.message }));
      throw error;
    }
  }

  /** Shows the whole page. `document.documentElement.dataset.ready` is "yes" afterwards. */
  async function start() {
    const contents = JSON.parse(document.getElementById("contents").textContent);
    document.getElementById("title").textContent = contents.title;
    await Promise.allSettled(contents.sections.map(showSection)).then((outcomes) => {
      for (const outcome of outcomes) {
        if (outcome.status === "rejected") {
          console.error(outcome.reason);
        }
      }
    });
    document.documentElement.dataset.ready = "yes";
  }

  return { register, make, makeTable, countText, readBlock, start };
})();
