// Checks the TypeScript client types generated from fald's OpenAPI document: every
// port-forwarding operation has its request body and reply data typed (no `unknown` in its
// block, response headers aside).
//   node check-types.js api.d.ts
const fs = require('fs');

const lines = fs.readFileSync(process.argv[2], 'utf8').split('\n');
const start = lines.findIndex((l) => /^export interface operations \{/.test(l));
if (start < 0) throw new Error('no operations interface');
const blocks = new Map();
let current = null;
for (const line of lines.slice(start + 1)) {
  const head = /^ {4}(\w+): \{$/.exec(line);
  if (head) {
    current = head[1];
    blocks.set(current, []);
  } else if (/^\}/.test(line)) {
    break;
  } else if (current) {
    blocks.get(current).push(line);
  }
}
const ops = [...blocks.keys()].filter((name) => name.startsWith('ServicePortforwarding'));
let bad = 0;
for (const name of ops) {
  const body = blocks.get(name);
  const untyped = body.filter((l) => /\bunknown\b/.test(l) && !/\[name: string\]: unknown;/.test(l));
  const hasBody = body.some((l) => /requestBody: \{/.test(l));
  const hasData = body.some((l) => /\bdata: /.test(l));
  console.log(`${name}: body ${hasBody ? 'typed' : 'none'}, data ${hasData ? 'typed' : 'none'}` +
    (untyped.length ? `, ${untyped.length} unknown` : ''));
  for (const l of untyped) console.log(`    ${l.trim()}`);
  bad += untyped.length;
}
if (ops.length < 6) throw new Error(`only ${ops.length} port-forwarding operations`);
if (bad) process.exit(1);
