// Building and composing a 60-line receipt with the Node.js package against receiptline's
// transform of the same receipt, in one process. The receipt is the one of
// receiptline_compare.py (a heading, 40 priced items with accented names, separators, totals, a
// Code 39 barcode); receiptline 4.0.4 is installed with npm into the work folder when missing.
// Rounds of each alternate; the medians and their ratio are printed.
//
//   node node_receiptline_compare.js PACKAGE_DIR WORK_DIR
'use strict';
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const RECEIPTLINE = '4.0.4';
const ROUNDS = 7; // the first of each is a warm-up and is left out
const ROUND_MS = 1000;
const TARGET = 10;
const NAMES = ['Crème brûlée', 'Café au lait', 'Smørrebrød', 'Jalapeño poppers', 'Espresso', 'Croissant aux amandes', 'Thé vert', 'Sparkling water 0.5 l'];

const items = Array.from({ length: 40 }, (_, i) => [NAMES[i % 8] + (i % 3 === 0 ? ' x2' : ''), `${3 + (i % 9)}.${10 + i} €`]);

function document() {
    return [
        '"^Café de la Gare"', '12 Rue des Fleurs, Lyon', '|Table 7 - Server: Zoë', '---',
        ...items.map(([left, right]) => `${left} | ${right}`),
        '---', 'Subtotal | 212.40 €', 'VAT 10% | 21.24 €', '"TOTAL" | "233.64 €"', '---', 'Card **** 4242 | 233.64', '',
        'Merci et à bientôt !', '|', 'Order 000123', '2024-05-17 12:41', '---', '', '',
        '{code:000123; option:code39,hri}', '', '', '', 'www.cafe-de-la-gare.fr',
    ].join('\n');
}

function buildAndCompose(vc) {
    const { TextStyle: style, TextSize: size, TextPosition: pos } = vc;
    const receipt = new vc.Receipt()
        .addText('Café de la Gare', { style: style.BOLD, size: size.WIDE, position: pos.CENTER })
        .addText('12 Rue des Fleurs, Lyon', { position: pos.CENTER })
        .addText('Table 7 - Server: Zoë')
        .addSeparator('=');
    for (const [left, right] of items) receipt.addPrice(left, right);
    receipt
        .addSeparator('-')
        .addPrice('Subtotal', '212.40 €')
        .addPrice('VAT 10%', '21.24 €')
        .addPrice('TOTAL', '233.64 €', { leftStyle: style.BOLD, rightStyle: style.BOLD })
        .addSeparator('-')
        .addPrice('Card **** 4242', '233.64')
        .addFeed(1)
        .addText('Merci et à bientôt !', { style: style.ITALIC, position: pos.CENTER })
        .addText('')
        .addText('Order 000123', { position: pos.CENTER })
        .addText('2024-05-17 12:41', { position: pos.CENTER })
        .addSeparator('─')
        .addFeed(2)
        .addBarcode('000123', { type: vc.BarcodeType.CODE39, hri: vc.BarcodeHri.BELOW })
        .addFeed(3)
        .addText('www.cafe-de-la-gare.fr', { position: pos.CENTER });
    if (receipt.length !== 60) throw new Error(`the receipt has ${receipt.length} lines`);
    return receipt.compose();
}

function round(work) {
    const start = process.hrtime.bigint();
    const limit = start + BigInt(ROUND_MS * 1e6);
    let count = 0;
    let now = start;
    while (now < limit) {
        work();
        count += 1;
        now = process.hrtime.bigint();
    }
    return Number(now - start) / 1e3 / count;
}

function median(values) {
    const sorted = [...values].sort((a, b) => a - b);
    return sorted[Math.floor(sorted.length / 2)];
}

function main() {
    const [packageDir, workDir] = process.argv.slice(2);
    const vc = require(path.resolve(packageDir));
    const installed = path.join(workDir, 'node_modules', 'receiptline', 'package.json');
    if (!fs.existsSync(installed) || JSON.parse(fs.readFileSync(installed, 'utf8')).version !== RECEIPTLINE) {
        fs.mkdirSync(workDir, { recursive: true });
        console.log(`installing receiptline@${RECEIPTLINE} with npm into ${workDir}`);
        execFileSync('npm', ['install', '--no-save', '--no-audit', '--no-fund', '--prefix', workDir, `receiptline@${RECEIPTLINE}`], { stdio: 'inherit' });
    }
    const receiptline = require(path.resolve(workDir, 'node_modules', 'receiptline'));
    const printer = { cpl: 44, encoding: 'cp1252', command: 'escpos', cutting: true };
    const doc = document();
    const ours = buildAndCompose(vc).length;
    const theirs = receiptline.transform(doc, printer).length;
    const vantoUs = [];
    const receiptlineUs = [];
    for (let r = 0; r < ROUNDS; r++) {
        vantoUs.push(round(() => buildAndCompose(vc)));
        receiptlineUs.push(round(() => receiptline.transform(doc, printer)));
    }
    const v = median(vantoUs.slice(1));
    const j = median(receiptlineUs.slice(1));
    const ratio = j / v;
    console.log(`60-line receipt to printer commands in one Node.js process, medians of ${ROUNDS - 1} alternating rounds:`);
    console.log(`  vantoconnect (Node.js): build + compose ${v.toFixed(1).padStart(8)} us  (${Math.round(1e6 / v)} receipts/s, ${ours} bytes)`);
    console.log(`  receiptline ${RECEIPTLINE}: transform        ${j.toFixed(1).padStart(8)} us  (${Math.round(1e6 / j)} receipts/s, ${theirs} bytes)`);
    console.log(`  ratio receiptline / vantoconnect: ${ratio.toFixed(1)}x (target at least ${TARGET}x)${ratio >= TARGET ? '' : '  BELOW TARGET'}`);
}

main();
