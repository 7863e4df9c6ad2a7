"""The facade against the emulated unit in this process: the drawer, LEDs, USB power and the
printer's state as the unit shows them, requests refused before they reach the library, and
each error a blocking call can raise."""

import socket
import threading
import time
from typing import Callable

import pytest

import vantoconnect as vc
from conftest import eventually


def test_drawer_opens_only_when_closed_unless_told_not_to_check(
    unit: vc.Emulator, vanto: vc.Vanto
) -> None:
    assert vanto.cash_drawer_status() is vc.DrawerStatus.CLOSED
    assert vanto.open_cash_drawer() is True
    assert eventually(lambda: unit.drawer_open)
    assert vanto.cash_drawer_status() is vc.DrawerStatus.OPENED
    assert vanto.open_cash_drawer() is False
    unit.close_drawer()
    assert vanto.open_cash_drawer(validate=False) is True
    assert eventually(lambda: unit.drawer_open)
    assert vanto.open_cash_drawer(validate=False) is True


def test_leds_and_usb_power_reach_the_unit(unit: vc.Emulator, vanto: vc.Vanto) -> None:
    vanto.set_diagnostic_led(vc.DiagnosticLed.PRINTER, vc.LedColor.GREEN)
    vanto.set_diagnostic_led(vc.DiagnosticLed.USB2, vc.LedColor.AMBER)
    vanto.set_cosmetic_led(vc.CosmeticColor.CYAN)
    vanto.enable_usb()
    assert eventually(
        lambda: unit.diagnostic_leds[vc.DiagnosticLed.PRINTER] is vc.LedColor.GREEN
        and unit.diagnostic_leds[vc.DiagnosticLed.USB2] is vc.LedColor.AMBER
        and unit.cosmetic_color is vc.CosmeticColor.CYAN
        and unit.usb_power
    )
    assert unit.diagnostic_leds[vc.DiagnosticLed.POWER] is vc.LedColor.OFF
    vanto.disable_usb()
    assert eventually(lambda: not unit.usb_power)


@pytest.mark.parametrize(
    "position, colour, reason",
    [
        (vc.DiagnosticLed.PED, vc.LedColor.GREEN, "0x80 or more"),
        (5, vc.LedColor.RED, "LED position"),
        (vc.DiagnosticLed.PRINTER, 4, "LED colour"),
    ],
)
def test_led_requests_the_library_cannot_carry_are_refused(
    vanto: vc.Vanto, position: int, colour: int, reason: str
) -> None:
    # Sent to the library, PED's request would stop this process.
    with pytest.raises(ValueError, match=reason):
        vanto.set_diagnostic_led(position, colour)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="cosmetic colour"):
        vanto.set_cosmetic_led(8)  # type: ignore[arg-type]
    with pytest.raises(ValueError, match="1...65535"):
        vanto.port = 0


def test_printer_busy_follows_the_printers_state(unit: vc.Emulator, vanto: vc.Vanto) -> None:
    assert vanto.printer_busy() is False
    unit.printer_not_ready = 1
    assert vanto.printer_busy() is True
    assert vanto.printer_busy() is False
    unit.printer_state = "error"
    assert vanto.printer_busy() is True


def test_a_blocking_call_lets_other_python_threads_run(unit: vc.Emulator, vanto: vc.Vanto) -> None:
    unit.delay_ms = 1500
    entering = threading.Event()
    answered = threading.Event()

    def ask() -> None:
        entering.set()
        vanto.cash_drawer_status()
        answered.set()

    asker = threading.Thread(target=ask)
    asker.start()
    assert entering.wait(5)
    # Had the call kept the GIL, this thread would only get here once the answer was in.
    spins = 0
    until = time.monotonic() + 0.3
    while time.monotonic() < until:
        spins += 1
    assert not answered.is_set() and spins > 0
    asker.join(10)
    assert answered.is_set()


def unused_loopback_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port: int = probe.getsockname()[1]
        return port


def test_an_unreachable_unit_is_a_generic_error() -> None:
    vanto = vc.Vanto(address="127.0.0.1", port=unused_loopback_port(), profile="classic")
    with pytest.raises(vc.VantoError) as raised:
        vanto.cash_drawer_status()
    error = raised.value
    assert not isinstance(error, vc.PrinterNotResponding)
    assert (error.kind, error.code, error.domain) == ("GENERIC", 0, "vantoconnect.VantoError")
    assert "Cash drawer status message not received" in str(error)
    with pytest.raises(vc.VantoError):
        vanto.open_cash_drawer()
    assert vanto.printer_busy() is True


@pytest.mark.parametrize("call", [vc.Vanto.printer_busy, vc.Vanto.cash_drawer_status])
@pytest.mark.parametrize("fault, value", [("refuse", True), ("drop_next", 1)])
def test_a_unit_that_hangs_up_instead_of_answering_raises_fatal_error(
    unit: vc.Emulator,
    vanto: vc.Vanto,
    call: Callable[[vc.Vanto], object],
    fault: str,
    value: object,
) -> None:
    setattr(unit, fault, value)
    with pytest.raises(vc.FatalError, match="closed the connection"):
        call(vanto)
    unit.refuse = False
    assert unit.drop_next == 0
    assert vanto.cash_drawer_status() is vc.DrawerStatus.CLOSED


def test_a_restarting_unit_refuses_connects_and_comes_back_on_its_port(
    unit: vc.Emulator, vanto: vc.Vanto
) -> None:
    port = unit.port
    unit.restart(600000)
    assert not unit.running and unit.restarting and vanto.printer_busy() is True
    unit.restart(0)
    assert eventually(lambda: unit.running) and unit.port == port
    assert vanto.printer_busy() is False
