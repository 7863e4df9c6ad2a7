"""Drive a Vanto unit (receipt printer, cash drawer, LEDs, USB power) from a point-of-sale app.

::

    import vantoconnect as vc

    vanto = vc.Vanto(address="127.0.0.1", port=8080)
    receipt = vc.Receipt(cut=vc.CutType.PARTIAL)
    receipt.add_text("CORNER CAFE", style=vc.TextStyle.BOLD, position=vc.TextPosition.CENTER)
    receipt.add_price("Flat white", "3.20")
    report = vanto.print(receipt).result(timeout=60)
    if report.all_acknowledged:
        print("delivered")

``Emulator`` is a software unit in this process for tests and demos, and
``vantoconnect.testing`` a pytest fixture built on it.
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
from ._errors import ErrorKind, FatalError, PrinterNotResponding, VantoError
from ._native import Image, Receipt, preview, preview_text, set_console
from ._report import DeliveryReport
from ._vanto import Vanto

__all__ = [
    "BarcodeHri",
    "BarcodeType",
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
    "Receipt",
    "TextPosition",
    "TextSize",
    "TextStyle",
    "Vanto",
    "VantoError",
    "preview",
    "preview_text",
    "set_console",
]
