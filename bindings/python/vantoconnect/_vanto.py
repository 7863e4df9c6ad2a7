"""The facade: one Vanto per unit."""

from __future__ import annotations

from concurrent.futures import Future
from typing import Callable, Optional

from . import _native
from ._enums import CosmeticColor, DiagnosticLed, DrawerStatus, LedColor
from ._errors import VantoError
from ._native import Receipt
from ._report import DeliveryReport


class Vanto:
    """Drives one Vanto unit: cash drawer, LEDs, USB power and printing.

    Creating it opens nothing; every request connects anew to ``address``:``port``. Without an
    address the library's default unit address is kept (the unit's own address on its Wi-Fi
    network).

    Calls that wait for the unit (``cash_drawer_status``, ``open_cash_drawer(validate=True)``,
    ``printer_busy``) block the calling thread, for minutes when the unit cannot be reached and
    without limit when it accepts a connection and never answers: call them off any thread that
    must stay responsive. They let go of the GIL while they wait, so other Python threads run.

    Fatal edges: the library stops the process on some conditions. When one is met on your own
    thread (a unit that closes the connection instead of answering ``printer_busy()``), it is
    raised as ``FatalError`` and the interpreter goes on. When it is met on one of the library's
    own threads (a unit that closes the connection while the library waits for the answer to a
    print packet), the process still ends.
    """

    def __init__(self, address: Optional[str] = None, port: int = 8080) -> None:
        """Aims a new facade at ``address``:``port``; ValueError for a port outside 1...65535."""
        self._facade = _native._Facade()
        if address is not None:
            self._facade.set_address(address)
        self._facade.set_port(port)

    @property
    def address(self) -> str:
        """The unit's address; a change reaches the next connection."""
        return self._facade.address()

    @address.setter
    def address(self, address: str) -> None:
        self._facade.set_address(address)

    @property
    def port(self) -> int:
        """The unit's TCP port (1...65535; ValueError otherwise)."""
        return self._facade.port()

    @port.setter
    def port(self, port: int) -> None:
        self._facade.set_port(port)

    @property
    def connection_status(self) -> int:
        """The connection manager's status; the library always reports -1 (not initialised)."""
        return self._facade.connection_status()

    def disconnect(self) -> None:
        """Closes the current connection, if any."""
        self._facade.disconnect()

    def cash_drawer_status(self) -> DrawerStatus:
        """Reads the cash drawer. Blocks; ``VantoError`` (GENERIC) when no status comes back."""
        return DrawerStatus(self._facade.cash_drawer_status())

    def open_cash_drawer(self, validate: bool = True) -> bool:
        """Queues the drawer's open pulse and says whether it was queued.

        With ``validate`` the drawer is read first (blocking; ``VantoError`` when it cannot be)
        and the pulse is queued only when it reads closed. Without, it is queued at once. True
        says no more than that: nothing confirms that the pulse reached the unit (it is dropped
        silently after five failed attempts) or that the drawer moved. Read
        ``cash_drawer_status()`` again to know.
        """
        return self._facade.open_cash_drawer(validate)

    def printer_busy(self) -> bool:
        """False only when the printer reports itself ready; True when it cannot be asked.

        Blocks. ``FatalError`` when the unit closes the connection instead of answering.
        """
        return self._facade.printer_busy()

    def set_diagnostic_led(self, position: DiagnosticLed, colour: LedColor) -> None:
        """Sets one diagnostic LED. Sent without confirmation; dropped silently when the unit
        cannot be reached. ValueError for ``DiagnosticLed.PED`` (its request would stop the
        process) and for unknown positions or colours."""
        self._facade.set_diagnostic_led(position, colour)

    def set_cosmetic_led(self, colour: CosmeticColor) -> None:
        """Sets the cosmetic light. Sent without confirmation; ValueError for an unknown colour."""
        self._facade.set_cosmetic_led(colour)

    def enable_usb(self) -> None:
        """Switches USB power on. Sent without confirmation."""
        self._facade.enable_usb()

    def disable_usb(self) -> None:
        """Switches USB power off. Sent without confirmation."""
        self._facade.disable_usb()

    def print(
        self,
        receipt: Receipt,
        on_started: Optional[Callable[[str], object]] = None,
        on_completed: Optional[Callable[[str], object]] = None,
        on_error: Optional[Callable[[VantoError], object]] = None,
    ) -> Future[DeliveryReport]:
        """Queues the receipt and returns a future of its delivery report at once.

        The future resolves to a ``DeliveryReport``; only its ``all_acknowledged`` says the unit
        took every packet. It raises ``PrinterNotResponding`` (carrying the report) when the
        printer queue gives up on the receipt. It cannot be cancelled: the receipt is queued.
        Use ``asyncio.wrap_future`` to await it.

        ``on_started(address)``, ``on_completed(address)`` and ``on_error(error)`` run on the
        library's threads with the GIL held, before the future resolves. "Completed" only means
        the connection's work queue got through the receipt's messages, not that the unit took
        them. Keep callbacks short: printing waits while they run. Never wait for the future in
        one: its report comes after the callback, on the same thread. An exception they raise
        goes to ``sys.unraisablehook`` and printing goes on.

        The queue keeps the receipt itself, not a copy: a change made before it is composed is
        printed. The printer queue is shared by the whole process; submit the next receipt when
        the previous one's future has resolved, as a burst of submissions loses receipts and can
        end the process.
        """
        future: Future[DeliveryReport] = Future()
        # Running from the start: a queued receipt cannot be withdrawn, so cancel() says no.
        future.set_running_or_notify_cancel()
        self._facade.print(receipt, future, on_started, on_completed, on_error)
        return future
