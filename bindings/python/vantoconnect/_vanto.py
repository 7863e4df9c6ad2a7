"""The facade: one Vanto per unit, in the resilient profile or the classic one."""

from __future__ import annotations

import enum
import logging
import threading
from concurrent.futures import CancelledError, Future
from types import TracebackType
from typing import Callable, Optional, Type, Union

from . import _native
from ._enums import CosmeticColor, DiagnosticLed, DrawerStatus, LedColor
from ._errors import ReceiptCancelled, VantoError
from ._native import Receipt
from ._report import DeliveryReport

LOGGER = logging.getLogger("vantoconnect")
"""Where a resilient ``Vanto`` sends the library's lines, at DEBUG."""

DEFAULT_READ_TIMEOUT = 5.0
"""Seconds a resilient ``Vanto`` waits for each answer unless told otherwise."""
DEFAULT_CONNECT_TIMEOUT = 3.0
"""Seconds a resilient ``Vanto`` waits for a connection to open unless told otherwise."""


class Profile(str, enum.Enum):
    """How a ``Vanto`` behaves toward a unit that misbehaves; compares equal to its value."""

    RESILIENT = "resilient"
    """For tills that run for days, and the default: every wait on the unit has a limit, every
    failure is an exception or a report, never the end of the process; a printer queue of its
    own that can withdraw waiting receipts; the library's lines go to ``logging``."""
    CLASSIC = "classic"
    """The library's classic behaviour, hazards included: reads without a time limit, a process
    that ends when a unit hangs up mid-receipt, one printer queue for the whole process, the
    library's lines on standard output (or ``set_console``)."""


class _PrintFuture(Future[DeliveryReport]):
    """The future of one receipt: pending while it waits, running once sending has begun, then
    done with its report or an error carrying it, or cancelled."""

    def __init__(self) -> None:
        super().__init__()
        # Set while the receipt can still be withdrawn: the facade's cancel and the receipt's id.
        # It keeps the facade open while its receipt waits, and goes with the report.
        self._withdraw: Optional[Callable[[int], bool]] = None
        self._receipt_id = 0
        self._settled = False
        self._submission = threading.Lock()
        self._cancellation: Optional[ReceiptCancelled] = None

    def cancel(self) -> bool:
        """Withdraws the receipt if it is still waiting to be sent: True, and the future ends
        cancelled (its ``result()`` raises ``ReceiptCancelled``, whose ``report.cancelled`` is
        True). False once it is being sent or done, and always in the classic profile."""
        withdraw = self._withdraw
        if withdraw is None or self.running() or self.done():
            return self.cancelled()
        # The library reports the withdrawn receipt on this thread before it returns.
        return withdraw(self._receipt_id) and self.cancelled()

    def result(self, timeout: Optional[float] = None) -> DeliveryReport:
        try:
            return super().result(timeout)
        except CancelledError:
            raise self._cancelled_error() from None

    def exception(self, timeout: Optional[float] = None) -> Optional[BaseException]:
        try:
            return super().exception(timeout)
        except CancelledError:
            raise self._cancelled_error() from None

    def _cancelled_error(self) -> CancelledError:
        return self._cancellation if self._cancellation is not None else CancelledError()

    def _submitted(self, withdraw: Optional[Callable[[int], bool]], receipt_id: int) -> None:
        self._receipt_id = receipt_id
        with self._submission:
            # A receipt may be reported before its submission returns (its Vanto was closing).
            if not self._settled:
                self._withdraw = withdraw

    # The two below come from the library's threads, with the GIL held.

    def _started(self) -> None:
        if not self.running() and not self.done():
            self.set_running_or_notify_cancel()

    def _reported(self, report: DeliveryReport, error: Optional[VantoError]) -> None:
        with self._submission:
            self._withdraw = None
            self._settled = True
        if isinstance(error, ReceiptCancelled) and report.cancelled:
            self._cancellation = error
            if super().cancel():
                # Tells concurrent.futures.wait() and as_completed() too, as an executor does.
                self.set_running_or_notify_cancel()
                return
        if error is not None:
            self.set_exception(error)
        else:
            self.set_result(report)


