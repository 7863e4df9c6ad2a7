"""Shared by the package's suite: the package's own fixture, the classic printer queue at a
hundredth of its real intervals, a facade of each profile aimed at the emulated unit, and the
receipts the cases use."""

import time
from typing import Callable, Iterator

import pytest

import vantoconnect as vc
from vantoconnect import _native

pytest_plugins = ["vantoconnect.testing"]


@pytest.fixture(autouse=True, scope="session")
def quick_queue() -> Iterator[None]:
    # 0.1 s and 2 s become 1 ms and 20 ms, so a give-up after 31 polls takes under a second.
    _native._set_timer_interval_scale(0.01)
    yield
    _native._set_timer_interval_scale(1.0)


@pytest.fixture
def unit(emulated_unit: vc.Emulator) -> vc.Emulator:
    return emulated_unit


@pytest.fixture
def vanto(unit: vc.Emulator) -> vc.Vanto:
    return vc.Vanto(address="127.0.0.1", port=unit.port, profile="classic")


@pytest.fixture
def resilient(unit: vc.Emulator) -> Iterator[vc.Vanto]:
    # Limits short enough that a silent unit costs a test a fraction of a second.
    with vc.Vanto(address="127.0.0.1", port=unit.port, read_timeout=0.3) as vanto:
        yield vanto


def eventually(condition: Callable[[], bool], timeout: float = 10.0) -> bool:
    """For what the library sends without confirmation: true as soon as the unit shows it."""
    deadline = time.monotonic() + timeout
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.01)
    return True


def receipt_saying(*lines: str) -> vc.Receipt:
    receipt = vc.Receipt(footer_feed=0)
    for line in lines:
        receipt.add_text(line)
    return receipt
