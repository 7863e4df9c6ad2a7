'use strict';
// An emulated Vanto unit in this process, for tests, demos and development without hardware.
const path = require('path');
const native = require('./native');
const check = require('./check');

const UNIT_OPTIONS = [
    'printerState',
    'printerNotReady',
    'printerError',
    'reply',
    'corruptCrc',
    'delayMs',
    'refuse',
    'drawerCloseAfterMs',
    'outDir',
    'keep',
    'bind',
    'port',
];
const PRINTER_STATES = ['ready', 'not-ready', 'error'];
const REPLIES = ['normal', 'silent', 'unrecognised', 'unrecognized'];
/**
 * How long stop() waits by default for the library's printer queue to fall idle: longer than
 * the queue's own give-up (31 polls 2 seconds apart) plus the time to send a long receipt.
 */
const DRAIN_MS = 120000;

function printedReceipt(fields) {
    return Object.freeze({
        ...fields,
        notes: Object.freeze(fields.notes),
        complete: !fields.incomplete && !fields.interleaved,
    });
}

/**
 * A software Vanto unit listening on TCP in this process; faults can be switched while it runs,
 * as with `vanto emulate`. It binds 127.0.0.1 on a free port unless told otherwise: read the
 * port back from `port` once started. While it runs it holds the event loop open, as a
 * listening server does; stop() or close() lets go.
 */
class Emulator {
    #unit;
    #outDir;
    #keep;
    #closed = false;

    constructor(options = {}) {
        const o = check.options('Emulator options', options, UNIT_OPTIONS);
        const {
            printerState = 'ready',
            printerNotReady = 0,
            printerError = 0,
            reply = 'normal',
            corruptCrc = 0,
            delayMs = 0,
            refuse = false,
            drawerCloseAfterMs = 5000,
            outDir,
            keep = 0,
            bind = '127.0.0.1',
            port = 0,
        } = o;
        check.integer('port', port);
        if (port < 0 || port > 65535) throw new RangeError(`port must lie in 0...65535, not ${port}`);
        this.#outDir = outDir === undefined ? undefined : path.resolve(check.string('outDir', outDir));
        this.#keep = check.count('keep', keep);
        this.#unit = new native.Unit({
            bind: check.string('bind', bind),
            port,
            outDir: this.#outDir ?? '',
            keep: this.#keep,
            drawerCloseAfterMs: check.count('drawerCloseAfterMs', drawerCloseAfterMs),
            printerState: check.oneOf('printerState', printerState, PRINTER_STATES),
            printerNotReady: check.count('printerNotReady', printerNotReady),
            printerError: check.count('printerError', printerError),
            reply: check.oneOf('reply', reply, REPLIES),
            corruptCrc: check.count('corruptCrc', corruptCrc),
            delayMs: check.count('delayMs', delayMs),
            refuse: check.boolean('refuse', refuse),
        });
    }

    /** Starts listening; rejects when the address cannot be bound. */
    start() {
        if (this.#closed) return Promise.reject(new Error('this Emulator is closed'));
        return this.#unit.start();
    }

    /**
     * Closes the listener and every connection. A unit stopped while the library waits for its
     * answer to a print packet would end the process, so it first waits (up to `drainMs`) for
     * the library's printer queue to fall idle, and rejects, leaving the unit running, when it
     * does not.
     */
    stop({ drainMs = DRAIN_MS } = {}) {
        return this.#unit.stop(check.count('drainMs', drainMs));
    }

    /** stop(), after which the unit cannot be started again. */
    async close() {
        this.#closed = true;
        await this.stop();
    }

    /** Whether it listens. */
    get running() {
        return this.#unit.running();
    }

    /** The TCP port it listens on. */
    get port() {
        return this.#unit.port();
    }

    /** The address it listens on. */
    get address() {
        return this.#unit.address();
    }

    /** Where receipts and events.jsonl are written (undefined: nothing on disk). */
    get outDir() {
        return this.#outDir;
    }

    /** Receipts kept on disk and in memory (0: every file). */
    get keep() {
        return this.#keep;
    }

    #state() {
        return this.#unit.state();
    }

    /** "ready", "not-ready" or "error". */
    get printerState() {
        return this.#state().printerState;
    }

    set printerState(value) {
        this.#unit.set('printerState', check.oneOf('printerState', value, PRINTER_STATES));
    }

    /** Status polls still to answer "not ready". */
    get printerNotReady() {
        return this.#state().printerNotReady;
    }

    set printerNotReady(value) {
        this.#unit.set('printerNotReady', check.count('printerNotReady', value));
    }

    /** Print packets still to refuse with a printer error. */
    get printerError() {
        return this.#state().printerError;
    }

    set printerError(value) {
        this.#unit.set('printerError', check.count('printerError', value));
    }

    /** "normal", "silent" or "unrecognised". */
    get reply() {
        return this.#state().reply;
    }

    set reply(value) {
        this.#unit.set('reply', check.oneOf('reply', value, REPLIES));
    }

    /** Replies still to send with a wrong check value. */
    get corruptCrc() {
        return this.#state().corruptCrc;
    }

    set corruptCrc(value) {
        this.#unit.set('corruptCrc', check.count('corruptCrc', value));
    }

    /** Milliseconds every reply waits. */
    get delayMs() {
        return this.#state().delayMs;
    }

    set delayMs(value) {
        this.#unit.set('delayMs', check.count('delayMs', value));
    }

    /** Whether every connection is closed at once. */
    get refuse() {
        return this.#state().refuse;
    }

    set refuse(value) {
        this.#unit.set('refuse', check.boolean('refuse', value));
    }

    /** Milliseconds until an opened drawer closes by itself (0: it stays open). */
    get drawerCloseAfterMs() {
        return this.#state().drawerCloseAfterMs;
    }

    set drawerCloseAfterMs(value) {
        this.#unit.set('drawerCloseAfterMs', check.count('drawerCloseAfterMs', value));
    }

    /** Whether the cash drawer is open. */
    get drawerOpen() {
        return this.#state().drawerOpen;
    }

    /** Opens the drawer as a hand would. */
    openDrawer() {
        this.#unit.openDrawer();
    }

    /** Closes the drawer as a hand would. */
    closeDrawer() {
        this.#unit.closeDrawer();
    }

    /** The colour (a LedColor value) each diagnostic LED shows, by its DiagnosticLed position. */
    get diagnosticLeds() {
        return this.#state().leds;
    }

    /** The colour (a CosmeticColor value) the cosmetic light shows. */
    get cosmeticColor() {
        return this.#state().cosmetic;
    }

    /** Whether USB power is on. */
    get usbPower() {
        return this.#state().usbPower;
    }

    /**
     * The newest receipts still in memory (at most 64), oldest first: `text`, `png` (a Buffer,
     * or null once the unit keeps it neither in memory nor in outDir), `data` (the printer
     * bytes), `packets`, `incomplete`, `interleaved`, `notes` and `complete`.
     */
    get receipts() {
        return this.#unit.receipts().map(printedReceipt);
    }

    /** Everything the unit received and did, oldest first (the newest 4000), parsed. */
    get events() {
        return this.#unit.events().map((line) => JSON.parse(line));
    }

    /** Resolves to true once `count` receipts have been printed since the unit was made, false after `timeoutMs`. */
    waitForReceipts(count, { timeoutMs = 10000 } = {}) {
        return this.#unit.waitForReceipts(check.count('count', count), check.count('timeoutMs', timeoutMs));
    }
}

module.exports = { Emulator, DRAIN_MS };