def _given(seconds: Optional[float], default: float) -> float:
    return default if seconds is None else float(seconds)


class Vanto:
    """Drives one Vanto unit: cash drawer, LEDs, USB power and printing.

    Creating it opens nothing; every request connects anew to ``address``:``port``. Without an
    address the library's default unit address is kept (the unit's own address on its Wi-Fi
    network).

    ``profile`` chooses how it meets a unit that misbehaves (see ``Profile``). The resilient
    profile, the default, waits at most ``connect_timeout`` seconds (default 3) for a connection
    and ``read_timeout`` seconds (default 5) for each answer, and reports a unit that refuses,
    hangs up, answers nonsense or says nothing with ``VantoError`` (``ConnectionLostError`` when
    an answer was lost), through the same callbacks and futures, and the next request goes on.
    Its lines go to the ``logging`` logger "vantoconnect" at DEBUG, never to standard output.
    ``profile="classic"`` is the library's classic behaviour: no time limits (the two timeouts
    are refused), fatal edges (``FatalError``, or the end of the process on the library's own
    threads) and lines on standard output.

    Calls that wait for the unit (``cash_drawer_status``, ``open_cash_drawer(validate=True)``,
    ``printer_busy``) block the calling thread: call them off any thread that must stay
    responsive. They let go of the GIL while they wait, so other Python threads run.

    Use it as a context manager, or call ``close()``, to let go of it at once; receipts still
    waiting are then withdrawn. At the program's exit every resilient ``Vanto`` is closed that
    way, so the exit never waits on a unit: wait for each receipt's future before exiting.
    """

    def __init__(
        self,
        address: Optional[str] = None,
        port: int = 8080,
        *,
        profile: Union[Profile, str] = Profile.RESILIENT,
        read_timeout: Optional[float] = None,
        connect_timeout: Optional[float] = None,
    ) -> None:
        """Aims a new facade at ``address``:``port``. ValueError for a port outside 1...65535,
        an unknown profile, a time limit outside 0.001...86400 seconds, or a time limit given to
        the classic profile."""
        try:
            self._profile = Profile(profile)
        except ValueError:
            raise ValueError(
                f'profile must be "resilient" or "classic", not {profile!r}'
            ) from None
        classic = self._profile is Profile.CLASSIC
        if classic and (read_timeout is not None or connect_timeout is not None):
            raise ValueError(
                "read_timeout and connect_timeout are for the resilient profile: the classic "
                "profile has no time limits"
            )
        self._read_timeout = None if classic else _given(read_timeout, DEFAULT_READ_TIMEOUT)
        self._connect_timeout = (
            None if classic else _given(connect_timeout, DEFAULT_CONNECT_TIMEOUT)
        )
        self._facade = _native._Facade(
            classic,
            port,
            self._read_timeout,
            self._connect_timeout,
            None if classic else LOGGER.debug,
        )
        if address is not None:
            self._facade.set_address(address)

    def __repr__(self) -> str:
        state = "closed" if self.closed else f"{self.address}:{self.port}"
        return f"<vantoconnect.Vanto {self._profile.value} {state}>"

    @property
    def profile(self) -> Profile:
        """``Profile.RESILIENT`` or ``Profile.CLASSIC``, chosen when it was made."""
        return self._profile

    @property
    def read_timeout(self) -> Optional[float]:
        """Seconds it waits for each answer (resilient); None: without limit (classic)."""
        return self._read_timeout

    @property
    def connect_timeout(self) -> Optional[float]:
        """Seconds it waits for a connection to open (resilient); None: the system's own limit
        (classic)."""
        return self._connect_timeout

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
        """The connection manager's status. Classic: always -1 (not initialised). Resilient: -1
        before the first request, then whether the last one got through to the unit (it tells
        what the last request found; no connection is kept open)."""
        return self._facade.connection_status()

    def disconnect(self) -> None:
        """Closes the current connection, if any (the resilient profile keeps none open)."""
        self._facade.disconnect()

    def close(self) -> None:
        """Lets go of the unit at once; further calls raise RuntimeError. Idempotent.

        Resilient: receipts still waiting are withdrawn (their futures end cancelled) and the
        one being sent is cut short (``ReceiptCancelled``, with what its packets did); nothing
        waits on the unit. When another thread is inside a call on this ``Vanto``, that happens
        as soon as its call returns. Classic: receipts already queued go on printing, as the
        classic printer queue is the whole process's.
        """
        self._facade.close()

    @property
    def closed(self) -> bool:
        """Whether ``close()`` was called."""
        return self._facade.closed()

    def __enter__(self) -> Vanto:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def cash_drawer_status(self) -> DrawerStatus:
        """Reads the cash drawer. Blocks. ``VantoError`` (GENERIC) when no status comes back;
        resilient: ``ConnectionLostError`` when the unit hung up or fell silent."""
        return DrawerStatus(self._facade.cash_drawer_status())

    def open_cash_drawer(self, validate: bool = True) -> bool:
        """Queues the drawer's open pulse and says whether it was queued.

        With ``validate`` the drawer is read first (blocking; ``VantoError`` when it cannot be)
        and the pulse is queued only when it reads closed. Without, it is queued at once. True
        says no more than that: nothing confirms that the pulse reached the unit (it is dropped
        after five failed attempts) or that the drawer moved. Read ``cash_drawer_status()``
        again to know.
        """
        return self._facade.open_cash_drawer(validate)

    def printer_busy(self) -> bool:
        """False only when the printer reports itself ready; True when it cannot be asked.

        Blocks. Classic: ``FatalError`` when the unit closes the connection instead of answering.
        """
        return self._facade.printer_busy()

    def set_diagnostic_led(self, position: DiagnosticLed, colour: LedColor) -> None:
        """Sets one diagnostic LED. Sent without confirmation; dropped when the unit cannot be
        reached. ValueError for ``DiagnosticLed.PED`` (its request would stop the process) and
        for unknown positions or colours."""
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

    def waiting_receipts(self) -> int:
        """Receipts queued and not yet being sent: this ``Vanto``'s (resilient), or the whole
        process's (classic)."""
        return self._facade.waiting_receipts()

    def print(
        self,
        receipt: Receipt,
        on_started: Optional[Callable[[str], object]] = None,
        on_completed: Optional[Callable[[str], object]] = None,
        on_error: Optional[Callable[[VantoError], object]] = None,
    ) -> Future[DeliveryReport]:
        """Queues the receipt and returns a future of its delivery report at once.

        Resilient: the future resolves to the ``DeliveryReport`` only when the unit acknowledged
        every packet; otherwise it raises a ``VantoError`` carrying the report:
        ``PrinterNotResponding`` (the printer stayed busy or unreachable: nothing sent),
        ``ConnectionLostError`` (an answer was lost: that packet may have printed), ``VantoError``
        (refused, not understood, no connection) or ``ReceiptCancelled``. ``cancel()`` withdraws
        the receipt while it waits. The receipt is composed now: later changes to it are not
        printed. Receipts print one at a time in the order given, a burst included.

        Classic: the future resolves to the report even when packets were refused, so check its
        ``all_acknowledged``; it raises only ``PrinterNotResponding``, and cannot be cancelled.
        The queue keeps the receipt itself, not a copy, and is shared by the whole process:
        submit the next receipt when the previous one's future has resolved, as a burst loses
        receipts and can end the process.

        Use ``asyncio.wrap_future`` to await it; pass ``result()`` a timeout in the classic
        profile, where a unit that never answers resolves nothing.

        ``on_started(address)``, ``on_completed(address)`` and ``on_error(error)`` run on the
        library's threads with the GIL held, before the future resolves (a withdrawn receipt's
        on the thread that withdrew it). "Completed" means every packet was acknowledged
        (resilient), or only that the connection's work queue got through the receipt's
        messages (classic). Keep callbacks short: printing waits while they run. Never wait for
        the future in one: its report comes after the callback, on the same thread. An exception
        they raise goes to ``sys.unraisablehook`` and printing goes on.
        """
        future = _PrintFuture()
        receipt_id = self._facade.print(receipt, future, on_started, on_completed, on_error)
        resilient = self._profile is Profile.RESILIENT
        future._submitted(self._facade.cancel if resilient else None, receipt_id)
        return future
