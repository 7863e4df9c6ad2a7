'use strict';
// Receipts, images, previews and the package's constants: what needs no unit.
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const vc = require('vantoconnect');
const native = require('../lib/native');

const EXAMPLES = path.join(__dirname, '..', '..', '..', 'examples', 'receipts');

test('the enums carry the library values and cannot be changed', () => {
    const library = native.libraryConstants();
    for (const [name, values] of Object.entries(library)) {
        assert.deepEqual({ ...vc[name] }, values, name);
        assert.ok(Object.isFrozen(vc[name]), name);
    }
});

test('a receipt is built by chained calls and composed by the library', () => {
    const receipt = new vc.Receipt({ cut: vc.CutType.PARTIAL, footerFeed: 3 })
        .addText('CORNER CAFE', { style: vc.TextStyle.BOLD | vc.TextStyle.UNDERLINED, size: vc.TextSize.WIDE, position: vc.TextPosition.CENTER })
        .addText('12 Harbour Street')
        .addPrice('Flat white', '3.20', { rightStyle: vc.TextStyle.BOLD })
        .addSeparator('=')
        .addFeed(2)
        .addBarcode('000123', { type: vc.BarcodeType.CODE39, hri: vc.BarcodeHri.BOTH });
    assert.deepEqual([receipt.length, receipt.cut, receipt.footerFeed], [6, vc.CutType.PARTIAL, 3]);
    const bytes = receipt.compose();
    assert.ok(Buffer.isBuffer(bytes) && bytes.includes('CORNER CAFE'));
    assert.match(vc.previewText(receipt), /CORNER CAFE[^]*Flat white +3\.20[^]*partial cut/);
});

test('a bad argument throws TypeError or RangeError naming it, and adds nothing', () => {
    const receipt = new vc.Receipt();
    const cases = [
        [() => receipt.addText(42), TypeError, /text must be a string, not number 42/],
        [() => receipt.addText('x', { style: 1.5 }), RangeError, /style must be an integer/],
        [() => receipt.addText('x', { colour: 1 }), TypeError, /has no option "colour"/],
        [() => receipt.addFeed(128), RangeError, /line 1: lines: must lie in 0\.\.\.127, not 128/],
        [() => receipt.addBarcode('12', { height: NaN }), RangeError, /height must be a finite number/],
        [() => receipt.addImage({}), TypeError, /image must be an Image/],
    ];
    for (const [call, kind, message] of cases) {
        assert.throws(call, (error) => error instanceof kind && message.test(error.message), String(message));
    }
    assert.equal(receipt.length, 0);
});

test('receipt files read as vanto print reads them, from a file, an object or JSON text', () => {
    const json = require(path.join(EXAMPLES, 'kitchen-order.json'));
    const fromFile = vc.Receipt.fromFile(path.join(EXAMPLES, 'kitchen-order.json')).compose();
    assert.deepEqual(vc.Receipt.fromJSON(json, { baseDir: EXAMPLES }).compose(), fromFile);
    assert.deepEqual(vc.Receipt.fromJSON(JSON.stringify(json), { baseDir: EXAMPLES }).compose(), fromFile);
    assert.throws(() => vc.Receipt.fromFile(path.join(EXAMPLES, 'missing.json')), RangeError);
    assert.throws(() => vc.Receipt.fromJSON(7), TypeError);
});

test('images come from files, encoded bytes or RGBA pixels, under the limits of receipt files', async () => {
    const file = vc.Image.fromFile(path.join(EXAMPLES, 'cup.png'));
    assert.ok(file.width > 0 && file.height > 0);
    const encoded = vc.Image.fromBuffer(await vc.preview(new vc.Receipt().addText('logo')));
    assert.equal(encoded.width, 576);
    const raw = vc.Image.fromRGBA(2, 1, new Uint8Array([0, 0, 0, 255, 0, 0, 0, 0]).buffer);
    assert.equal(new vc.Receipt().addImage(file).addImage(encoded).addImage(raw).length, 3);
    assert.throws(() => vc.Image.fromRGBA(2, 2, Buffer.alloc(8)), RangeError);
    assert.throws(() => vc.Image.fromBuffer(Buffer.from('not an image')), RangeError);
    assert.throws(() => new vc.Image(), TypeError);
});
