// The package as an ES module: the same objects as require('vantoconnect').
import vantoconnect from './index.js';

export const {
    Vanto,
    Receipt,
    Image,
    preview,
    previewText,
    Emulator,
    setConsole,
    VantoError,
    PrinterNotRespondingError,
    FatalError,
    AbortError,
    CutType,
    TextStyle,
    TextSize,
    TextPosition,
    BarcodeType,
    BarcodeHri,
    DrawerStatus,
    DiagnosticLed,
    LedColor,
    CosmeticColor,
} = vantoconnect;
export default vantoconnect;
