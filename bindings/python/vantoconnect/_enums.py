"""The library's integer codes as enums, with the library's own values."""

from enum import IntEnum, IntFlag


class CutType(IntEnum):
    """How the paper is cut after a receipt."""

    FULL = 0
    PARTIAL = 1


class TextStyle(IntFlag):
    """Text styles: bit flags that combine, as in ``TextStyle.BOLD | TextStyle.UNDERLINED``."""

    NONE = 0
    BOLD = 1
    ITALIC = 2
    UNDERLINED = 4
    INVERSE = 8


class TextSize(IntEnum):
    """Text width. Price and separator lines keep the size of the last text line."""

    NORMAL = 0
    WIDE = 1


class TextPosition(IntEnum):
    """Where a text line sits across the paper."""

    LEFT = 0
    CENTER = 1
    RIGHT = 2


class BarcodeType(IntEnum):
    """Barcode symbologies the printer draws."""

    UPCA = 0
    CODE39 = 1
    PDF417 = 2


class BarcodeHri(IntEnum):
    """Where the human-readable text of a barcode is printed."""

    NONE = 0
    ABOVE = 1
    BELOW = 2
    BOTH = 3


class DrawerStatus(IntEnum):
    """What the unit reports of its cash drawer."""

    OPENED = 0
    CLOSED = 1


class DiagnosticLed(IntEnum):
    """Positions of the unit's diagnostic LEDs.

    ``PED`` is listed because the unit has it, but the library cannot set it: its request would
    stop the process, so ``Vanto.set_diagnostic_led`` refuses it with ValueError.
    """

    POWER = 0
    NETWORK = 1
    TABLET = 2
    PED = 3
    PRINTER = 8
    USB1 = 9
    USB2 = 10


class LedColor(IntEnum):
    """Colours of a diagnostic LED."""

    OFF = 0
    GREEN = 1
    RED = 2
    AMBER = 3


class CosmeticColor(IntEnum):
    """Colours of the unit's cosmetic light."""

    OFF = 0
    BLUE = 1
    GREEN = 2
    CYAN = 3
    RED = 4
    MAGENTA = 5
    YELLOW = 6
    WHITE = 7
