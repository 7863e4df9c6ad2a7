"""The build backend of the Python package: CMake builds the native module, this file packs it.

pip runs it through pyproject.toml beside the package. It needs nothing outside the standard
library, so an isolated build in a fresh virtual environment finds everything it asks for
without a package index; the compiler, CMake and the Debian -dev packages of the native build
are the machine's own.

The wheel holds the package as ``cmake --install`` lays it out (the component ``python``): the
pure-Python modules, the stubs and the native module, into which the library, the receipts layer
and the emulated unit are linked statically. At run time it needs Debian's shared libraries
(libvips, ICU, zint, cpp-httplib, GLib) and nothing from the checkout or the build.

Settings (``pip ... --config-settings KEY=VALUE``):
    build-dir   where CMake builds, an absolute path (default: build/wheel-<wheel tag> in the
                checkout, kept, so a second pip install or pip wheel only rebuilds what changed)
The environment's CMAKE_BUILD_PARALLEL_LEVEL sets the build's jobs (default: every CPU).
"""

from __future__ import annotations

import base64
import csv
import hashlib
import io
import os
import re
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import zipfile
from pathlib import Path
from typing import Dict, List, Mapping, NoReturn, Optional, Union

if sys.version_info < (3, 11):
    # Before tomllib; pip would otherwise show only an import error from inside this file.
    sys.exit("vantoconnect build: Python 3.11 or later is needed, this is "
             + sys.version.split()[0])
import tomllib  # noqa: E402

ConfigSettings = Optional[Mapping[str, Union[str, List[str]]]]

PACKAGE_DIR = Path(__file__).resolve().parents[1]
ROOT = PACKAGE_DIR.parents[1]
# The date of every entry in the archive: the time of the build is not in the wheel, so the same
# files packed twice give the same bytes.
ZIP_DATE = (1980, 1, 1, 0, 0, 0)


class UnsupportedOperation(Exception):
    """What pip is told when asked for a source archive (pip then builds the wheel directly)."""


def _fail(message: str) -> NoReturn:
    # pip shows the backend's standard error with its own failure line, so one sentence here is
    # what the developer reads.
    print(f"vantoconnect build: {message}", file=sys.stderr)
    raise SystemExit(1)


def _project() -> Dict[str, object]:
    with open(PACKAGE_DIR / "pyproject.toml", "rb") as f:
        project: Dict[str, object] = tomllib.load(f)["project"]
    return project


def _version() -> str:
    # The version has one home, the CMake project, which also stamps the C++ package files.
    cmake_lists = ROOT / "CMakeLists.txt"
    text = cmake_lists.read_text() if cmake_lists.is_file() else ""
    found = re.search(r"project\(vantoconnect\s+VERSION\s+([0-9.]+)", text)
    if found is None:
        _fail(f"{ROOT} is not a vantoconnect checkout: the package is built from the whole "
              "checkout, as pip install <checkout>/bindings/python")
    return found.group(1)


def _name_and_version() -> str:
    return f"{_project()['name']}-{_version()}"


def _tag() -> str:
    """The wheel's tag: this interpreter's ABI (the module is built against its headers) and
    its platform."""
    if sys.implementation.name != "cpython":
        _fail(f"the native module is built for CPython, not {sys.implementation.name}")
    soabi = str(sysconfig.get_config_var("SOABI"))  # cpython-311-x86_64-linux-gnu
    abi = "cp" + soabi.split("-")[1]
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = re.sub(r"[-.]", "_", sysconfig.get_platform())
    return f"{python}-{abi}-{platform}"


def _metadata() -> str:
    project = _project()
    lines = [
        "Metadata-Version: 2.1",
        f"Name: {project['name']}",
        f"Version: {_version()}",
        f"Summary: {project['description']}",
        f"Requires-Python: {project['requires-python']}",
    ]
    return "\n".join(lines) + "\n"


def _wheel_file() -> str:
    return (
        "Wheel-Version: 1.0\n"
        "Generator: vantoconnect cmake_wheel\n"
        "Root-Is-Purelib: false\n"
        f"Tag: {_tag()}\n"
    )


def _setting(config_settings: ConfigSettings, key: str) -> Optional[str]:
    value = (config_settings or {}).get(key)
    if isinstance(value, list):
        _fail(f"--config-settings {key} is given more than once")
    return value


def _run(step: str, command: List[str]) -> None:
    # Written to standard error, where pip shows it on failure (and with -v while it runs).
    print("+ " + " ".join(command), file=sys.stderr, flush=True)
    if subprocess.run(command, stdout=sys.stderr).returncode != 0:
        _fail(f"{step} failed; CMake's output is above")


