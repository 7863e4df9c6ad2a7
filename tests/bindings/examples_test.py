"""The C and C# examples, and the C++ library's pkg-config file, as their users build them.

Each is compiled against the installed package (the C example as C99 with every warning an
error, through pkg-config; the C# one with Mono's mcs), run against an emulated unit on a loopback
port in each profile (resilient, the default, and classic), and checked against what the unit
printed. The unit is started through the C API itself,
loaded with ctypes, so this suite needs nothing but the installed library.

Environment: VANTO_PREFIX (the installed package), VANTO_SOURCE_DIR (this checkout).
"""

import ctypes
import os
import shutil
import subprocess
from pathlib import Path
from typing import Iterator

import pytest

PREFIX = Path(os.environ["VANTO_PREFIX"])
SOURCE = Path(os.environ["VANTO_SOURCE_DIR"])
LIBDIR = PREFIX / "lib"


def _library() -> ctypes.CDLL:
    lib = ctypes.CDLL(str(LIBDIR / "libvantoconnect-c.so.2"))
    handle = ctypes.POINTER(ctypes.c_void_p)
    lib.vanto_last_error.restype = ctypes.c_char_p
    lib.vanto_emulator_create.argtypes = [ctypes.c_char_p, ctypes.c_int32, ctypes.c_char_p, handle]
    for name in ("vanto_emulator_start", "vanto_emulator_stop"):
        getattr(lib, name).argtypes = [ctypes.c_void_p]
    lib.vanto_emulator_free.argtypes = [ctypes.c_void_p]
    lib.vanto_emulator_free.restype = None
    lib.vanto_emulator_port.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_int32)]
    lib.vanto_emulator_set_printer_error.argtypes = [ctypes.c_void_p, ctypes.c_int32]
    lib.vanto_emulator_set_drawer_close_after.argtypes = [ctypes.c_void_p, ctypes.c_int64]
    lib.vanto_emulator_wait_for_receipts.argtypes = [ctypes.c_void_p, ctypes.c_int64, ctypes.c_int64]
    lib.vanto_emulator_receipt_text.argtypes = [
        ctypes.c_void_p,
        ctypes.c_int64,
        ctypes.POINTER(ctypes.c_void_p),
    ]
    lib.vanto_string_free.argtypes = [ctypes.c_void_p]
    lib.vanto_string_free.restype = None
    return lib


class Unit:
    """An emulated unit in this process, through the C API."""

    def __init__(self) -> None:
        self.lib = _library()
        self.handle = ctypes.c_void_p()
        self.check(self.lib.vanto_emulator_create(b"127.0.0.1", 0, None, ctypes.byref(self.handle)))
        self.check(self.lib.vanto_emulator_start(self.handle))
        port = ctypes.c_int32()
        self.check(self.lib.vanto_emulator_port(self.handle, ctypes.byref(port)))
        self.port = port.value

    def check(self, status: int) -> None:
        assert status == 0, self.lib.vanto_last_error().decode()

    def paper(self, number: int) -> str:
        self.check(self.lib.vanto_emulator_wait_for_receipts(self.handle, number, 10000))
        text = ctypes.c_void_p()
        self.check(self.lib.vanto_emulator_receipt_text(self.handle, number, ctypes.byref(text)))
        try:
            return ctypes.string_at(text).decode()
        finally:
            self.lib.vanto_string_free(text)

    def close(self) -> None:
        self.lib.vanto_emulator_stop(self.handle)
        self.lib.vanto_emulator_free(self.handle)


@pytest.fixture
def unit() -> Iterator[Unit]:
    emulated = Unit()
    yield emulated
    emulated.close()


def run(command: list[str], env: dict[str, str] | None = None) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, capture_output=True, text=True, timeout=180, env=env)


