"""The resilient profile, the package's default, against the emulated unit: a misbehaving unit
costs one request an error and the next goes through; waiting receipts can be withdrawn and a
closed Vanto withdraws them; bursts print in order; lines go to logging, never to standard
output; nothing is kept per receipt; and a program never waits on a unit to exit."""

import asyncio
import concurrent.futures
import gc
import logging
import os
import subprocess
import sys
import threading
import time
import weakref
from typing import List, Optional, Set, Type

import pytest

import vantoconnect as vc
from conftest import eventually
from facade_test import unused_loopback_port
from printing_test import receipt_saying


def test_the_default_profile_is_resilient_and_its_options_are_checked() -> None:
    vanto = vc.Vanto(address="127.0.0.1")
    assert (vanto.profile, vanto.read_timeout, vanto.connect_timeout) == ("resilient", 5.0, 3.0)
    for options, reason in [
        (dict(profile="strict"), 'profile must be "resilient" or "classic"'),
        (dict(read_timeout=0), "read_timeout must lie in 0.001...86400 seconds, not 0.0"),
        (dict(connect_timeout=float("nan")), "not nan"),
        (dict(profile="classic", read_timeout=1), "classic profile has no time limits"),
    ]:
        with pytest.raises(ValueError, match=reason):
            vc.Vanto(address="127.0.0.1", **options)  # type: ignore[arg-type]
    with pytest.raises(vc.VantoError) as unreachable:
        vc.Vanto(address="127.0.0.1", port=unused_loopback_port()).cash_drawer_status()
    assert unreachable.value.kind is vc.ErrorKind.GENERIC


# Each fault is switched on by on_started: the printer was polled ready, and the receipt's packet
# is the first request to meet it. Then what the drawer and the printer read while it lasts.
FAULTS = {
    "silent": ("reply", "silent", vc.ConnectionLostError, vc.ConnectionLostError, True),
    "unrecognised": ("reply", "unrecognised", vc.VantoError, vc.VantoError, True),
    "refusing print data": ("printer_error", 5, vc.VantoError, None, False),
    "hanging up": ("refuse", True, vc.ConnectionLostError, vc.ConnectionLostError, True),
}


@pytest.mark.parametrize("fault, value, printing, drawer, busy", FAULTS.values(), ids=FAULTS.keys())
def test_a_misbehaving_unit_costs_one_request_and_the_next_goes_through(
    unit: vc.Emulator,
    resilient: vc.Vanto,
    fault: str,
    value: object,
    printing: Type[vc.VantoError],
    drawer: Optional[Type[vc.VantoError]],
    busy: bool,
) -> None:
    heard: List[vc.VantoError] = []
    future = resilient.print(receipt_saying("met a fault"),
                             on_started=lambda _: setattr(unit, fault, value), on_error=heard.append)
    error = future.exception(timeout=10)
    assert type(error) is printing and [(type(e), str(e)) for e in heard] == [(printing, str(error))]
    report = error.report
    assert report is not None and not report.all_acknowledged and not report.cancelled
    assert report.packets_sent == 1 == sum((
        report.packets_acknowledged, report.packets_refused, report.packets_unrecognised,
        report.packets_unanswered, report.packets_not_sent))
    assert (report.packets_unanswered == 1) is (printing is vc.ConnectionLostError)

    started = time.monotonic()
    if drawer is None:
        assert resilient.cash_drawer_status() is vc.DrawerStatus.CLOSED
    else:
        with pytest.raises(drawer) as failed:
            resilient.cash_drawer_status()
        assert type(failed.value) is drawer
    assert resilient.printer_busy() is busy
    assert time.monotonic() - started < 3, "a wait past the read limit of 0.3 s"

    unit.reply, unit.refuse, unit.printer_error = "normal", False, 0
    assert resilient.cash_drawer_status() is vc.DrawerStatus.CLOSED
    assert resilient.print(receipt_saying("next")).result(timeout=10).all_acknowledged


def test_waiting_receipts_can_be_withdrawn_until_they_are_sent(
    unit: vc.Emulator, resilient: vc.Vanto, vanto: vc.Vanto
) -> None:
    unit.printer_state = "not-ready"
    classic = vanto.print(receipt_saying("classic"))
    withdrawn_on: List[int] = []
    futures = [resilient.print(receipt_saying(text),
                               on_error=lambda _: withdrawn_on.append(threading.get_ident()))
               for text in ("head", "middle", "tail")]
    assert resilient.waiting_receipts() == 3
    assert futures[1].cancel() and futures[1].cancel() and futures[1].cancelled()
    assert withdrawn_on == [threading.get_ident()], "reported before cancel() returned"
    assert resilient.waiting_receipts() == 2
    with pytest.raises(vc.ReceiptCancelled) as withdrawn:
        futures[1].result()
    assert isinstance(withdrawn.value, concurrent.futures.CancelledError)
    assert withdrawn.value.report is not None and withdrawn.value.report.cancelled
    assert concurrent.futures.wait(futures, timeout=0).done == {futures[1]}

    async def give_up_waiting() -> None:
        await asyncio.wait_for(asyncio.wrap_future(futures[0]), 0.05)

    with pytest.raises(asyncio.TimeoutError):
        asyncio.run(give_up_waiting())
    assert futures[0].cancelled(), "awaiting it with a time limit withdrew it"
    assert not classic.cancel(), "the classic queue cannot withdraw a receipt"

    unit.printer_state = "ready"
    assert futures[2].result(timeout=10).all_acknowledged and not futures[2].cancel()

    def printed() -> Set[str]:
        return {paper.text.splitlines()[0] for paper in unit.receipts}

    assert eventually(lambda: "tail" in printed()) and not {"head", "middle"} & printed()


