"""Drive a Vanto unit (receipt printer, cash drawer, LEDs, USB power) from a point-of-sale app.

::

    import vantoconnect as vc

    vanto = vc.Vanto(address="127.0.0.1", port=8080)
    receipt = vc.Receipt(cut=vc.CutType.PARTIAL)
    receipt.add_text("CORNER CAFE", style=vc.TextStyle.BOLD, position=vc.TextPosition.CENTER)
    receipt.add_price("Flat white", "3.20")
    try:
        report = vanto.print(receipt).result(timeout=120)
        print("delivered:", report.summary())
    except vc.VantoError as error:
        print("not printed:", error)

``Vanto`` comes in two profiles: the resilient one (the default; every wait has a limit, every
failure is an exception) and the library's classic one (``profile="classic"``). ``Emulator`` is a
software unit in this process for tests and demos, and ``vantoconnect.testing`` a pytest fixture
built on it.
"""

from ._emulator import Emulator, PrintedReceipt
from ._enums import (
    BarcodeHri,
    BarcodeType,
    CosmeticColor,
    CutType,
    DiagnosticLed,
    DrawerStatus,
    LedColor,
    TextPosition,
    TextSize,
    TextStyle,
)
from ._errors import (
    ConnectionLostError,
    ErrorKind,
    FatalError,
    PrinterNotResponding,
    ReceiptCancelled,
    VantoError,
)
from ._native import Image, Receipt, preview, preview_text, set_console
from ._report import DeliveryReport
from ._vanto import Profile, Vanto

__all__ = [
    "BarcodeHri",
    "BarcodeType",
    "ConnectionLostError",
    "CosmeticColor",
    "CutType",
    "DeliveryReport",
    "DiagnosticLed",
    "DrawerStatus",
    "Emulator",
    "ErrorKind",
    "FatalError",
    "Image",
    "LedColor",
    "PrintedReceipt",
    "PrinterNotResponding",
    "Profile",
    "Receipt",
    "ReceiptCancelled",
    "TextPosition",
    "TextSize",
    "TextStyle",
    "Vanto",
    "VantoError",
    "preview",
    "preview_text",
    "set_console",
]
