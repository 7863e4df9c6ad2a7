"""Receipts without a unit: lines checked before they are added, receipt files, composition,
previews and images."""

import pathlib

import pytest

import vantoconnect as vc
from vantoconnect import _native

EXAMPLES = pathlib.Path(__file__).resolve().parents[3] / "examples" / "receipts"


def test_constants_carry_the_library_values() -> None:
    for name, values in _native._library_constants().items():
        constants = getattr(vc, name)
        assert {member: int(value) for member, value in constants.__members__.items()} == values


def test_refusals_are_value_errors_and_change_nothing() -> None:
    # Every refusal is proven in the receipts layer; here, that one reaches Python as ValueError.
    receipt = vc.Receipt(cut=vc.CutType.PARTIAL, footer_feed=4)
    receipt.add_text("first")
    with pytest.raises(ValueError, match="^line 2: .*control character U\\+001B"):
        receipt.add_text("total\x1bE")
    with pytest.raises(ValueError, match="footer_feed"):
        receipt.footer_feed = 128
    assert (receipt.cut, receipt.header_feed, receipt.footer_feed) == (vc.CutType.PARTIAL, 0, 4)


def test_receipt_file_is_read_from_a_path_or_as_text_with_its_images_found() -> None:
    path = EXAMPLES / "cafe.json"
    from_path = vc.Receipt.from_json(path)
    text = "\n  " + path.read_text()
    assert vc.Receipt.from_json(text, base_dir=EXAMPLES).compose() == from_path.compose()
    with pytest.raises(ValueError, match="cup.png"):
        vc.Receipt.from_json(text, base_dir=EXAMPLES / "nowhere")
    with pytest.raises(ValueError, match="missing.json"):
        vc.Receipt.from_json(str(EXAMPLES / "missing.json"))


def test_previews_show_what_the_bytes_say_and_read_back_as_images(tmp_path: pathlib.Path) -> None:
    receipt = vc.Receipt(footer_feed=0)
    receipt.add_text("HARBOUR CAFE", position=vc.TextPosition.CENTER)
    receipt.add_price("Flat white", "3.20")
    lines = vc.preview_text(receipt).splitlines()
    assert lines[1].startswith("Flat white") and lines[1].endswith("3.20") and len(lines[1]) == 44
    png = vc.preview(receipt)
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    assert int.from_bytes(png[16:20], "big") == 576  # the paper's width in dots
    file = tmp_path / "preview.png"
    file.write_bytes(png)
    for image in (vc.Image.from_bytes(memoryview(png)), vc.Image.from_file(file)):
        assert image.width == 576 and image.height > 0
    with pytest.raises(ValueError, match="no image file"):
        vc.Image.from_file(tmp_path / "absent.png")


def composed_with(image: vc.Image) -> bytes:
    receipt = vc.Receipt(footer_feed=0)
    receipt.add_image(image)
    return receipt.compose()


def test_pixels_are_laid_on_white_paper_unless_declined() -> None:
    width, height = 6, 4
    clear = bytes(4 * width * height)
    white = composed_with(vc.Image.from_rgba(width, height, bytes([255] * 4 * width * height)))
    assert composed_with(vc.Image.from_rgba(width, height, clear)) == white
    assert composed_with(vc.Image.from_rgba(width, height, bytearray(clear), flatten=False)) != white
