"""Prints one receipt and says whether the whole receipt reached the printer.

    python3 print_receipt.py [ADDRESS [PORT]]    (defaults 127.0.0.1 and 8080: an emulated unit
                                                  started with `vanto emulate`)

Exit status 0 only when the unit acknowledged every packet of the receipt.
"""

import sys

import vantoconnect as vc


def main() -> int:
    address = sys.argv[1] if len(sys.argv) > 1 else "127.0.0.1"
    port = int(sys.argv[2]) if len(sys.argv) > 2 else 8080

    # Creating the facade opens nothing; every request connects anew.
    vanto = vc.Vanto(address=address, port=port)

    receipt = vc.Receipt(cut=vc.CutType.PARTIAL)
    receipt.add_text("CORNER CAFE", style=vc.TextStyle.BOLD, size=vc.TextSize.WIDE,
                     position=vc.TextPosition.CENTER)
    # Price lines keep the size of the last text line: a normal one puts the width back.
    receipt.add_text("12 Harbour Street", position=vc.TextPosition.CENTER)
    receipt.add_feed(1)
    receipt.add_price("Flat white", "3.20")
    receipt.add_price("Croissant", "2.50")
    receipt.add_price("TOTAL", "5.70", left_style=vc.TextStyle.BOLD, right_style=vc.TextStyle.BOLD)

    # print() only queues the receipt. "Completed" would say only that the connection got
    # through its messages; the delivery report says whether the unit took them.
    future = vanto.print(receipt, on_started=lambda address: print(f"sending to {address}"))
    try:
        # A unit that takes a packet and never answers would hold the library's read for ever,
        # so the wait has a limit of its own.
        report = future.result(timeout=300)
    except vc.PrinterNotResponding as error:
        print(f"not printed: {error}", file=sys.stderr)
        return 1
    except TimeoutError:
        print("no delivery report within 300 s; the receipt may be incomplete", file=sys.stderr)
        return 1
    if not report.all_acknowledged:
        print(f"receipt {report.receipt_id} not delivered in full: {report.summary()}",
              file=sys.stderr)
        return 1
    # The unit took every byte; whether the paper then jammed, no answer can tell.
    print(f"receipt {report.receipt_id} delivered: {report.summary()}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
