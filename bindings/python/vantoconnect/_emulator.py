"""An emulated Vanto unit in this process, for tests, demos and development without hardware."""

from __future__ import annotations

import json
import os
from dataclasses import dataclass
from types import TracebackType
from typing import Any, Dict, List, Optional, Tuple, Type, Union

from . import _native
from ._enums import CosmeticColor, DiagnosticLed, LedColor


@dataclass(frozen=True)
class PrintedReceipt:
    """One receipt as the emulated unit put it on paper."""

    number: int
    """1, 2, 3, ... in the order the unit printed them."""
    text: str
    """What the paper shows, one line per printed line."""
    png: Optional[bytes]
    """The paper as a PNG; None once the unit keeps it neither in memory (the newest 16) nor on
    disk (``out_dir``)."""
    data: bytes
    """The printer bytes of the job, its packets joined."""
    packets: int
    """Data packets the job arrived in."""
    incomplete: bool
    """A packet was skipped, the job's start never came, or the job was cut off: its sender
    went silent or began another job, or the unit restarted, before the end of the job came."""
    interleaved: bool
    """Another sender's job from the same address overlapped this one."""
    notes: Tuple[str, ...]
    """What the unit could not print as asked."""

    @property
    def complete(self) -> bool:
        """Neither incomplete nor interleaved: the job's packets came from one sender with
        unbroken tags from the first on, and an end-of-job message closed them. It cannot tell
        that the sender meant to send more: a client that gives up on a receipt and then ends
        the job leaves a complete-looking job of what it sent."""
        return not self.incomplete and not self.interleaved


