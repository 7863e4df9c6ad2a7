#!/usr/bin/python3
"""Building and composing a 60-line receipt in Python against receiptline, side by side.

The same receipt (a heading, 40 priced items with accented names, separators, totals, a Code 39
barcode) is built with vantoconnect's Python package and composed to printer commands
(receipt.compose()), and transformed to ESC/POS commands by receiptline (the npm package, 4.0.4,
installed with npm into the work folder when it is missing; never vendored). Rounds of each
alternate in one run; the medians and their ratio are printed.

    receiptline_compare.py --package BUILD/bindings/python --work BUILD/bench/compare
"""

import argparse
import importlib
import json
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path
from types import ModuleType

RECEIPTLINE = "receiptline@4.0.4"
ROUNDS = 7  # the first of each is a warm-up and is left out
ROUND_SECONDS = 1.0
TARGET = 3.0

ITEMS = [
    "Crème brûlée",
    "Café au lait",
    "Smørrebrød",
    "Jalapeño poppers",
    "Espresso",
    "Croissant aux amandes",
    "Thé vert",
    "Sparkling water 0.5 l",
]


def items() -> list[tuple[str, str]]:
    return [
        (ITEMS[i % 8] + (" x2" if i % 3 == 0 else ""), f"{3 + i % 9}.{10 + i} €")
        for i in range(40)
    ]


def receiptline_document() -> str:
    """The receipt in receiptline's markup: separators as rules, prices as two columns."""
    lines = ['"^Café de la Gare"', "12 Rue des Fleurs, Lyon", "|Table 7 - Server: Zoë", "---"]
    lines += [f"{left} | {right}" for left, right in items()]
    lines += [
        "---",
        "Subtotal | 212.40 €",
        "VAT 10% | 21.24 €",
        '"TOTAL" | "233.64 €"',
        "---",
        "Card **** 4242 | 233.64",
        "",
        "Merci et à bientôt !",
        "|",
        "Order 000123",
        "2024-05-17 12:41",
        "---",
        "",
        "",
        "{code:000123; option:code39,hri}",
        "",
        "",
        "",
        "www.cafe-de-la-gare.fr",
    ]
    return "\n".join(lines)


def build_and_compose(vc: ModuleType) -> bytes:
    """The same receipt built with the Python package, then composed."""
    style, size, pos = vc.TextStyle, vc.TextSize, vc.TextPosition
    receipt = vc.Receipt()
    receipt.add_text("Café de la Gare", style=style.BOLD, size=size.WIDE, position=pos.CENTER)
    receipt.add_text("12 Rue des Fleurs, Lyon", position=pos.CENTER)
    receipt.add_text("Table 7 - Server: Zoë")
    receipt.add_separator("=")
    for left, right in items():
        receipt.add_price(left, right)
    receipt.add_separator("-")
    receipt.add_price("Subtotal", "212.40 €")
    receipt.add_price("VAT 10%", "21.24 €")
    receipt.add_price("TOTAL", "233.64 €", left_style=style.BOLD, right_style=style.BOLD)
    receipt.add_separator("-")
    receipt.add_price("Card **** 4242", "233.64")
    receipt.add_feed(1)
    receipt.add_text("Merci et à bientôt !", style=style.ITALIC, position=pos.CENTER)
    receipt.add_text("")
    receipt.add_text("Order 000123", position=pos.CENTER)
    receipt.add_text("2024-05-17 12:41", position=pos.CENTER)
    receipt.add_separator("─")
    receipt.add_feed(2)
    receipt.add_barcode("000123", type=vc.BarcodeType.CODE39, hri=vc.BarcodeHri.BELOW)
    receipt.add_feed(3)
    receipt.add_text("www.cafe-de-la-gare.fr", position=pos.CENTER)
    assert len(receipt) == 60
    return bytes(receipt.compose())


def python_round(vc: ModuleType, seconds: float) -> float:
    """Microseconds per receipt built and composed, over about `seconds`."""
    count = 0
    start = time.perf_counter()
    limit = start + seconds
    now = start
    while now < limit:
        build_and_compose(vc)
        count += 1
        now = time.perf_counter()
    return (now - start) * 1e6 / count


def install_receiptline(work: Path) -> None:
    package = work / "node_modules" / "receiptline" / "package.json"
    if package.exists() and json.loads(package.read_text())["version"] == RECEIPTLINE.split("@")[1]:
        return
    work.mkdir(parents=True, exist_ok=True)
    print(f"installing {RECEIPTLINE} with npm into {work}", flush=True)
    subprocess.run(
        ["npm", "install", "--no-save", "--no-audit", "--no-fund", "--prefix", str(work), RECEIPTLINE],
        check=True,
    )


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--package", required=True, type=Path, help="folder holding vantoconnect/")
    parser.add_argument("--work", required=True, type=Path, help="folder for receiptline")
    args = parser.parse_args()

    sys.path.insert(0, str(args.package.resolve()))
    vc = importlib.import_module("vantoconnect")
    missing = [tool for tool in ("node", "npm") if shutil.which(tool) is None]
    if missing:
        print(f"receiptline_compare: {' and '.join(missing)} not found; install Node.js and npm "
              "(Debian: nodejs npm) to compare with receiptline", file=sys.stderr)
        return 2

    vc.set_console(lambda line: None)
    install_receiptline(args.work)
    node = subprocess.Popen(
        ["node", str(Path(__file__).with_name("receiptline_rounds.js")), str(args.work.resolve())],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    assert node.stdin and node.stdout
    node.stdin.write(receiptline_document() + "\n\u0000\n")
    node.stdin.flush()
    js_bytes = int(node.stdout.readline().split()[1])
    py_bytes = len(build_and_compose(vc))

    python_us: list[float] = []
    receiptline_us: list[float] = []
    for _ in range(ROUNDS):
        python_us.append(python_round(vc, ROUND_SECONDS))
        node.stdin.write(f"round {ROUND_SECONDS * 1000}\n")
        node.stdin.flush()
        receiptline_us.append(float(node.stdout.readline()))
    node.stdin.close()
    node.wait()

    py = statistics.median(python_us[1:])
    js = statistics.median(receiptline_us[1:])
    ratio = js / py
    print(f"60-line receipt to printer commands, medians of {ROUNDS - 1} alternating rounds:")
    print(f"  vantoconnect (Python): build + compose  {py:8.1f} us  ({1e6 / py:8.0f} receipts/s, {py_bytes} bytes)")
    print(f"  receiptline {RECEIPTLINE.split('@')[1]}: transform        {js:8.1f} us  ({1e6 / js:8.0f} receipts/s, {js_bytes} bytes)")
    print(f"  ratio receiptline / vantoconnect: {ratio:.1f}x (target at least {TARGET:.0f}x)"
          + ("" if ratio >= TARGET else "  BELOW TARGET"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
