// Answers requests over HTTP as a ClickHouse server does, with the engine of build/engines in this process:
//
//   node serve.cjs FOLDER
//
// The engine's data are in FOLDER. Prints the URL, and ends when its standard input does. A statement is in the body of a
// request, or in the parameter "query" of its URL, and then the body has the rows that it inserts. One request at a time.
"use strict";

const fs = require("fs");
const http = require("http");
const path = require("path");
const { createRequire } = require("module");

const load = createRequire(path.join(process.env.ENGINES_FOLDER, "package.json"));
const folder = process.argv[2];
const session = new (load("chdb").Session)(folder);
const rowsFile = path.join(folder, "rows");

async function bodyOf(request) {
    const pieces = [];
    for await (const piece of request) {
        pieces.push(piece);
    }
    return Buffer.concat(pieces);
}

function run(statement, body) {
    if (statement === null) {
        return session.query(body.toString(), "TabSeparated");
    }
    fs.writeFileSync(rowsFile, body);
    return session.query(statement.replace(/ FORMAT (\w+)$/, ` FROM INFILE '${rowsFile}' FORMAT $1`), "TabSeparated");
}

async function answer(request, response) {
    const body = await bodyOf(request);
    try {
        response.end(run(new URL(request.url, "http://127.0.0.1").searchParams.get("query"), body));
    } catch (error) {
        response.statusCode = 400;
        response.end(String(error.message).replace(/^.*?(?=Code: \d)/s, "") + "\n");
    }
}

const server = http.createServer(answer);
server.listen(0, "127.0.0.1", () => console.log(`http://127.0.0.1:${server.address().port}`));
process.stdin.on("end", () => process.exit(0)).resume();
