"""The native part of vantoconnect; import vantoconnect instead."""

import os
from typing import Any, Callable, Dict, List, Optional, Union

from ._enums import BarcodeHri, BarcodeType, CutType, TextPosition, TextSize, TextStyle
from ._errors import VantoError
from ._report import DeliveryReport
from ._vanto import _PrintFuture

_Path = Union[str, os.PathLike[str]]
_Bytes = Union[bytes, bytearray, memoryview]

class Image:
    """A decoded picture for ``Receipt.add_image``, checked against the limits of receipt files
    (8 MiB encoded, 8192 pixels a side, 4800 dot rows once scaled to the paper).

    With ``flatten`` (the default) the picture is laid onto white paper first, as receipt files
    are: the printer prints a pixel by its colour alone, so a transparent background would
    otherwise print as a black block. ``flatten=False`` hands the library the pixels as they
    are. ValueError when the picture cannot be read or passes a limit.
    """

    @staticmethod
    def from_file(path: _Path, flatten: bool = True) -> Image:
        """Reads a PNG, JPEG, WebP, GIF or TIFF file."""
    @staticmethod
    def from_bytes(data: _Bytes, flatten: bool = True) -> Image:
        """Decodes an encoded image (PNG, JPEG, WebP, GIF, TIFF) held in memory."""
    @staticmethod
    def from_rgba(width: int, height: int, data: _Bytes, flatten: bool = True) -> Image:
        """Straight (not premultiplied) 8-bit RGBA, ``width * height * 4`` bytes, rows top to
        bottom."""
    @property
    def width(self) -> int:
        """Width in pixels."""
    @property
    def height(self) -> int:
        """Height in pixels."""

class Receipt:
    """A receipt: lines in print order and the receipt-wide settings.

    Each ``add_*`` makes the line as the C++ library does and checks it first: a line the
    printer bytes cannot carry as meant (a control character, a feed outside 0...127, a price
    line of 44 or more characters, a barcode the printer cannot draw, more than one 1024-byte
    packet of commands) raises ValueError naming the line ("line 3: ...") and is not added.

    ``Vanto.print`` queues this receipt itself, not a copy: a change made before it is composed
    is printed.
    """

    def __init__(
        self, cut: CutType = CutType.FULL, header_feed: int = 0, footer_feed: int = 12
    ) -> None:
        """An empty receipt; ValueError for a setting out of range."""
    @staticmethod
    def from_json(path_or_text: _Path, base_dir: Optional[_Path] = None) -> Receipt:
        """Reads the receipt-file format of ``vanto print``.

        Text that starts (after white space) with "{" is JSON text, whose image paths are
        relative to ``base_dir`` (default: the current directory); anything else is a file
        path, whose image paths are relative to the file. ValueError names the problem.
        """
    def add_text(
        self,
        text: str,
        style: TextStyle = TextStyle.NONE,
        size: TextSize = TextSize.NORMAL,
        position: TextPosition = TextPosition.LEFT,
    ) -> None:
        """Adds a line of text. It wraps at 44 columns (22 when wide)."""
    def add_price(
        self,
        left_text: str,
        right_text: str,
        left_style: TextStyle = TextStyle.NONE,
        right_style: TextStyle = TextStyle.NONE,
    ) -> None:
        """Adds a price line: the two texts padded apart to 44 columns, counting what a reader
        sees; together they must have fewer than 44 characters. It keeps the size of the last
        text line, so put a normal-size text line after a wide one."""
    def add_separator(self, chr: str = "-") -> None:
        """Adds one character repeated across the paper ("\\0" prints nothing)."""
    def add_feed(self, lines: int) -> None:
        """Adds 0...127 blank lines."""
    def add_barcode(
        self,
        data: str,
        type: BarcodeType = BarcodeType.UPCA,
        hri: BarcodeHri = BarcodeHri.BELOW,
        height: float = 54 / 154,
    ) -> None:
        """Adds a barcode. ``height`` is in units of 154 dots (height x 154 must be 1...127
        dots); UPC-A takes 11 or 12 digits, Code 39 digits, capitals, space and - . $ / + %."""
    def add_image(self, image: Image) -> None:
        """Adds an image, printed 288 dots across."""
    @property
    def cut(self) -> CutType:
        """How the paper is cut after the receipt."""
    @cut.setter
    def cut(self, cut: CutType) -> None: ...
    @property
    def header_feed(self) -> int:
        """Blank lines before the first line (0...127)."""
    @header_feed.setter
    def header_feed(self, lines: int) -> None: ...
    @property
    def footer_feed(self) -> int:
        """Blank lines after the last line, before the cut (0...127)."""
    @footer_feed.setter
    def footer_feed(self, lines: int) -> None: ...
    def __len__(self) -> int:
        """The number of lines."""
    def compose(self) -> bytes:
        """The receipt's printer command bytes, every group the library's composer makes of it
        joined, as the unit receives them."""