@pytest.fixture(scope="module")
def c_example(tmp_path_factory: pytest.TempPathFactory) -> Path:
    out = tmp_path_factory.mktemp("c") / "print_receipt"
    env = dict(os.environ, PKG_CONFIG_PATH=str(LIBDIR / "pkgconfig"))
    flags = run(["pkg-config", "--cflags", "--libs", "vantoconnect-c"], env=env)
    assert flags.returncode == 0, flags.stderr
    source = SOURCE / "examples" / "c" / "print_receipt.c"
    built = run(
        ["cc", "-std=c99", "-Wall", "-Wextra", "-pedantic", "-Werror", str(source)]
        + flags.stdout.split()
        + [f"-Wl,-rpath,{LIBDIR}", "-o", str(out)]
    )
    assert built.returncode == 0, built.stderr
    return out


def test_cpp_library_builds_through_its_pkg_config_file(tmp_path: Path) -> None:
    env = dict(os.environ, PKG_CONFIG_PATH=str(LIBDIR / "pkgconfig"))
    flags = run(["pkg-config", "--cflags", "--libs", "vantoconnect"], env=env)
    assert flags.returncode == 0, flags.stderr
    program = tmp_path / "consumer"
    built = run(["c++", str(SOURCE / "tests" / "consumer" / "main.cpp")] + flags.stdout.split()
                + ["-o", str(program)])
    assert built.returncode == 0, built.stderr
    assert run([str(program)]).stdout.strip() == "ok"


# What each profile writes besides the program's own lines: the resilient one's lines go to the
# program's log (standard error, "vanto: ..."), the classic one's to standard output.
PROFILES = [
    pytest.param([], "vanto: Printer started", id="resilient by default"),
    pytest.param(["classic"], "Printer started", id="classic"),
]


@pytest.mark.parametrize("profile,line", PROFILES)
def test_c_example_prints_and_says_delivered_only_when_it_was(
    c_example: Path, unit: Unit, profile: list[str], line: str
) -> None:
    done = run([str(c_example), "127.0.0.1", str(unit.port)] + profile)
    assert done.returncode == 0, done.stderr
    assert "receipt 1 delivered: all 1 packet acknowledged" in done.stdout
    assert (line in done.stderr) == (profile == []), done.stderr
    assert (line in done.stdout) == (profile != []), done.stdout
    paper = unit.paper(1)
    assert "CORNER CAFE" in paper and "TOTAL                                   5.70" in paper

    unit.check(unit.lib.vanto_emulator_set_printer_error(unit.handle, 5))
    refused = run([str(c_example), "127.0.0.1", str(unit.port)] + profile)
    assert refused.returncode == 1
    assert "delivered" not in refused.stdout
    assert "the unit refused 1 of 1 packets" in refused.stderr
    assert "VANTO_ERROR_NOT_DELIVERED" in refused.stderr


@pytest.mark.parametrize("profile,line", PROFILES)
def test_csharp_example_prints_and_reads_the_drawer(
    tmp_path: Path, unit: Unit, profile: list[str], line: str
) -> None:
    assert shutil.which("mcs") and shutil.which("mono"), "Mono is missing: install mono-devel"
    program = tmp_path / "PrintReceipt.exe"
    folder = SOURCE / "examples" / "csharp"
    built = run(
        ["mcs", "-nologo", "-warnaserror", f"-out:{program}"]
        + [str(folder / "Vanto.cs"), str(folder / "PrintReceipt.cs")]
    )
    assert built.returncode == 0, built.stdout + built.stderr
    env = dict(os.environ, LD_LIBRARY_PATH=str(LIBDIR))
    done = run(["mono", str(program), "127.0.0.1", str(unit.port)] + profile, env=env)
    assert done.returncode == 0, done.stdout + done.stderr
    assert "receipt 1 delivered: all 1 packet acknowledged" in done.stdout
    assert (line in done.stderr) == (profile == []), done.stderr
    assert "cash drawer: closed" in done.stdout
    assert "CORNER CAFE" in unit.paper(1)
