'use strict';
// The package's errors. The native side makes VantoError, PrinterNotRespondingError and
// FatalError with these classes; arguments that are wrong are TypeError or RangeError.

/** An error the library reports: a unit that cannot be reached or did not answer usefully. */
class VantoError extends Error {
    constructor(message = '', { code = 'GENERIC', description = '', report = undefined } = {}) {
        super(message || description || code);
        this.name = 'VantoError';
        /** The kind: "GENERIC" or "PRINTER_NOT_RESPONDING". */
        this.code = code;
        /** How the library prints the error. */
        this.description = description || code;
        /** The receipt's delivery report when the error ends a print. */
        this.report = report;
    }

    /** Always "vantoconnect.VantoError". */
    get domain() {
        return 'vantoconnect.VantoError';
    }
}

/**
 * The printer queue gave up on a receipt and dropped it without sending it. `report` holds the
 * dropped receipt's delivery report (nothing sent).
 */
class PrinterNotRespondingError extends VantoError {
    constructor(message = '', { code = 'PRINTER_NOT_RESPONDING', description = '', report = undefined } = {}) {
        super(message, { code, description, report });
        this.name = 'PrinterNotRespondingError';
        if (report !== undefined) {
            this.message = `PRINTER_NOT_RESPONDING: the printer queue gave up on receipt ${report.receiptId} before sending it`;
        }
    }
}

/**
 * The library reached one of its fatal edges on the thread that ran the call. In C++ this ends
 * the process; here it rejects the call instead. The same edge met on one of the library's own
 * threads (a unit that closes the connection while the library waits for its answer to a print
 * packet) still ends the process in the classic profile.
 */
class FatalError extends Error {
    constructor(message = '') {
        super(message);
        this.name = 'FatalError';
    }
}

/** A receipt withdrawn through its AbortSignal before it was sent; `cause` is the signal's reason. */
class AbortError extends Error {
    constructor(reason, report) {
        super('the receipt was cancelled before it was sent', { cause: reason });
        this.name = 'AbortError';
        this.code = 'ABORT_ERR';
        this.report = report;
    }
}

module.exports = { VantoError, PrinterNotRespondingError, FatalError, AbortError };