def preview(receipt: Receipt) -> bytes:
    """The receipt drawn as the emulated unit's printer draws it, with no unit: PNG bytes,
    576 dots wide. ValueError for a line the printer bytes cannot carry."""

def preview_text(receipt: Receipt) -> str:
    """The text the paper would show, one line per printed line, with no unit."""

def set_console(sink: Optional[Callable[[str], object]]) -> None:
    """Sends the classic profile's diagnostic lines to ``sink(line)`` instead of standard output;
    None restores standard output. (A resilient ``Vanto`` sends its lines to the ``logging``
    logger "vantoconnect" instead, and never to either.)

    The sink runs on whichever thread writes the line, often one of the library's, with the GIL
    held and the library's console lock taken: keep it short, and call nothing of vantoconnect
    from it (a call that writes a line would wait for that lock for ever). An exception it raises
    goes to ``sys.unraisablehook``.
    """

class _Facade:
    def __init__(
        self,
        classic: bool,
        port: int,
        read_timeout: Optional[float],
        connect_timeout: Optional[float],
        log: Optional[Callable[[str], object]],
    ) -> None: ...
    def address(self) -> str: ...
    def set_address(self, address: str) -> None: ...
    def port(self) -> int: ...
    def set_port(self, port: int) -> None: ...
    def connection_status(self) -> int: ...
    def disconnect(self) -> None: ...
    def cash_drawer_status(self) -> int: ...
    def open_cash_drawer(self, validate: bool) -> bool: ...
    def printer_busy(self) -> bool: ...
    def set_diagnostic_led(self, position: int, colour: int) -> None: ...
    def set_cosmetic_led(self, colour: int) -> None: ...
    def enable_usb(self) -> None: ...
    def disable_usb(self) -> None: ...
    def waiting_receipts(self) -> int: ...
    def cancel(self, receipt_id: int) -> bool: ...
    def close(self) -> None: ...
    def closed(self) -> bool: ...
    def print(
        self,
        receipt: Receipt,
        future: _PrintFuture,
        on_started: Optional[Callable[[str], object]],
        on_completed: Optional[Callable[[str], object]],
        on_error: Optional[Callable[[VantoError], object]],
    ) -> int: ...

class _Unit:
    def __init__(
        self,
        bind: str,
        port: int,
        out_dir: str,
        keep: int,
        drawer_close_after_ms: int,
        printer_state: str,
        printer_not_ready: int,
        printer_error: int,
        reply: str,
        corrupt_crc: int,
        delay_ms: int,
        refuse: bool,
        drop_next: int,
        max_connections: int,
        render: bool,
    ) -> None: ...
    def start(self) -> None: ...
    def stop(self) -> None: ...
    def running(self) -> bool: ...
    def port(self) -> int: ...
    def address(self) -> str: ...
    def state(self) -> Dict[str, Any]: ...
    def receipts(self) -> List[Dict[str, Any]]: ...
    def events(self) -> List[str]: ...
    def wait_for_receipts(self, count: int, timeout_ms: int) -> bool: ...
    def set_printer_state(self, word: str) -> None: ...
    def set_reply(self, word: str) -> None: ...
    def set_printer_not_ready(self, polls: int) -> None: ...
    def set_printer_error(self, packets: int) -> None: ...
    def set_corrupt_crc(self, replies: int) -> None: ...
    def set_delay_ms(self, ms: int) -> None: ...
    def set_refuse(self, refuse: bool) -> None: ...
    def set_drop_next(self, connections: int) -> None: ...
    def restart(self, ms: int) -> None: ...
    def set_drawer_close_after_ms(self, ms: int) -> None: ...
    def open_drawer(self) -> None: ...
    def close_drawer(self) -> None: ...

def _report_summary(report: DeliveryReport) -> str: ...
def _library_constants() -> Dict[str, Dict[str, int]]: ...
def _reset_printer_queue_for_testing(limit: float = 10.0) -> bool:
    """Waits up to ``limit`` seconds for no poll to be scheduled or running, then empties the
    printer queue, zeroes its poll count and clears its printing flag. For tests only."""
def _set_timer_interval_scale(scale: float) -> None:
    """Multiplies the printer queue's 0.1 s and 2 s poll intervals. For tests only."""
def _wait_for_printer_queue(timeout: float) -> bool:
    """Waits up to ``timeout`` seconds until no poll is scheduled or running and no receipt is
    being sent. For tests only."""
