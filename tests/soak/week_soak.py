"""A shop's week in one process: the Python package against an emulated unit that, like a small
real one, holds at most 8 connections at once.

    week_soak.py [--receipts N] [--profile resilient|classic] [--read-timeout S]
                 [--max-connections N] [--stop-at-first-failure]

Prints receipts one after another, with a printer-status read after each and a drawer read after
every tenth, and mixes in what a week brings: unit restarts and dropped connections in the middle
of receipts, silent spells longer than the read limit, refused packets, printer-error spells and
bursts of 50 receipts at once. Every receipt's outcome is then held against the paper:

- every receipt submitted is reported, once (none lost);
- a receipt reported delivered is on paper, complete, byte for byte as composed, exactly once;
- no receipt is on paper twice (none duplicated);
- the process keeps its descriptors (within 4 of the start) and its memory (at most 10 MB of
  growth after the first 500 receipts).

Exits 0 when all of it holds; prints the counts, the time, the descriptor and memory figures.
With --stop-at-first-failure it stops at the first receipt not delivered, or the first request
that fails, and says which (for measuring the classic profile, which may also end the process:
the last progress line then tells how far it got).
"""

from __future__ import annotations

import argparse
import hashlib
import os
import random
import re
import sys
import threading
import time
from concurrent.futures import Future
from dataclasses import dataclass, field
from typing import Callable, Dict, List, Optional

import vantoconnect as vc

BURST = 50
RECEIPT_ID = re.compile(rb"SOAK RECEIPT (\d{6})")


def descriptors() -> int:
    return len(os.listdir("/proc/self/fd"))


def rss_mb() -> float:
    with open("/proc/self/status", encoding="ascii") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024
    return 0.0


def receipt_for(number: int, rng: random.Random) -> vc.Receipt:
    """A receipt that says its number; one in five, and those a restart or a drop meets, are
    long enough for three packets."""
    receipt = vc.Receipt(cut=vc.CutType.PARTIAL, footer_feed=2)
    receipt.add_text(f"SOAK RECEIPT {number:06d}", style=vc.TextStyle.BOLD)
    long = rng.random() < 0.2 or number % 250 in (100, 150)
    for item in range(60 if long else 4):
        receipt.add_price(f"item {item:02d} of receipt {number}", f"{item}.{number % 100:02d}")
    return receipt


@dataclass
class Counts:
    submitted: int = 0
    delivered: int = 0
    not_delivered: Dict[str, int] = field(default_factory=dict)
    status_reads: int = 0
    status_busy: int = 0
    drawer_reads: int = 0
    drawer_failures: int = 0
    faults: Dict[str, int] = field(default_factory=dict)

    def fault(self, name: str) -> None:
        self.faults[name] = self.faults.get(name, 0) + 1


# What is known of each receipt, one byte each, so that the run's own bookkeeping does not grow
# like what it measures.
DELIVERED, NOT_DELIVERED, ON_PAPER, ON_PAPER_AGAIN, WHOLE = 1, 2, 4, 8, 16


class Paper:
    """Follows the unit's paper as it comes out, holding each sheet against what was sent."""

    def __init__(self, unit: vc.Emulator, marks: bytearray, expected: Dict[int, bytes]) -> None:
        self.unit = unit
        self.marks = marks
        self.expected = expected
        self.last = 0
        self.unnumbered = 0
        # Why a sheet was not taken as whole, for the failure message.
        self.notes: Dict[int, str] = {}

    def collect(self) -> None:
        for paper in self.unit.receipts:
            if paper.number <= self.last:
                continue
            if paper.number != self.last + 1:
                raise AssertionError(f"paper {self.last + 1} left memory before it was read")
            self.last = paper.number
            found = RECEIPT_ID.search(paper.data)
            if found is None:
                self.unnumbered += 1  # a job cut off before its first packet said whose it is
                continue
            number = int(found.group(1))
            self.marks[number] |= ON_PAPER_AGAIN if self.marks[number] & ON_PAPER else ON_PAPER
            if paper.complete and digest(paper.data) == self.expected.get(number):
                self.marks[number] |= WHOLE
            elif self.marks[number] & DELIVERED or number in self.expected:
                self.notes[number] = "; ".join(paper.notes) or "complete"
            if self.marks[number] & DELIVERED:
                self.expected.pop(number, None)