def _build(config_settings: ConfigSettings, staging: Path) -> None:
    cmake = shutil.which("cmake")
    if cmake is None:
        _fail("cmake is not on PATH: the native module needs CMake and a C++20 compiler "
              "(on Debian, scripts/install-deps.sh in the checkout installs them)")
    build_dir = Path(_setting(config_settings, "build-dir") or ROOT / "build" / f"wheel-{_tag()}")
    if not build_dir.is_absolute():
        # pip runs this in bindings/python, not where the command was typed.
        _fail(f"--config-settings build-dir={build_dir}: give an absolute path")
    _run("configuring the native build", [
        cmake, "-S", str(ROOT), "-B", str(build_dir),
        "-C", str(ROOT / "cmake" / "PackageBuild.cmake"),
        "-DVANTO_BUILD_PYTHON=ON",
        # The interpreter running this build: a virtual environment's python gives its base
        # interpreter's headers and the ABI the wheel is tagged with.
        f"-DPython_EXECUTABLE={sys.executable}",
        "-DVANTO_PYTHON_INSTALL_DIR=.",
    ])
    build = [cmake, "--build", str(build_dir), "--target", "vantoconnect_python"]
    if "CMAKE_BUILD_PARALLEL_LEVEL" not in os.environ:
        build += ["--parallel", str(os.cpu_count() or 1)]
    _run("compiling the native module", build)
    _run("laying out the package", [cmake, "--install", str(build_dir), "--component", "python",
                                     "--prefix", str(staging), "--strip"])


def _record_line(name: str, data: bytes) -> List[str]:
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return [name, f"sha256={digest}", str(len(data))]


def _pack(staging: Path, wheel_directory: str) -> str:
    name = f"{_name_and_version()}-{_tag()}.whl"
    dist_info = f"{_name_and_version()}.dist-info"
    files = sorted(p for p in staging.rglob("*") if p.is_file())
    if not any(p.name.startswith("_native.") for p in files):
        _fail(f"the native module is not among the installed files in {staging}")
    entries = [(p.relative_to(staging).as_posix(), p.read_bytes(), os.access(p, os.X_OK))
               for p in files]
    entries += [(f"{dist_info}/METADATA", _metadata().encode(), False),
                (f"{dist_info}/WHEEL", _wheel_file().encode(), False)]
    record = io.StringIO()
    writer = csv.writer(record, lineterminator="\n")
    for entry, data, _ in entries:
        writer.writerow(_record_line(entry, data))
    writer.writerow([f"{dist_info}/RECORD", "", ""])
    entries.append((f"{dist_info}/RECORD", record.getvalue().encode(), False))

    target = Path(wheel_directory) / name
    with zipfile.ZipFile(target, "w", compression=zipfile.ZIP_DEFLATED) as wheel:
        for entry, data, executable in entries:
            info = zipfile.ZipInfo(entry, date_time=ZIP_DATE)
            info.external_attr = (0o755 if executable else 0o644) << 16
            info.compress_type = zipfile.ZIP_DEFLATED
            wheel.writestr(info, data)
    return name


# The hooks pip calls (PEP 517).


def get_requires_for_build_wheel(config_settings: ConfigSettings = None) -> List[str]:
    return []


def get_requires_for_build_sdist(config_settings: ConfigSettings = None) -> List[str]:
    return []


def prepare_metadata_for_build_wheel(metadata_directory: str,
                                     config_settings: ConfigSettings = None) -> str:
    dist_info = Path(metadata_directory) / f"{_name_and_version()}.dist-info"
    dist_info.mkdir(parents=True, exist_ok=True)
    (dist_info / "METADATA").write_text(_metadata())
    (dist_info / "WHEEL").write_text(_wheel_file())
    return dist_info.name


def build_wheel(wheel_directory: str, config_settings: ConfigSettings = None,
                metadata_directory: Optional[str] = None) -> str:
    with tempfile.TemporaryDirectory(prefix="vantoconnect-wheel-") as staging:
        _build(config_settings, Path(staging))
        return _pack(Path(staging), wheel_directory)


def build_sdist(sdist_directory: str, config_settings: ConfigSettings = None) -> str:
    # The native module is built from the whole checkout (the library, the receipts layer, the
    # emulated unit), which does not live below this folder; a source archive of this folder
    # alone could not build.
    raise UnsupportedOperation(
        "vantoconnect offers no source archive: install from a checkout "
        "(pip install <checkout>/bindings/python) or hand over a wheel (pip wheel)")
