"""The package's exceptions."""

from __future__ import annotations

import enum
from concurrent.futures import CancelledError
from typing import TYPE_CHECKING, ClassVar, Optional

if TYPE_CHECKING:
    from ._report import DeliveryReport


class ErrorKind(str, enum.Enum):
    """The kind of a ``VantoError``; compares equal to its name."""

    GENERIC = "GENERIC"
    """Opening a connection or sending failed; the message says why."""
    PRINTER_NOT_RESPONDING = "PRINTER_NOT_RESPONDING"
    """The printer queue gave up on a receipt."""
    CONNECTION_LOST = "CONNECTION_LOST"
    """The unit closed or reset the connection, or said nothing within the read's time limit,
    before its answer was in (resilient profile only)."""
    CANCELLED = "CANCELLED"
    """The receipt was withdrawn, or its ``Vanto`` closed (resilient profile only)."""


class VantoError(Exception):
    """An error the library reports: a unit that cannot be reached or did not answer usefully.

    ``kind`` is an ``ErrorKind``, ``code`` its position (0 GENERIC, 1 PRINTER_NOT_RESPONDING,
    2 CONNECTION_LOST, 3 CANCELLED) and ``domain`` always ``"vantoconnect.VantoError"``.
    ``message`` is the library's text (empty for PRINTER_NOT_RESPONDING) and ``description`` how
    the library prints the error. ``report`` is the receipt's delivery report when the error ends
    a print. ``PrinterNotResponding``, ``ConnectionLostError`` and ``ReceiptCancelled`` are the
    kinds other than GENERIC, as classes of their own.
    """

    domain: ClassVar[str] = "vantoconnect.VantoError"
    default_kind: ClassVar[ErrorKind] = ErrorKind.GENERIC
    """The kind an error of this class has unless told otherwise."""

    def __init__(
        self,
        message: str = "",
        *,
        kind: Optional[ErrorKind] = None,
        description: str = "",
        report: Optional[DeliveryReport] = None,
    ) -> None:
        kind = kind or self.default_kind
        super().__init__(message or description or kind.value)
        self.message = message
        self.kind = kind
        self.description = description or kind.value
        self.report = report

    @property
    def code(self) -> int:
        """0 for GENERIC, 1 for PRINTER_NOT_RESPONDING, 2 for CONNECTION_LOST, 3 for CANCELLED."""
        return list(ErrorKind).index(self.kind)


class PrinterNotResponding(VantoError):
    """The printer queue gave up on a receipt and dropped it without sending it.

    Resilient profile: the receipt's own 31st poll that found the printer busy, not ready or
    unreachable, or 60 seconds of waiting, whichever came first. Classic profile: the queue
    counts the polls that find the printer busy or not ready, a receipt still being sent or
    nothing queued, across receipts and for the whole process; the 31st since the last give-up
    drops the receipt at the head of the queue. ``report`` holds the dropped receipt's delivery
    report (nothing sent)."""

    default_kind = ErrorKind.PRINTER_NOT_RESPONDING

    def __init__(
        self,
        message: str = "",
        *,
        kind: Optional[ErrorKind] = None,
        description: str = "",
        report: Optional[DeliveryReport] = None,
    ) -> None:
        super().__init__(message, kind=kind, description=description, report=report)
        if report is not None:
            self.args = (
                f"PRINTER_NOT_RESPONDING: the printer queue gave up on receipt "
                f"{report.receipt_id} before sending it",
            )


class ConnectionLostError(VantoError):
    """The unit closed or reset the connection, or said nothing within the read's time limit
    (``Vanto(read_timeout=...)``), before its answer was in; the message says which.

    Only the resilient profile raises it; the classic one waits for ever or ends the process
    (``FatalError``) instead. When it ends a print, the packet whose answer was lost counts in
    ``report.packets_unanswered``: it went out, so it may have printed, and it is never sent
    again."""

    default_kind = ErrorKind.CONNECTION_LOST


class ReceiptCancelled(VantoError, CancelledError):
    """The receipt was withdrawn: by the print future's ``cancel()`` while it waited, or because
    its ``Vanto`` was closed (``close()``, the end of a ``with`` block, the program's exit).

    A ``concurrent.futures.CancelledError`` too: the future of a receipt withdrawn before any of
    it was sent ends cancelled, and its ``result()`` and ``exception()`` raise this, with
    ``report.cancelled`` True (nothing of it is on paper). A receipt whose ``Vanto`` was closed
    while it was being sent ends with this as its exception instead, ``report.cancelled`` False,
    and the report says what its packets did. Only the resilient profile withdraws receipts."""

    default_kind = ErrorKind.CANCELLED


class FatalError(RuntimeError):
    """The library reached one of its fatal edges on the calling thread.

    In C++ this ends the process; raised on your own thread it reaches you instead, and the
    interpreter goes on. Its cause is the classic profile's: a unit that closes the connection
    instead of answering a blocking request (``printer_busy()``, ``cash_drawer_status()``). The
    same edge met on one of the library's own threads, for example a unit that closes the
    connection while the library waits for its answer to a print packet, still ends the process:
    nothing can be caught there. The resilient profile meets none of them: it reports those
    units with ``VantoError``.
    """
