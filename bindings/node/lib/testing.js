'use strict';
// A started emulated unit for a test of Node's test runner, stopped after it:
//
//   const { test } = require('node:test');
//   const { emulatedUnit } = require('vantoconnect/testing');
//
//   test('prints the total', async (t) => {
//       const unit = await emulatedUnit(t);
//       const vanto = new Vanto({ address: '127.0.0.1', port: unit.port });
//       ...
//   });
const native = require('./native');
const { Emulator, DRAIN_MS } = require('./emulator');

/**
 * Starts an emulated unit on 127.0.0.1 and a free port for the test `t`, and stops it when the
 * test ends. The library's printer queue belongs to the whole process, not to one unit or test:
 * the helper clears its state first (a poll count left by an earlier test would carry give-ups
 * over), and after the test lets it drain with the unit still running before stopping the unit.
 * When it does not drain within two minutes the test fails and the unit is left running, rather
 * than take the process down. The unit's drawer stays open once opened, until the test closes
 * it. `options` are the Emulator's.
 */
async function emulatedUnit(t, options = {}) {
    if (t === null || typeof t !== 'object' || typeof t.after !== 'function') {
        throw new TypeError("t must be the test's context (the argument of the test function)");
    }
    if (!(await native.resetPrinterQueue(DRAIN_MS))) {
        throw new Error('the printer queue was still polling when the test began');
    }
    const unit = new Emulator({ drawerCloseAfterMs: 0, ...options });
    await unit.start();
    t.after(async () => {
        await unit.close();
        await native.resetPrinterQueue(DRAIN_MS);
    });
    return unit;
}

module.exports = { emulatedUnit };
