'use strict';
// vantoconnect for Node.js: drive a Vanto unit (receipt printer, cash drawer, LEDs, USB power),
// know whether each receipt reached the printer, and test against an emulated unit in process.
const enums = require('./enums');
const errors = require('./errors');
const { Receipt, Image, preview, previewText } = require('./receipt');
const { Vanto } = require('./vanto');
const { Emulator } = require('./emulator');
const native = require('./native');
const check = require('./check');

/**
 * Sends the library's diagnostic lines, which it writes to standard output, to `sink(line)`
 * instead, on the main thread; null restores standard output. For the whole process.
 */
function setConsole(sink) {
    if (sink !== null) check.fn('sink', sink);
    native.setConsole(
        sink == null
            ? null
            : (line) => {
                  try {
                      sink(line);
                  } catch (error) {
                      process.emitWarning(`the console sink threw: ${error && error.stack ? error.stack : error}`, 'VantoCallbackWarning');
                  }
              },
    );
}

module.exports = {
    Vanto,
    Receipt,
    Image,
    preview,
    previewText,
    Emulator,
    setConsole,
    VantoError: errors.VantoError,
    PrinterNotRespondingError: errors.PrinterNotRespondingError,
    FatalError: errors.FatalError,
    AbortError: errors.AbortError,
    ...enums,
};
