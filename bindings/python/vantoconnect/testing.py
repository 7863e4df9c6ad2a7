"""A pytest fixture for applications that test their own printing against an emulated unit.

Load it in your ``conftest.py`` (or in a test module)::

    pytest_plugins = ["vantoconnect.testing"]

    def test_prints_the_total(emulated_unit):
        vanto = vantoconnect.Vanto("127.0.0.1", emulated_unit.port)  # resilient, the default
        ...
"""

from __future__ import annotations

from typing import Iterator, List

import pytest

from . import _native
from ._emulator import Emulator

DRAIN_SECONDS = 120.0
"""How long teardown waits for the classic printer queue: longer than the queue's own give-up
(31 polls 2 seconds apart) plus the time to send a long receipt."""

_left_running: List[Emulator] = []


@pytest.fixture
def emulated_unit() -> Iterator[Emulator]:
    """An emulated unit on 127.0.0.1 and a free port, running for one test.

    Aim a ``Vanto`` of either profile at it. A resilient ``Vanto`` has a printer queue of its
    own, and a unit stopped under it costs its receipts an error, nothing more; close it (or use
    it in a ``with`` block) to withdraw what it still has waiting.

    The classic printer queue belongs to the whole process, not to one unit or test. So at
    teardown the fixture first lets that queue drain with the unit still running: no poll
    scheduled and no receipt being sent, because stopping a unit while the classic profile waits
    for its answer to a print packet ends the process. Then it resets the queue's state (its
    poll count, which would otherwise carry give-ups over into the next test) and stops the
    unit. When the queue has not drained within ``DRAIN_SECONDS`` the test fails and the unit is
    left running, rather than take the process down.

    Receipts print at the library's real pace (resilient: at once; classic: a poll 0.1 s after
    each submission). The unit's drawer stays open once opened, until the test closes it
    (``close_drawer()``).
    """
    if not _native._reset_printer_queue_for_testing(DRAIN_SECONDS):
        pytest.fail("the printer queue was still polling when the test began")
    unit = Emulator(drawer_close_after_ms=0)
    unit.start()
    yield unit
    if not _native._wait_for_printer_queue(DRAIN_SECONDS):
        _left_running.append(unit)
        pytest.fail(
            f"the printer queue did not drain within {DRAIN_SECONDS:.0f} s; the emulated unit "
            f"on port {unit.port} is left running, since stopping it now would end the process"
        )
    _native._reset_printer_queue_for_testing(DRAIN_SECONDS)
    unit.stop()
