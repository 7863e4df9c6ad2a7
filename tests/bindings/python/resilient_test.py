"""The resilient profile, the package's default, against the emulated unit. Its rules are proven
in the library's own suites; here, that each reaches Python as it should: the errors a
misbehaving unit costs, futures that withdraw waiting receipts, close and a with block, lines to
logging, futures nobody keeps, and a program that never waits on a unit to exit."""

import asyncio
import concurrent.futures
import gc
import logging
import threading
import time
import weakref
from typing import List, Optional

import pytest

import vantoconnect as vc
from conftest import eventually, receipt_saying
from printing_test import run_program_left_by_a_silent_unit


def test_the_default_profile_is_resilient_and_its_options_are_checked() -> None:
    vanto = vc.Vanto(address="127.0.0.1")
    assert (vanto.profile, vanto.read_timeout, vanto.connect_timeout) == ("resilient", 5.0, 3.0)
    for options, reason in [
        (dict(read_timeout=0), "read_timeout must lie in 0.001...86400 seconds, not 0.0"),
        (dict(profile="classic", read_timeout=1), "classic profile has no time limits"),
    ]:
        with pytest.raises(ValueError, match=reason):
            vc.Vanto(address="127.0.0.1", **options)  # type: ignore[arg-type]


def test_a_unit_that_falls_silent_costs_one_request_and_the_next_goes_through(
    unit: vc.Emulator, resilient: vc.Vanto
) -> None:
    # Silenced by on_started: the printer was polled ready, and the receipt's packet is the first
    # request to meet the silence.
    heard: List[vc.VantoError] = []
    future = resilient.print(receipt_saying("met a fault"),
                             on_started=lambda _: setattr(unit, "reply", "silent"),
                             on_error=heard.append)
    error = future.exception(timeout=10)
    assert type(error) is vc.ConnectionLostError and [type(e) for e in heard] == [type(error)]
    report = error.report
    assert report is not None and report.packets_sent == report.packets_unanswered == 1
    with pytest.raises(vc.ConnectionLostError):
        resilient.cash_drawer_status()

    unit.reply = "normal"
    assert resilient.print(receipt_saying("next")).result(timeout=10).all_acknowledged


def test_waiting_receipts_can_be_withdrawn_until_they_are_sent(
    unit: vc.Emulator, resilient: vc.Vanto
) -> None:
    unit.printer_state = "not-ready"
    withdrawn_on: List[int] = []
    futures = [resilient.print(receipt_saying(text),
                               on_error=lambda _: withdrawn_on.append(threading.get_ident()))
               for text in ("head", "middle", "tail")]
    assert resilient.waiting_receipts() == 3
    assert futures[1].cancel() and futures[1].cancel() and futures[1].cancelled()
    assert withdrawn_on == [threading.get_ident()], "reported before cancel() returned"
    with pytest.raises(vc.ReceiptCancelled) as withdrawn:
        futures[1].result()
    assert isinstance(withdrawn.value, concurrent.futures.CancelledError)
    assert withdrawn.value.report is not None and withdrawn.value.report.cancelled

    async def give_up_waiting() -> None:
        await asyncio.wait_for(asyncio.wrap_future(futures[0]), 0.05)

    with pytest.raises(asyncio.TimeoutError):
        asyncio.run(give_up_waiting())
    assert futures[0].cancelled(), "awaiting it with a time limit withdrew it"


def test_closing_withdraws_receipts_at_once_and_cuts_one_in_flight_short(
    unit: vc.Emulator,
) -> None:
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
            resilient.enable_usb()  # sent later, from the connection's own thread
            assert eventually(lambda: unit.usb_power)
    finally:
        vc.set_console(None)
    ours = [record for record in caplog.records if record.name == "vantoconnect"]
    assert {"Adding a new receipt...", "Printer started", "Printer completed."} <= {
        record.getMessage() for record in ours}
    assert {record.levelno for record in ours} == {logging.DEBUG}
    assert console == [] and capfd.readouterr().out == ""


def test_a_vanto_nobody_holds_prints_what_it_was_given_and_keeps_nothing(unit: vc.Emulator) -> None:
    vanto: Optional[vc.Vanto] = vc.Vanto("127.0.0.1", unit.port)
    assert vanto is not None
    futures = [vanto.print(receipt_saying(f"{n}"), on_completed=lambda _: None) for n in range(20)]
    kept: List["weakref.ref[object]"] = [weakref.ref(vanto._facade)]
    vanto = None  # the futures keep its facade open until their reports
    assert all(future.result(timeout=60).all_acknowledged for future in futures)
    kept += [weakref.ref(future) for future in futures]
    del futures
    gc.collect()
    assert eventually(lambda: not any(ref() for ref in kept), timeout=5)


def test_a_program_exits_at_once_with_receipts_waiting_on_a_silent_unit() -> None:
    started = time.monotonic()
    done = run_program_left_by_a_silent_unit(
        "read_timeout=60",
        'vc.Vanto(address="127.0.0.1", port=port, read_timeout=60).print(receipt)')
    assert (done.returncode, done.stdout, done.stderr) == (7, "", "")
    assert time.monotonic() - started < 5