def test_closing_withdraws_receipts_at_once_and_letting_go_of_a_vanto_does_not(
    unit: vc.Emulator,
) -> None:
    assert vc.Vanto("127.0.0.1", unit.port).print(receipt_saying("kept")).result(10).all_acknowledged

    unit.printer_state = "not-ready"
    with vc.Vanto("127.0.0.1", unit.port) as vanto:
        waiting = vanto.print(receipt_saying("waiting"))
    assert waiting.cancelled() and vanto.closed
    with pytest.raises(RuntimeError, match="closed"):
        vanto.print(receipt_saying("too late"))

    # Cut short while it is sent to a unit that fell silent, with a read limit of a minute.
    unit.printer_state = "ready"
    slow = vc.Vanto("127.0.0.1", unit.port, read_timeout=60)
    in_flight = slow.print(receipt_saying("in flight"),
                           on_started=lambda _: setattr(unit, "reply", "silent"))
    assert eventually(in_flight.running)
    started = time.monotonic()
    slow.close()
    assert time.monotonic() - started < 2
    cut = in_flight.exception(timeout=2)
    assert isinstance(cut, vc.ReceiptCancelled) and not in_flight.cancelled()
    assert cut.report is not None and not cut.report.cancelled and cut.report.packets_sent == 1


def test_a_burst_prints_every_receipt_in_order(unit: vc.Emulator, resilient: vc.Vanto) -> None:
    futures = [resilient.print(receipt_saying(f"burst {n:02}")) for n in range(50)]
    reports = [future.result(timeout=60) for future in futures]
    assert [report.receipt_id for report in reports if report.all_acknowledged] == [
        n + 1 for n in range(50)]
    assert unit.wait_for_receipts(50)
    texts = [paper.text.splitlines()[0] for paper in unit.receipts]
    assert texts == [f"burst {n:02}" for n in range(50)]


def test_lines_go_to_logging_and_never_to_standard_output(
    unit: vc.Emulator,
    resilient: vc.Vanto,
    caplog: pytest.LogCaptureFixture,
    capfd: pytest.CaptureFixture[str],
) -> None:
    console: List[str] = []
    vc.set_console(console.append)
    try:
        with caplog.at_level(logging.DEBUG, logger="vantoconnect"):
            assert resilient.print(receipt_saying("logged")).result(timeout=10).all_acknowledged
            resilient.cash_drawer_status()
            resilient.enable_usb()  # sent later, from the connection's own thread
            assert eventually(lambda: unit.usb_power)
    finally:
        vc.set_console(None)
    ours = [record for record in caplog.records if record.name == "vantoconnect"]
    assert {"Adding a new receipt...", "Printer started", "Printer completed."} <= {
        record.getMessage() for record in ours}
    assert {record.levelno for record in ours} == {logging.DEBUG}
    assert console == [] and capfd.readouterr().out == ""


def test_nothing_is_kept_per_receipt(unit: vc.Emulator) -> None:
    vanto: Optional[vc.Vanto] = vc.Vanto("127.0.0.1", unit.port)
    assert vanto is not None
    vanto.print(receipt_saying("warm up")).result(timeout=10)
    descriptors = len(os.listdir("/proc/self/fd"))
    kept: List["weakref.ref[object]"] = []
    for round in range(4):
        futures = [vanto.print(receipt_saying(f"{round}.{n}"), on_completed=lambda _: None)
                   for n in range(50)]
        assert all(future.result(timeout=60).all_acknowledged for future in futures)
        kept += [weakref.ref(future) for future in futures]
        del futures
    kept.append(weakref.ref(vanto._facade))
    vanto = None
    gc.collect()
    assert eventually(lambda: not any(ref() for ref in kept), timeout=5)
    assert eventually(lambda: len(os.listdir("/proc/self/fd")) <= descriptors)


PROGRAM_THAT_EXITS_WITH_RECEIPTS_WAITING = """
import socket, sys
import vantoconnect as vc

silent = socket.socket()
silent.bind(("127.0.0.1", 0))
silent.listen()  # connections complete in the backlog; nothing is ever read or answered
port = silent.getsockname()[1]
vanto = vc.Vanto(address="127.0.0.1", port=port, read_timeout=60)
receipt = vc.Receipt()
receipt.add_text("never answered")
futures = [vanto.print(receipt, on_error=print) for _ in range(3)]
vc.Vanto(address="127.0.0.1", port=port, read_timeout=60).print(receipt)
try:
    futures[0].result(timeout=0.5)
except TimeoutError:
    sys.exit(7)
"""


def test_a_program_exits_at_once_with_receipts_waiting_on_a_silent_unit() -> None:
    started = time.monotonic()
    done = subprocess.run([sys.executable, "-c", PROGRAM_THAT_EXITS_WITH_RECEIPTS_WAITING],
                          capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stdout, done.stderr) == (7, "", "")
    assert time.monotonic() - started < 5
