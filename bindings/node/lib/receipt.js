'use strict';
// Receipts, images and previews. Each add* checks its line in the receipts layer before adding
// it: a line the printer bytes cannot carry as meant throws RangeError naming it ("line 3:
// ...") and is not added.
const path = require('path');
const native = require('./native');
const check = require('./check');
const { CutType, TextStyle, TextSize, TextPosition, BarcodeType, BarcodeHri } = require('./enums');

const natives = new WeakMap();

function flattenOf(options) {
    const { flatten = true } = check.options('image options', options, ['flatten']);
    return check.boolean('flatten', flatten);
}
const wrapping = Symbol('wrapping');

/** A decoded picture for Receipt.addImage, checked against the limits of receipt files. */
class Image {
    #native;

    constructor(token, made) {
        if (token !== wrapping) {
            throw new TypeError('use Image.fromFile, Image.fromBuffer or Image.fromRGBA');
        }
        this.#native = made;
        natives.set(this, made);
    }

    /**
     * Reads an image file (PNG, JPEG, WebP, GIF, TIFF). With `flatten` (the default) it is laid
     * onto white paper: the printer prints a pixel by its colour alone, so a transparent
     * background would print as a black block. RangeError when it cannot be read.
     */
    static fromFile(file, options = undefined) {
        return new Image(wrapping, native.Image.fromFile(check.string('path', file), flattenOf(options)));
    }

    /** Decodes an encoded image held in memory; RangeError when it cannot. */
    static fromBuffer(buffer, options = undefined) {
        const bytes = check.bytes('buffer', buffer);
        return new Image(wrapping, native.Image.fromBuffer(bytes, flattenOf(options)));
    }

    /** Straight 8-bit RGBA pixels, width * height * 4 bytes, rows top to bottom. */
    static fromRGBA(width, height, buffer, options = undefined) {
        check.integer('width', width);
        check.integer('height', height);
        const bytes = check.bytes('buffer', buffer);
        return new Image(wrapping, native.Image.fromRGBA(width, height, bytes, flattenOf(options)));
    }

    /** Width in pixels. */
    get width() {
        return this.#native.width();
    }

    /** Height in pixels. */
    get height() {
        return this.#native.height();
    }
}

const RECEIPT_OPTIONS = ['cut', 'headerFeed', 'footerFeed'];
const TEXT_OPTIONS = ['style', 'size', 'position'];
const PRICE_OPTIONS = ['leftStyle', 'rightStyle'];
const BARCODE_OPTIONS = ['type', 'hri', 'height'];

/**
 * A receipt: lines in print order and the receipt-wide settings. Vanto.print queues the
 * receipt itself, not a copy: a change made before it is composed is printed.
 */
class Receipt {
    #native;

    constructor(settings = {}, made = undefined) {
        if (settings === wrapping) {
            this.#native = made;
        } else {
            const o = check.options('receipt options', settings, RECEIPT_OPTIONS);
            const { cut = CutType.FULL, headerFeed = 0, footerFeed = 12 } = o;
            this.#native = new native.Receipt(
                check.integer('cut', cut),
                check.integer('headerFeed', headerFeed),
                check.integer('footerFeed', footerFeed),
            );
        }
        natives.set(this, this.#native);
    }

    /**
     * A receipt file's content as `vanto print` reads it: an object, or its JSON text. Image
     * paths are resolved against `baseDir` (the working directory by default).
     */
    static fromJSON(source, options = undefined) {
        const { baseDir = process.cwd() } = check.options('fromJSON options', options, ['baseDir']);
        const text = typeof source === 'string' ? source : JSON.stringify(source);
        if (typeof source !== 'string' && (source === null || typeof source !== 'object')) {
            throw new TypeError('source must be a receipt object or its JSON text');
        }
        return new Receipt(wrapping, native.Receipt.fromJSON(text, path.resolve(check.string('baseDir', baseDir))));
    }

    /** Reads a receipt file as `vanto print` does; image paths are relative to the file. */
    static fromFile(file) {
        return new Receipt(wrapping, native.Receipt.fromFile(check.string('path', file)));
    }

    /** Adds a line of text. */
    addText(text, options = undefined) {
        if (typeof text !== 'string') check.string('text', text);
        const { style = TextStyle.NONE, size = TextSize.NORMAL, position = TextPosition.LEFT } = check.options('addText options', options, TEXT_OPTIONS);
        this.#native.addText(text, check.integer('style', style), check.integer('size', size), check.integer('position', position));
        return this;
    }

    /** Adds a price line: left text, right text, padded to 44 columns. */
    addPrice(left, right, options = undefined) {
        if (typeof left !== 'string') check.string('left', left);
        if (typeof right !== 'string') check.string('right', right);
        const { leftStyle = TextStyle.NONE, rightStyle = TextStyle.NONE } = check.options('addPrice options', options, PRICE_OPTIONS);
        this.#native.addPrice(left, check.integer('leftStyle', leftStyle), right, check.integer('rightStyle', rightStyle));
        return this;
    }

    /** Adds one character repeated across the paper. */
    addSeparator(char = '-') {
        this.#native.addSeparator(check.string('char', char));
        return this;
    }

    /** Adds blank lines (0...127). */
    addFeed(lines) {
        this.#native.addFeed(check.integer('lines', lines));
        return this;
    }

    /** Adds a barcode; `height` is in units of 154 dots. */
    addBarcode(data, options = undefined) {
        check.string('data', data);
        const { type = BarcodeType.UPCA, hri = BarcodeHri.BELOW, height = 54 / 154 } = check.options('addBarcode options', options, BARCODE_OPTIONS);
        this.#native.addBarcode(check.integer('type', type), data, check.integer('hri', hri), check.number('height', height));
        return this;
    }

    /** Adds an image. */
    addImage(image) {
        if (!(image instanceof Image)) {
            throw new TypeError('image must be an Image (Image.fromFile, fromBuffer or fromRGBA)');
        }
        this.#native.addImage(natives.get(image));
        return this;
    }

    /** How the paper is cut after the receipt. */
    get cut() {
        return this.#native.settings()[0];
    }

    set cut(value) {
        this.#native.setSetting('cut', check.integer('cut', value));
    }

    /** Blank lines before the first line (0...127). */
    get headerFeed() {
        return this.#native.settings()[1];
    }

    set headerFeed(value) {
        this.#native.setSetting('headerFeed', check.integer('headerFeed', value));
    }

    /** Blank lines after the last line, before the cut (0...127). */
    get footerFeed() {
        return this.#native.settings()[2];
    }

    set footerFeed(value) {
        this.#native.setSetting('footerFeed', check.integer('footerFeed', value));
    }

    /** The number of lines. */
    get length() {
        return this.#native.length();
    }

    /** The printer command bytes of the receipt, as the library sends them. */
    compose() {
        return this.#native.compose();
    }
}

function nativeReceipt(receipt) {
    if (!(receipt instanceof Receipt)) {
        throw new TypeError('receipt must be a Receipt');
    }
    return natives.get(receipt);
}

/** The receipt drawn as the paper would show it: resolves to PNG bytes, drawn off the event loop. */
function preview(receipt) {
    return nativeReceipt(receipt).preview();
}

/** The text the paper would show, one line per printed line. */
function previewText(receipt) {
    return nativeReceipt(receipt).previewText();
}

module.exports = { Receipt, Image, preview, previewText, nativeReceipt };