class Emulator:
    """A software Vanto unit listening on TCP in this process; faults can be switched while it
    runs, as with ``vanto emulate``.

    It binds 127.0.0.1 on a free port unless told otherwise; read the port back from ``port``.
    Use it as a context manager (``with Emulator() as unit:``), which starts and stops it.

    With the classic profile, never stop it while a receipt is in flight to it: that profile
    ends the process when a unit closes the connection while it waits for an answer. Wait for
    the receipt's future first (``vantoconnect.testing.emulated_unit`` drains the classic printer
    queue for you). A resilient ``Vanto`` reports the receipt with an error instead.
    """

    def __init__(
        self,
        printer_state: str = "ready",
        printer_not_ready: int = 0,
        printer_error: int = 0,
        reply: str = "normal",
        corrupt_crc: int = 0,
        delay_ms: int = 0,
        refuse: bool = False,
        drop_next: int = 0,
        drawer_close_after_ms: int = 5000,
        out_dir: Union[str, os.PathLike[str], None] = None,
        keep: int = 0,
        bind: str = "127.0.0.1",
        port: int = 0,
        max_connections: int = 4096,
        render: bool = True,
    ) -> None:
        """Makes the unit, not yet listening.

        ``printer_state``: "ready", "not-ready" (every status poll answers not ready; data that
        still arrives is printed) or "error" (not ready with the error flag; data is refused).
        ``printer_not_ready``: the next N status polls answer not ready. ``printer_error``: the
        next N print packets are refused while the status still reads ready. ``reply``:
        "normal", "silent" or "unrecognised". ``corrupt_crc``: the next N replies carry a wrong
        check value. ``delay_ms``: every reply is delayed. ``refuse``: every connection is
        closed at once. ``drop_next``: the next N connections that carry a request are closed
        once it is read, unanswered (print data is kept; only the answer is lost).
        ``drawer_close_after_ms``: an opened drawer closes after this (0: stays open).
        ``out_dir``: where receipt PNG and text files and events.jsonl go (None: nothing
        on disk). ``keep``: receipts kept on disk and in memory (0: every file). ``bind`` and
        ``port`` (0: a free one) say where it listens. ``max_connections``: open connections
        past which the unit refuses new ones until some close, as a small unit does (8 is such a
        unit). ``render``: draw each receipt's picture (False keeps its bytes, text view and
        marks, for long runs; ``png`` is then None).

        ValueError for a negative count or delay, a port outside 0...65535 or an unknown word,
        here and from the setters below; OSError when ``out_dir`` cannot be made.
        """
        self._out_dir = None if out_dir is None else os.fspath(out_dir)
        self._unit = _native._Unit(
            bind,
            port,
            self._out_dir or "",
            keep,
            drawer_close_after_ms,
            printer_state,
            printer_not_ready,
            printer_error,
            reply,
            corrupt_crc,
            delay_ms,
            refuse,
            drop_next,
            max_connections,
            render,
        )
        self._keep = keep

    def start(self) -> None:
        """Starts listening; OSError when the address cannot be bound."""
        self._unit.start()

    def stop(self) -> None:
        """Closes the listener and every connection; see the class's warning for the classic
        profile."""
        self._unit.stop()

    def restart(self, downtime_ms: int = 2000) -> None:
        """Reboots the unit: closes every connection at once, refuses connects for
        ``downtime_ms``, then listens again on the same address and port. A print job cut off
        by it goes on paper at once, marked incomplete; LEDs, lights, USB power, the drawer, the
        faults and the receipts stay. Returns without waiting for the downtime; ``running`` is
        False until the unit is back. ValueError when it is not started. See the class's
        warning: the classic profile ends its process when this happens under a request.
        """
        self._unit.restart(downtime_ms)

    @property
    def running(self) -> bool:
        """Whether it listens (False while stopped or restarting)."""
        return self._unit.running()

    @property
    def restarting(self) -> bool:
        """Whether a restart's downtime is still running."""
        return bool(self._state()["restarting"])

    def __enter__(self) -> Emulator:
        self.start()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.stop()

    @property
    def port(self) -> int:
        """The TCP port it listens on."""
        return self._unit.port()

    @property
    def address(self) -> str:
        """The address it listens on."""
        return self._unit.address()

    @property
    def out_dir(self) -> Optional[str]:
        """Where receipts and events.jsonl are written (None: nothing on disk); set when made."""
        return self._out_dir

    @property
    def keep(self) -> int:
        """Receipts kept on disk and in memory (0: every file); set when made."""
        return self._keep

    def _state(self) -> Dict[str, Any]:
        return self._unit.state()

    @property
    def printer_state(self) -> str:
        """"ready", "not-ready" or "error"."""
        return str(self._state()["printer_state"])

    @printer_state.setter
    def printer_state(self, state: str) -> None:
        self._unit.set_printer_state(state)

    @property
    def printer_not_ready(self) -> int:
        """Status polls still to answer "not ready"."""
        return int(self._state()["printer_not_ready"])

    @printer_not_ready.setter
    def printer_not_ready(self, polls: int) -> None:
        self._unit.set_printer_not_ready(polls)

    @property
    def printer_error(self) -> int:
        """Print packets still to refuse with a printer error."""
        return int(self._state()["printer_error"])

    @printer_error.setter
    def printer_error(self, packets: int) -> None:
        self._unit.set_printer_error(packets)

    @property
    def reply(self) -> str:
        """"normal", "silent" or "unrecognised"."""
        return str(self._state()["reply"])

    @reply.setter
    def reply(self, mode: str) -> None:
        self._unit.set_reply(mode)

    @property
    def corrupt_crc(self) -> int:
        """Replies still to send with a wrong check value."""
        return int(self._state()["corrupt_crc"])

    @corrupt_crc.setter
    def corrupt_crc(self, replies: int) -> None:
        self._unit.set_corrupt_crc(replies)

    @property
    def delay_ms(self) -> int:
        """Milliseconds every reply waits."""
        return int(self._state()["delay_ms"])

    @delay_ms.setter
    def delay_ms(self, ms: int) -> None:
        self._unit.set_delay_ms(ms)

    @property
    def refuse(self) -> bool:
        """Whether every connection is closed at once."""
        return bool(self._state()["refuse"])

    @refuse.setter
    def refuse(self, refuse: bool) -> None:
        self._unit.set_refuse(refuse)

    @property
    def drop_next(self) -> int:
        """Connections still to close unanswered once their request is read."""
        return int(self._state()["drop_next"])

    @drop_next.setter
    def drop_next(self, connections: int) -> None:
        self._unit.set_drop_next(connections)

    @property
    def drawer_close_after_ms(self) -> int:
        """Milliseconds until an opened drawer closes by itself (0: it stays open)."""
        return int(self._state()["drawer_close_after_ms"])

    @drawer_close_after_ms.setter
    def drawer_close_after_ms(self, ms: int) -> None:
        self._unit.set_drawer_close_after_ms(ms)

    @property
    def drawer_open(self) -> bool:
        """Whether the cash drawer is open."""
        return bool(self._state()["drawer_open"])

    def open_drawer(self) -> None:
        """Opens the drawer as a hand would."""
        self._unit.open_drawer()

    def close_drawer(self) -> None:
        """Closes the drawer as a hand would."""
        self._unit.close_drawer()

    @property
    def diagnostic_leds(self) -> Dict[DiagnosticLed, LedColor]:
        """The colour each diagnostic LED shows."""
        leds: Dict[int, int] = self._state()["leds"]
        return {DiagnosticLed(position): LedColor(colour) for position, colour in leds.items()}

    @property
    def cosmetic_color(self) -> CosmeticColor:
        """The colour the cosmetic light shows."""
        return CosmeticColor(self._state()["cosmetic"])

    @property
    def usb_power(self) -> bool:
        """Whether USB power is on."""
        return bool(self._state()["usb_power"])

    @property
    def receipts(self) -> List[PrintedReceipt]:
        """The newest receipts still in memory (at most 64), oldest first; with ``out_dir``
        every receipt is also on disk as receipt-NNNN.png and receipt-NNNN.txt."""
        return [
            PrintedReceipt(
                number=fields["number"],
                text=fields["text"],
                png=fields["png"],
                data=fields["data"],
                packets=fields["packets"],
                incomplete=fields["incomplete"],
                interleaved=fields["interleaved"],
                notes=tuple(fields["notes"]),
            )
            for fields in self._unit.receipts()
        ]

    @property
    def events(self) -> List[Dict[str, Any]]:
        """Everything the unit received and did, oldest first (the newest 4000), as parsed
        JSON objects with at least an "event" field."""
        return [json.loads(line) for line in self._unit.events()]

    def wait_for_receipts(self, count: int, timeout: float = 10.0) -> bool:
        """Waits until ``count`` receipts have been printed since the unit was made; False when
        ``timeout`` seconds pass first."""
        return self._unit.wait_for_receipts(count, int(timeout * 1000))
