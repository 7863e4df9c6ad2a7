// Times receiptline's transform of one receipt document to ESC/POS printer commands, a round at a
// time on request, so that the Python side can alternate its rounds with these in one run.
//
//   node receiptline_rounds.js MODULE_DIR < commands
//
// The document comes first on standard input, ended by a line holding only "\u0000"; then each
// line "round MS" runs transform for about MS milliseconds and answers with the microseconds per
// receipt. The printer configuration is that of the unit's printer: 44 columns, Windows-1252.
'use strict';
const path = require('path');
const readline = require('readline');

const receiptline = require(path.join(process.argv[2], 'node_modules', 'receiptline'));
const printer = { cpl: 44, encoding: 'cp1252', command: 'escpos', cutting: true };

const lines = [];
let doc = null;
const input = readline.createInterface({ input: process.stdin });
input.on('line', (line) => {
    if (doc === null) {
        if (line === '\u0000') {
            doc = lines.join('\n');
            const bytes = receiptline.transform(doc, printer).length;
            process.stdout.write(`ready ${bytes}\n`);
        } else {
            lines.push(line);
        }
        return;
    }
    const ms = Number(line.split(' ')[1]);
    const start = process.hrtime.bigint();
    const limit = start + BigInt(Math.round(ms * 1e6));
    let count = 0;
    let now = start;
    while (now < limit) {
        receiptline.transform(doc, printer);
        count += 1;
        now = process.hrtime.bigint();
    }
    process.stdout.write(`${Number(now - start) / 1e3 / count}\n`);
});
