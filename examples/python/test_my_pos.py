"""How a point-of-sale app tests its own printing, with no hardware: the package's pytest
fixture gives each test an emulated unit in the test's own process.

    python3 -m pytest test_my_pos.py
"""

import vantoconnect as vc

# Or put this line in your conftest.py.
pytest_plugins = ["vantoconnect.testing"]


# The app's code under test: prints the bill of an order and says whether it reached the printer.
def print_bill(vanto: vc.Vanto, items: dict[str, float]) -> bool:
    receipt = vc.Receipt(cut=vc.CutType.PARTIAL)
    receipt.add_text("CORNER CAFE", style=vc.TextStyle.BOLD, position=vc.TextPosition.CENTER)
    for name, price in items.items():
        receipt.add_price(name, f"{price:.2f}")
    receipt.add_separator("-")
    receipt.add_price("TOTAL", f"{sum(items.values()):.2f}", left_style=vc.TextStyle.BOLD)
    try:
        return vanto.print(receipt).result(timeout=60).all_acknowledged
    except vc.VantoError:
        # Refused, unanswered or given up: the receipt is not on paper in full.
        return False


def test_the_bill_shows_every_item_and_the_total(emulated_unit: vc.Emulator) -> None:
    vanto = vc.Vanto(address="127.0.0.1", port=emulated_unit.port)

    assert print_bill(vanto, {"Flat white": 3.20, "Croissant": 2.50})

    assert emulated_unit.wait_for_receipts(1)
    paper = emulated_unit.receipts[-1].text.splitlines()
    assert paper[0].strip() == "CORNER CAFE"
    assert paper[1].startswith("Flat white") and paper[1].endswith("3.20")
    assert paper[4].startswith("TOTAL") and paper[4].endswith("5.70")


def test_a_refusing_printer_is_not_called_printed(emulated_unit: vc.Emulator) -> None:
    vanto = vc.Vanto(address="127.0.0.1", port=emulated_unit.port)
    emulated_unit.printer_error = 5  # the next five packets are refused

    assert not print_bill(vanto, {"Flat white": 3.20})
