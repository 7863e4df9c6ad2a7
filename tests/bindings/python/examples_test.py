"""The examples as a user runs them, in a process of their own against an emulated unit. (The
documentation's copies of them are checked with the rest of the documentation.)"""

import pathlib
import subprocess
import sys
from typing import List

import pytest

import vantoconnect as vc

ROOT = pathlib.Path(__file__).resolve().parents[3]
EXAMPLE = ROOT / "examples" / "python" / "print_receipt.py"


def run_example(unit: vc.Emulator, *profile: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [sys.executable, str(EXAMPLE), "127.0.0.1", str(unit.port), *profile],
        capture_output=True,
        text=True,
        timeout=120,
    )


@pytest.mark.parametrize("profile", [[], ["classic"]], ids=["resilient", "classic"])
def test_the_example_says_delivered_only_when_the_unit_took_every_packet(
    profile: List[str],
) -> None:
    with vc.Emulator() as unit:
        delivered = run_example(unit, *profile)
        assert delivered.returncode == 0, delivered.stderr
        assert "delivered: all 1 packet acknowledged" in delivered.stdout
        assert unit.wait_for_receipts(1)
        assert unit.receipts[-1].text.splitlines()[0].strip() == "CORNER CAFE"

        unit.printer_error = 5
        refused = run_example(unit, *profile)
        assert refused.returncode == 1 and "delivered" not in refused.stdout
        assert "not delivered in full: the unit refused 1 of 1 packet" in refused.stderr
