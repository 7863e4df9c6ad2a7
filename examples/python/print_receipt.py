"""Prints one receipt and says whether the whole receipt reached the printer.

    python3 print_receipt.py [ADDRESS [PORT [PROFILE]]]    (defaults 127.0.0.1, 8080 and
                                                           resilient: an emulated unit started
                                                           with `vanto emulate`)

PROFILE "classic" drives the unit with the library's classic behaviour instead.
Exit status 0 only when the unit acknowledged every packet of the receipt.
"""

import sys

import vantoconnect as vc


def main() -> int:
    address = sys.argv[1] if len(sys.argv) > 1 else "127.0.0.1"
    port = int(sys.argv[2]) if len(sys.argv) > 2 else 8080
    profile = sys.argv[3] if len(sys.argv) > 3 else "resilient"

    # Creating the facade opens nothing; every request connects anew. The resilient profile
    # waits at most 3 s for a connection and 5 s for each answer (connect_timeout and
    # read_timeout change that), and reports whatever the unit does as an error.
    vanto = vc.Vanto(address=address, port=port, profile=profile)

    receipt = vc.Receipt(cut=vc.CutType.PARTIAL)
    receipt.add_text("CORNER CAFE", style=vc.TextStyle.BOLD, size=vc.TextSize.WIDE,
                     position=vc.TextPosition.CENTER)
    # Price lines keep the size of the last text line: a normal one puts the width back.
    receipt.add_text("12 Harbour Street", position=vc.TextPosition.CENTER)
    receipt.add_feed(1)
    receipt.add_price("Flat white", "3.20")
    receipt.add_price("Croissant", "2.50")
    receipt.add_price("TOTAL", "5.70", left_style=vc.TextStyle.BOLD, right_style=vc.TextStyle.BOLD)

    # print() only queues the receipt; the delivery report says whether the unit took it.
    future = vanto.print(receipt, on_started=lambda address: print(f"sending to {address}"))
    try:
        # The classic profile's reads have no time limit, so the wait has a limit of its own.
        report = future.result(timeout=300)
    except vc.VantoError as error:
        # Refused, lost, given up: the error carries the report of what its packets did.
        if error.report is not None and error.report.packets_sent > 0:
            print(f"receipt {error.report.receipt_id} not delivered in full: "
                  f"{error.report.summary()}", file=sys.stderr)
        else:
            print(f"not delivered: {error}", file=sys.stderr)
        return 1
    except TimeoutError:
        print("no delivery report within 300 s; the receipt may be incomplete", file=sys.stderr)
        return 1
    if not report.all_acknowledged:
        # Only the classic profile gets here: it reports refused packets without an error.
        print(f"receipt {report.receipt_id} not delivered in full: {report.summary()}",
              file=sys.stderr)
        return 1
    # The unit took every byte; whether the paper then jammed, no answer can tell.
    print(f"receipt {report.receipt_id} delivered: {report.summary()}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
