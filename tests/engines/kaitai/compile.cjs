// Compiles a layout: node compile.cjs LAYOUT.ksy FOLDER
//
// Writes a parser in Python, and the layout as JSON to layout.json beside it. The other languages are compiled, too, because
// they have rules of their own, but nothing runs these parsers. The packages are in the folder that KAITAI_FOLDER names.
"use strict";

const fs = require("fs");
const path = require("path");

const packages = path.join(process.env.KAITAI_FOLDER, "node_modules");
const yaml = require(path.join(packages, "js-yaml"));
const Compiler = require(path.join(packages, "kaitai-struct-compiler"));

const LANGUAGES = ["cpp_stl", "csharp", "go", "java", "javascript", "python", "ruby", "rust"];

async function main(layoutFile, folder) {
    const layout = yaml.load(fs.readFileSync(layoutFile, "utf-8"));
    fs.writeFileSync(path.join(folder, "layout.json"), JSON.stringify(layout));
    for (const language of LANGUAGES) {
        const files = await new Compiler().compile(language, layout, null, false);
        if (language === "python") {
            for (const [name, text] of Object.entries(files)) {
                fs.writeFileSync(path.join(folder, name), text);
            }
        }
    }
}

main(...process.argv.slice(2)).catch((error) => {
    console.error(String(error));
    process.exit(1);
});
