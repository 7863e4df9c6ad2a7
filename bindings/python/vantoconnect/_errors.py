"""The package's exceptions."""

from __future__ import annotations

import enum
from typing import TYPE_CHECKING, ClassVar, Optional

if TYPE_CHECKING:
    from ._report import DeliveryReport


class ErrorKind(str, enum.Enum):
    """The kind of a ``VantoError``; compares equal to its name."""

    GENERIC = "GENERIC"
    """Opening a connection or sending failed; the message says why."""
    PRINTER_NOT_RESPONDING = "PRINTER_NOT_RESPONDING"
    """The printer queue gave up on a receipt."""


class VantoError(Exception):
    """An error the library reports: a unit that cannot be reached or did not answer usefully.

    ``kind`` is ``ErrorKind.GENERIC`` or ``ErrorKind.PRINTER_NOT_RESPONDING``, ``code`` its
    position (0 or 1) and ``domain`` always ``"vantoconnect.VantoError"``. ``message`` is the
    library's text (empty for PRINTER_NOT_RESPONDING) and ``description`` how the library prints
    the error. ``report`` is the receipt's delivery report when the error ends a print.
    """

    domain: ClassVar[str] = "vantoconnect.VantoError"

    def __init__(
        self,
        message: str = "",
        *,
        kind: ErrorKind = ErrorKind.GENERIC,
        description: str = "",
        report: Optional[DeliveryReport] = None,
    ) -> None:
        super().__init__(message or description or kind.value)
        self.message = message
        self.kind = kind
        self.description = description or kind.value
        self.report = report

    @property
    def code(self) -> int:
        """0 for GENERIC, 1 for PRINTER_NOT_RESPONDING."""
        return 1 if self.kind is ErrorKind.PRINTER_NOT_RESPONDING else 0


class PrinterNotResponding(VantoError):
    """The printer queue gave up on a receipt and dropped it without sending it.

    The queue counts the polls that find the printer busy or not ready, a receipt still being
    sent or nothing queued, across receipts and for the whole process; the 31st since the last
    give-up drops the receipt at the head of the queue. ``report`` holds the dropped receipt's
    delivery report (nothing sent)."""

    def __init__(
        self,
        message: str = "",
        *,
        kind: ErrorKind = ErrorKind.PRINTER_NOT_RESPONDING,
        description: str = "",
        report: Optional[DeliveryReport] = None,
    ) -> None:
        super().__init__(message, kind=kind, description=description, report=report)
        if report is not None:
            self.args = (
                f"PRINTER_NOT_RESPONDING: the printer queue gave up on receipt "
                f"{report.receipt_id} before sending it",
            )


class FatalError(RuntimeError):
    """The library reached one of its fatal edges on the calling thread.

    In C++ this ends the process; raised on your own thread it reaches you instead, and the
    interpreter goes on. The usual cause is a unit that closes the connection instead of
    answering a blocking request (``printer_busy()``, ``cash_drawer_status()``). The same edge
    met on one of the library's own threads, for example a unit that closes the connection while
    the library waits for its answer to a print packet, still ends the process: nothing can be
    caught there.
    """
