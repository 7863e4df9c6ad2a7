"""Printing against the emulated unit: the future and its report, callbacks from the library's
threads, user code that fails there, a receipt the queue gives up on, and a program that exits
while a silent unit holds a poll."""

import subprocess
import sys
import threading
from typing import Any, List, Tuple

import pytest

import vantoconnect as vc
from conftest import receipt_saying


def test_callbacks_come_from_library_threads_and_a_printer_in_error_costs_the_receipt(
    unit: vc.Emulator, vanto: vc.Vanto
) -> None:
    heard: List[Tuple[str, str, bool]] = []
    main = threading.get_ident()

    def hear(what: str, detail: str) -> None:
        heard.append((what, detail, threading.get_ident() != main))

    receipt = receipt_saying("Flat white")
    report = vanto.print(receipt, on_started=lambda a: hear("started", a),
                         on_completed=lambda a: hear("completed", a)).result(30)
    assert report.all_acknowledged and report.packets_sent == report.packets_acknowledged == 1
    assert heard == [("started", "127.0.0.1", True), ("completed", "127.0.0.1", True)]
    assert unit.wait_for_receipts(1) and unit.receipts[-1].data == receipt.compose()

    unit.printer_state = "error"
    errors: List[vc.VantoError] = []
    dropped = vanto.print(receipt_saying("cover open"), on_error=errors.append).exception(30)
    assert isinstance(dropped, vc.PrinterNotResponding) and dropped.code == 1
    assert dropped.report is not None and dropped.report.packets_sent == 0
    assert [type(e) for e in errors] == [vc.PrinterNotResponding] and len(unit.receipts) == 1


def test_user_code_failing_on_a_library_thread_is_unraisable_and_printing_goes_on(
    vanto: vc.Vanto, monkeypatch: pytest.MonkeyPatch
) -> None:
    unraisable: List[Any] = []
    monkeypatch.setattr(sys, "unraisablehook", unraisable.append)
    lines: List[str] = []

    def sink(line: str) -> None:
        lines.append(line)
        raise RuntimeError("sink broke")

    def completed(address: str) -> None:
        raise RuntimeError("callback broke")

    vc.set_console(sink)
    try:
        report = vanto.print(receipt_saying("still printed"), on_completed=completed).result(30)
    finally:
        vc.set_console(None)
    assert report.all_acknowledged and "Adding a new receipt..." in lines
    assert {str(entry.exc_value) for entry in unraisable} == {"sink broke", "callback broke"}
    assert any(entry.object is completed for entry in unraisable)


# Waits on a unit that takes connections and never answers, then exits with status 7; the
# library's work for the unit must not hold the exit. {profile} picks the profile, {more} adds
# lines before the wait.
PROGRAM_LEFT_BY_A_SILENT_UNIT = """
import socket, sys
import vantoconnect as vc

silent = socket.socket()
silent.bind(("127.0.0.1", 0))
silent.listen()  # connections complete in the backlog; nothing is ever read or answered
port = silent.getsockname()[1]
silent.detach()  # open until the process is gone: a unit that closes is another story
receipt = vc.Receipt()
receipt.add_text("never answered")
vanto = vc.Vanto(address="127.0.0.1", port=port, {profile})
futures = [vanto.print(receipt, on_error=print) for _ in range(3)]
{more}
try:
    futures[0].result(timeout=0.5)
except TimeoutError:
    sys.exit(7)
"""


def run_program_left_by_a_silent_unit(
    profile: str, more: str = ""
) -> "subprocess.CompletedProcess[str]":
    program = PROGRAM_LEFT_BY_A_SILENT_UNIT.replace("{profile}", profile).replace("{more}", more)
    return subprocess.run([sys.executable, "-c", program], capture_output=True, text=True,
                          timeout=60)


def test_a_program_waiting_on_a_silent_unit_still_exits_with_its_own_status() -> None:
    # The classic poll blocks in a read nothing can interrupt; the exit must not wait for it.
    done = run_program_left_by_a_silent_unit('profile="classic"')
    assert done.returncode == 7, done.stderr
    assert "the process ends without it" in done.stderr