def digest(data: bytes) -> bytes:
    return hashlib.blake2b(data, digest_size=16).digest()


class Week:
    def __init__(self, args: argparse.Namespace) -> None:
        self.args = args
        self.rng = random.Random(20261125)
        self.counts = Counts()
        self.unit = vc.Emulator(max_connections=args.max_connections, render=False,
                                drawer_close_after_ms=0)
        self.unit.start()
        options = {} if args.profile == "classic" else {"read_timeout": args.read_timeout}
        self.vanto = vc.Vanto("127.0.0.1", self.unit.port, profile=args.profile, **options)
        # Digests of the receipts whose outcome or paper is still to come.
        self.expected: Dict[int, bytes] = {}
        self.marks = bytearray(args.receipts + 1)
        self.paper = Paper(self.unit, self.marks, self.expected)
        self.failure: Optional[str] = None

    # ---- faults -----------------------------------------------------------------------------

    def later(self, seconds: float, action: Callable[[], None]) -> None:
        timer = threading.Timer(seconds, action)
        timer.daemon = True
        timer.start()

    def fault_for(self, number: int) -> Optional[Callable[[str], None]]:
        """Sets up the fault this receipt meets, if any; returns what its on_started does."""
        unit, counts = self.unit, self.counts
        if number % 250 == 100:
            counts.fault("unit restarts while a receipt is sent")
            delay = self.rng.uniform(0.0, 0.003)
            return lambda _address: self.later(delay, lambda: unit.restart(300))
        if number % 250 == 150:
            counts.fault("connections closed mid-receipt")

            def drop(_address: str) -> None:
                unit.drop_next = 1

            return drop
        if number % 500 == 200:
            counts.fault("silent spells longer than the read limit")
            unit.reply = "silent"
            self.later(self.args.read_timeout * 1.6, lambda: setattr(unit, "reply", "normal"))
        elif number % 1000 == 550:
            counts.fault("packets refused for good")
            unit.printer_error = 6
        elif number % 100 == 50:
            counts.fault("packets refused, then taken")
            unit.printer_error = 2
        elif number % 1000 == 800:
            counts.fault("printer-error spells")
            unit.printer_state = "error"
            self.later(1.0, lambda: setattr(unit, "printer_state", "ready"))
        return None

    # ---- receipts and reads -----------------------------------------------------------------

    def submit(self, number: int) -> "Future[vc.DeliveryReport]":
        receipt = receipt_for(number, self.rng)
        self.expected[number] = digest(receipt.compose())
        self.counts.submitted += 1
        return self.vanto.print(receipt, on_started=self.fault_for(number))

    def settle(self, number: int, future: "Future[vc.DeliveryReport]") -> None:
        try:
            report = future.result(timeout=180)
        except vc.VantoError as error:
            self.note_not_delivered(number, error.kind.name)
            return
        if report.all_acknowledged:
            self.counts.delivered += 1
            self.marks[number] |= DELIVERED
            if self.marks[number] & ON_PAPER:
                self.expected.pop(number, None)
        else:
            self.note_not_delivered(number, "report short of all acknowledged")

    def note_not_delivered(self, number: int, why: str) -> None:
        self.counts.not_delivered[why] = self.counts.not_delivered.get(why, 0) + 1
        self.marks[number] |= NOT_DELIVERED
        self.expected.pop(number, None)
        if self.args.stop_at_first_failure and self.failure is None:
            self.failure = f"receipt {number} not delivered: {why}"

    def reads(self, status: int, drawer: int) -> None:
        for _ in range(status):
            self.counts.status_reads += 1
            self.counts.status_busy += self.vanto.printer_busy()
        for _ in range(drawer):
            self.counts.drawer_reads += 1
            try:
                self.vanto.cash_drawer_status()
            except vc.VantoError as error:
                self.counts.drawer_failures += 1
                if self.args.stop_at_first_failure and self.failure is None:
                    self.failure = f"drawer read {self.counts.drawer_reads} failed: {error}"

    def run(self) -> int:
        args, counts = self.args, self.counts
        start_descriptors = descriptors()
        start = time.monotonic()
        rss_after_500: Optional[float] = None
        number = 1
        while number <= args.receipts and self.failure is None:
            if number % 1000 == 0 and number + BURST - 1 <= args.receipts:
                counts.fault("bursts of 50")
                futures = [(n, self.submit(n)) for n in range(number, number + BURST)]
                for n, future in futures:
                    self.settle(n, future)
                self.reads(BURST, BURST // 10)
                number += BURST
            else:
                self.settle(number, self.submit(number))
                self.reads(1, 1 if number % 10 == 0 else 0)
                self.unit.printer_error = 0
                number += 1
            self.paper.collect()
            if rss_after_500 is None and number > 500:
                rss_after_500 = rss_mb()
            if (number - 1) % 500 == 0:
                print(f"  {number - 1} receipts: {counts.delivered} delivered, "
                      f"{descriptors()} descriptors, {rss_mb():.1f} MB", flush=True)
        elapsed = time.monotonic() - start

        # The last papers come out a moment after their reports.
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline and any(
                m & DELIVERED and not m & ON_PAPER for m in self.marks):
            time.sleep(0.05)
            self.paper.collect()
        settle_deadline = time.monotonic() + 10
        while descriptors() > start_descriptors + 4 and time.monotonic() < settle_deadline:
            time.sleep(0.05)
        end_descriptors = descriptors()
        end_rss = rss_mb()

        problems = self.check(start_descriptors, end_descriptors, rss_after_500, end_rss)
        print(f"{args.profile} profile, {counts.submitted} receipts in {elapsed:.0f} s: "
              f"{counts.delivered} delivered, not delivered {counts.not_delivered}")
        print(f"status reads {counts.status_reads} ({counts.status_busy} busy), drawer reads "
              f"{counts.drawer_reads} ({counts.drawer_failures} failed)")
        print(f"faults mixed in: {counts.faults}")
        print(f"paper: {self.paper.last} receipts, {self.paper.unnumbered} cut off before their "
              f"number")
        print(f"descriptors {start_descriptors} -> {end_descriptors}; RSS "
              f"{rss_after_500 or 0:.1f} MB after 500 receipts -> {end_rss:.1f} MB at the end")
        if self.failure is not None:
            print(f"first failure: {self.failure}")
        for problem in problems:
            print(f"FAILED: {problem}")
        return 1 if problems or self.failure is not None else 0

    def check(self, start_fd: int, end_fd: int, rss_500: Optional[float],
              end_rss: float) -> List[str]:
        problems = []
        for number in range(1, self.counts.submitted + 1):
            mark = self.marks[number]
            outcomes = bool(mark & DELIVERED) + bool(mark & NOT_DELIVERED)
            if outcomes != 1:
                problems.append(f"receipt {number} was reported {outcomes} times")
            if mark & ON_PAPER_AGAIN:
                problems.append(f"receipt {number} is on paper more than once")
            if mark & DELIVERED and not mark & WHOLE:
                problems.append(f"receipt {number} reported delivered is not on paper whole, as "
                                f"composed ({self.paper.notes.get(number, 'not on paper')})")
        if end_fd > start_fd + 4:
            problems.append(f"descriptors grew from {start_fd} to {end_fd}")
        if rss_500 is not None and end_rss - rss_500 > 10:
            problems.append(f"memory grew {end_rss - rss_500:.1f} MB after 500 receipts")
        return problems[:20]


def main() -> int:
    # A receipt reported twice fails its future's second settling inside a library callback,
    # where the exception can only go to the unraisable hook: count those as failures.
    unraisable: List[str] = []
    sys.unraisablehook = lambda hook: unraisable.append(repr(hook.exc_value))
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--receipts", type=int, default=10_000)
    parser.add_argument("--profile", choices=["resilient", "classic"], default="resilient")
    parser.add_argument("--read-timeout", type=float, default=0.25,
                        help="the resilient profile's read limit, seconds (default 0.25)")
    parser.add_argument("--max-connections", type=int, default=8)
    parser.add_argument("--stop-at-first-failure", action="store_true")
    week = Week(parser.parse_args())
    try:
        status = week.run()
        for problem in unraisable[:5]:
            print(f"FAILED: raised inside the library's callbacks: {problem}")
        return 1 if unraisable else status
    finally:
        week.vanto.close()
        week.unit.stop()


if __name__ == "__main__":
    sys.exit(main())
