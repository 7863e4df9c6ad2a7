"""The C, C# and Python examples, and the C++ library's pkg-config file, as their users build them.

Each example is built against the installed package (the C one as C99 with every warning an
error, through pkg-config; the C# one with Mono's mcs), run against an emulated unit on a loopback
port in each profile (resilient, the default, and classic), and checked against what the unit
printed. The unit is the installed Python package's own, the same one its users test with.

Environment: VANTO_PREFIX (the installed package), VANTO_SOURCE_DIR (this checkout), PYTHONPATH
(the installed Python package).
"""

import os
import shutil
import subprocess
import sys
from pathlib import Path
from typing import Callable, Dict, List

import pytest

import vantoconnect as vc

PREFIX = Path(os.environ["VANTO_PREFIX"])
SOURCE = Path(os.environ["VANTO_SOURCE_DIR"])
LIBDIR = PREFIX / "lib"
WITH_PKG_CONFIG = dict(os.environ, PKG_CONFIG_PATH=str(LIBDIR / "pkgconfig"))


def run(command: List[str], env: Dict[str, str] | None = None) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, capture_output=True, text=True, timeout=180, env=env)


def compiled(command: List[str]) -> str:
    built = run(command, env=WITH_PKG_CONFIG)
    assert built.returncode == 0, built.stdout + built.stderr
    return built.stdout


def pkg_config(package: str) -> List[str]:
    return compiled(["pkg-config", "--cflags", "--libs", package]).split()


def c_example(out: Path) -> List[str]:
    compiled(["cc", "-std=c99", "-Wall", "-Wextra", "-pedantic", "-Werror",
              str(SOURCE / "examples" / "c" / "print_receipt.c")] + pkg_config("vantoconnect-c")
             + [f"-Wl,-rpath,{LIBDIR}", "-o", str(out / "print_receipt")])
    return [str(out / "print_receipt")]


def csharp_example(out: Path) -> List[str]:
    assert shutil.which("mcs") and shutil.which("mono"), "Mono is missing: install mono-devel"
    folder = SOURCE / "examples" / "csharp"
    compiled(["mcs", "-nologo", "-warnaserror", f"-out:{out / 'PrintReceipt.exe'}",
              str(folder / "Vanto.cs"), str(folder / "PrintReceipt.cs")])
    return ["mono", str(out / "PrintReceipt.exe")]


EXAMPLES: Dict[str, Callable[[Path], List[str]]] = {
    "c": c_example, "csharp": csharp_example,
    "python": lambda _: [sys.executable, str(SOURCE / "examples" / "python" / "print_receipt.py")]}


@pytest.fixture(scope="module", params=EXAMPLES.keys())
def example(request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory) -> List[str]:
    return EXAMPLES[request.param](tmp_path_factory.mktemp(request.param))


def test_cpp_library_builds_through_its_pkg_config_file(tmp_path: Path) -> None:
    program = tmp_path / "consumer"
    compiled(["c++", str(SOURCE / "tests" / "consumer" / "main.cpp")] + pkg_config("vantoconnect")
             + ["-o", str(program)])
    assert run([str(program)]).stdout.strip() == "ok"


@pytest.mark.parametrize("profile", [[], ["classic"]], ids=["resilient", "classic"])
def test_each_example_says_delivered_only_when_the_unit_took_every_packet(
    example: List[str], profile: List[str]
) -> None:
    env = dict(os.environ, LD_LIBRARY_PATH=str(LIBDIR))
    with vc.Emulator() as unit:
        done = run(example + ["127.0.0.1", str(unit.port)] + profile, env)
        assert done.returncode == 0, done.stdout + done.stderr
        assert "receipt 1 delivered: all 1 packet acknowledged" in done.stdout
        # The classic profile's lines go to standard output; the resilient one's never do.
        assert ("Printer started" in done.stdout) == (profile != []), done.stdout
        assert unit.wait_for_receipts(1) and "CORNER CAFE" in unit.receipts[0].text

        unit.printer_error = 5
        refused = run(example + ["127.0.0.1", str(unit.port)] + profile, env)
        assert refused.returncode == 1 and "delivered:" not in refused.stdout
        assert "refused 1 of 1 packet" in refused.stderr, refused.stderr
