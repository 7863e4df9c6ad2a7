// An application's own test of its printing, against an emulated unit in the test's process:
//
//     node --test test_my_pos.test.js
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const vc = require('vantoconnect');
const { emulatedUnit } = require('vantoconnect/testing');

// The application's code under test: its own receipt for an order.
function orderReceipt(items) {
    const receipt = new vc.Receipt();
    for (const [name, price] of items) receipt.addPrice(name, price.toFixed(2));
    const total = items.reduce((sum, [, price]) => sum + price, 0);
    return receipt.addPrice('TOTAL', total.toFixed(2), { leftStyle: vc.TextStyle.BOLD });
}

test('the total is printed', async (t) => {
    const unit = await emulatedUnit(t);
    const vanto = new vc.Vanto({ address: '127.0.0.1', port: unit.port });

    const report = await vanto.print(orderReceipt([['Tea', 2.5], ['Scone', 3.1]]));

    assert.ok(report.allAcknowledged, report.summary);
    assert.ok(await unit.waitForReceipts(1));
    assert.match(unit.receipts[0].text, /TOTAL +5\.60/);
});
