"""The facade against the emulated unit in this process: the drawer, LEDs, USB power and the
printer's state as the unit shows them, requests refused before they reach the library, and
each error a blocking call can raise."""

import threading
import time

import pytest

import vantoconnect as vc
from conftest import eventually


def test_device_requests_reach_the_unit_and_refusals_raise_before_anything_is_sent(
    unit: vc.Emulator, vanto: vc.Vanto
) -> None:
    assert vanto.cash_drawer_status() is vc.DrawerStatus.CLOSED
    assert vanto.open_cash_drawer() is True
    assert eventually(lambda: unit.drawer_open)
    assert vanto.open_cash_drawer() is False and vanto.open_cash_drawer(validate=False) is True
    vanto.set_diagnostic_led(vc.DiagnosticLed.USB2, vc.LedColor.AMBER)
    vanto.set_cosmetic_led(vc.CosmeticColor.CYAN)
    vanto.enable_usb()
    assert eventually(
        lambda: unit.diagnostic_leds[vc.DiagnosticLed.USB2] is vc.LedColor.AMBER
        and unit.cosmetic_color is vc.CosmeticColor.CYAN
        and unit.usb_power
    )
    unit.printer_not_ready = 1
    assert vanto.printer_busy() is True and vanto.printer_busy() is False

    # Sent to the library, PED's request would stop this process.
    with pytest.raises(ValueError, match="0x80 or more"):
        vanto.set_diagnostic_led(vc.DiagnosticLed.PED, vc.LedColor.GREEN)
    with pytest.raises(OSError, match="cannot listen on"):
        vc.Emulator(port=unit.port).start()


def test_a_blocking_call_lets_other_python_threads_run(unit: vc.Emulator, vanto: vc.Vanto) -> None:
    unit.delay_ms = 1500
    asker = threading.Thread(target=vanto.cash_drawer_status)
    asker.start()
    started = time.monotonic()
    time.sleep(0.2)
    # Had the call kept the GIL, this thread would only wake once the answer was in.
    assert time.monotonic() - started < 1 and asker.is_alive()
    asker.join(10)


def test_classic_errors_are_a_generic_error_and_a_fatal_error_the_next_call_survives(
    unit: vc.Emulator, vanto: vc.Vanto
) -> None:
    # Nothing listens on port 1 of the loopback: the connect is refused at once.
    unreachable = vc.Vanto(address="127.0.0.1", port=1, profile="classic")
    with pytest.raises(vc.VantoError) as raised:
        unreachable.cash_drawer_status()
    error = raised.value
    assert (error.kind, error.code, error.domain) == ("GENERIC", 0, "vantoconnect.VantoError")

    unit.drop_next = 1
    with pytest.raises(vc.FatalError, match="closed the connection"):
        vanto.printer_busy()
    assert vanto.cash_drawer_status() is vc.DrawerStatus.CLOSED
