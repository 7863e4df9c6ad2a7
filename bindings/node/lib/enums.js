'use strict';
// The library's integer codes as frozen objects, with the library's own values (a test keeps
// them equal to the library's).

/** How the paper is cut after a receipt. */
const CutType = Object.freeze({ FULL: 0, PARTIAL: 1 });
/** Text styles: bit flags that combine, as in `TextStyle.BOLD | TextStyle.UNDERLINED`. */
const TextStyle = Object.freeze({ NONE: 0, BOLD: 1, ITALIC: 2, UNDERLINED: 4, INVERSE: 8 });
/** Text width. Price and separator lines keep the size of the last text line. */
const TextSize = Object.freeze({ NORMAL: 0, WIDE: 1 });
/** Where a text line sits across the paper. */
const TextPosition = Object.freeze({ LEFT: 0, CENTER: 1, RIGHT: 2 });
/** Barcode symbologies the printer draws. */
const BarcodeType = Object.freeze({ UPCA: 0, CODE39: 1, PDF417: 2 });
/** Where the human-readable text of a barcode is printed. */
const BarcodeHri = Object.freeze({ NONE: 0, ABOVE: 1, BELOW: 2, BOTH: 3 });
/** What the unit reports of its cash drawer. */
const DrawerStatus = Object.freeze({ OPENED: 0, CLOSED: 1 });
/**
 * Positions of the unit's diagnostic LEDs. PED is listed because the unit has it, but the
 * library cannot set it (its request would stop the process): setDiagnosticLed refuses it.
 */
const DiagnosticLed = Object.freeze({ POWER: 0, NETWORK: 1, TABLET: 2, PED: 3, PRINTER: 8, USB1: 9, USB2: 10 });
/** Colours of a diagnostic LED. */
const LedColor = Object.freeze({ OFF: 0, GREEN: 1, RED: 2, AMBER: 3 });
/** Colours of the unit's cosmetic light. */
const CosmeticColor = Object.freeze({
    OFF: 0,
    BLUE: 1,
    GREEN: 2,
    CYAN: 3,
    RED: 4,
    MAGENTA: 5,
    YELLOW: 6,
    WHITE: 7,
});

module.exports = {
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
};
