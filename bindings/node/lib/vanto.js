'use strict';
// The facade: one Vanto per unit. Every call that talks to the unit runs off the event loop
// and returns a promise; a bad argument throws before anything is sent.
const native = require('./native');
const check = require('./check');
const { AbortError, VantoError } = require('./errors');
const { nativeReceipt } = require('./receipt');

const PROFILES = ['resilient', 'classic'];
const VANTO_OPTIONS = ['address', 'port', 'profile', 'readTimeout', 'connectTimeout', 'log'];
const PRINT_OPTIONS = ['onStarted', 'onCompleted', 'onError', 'signal'];

// A user's function called from the library's events: what it throws (or the promise it
// returns rejects with) is reported as a warning, and printing goes on.
function callUser(name, fn, ...args) {
    if (fn === undefined) return;
    const report = (error) => {
        process.emitWarning(`${name} threw: ${error && error.stack ? error.stack : String(error)}`, 'VantoCallbackWarning');
    };
    try {
        const result = fn(...args);
        if (result !== null && typeof result === 'object' && typeof result.then === 'function') {
            result.then(undefined, report);
        }
    } catch (error) {
        report(error);
    }
}

function checkSignal(signal) {
    if (signal !== undefined && (signal === null || typeof signal !== 'object' || typeof signal.aborted !== 'boolean' || typeof signal.addEventListener !== 'function')) {
        throw new TypeError('signal must be an AbortSignal');
    }
    return signal;
}

/** Drives one Vanto unit: cash drawer, LEDs, USB power and printing. Creating it opens nothing. */
class Vanto {
    #facade;
    #closed = false;
    // What the facade was made with, readable after close() too.
    #settings;

    constructor(options = {}) {
        const o = check.options('Vanto options', options, VANTO_OPTIONS);
        const { address, port = 8080, profile = 'resilient', readTimeout = 5000, connectTimeout = 3000, log } = o;
        if (address !== undefined) check.string('address', address);
        check.oneOf('profile', profile, PROFILES);
        const logLine = check.fn('log', log);
        this.#facade = new native.Facade({
            address,
            port: check.integer('port', port),
            profile,
            readTimeout: check.positive('readTimeout', readTimeout),
            connectTimeout: check.positive('connectTimeout', connectTimeout),
            log: logLine === undefined ? undefined : (line) => callUser('log', logLine, line),
        });
        this.#settings = Object.freeze({
            address: this.#facade.address(),
            port: this.#facade.port(),
            profile: this.#facade.profile(),
        });
    }

    /** The unit's address (without one, the library's default unit address). */
    get address() {
        return this.#settings.address;
    }

    /** The unit's TCP port. */
    get port() {
        return this.#settings.port;
    }

    /** The profile in effect: "resilient" or "classic". */
    get profile() {
        return this.#settings.profile;
    }

    #open() {
        if (this.#closed) throw new Error('this Vanto is closed');
        return this.#facade;
    }

    /** Reads the cash drawer: resolves to DrawerStatus.OPENED or CLOSED; rejects with VantoError when no status comes back. */
    cashDrawerStatus() {
        return this.#open().cashDrawerStatus();
    }

    /**
     * Queues the drawer's open pulse and resolves to whether it was queued. With `validate`
     * (the default) the drawer is read first and the pulse queued only when it reads closed.
     * True says no more than that: read cashDrawerStatus() again to know the drawer moved.
     */
    openCashDrawer(options = {}) {
        const { validate = true } = check.options('openCashDrawer options', options, ['validate']);
        return this.#open().openCashDrawer(check.boolean('validate', validate));
    }

    /** Resolves to false only when the printer reports itself ready; true when it cannot be asked. */
    printerBusy() {
        return this.#open().printerBusy();
    }

    /** Sets one diagnostic LED; sent without confirmation. RangeError for DiagnosticLed.PED and unknown values. */
    setDiagnosticLed(position, color) {
        return this.#open().setDiagnosticLed(check.integer('position', position), check.integer('color', color));
    }

    /** Sets the cosmetic light; sent without confirmation. */
    setCosmeticLed(color) {
        return this.#open().setCosmeticLed(check.integer('color', color));
    }

    /** Switches USB power on; sent without confirmation. */
    enableUsb() {
        return this.#open().enableUsb();
    }

    /** Switches USB power off; sent without confirmation. */
    disableUsb() {
        return this.#open().disableUsb();
    }

    /**
     * Queues the receipt; resolves to its delivery report, whose `allAcknowledged` alone says the
     * unit took every packet. Rejects with PrinterNotRespondingError (carrying the report) when
     * the printer queue gives up on it, and with AbortError when `signal` withdraws it while it
     * still waits (a signal already aborted queues nothing).
     */
    print(receipt, options = {}) {
        const facade = this.#open();
        const o = check.options('print options', options, PRINT_OPTIONS);
        const onStarted = check.fn('onStarted', o.onStarted);
        const onCompleted = check.fn('onCompleted', o.onCompleted);
        const onError = check.fn('onError', o.onError);
        const signal = checkSignal(o.signal);
        const made = nativeReceipt(receipt);
        if (signal !== undefined && signal.aborted) {
            return Promise.reject(new AbortError(signal.reason, undefined));
        }
        return new Promise((resolve, reject) => {
            let onAbort;
            const settled = () => {
                if (onAbort !== undefined) signal.removeEventListener('abort', onAbort);
            };
            const id = facade.print(made, (event, value, failure) => {
                switch (event) {
                    case 'started':
                        return callUser('onStarted', onStarted, value);
                    case 'completed':
                        return callUser('onCompleted', onCompleted, value);
                    case 'error':
                        return callUser('onError', onError, value);
                    case 'report': {
                        settled();
                        const report = Object.freeze(value);
                        if (report.cancelled) return reject(new AbortError(signal && signal.reason, report));
                        return failure === undefined ? resolve(report) : reject(failure);
                    }
                    default:
                        settled();
                        return reject(new VantoError('the library let go of the receipt without a delivery report'));
                }
            });
            if (signal !== undefined) {
                // Withdraws the receipt only while it waits; once sending has begun it runs to
                // its report. The classic profile cannot withdraw a receipt at all.
                onAbort = () => facade.cancel(id);
                signal.addEventListener('abort', onAbort, { once: true });
            }
        });
    }

    /**
     * Lets the unit go: in the resilient profile the receipts still waiting are withdrawn (each
     * rejects, its report `cancelled`) and one being sent is cut short, so nothing waits on the
     * unit; in the classic profile queued receipts go on printing. Resolves once no call of this
     * Vanto is running and every receipt it queued has its report; later calls throw.
     */
    close() {
        if (this.#closed) return Promise.resolve();
        this.#closed = true;
        return this.#facade.close();
    }
}

module.exports = { Vanto };
