// Runs statements in an engine of build/engines, in this process: node ask.cjs chdb FOLDER | node ask.cjs duckdb
//
// Each line of standard input is a statement as a text of JSON. Each is answered by a line: an object with the rows as
// text, a JSON object on each line of it, or with the error. DuckDB's database is in memory.
"use strict";

const path = require("path");
const readline = require("readline");
const { createRequire } = require("module");

const load = createRequire(path.join(process.env.ENGINES_FOLDER, "package.json"));
const [engine, folder] = process.argv.slice(2);

function openChdb() {
    const session = new (load("chdb").Session)(folder);
    return async (statement) => session.query(statement, "JSONEachRow");
}

async function openDuckDb() {
    const connection = await (await load("@duckdb/node-api").DuckDBInstance.create(":memory:")).connect();
    return async (statement) => {
        const rows = (await connection.runAndReadAll(statement)).getRowObjectsJson();
        return rows.map((row) => JSON.stringify(row) + "\n").join("");
    };
}

async function main() {
    const ask = engine === "chdb" ? openChdb() : await openDuckDb();
    for await (const line of readline.createInterface({ input: process.stdin })) {
        let answer;
        try {
            answer = { rows: await ask(JSON.parse(line)) };
        } catch (error) {
            answer = { error: String(error.message ?? error) };
        }
        process.stdout.write(JSON.stringify(answer) + "\n");
    }
    process.exit(0);
}

main();
