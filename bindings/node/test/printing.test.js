'use strict';
// The facade against an emulated unit in this process: reports, callbacks, device calls,
// cancellation and the package's own argument checks, in the resilient profile unless a case is
// about the classic one. The classic printer queue runs at a hundredth of its real intervals, so
// its give-up after 31 polls takes well under a second.
const test = require('node:test');
const assert = require('node:assert/strict');
const { once } = require('node:events');
const vc = require('vantoconnect');
const { emulatedUnit } = require('vantoconnect/testing');
const native = require('../lib/native');

native.setTimerIntervalScale(0.01);
const lines = [];
vc.setConsole((line) => lines.push(line));

function receiptSaying(...texts) {
    const receipt = new vc.Receipt();
    for (const text of texts) receipt.addText(text);
    return receipt;
}

async function started(t, options, profile = 'resilient') {
    const unit = await emulatedUnit(t, options);
    const log = (line) => lines.push(line);
    return { unit, vanto: new vc.Vanto({ address: '127.0.0.1', port: unit.port, profile, log }) };
}

test('a delivered receipt resolves to its report after its callbacks, which may throw', async (t) => {
    const { unit, vanto } = await started(t);
    const heard = [];
    const warned = once(process, 'warning');
    const report = await vanto.print(receiptSaying('Flat white 3.20'), {
        onStarted: (address) => {
            heard.push(['started', address]);
            throw new Error('callback broke');
        },
        onCompleted: async (address) => {
            heard.push(['completed', address]);
            throw new Error('async callback broke');
        },
        onError: (error) => heard.push(['error', error]),
    });
    assert.deepEqual(heard, [['started', '127.0.0.1'], ['completed', '127.0.0.1']]);
    assert.ok(Object.isFrozen(report));
    assert.deepEqual([report.allAcknowledged, report.summary], [true, 'all 1 packet acknowledged']);
    const [warning] = await warned;
    assert.equal(warning.name, 'VantoCallbackWarning');
    assert.match(warning.message, /onStarted threw: Error: callback broke/);
    assert.ok(await unit.waitForReceipts(1));
    assert.match(unit.receipts[0].text, /^Flat white 3\.20/);
    assert.ok(lines.includes('Printer completed.'), "the library's lines reach the log function");
});

test('a printer in error costs the receipt: PrinterNotRespondingError carries the report', async (t) => {
    const { vanto } = await started(t, { printerState: 'error' }, 'classic');
    const errors = [];
    const failed = await vanto.print(receiptSaying('cover open'), { onError: (e) => errors.push(e) }).catch((e) => e);
    assert.ok(failed instanceof vc.PrinterNotRespondingError && failed instanceof vc.VantoError);
    assert.equal(failed.report.packetsSent, 0);
    assert.deepEqual(errors.map((e) => e.code), ['PRINTER_NOT_RESPONDING']);
});

test('device calls reach the unit off the event loop', async (t) => {
    const { unit, vanto } = await started(t, { delayMs: 200 });
    let ticks = 0;
    const timer = setInterval(() => ticks++, 5);
    assert.equal(await vanto.cashDrawerStatus(), vc.DrawerStatus.CLOSED);
    clearInterval(timer);
    assert.ok(ticks >= 10, `only ${ticks} ticks while the unit took 200 ms to answer`);
    unit.delayMs = 0;
    // Requests without an answer are queued: their effect shows a moment later.
    const settled = async (check) => {
        for (let i = 0; i < 200 && !check(); i++) await new Promise((r) => setTimeout(r, 10));
        return check();
    };
    assert.equal(await vanto.openCashDrawer({ validate: true }), true);
    assert.ok(await settled(() => unit.drawerOpen));
    await vanto.setDiagnosticLed(vc.DiagnosticLed.PRINTER, vc.LedColor.RED);
    await vanto.setCosmeticLed(vc.CosmeticColor.CYAN);
    await vanto.enableUsb();
    assert.ok(await settled(() => unit.diagnosticLeds[vc.DiagnosticLed.PRINTER] === vc.LedColor.RED
        && unit.cosmeticColor === vc.CosmeticColor.CYAN && unit.usbPower));
    unit.printerState = 'not-ready';
    assert.equal(await vanto.printerBusy(), true);
});

test('a unit that cannot be reached rejects with VantoError; refused requests throw before sending', async (t) => {
    const { unit, vanto } = await started(t, { refuse: true });
    await assert.rejects(vanto.cashDrawerStatus(), (error) => error instanceof vc.VantoError && error.code === 'CONNECTION_LOST');
    const unresolvable = new vc.Vanto({ address: 'no such host', port: 1 });
    await assert.rejects(unresolvable.cashDrawerStatus(), (error) => error instanceof vc.VantoError && error.code === 'GENERIC');
    assert.throws(() => vanto.setDiagnosticLed(vc.DiagnosticLed.PED, vc.LedColor.RED), RangeError);
    assert.throws(() => vanto.print('receipt'), TypeError);
    assert.throws(() => new vc.Vanto({ profile: 'fast' }), /profile must be "resilient" or "classic"/);
    assert.equal(new vc.Vanto().profile, 'resilient');
});

test('a signal withdraws a receipt before it is queued or while it waits, rejecting with AbortError', async (t) => {
    const { unit, vanto } = await started(t);
    const aborted = AbortSignal.abort(new Error('customer left'));
    const never = await vanto.print(receiptSaying('never'), { signal: aborted }).catch((e) => e);
    assert.deepEqual([never.name, never.cause.message], ['AbortError', 'customer left']);
    assert.equal(await unit.waitForReceipts(1, { timeoutMs: 300 }), false);

    unit.printerState = 'not-ready';
    const controller = new AbortController();
    const printing = vanto.print(receiptSaying('withdrawn'), { signal: controller.signal });
    setTimeout(() => controller.abort(), 50);
    const withdrawn = await printing.catch((e) => e);
    assert.equal(withdrawn.name, 'AbortError');
    assert.deepEqual([withdrawn.report.cancelled, withdrawn.report.packetsSent], [true, 0]);
});

test('close waits for the receipts in flight, then refuses calls', async (t) => {
    const { vanto } = await started(t);
    // Close may withdraw the receipt before it goes out or find it already sent: either way
    // its promise settles before close resolves.
    let settled = false;
    const outcome = vanto.print(receiptSaying('before close')).then(
        (report) => ((settled = true), report),
        (error) => ((settled = true), error),
    );
    await vanto.close();
    await Promise.resolve();
    assert.ok(settled, 'close resolved before the receipt was reported');
    const result = await outcome;
    assert.ok(result.allAcknowledged === true || result.name === 'AbortError', String(result));
    assert.throws(() => vanto.printerBusy(), /closed/);
});
