// Prints one receipt and says whether the whole receipt reached the printer.
//
//     node print_receipt.js [ADDRESS [PORT]]    (defaults 127.0.0.1 and 8080: an emulated unit
//                                                started with `vanto emulate`)
//
// Exit status 0 only when the unit acknowledged every packet of the receipt.
'use strict';
const vc = require('vantoconnect');

async function main() {
    const address = process.argv[2] ?? '127.0.0.1';
    const port = Number(process.argv[3] ?? 8080);

    // The resilient profile (the package's default): every wait has a limit, so the report
    // always comes, within a minute when the unit never answers. Creating it opens nothing.
    const vanto = new vc.Vanto({ address, port });

    const receipt = new vc.Receipt({ cut: vc.CutType.PARTIAL })
        .addText('CORNER CAFE', { style: vc.TextStyle.BOLD, size: vc.TextSize.WIDE, position: vc.TextPosition.CENTER })
        // Price lines keep the size of the last text line: a normal one puts the width back.
        .addText('12 Harbour Street', { position: vc.TextPosition.CENTER })
        .addFeed(1)
        .addPrice('Flat white', '3.20')
        .addPrice('Croissant', '2.50')
        .addPrice('TOTAL', '5.70', { leftStyle: vc.TextStyle.BOLD, rightStyle: vc.TextStyle.BOLD });

    try {
        // Resolves to the delivery report, whose allAcknowledged says every packet reached the
        // printer; rejects with a VantoError saying why when the receipt could not be sent.
        const report = await vanto.print(receipt, { onStarted: (to) => console.log(`sending to ${to}`) });
        if (!report.allAcknowledged) {
            console.error(`receipt ${report.receiptId} not delivered in full: ${report.summary}`);
            return 1;
        }
        // The unit took every byte; whether the paper then jammed, no answer can tell.
        console.log(`receipt ${report.receiptId} delivered: ${report.summary}`);
        return 0;
    } catch (error) {
        console.error(`not delivered: ${error.message}`);
        return 1;
    } finally {
        await vanto.close();
    }
}

main().then((status) => {
    process.exitCode = status;
});
