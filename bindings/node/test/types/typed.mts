// The package as a TypeScript program uses it; `tsc --noEmit` must accept every line.
import { Vanto, Receipt, Image, Emulator, preview, previewText, TextStyle, TextPosition, CutType, BarcodeType, DrawerStatus, DiagnosticLed, LedColor, VantoError, PrinterNotRespondingError, type DeliveryReport } from 'vantoconnect';
import { emulatedUnit, type TestContextLike } from 'vantoconnect/testing';

export async function printOne(t: TestContextLike): Promise<DeliveryReport> {
    const unit: Emulator = await emulatedUnit(t, { printerState: 'ready', delayMs: 0 });
    const vanto = new Vanto({ address: '127.0.0.1', port: unit.port, profile: 'classic', log: (line: string) => void line });
    const receipt = new Receipt({ cut: CutType.PARTIAL })
        .addText('Hello', { style: TextStyle.BOLD | TextStyle.ITALIC, position: TextPosition.CENTER })
        .addPrice('Tea', '2.50')
        .addBarcode('000123', { type: BarcodeType.CODE39 })
        .addImage(Image.fromRGBA(1, 1, new Uint8Array(4)));
    const png: Uint8Array = await preview(receipt);
    const text: string = previewText(receipt);
    void [png, text];
    const status: DrawerStatus = await vanto.cashDrawerStatus();
    if (status === DrawerStatus.CLOSED) await vanto.openCashDrawer({ validate: false });
    await vanto.setDiagnosticLed(DiagnosticLed.PRINTER, LedColor.GREEN);
    try {
        return await vanto.print(receipt, { onError: (e: VantoError) => void e.code, signal: new AbortController().signal });
    } catch (error) {
        if (error instanceof PrinterNotRespondingError && error.report) return error.report;
        throw error;
    }
}
