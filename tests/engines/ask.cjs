// Runs statements in an engine of build/engines, in this process: node ask.cjs chdb|duckdb FOLDER < statements.json
//
// The statements are an array of texts. Of the last one the rows are printed as a JSON object on each line. The folder
// of the database is made when it does not exist; DuckDB's is in memory.
"use strict";

const fs = require("fs");
const path = require("path");
const { createRequire } = require("module");

const load = createRequire(path.join(process.env.ENGINES_FOLDER, "package.json"));
const [engine, folder] = process.argv.slice(2);
const statements = JSON.parse(fs.readFileSync(0, "utf8"));

function askChdb() {
    const { Session } = load("chdb");
    const session = new Session(folder);
    session.query("SET output_format_json_quote_64bit_integers = 0, output_format_json_quote_denormals = 1");
    let rows = "";
    for (const statement of statements) {
        rows = session.query(statement, "JSONEachRow");
    }
    session.close();
    return rows;
}

async function askDuckDb() {
    const { DuckDBInstance } = load("@duckdb/node-api");
    const connection = await (await DuckDBInstance.create(":memory:")).connect();
    let rows = [];
    for (const statement of statements) {
        rows = (await connection.runAndReadAll(statement)).getRowObjectsJson();
    }
    return rows.map((row) => JSON.stringify(row) + "\n").join("");
}

async function main() {
    fs.writeFileSync("/dev/stdout", engine === "chdb" ? askChdb() : await askDuckDb());
}

main().catch((error) => {
    console.error(`ask.cjs: ${engine}: ${error.message ?? error}`);
    process.exit(1);
});
