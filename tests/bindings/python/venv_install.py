"""The package installed the way a Python developer installs it, from a fresh clone.

    venv_install.py CHECKOUT WORK

Clones the checkout's committed state into WORK (nothing untracked or built comes along), then
runs the Python guide's commands there: a virtual environment, pip install of bindings/python, the
example against an emulated unit; pip wheel; the wheel into a second environment after the clone
is gone (so nothing in the wheel points back at a build), where the example pytest file runs;
pip uninstall in both, which must leave their site-packages as they were. pip is kept off any
package index. Prints how long each pip step took and the wheel's size.
"""

import json
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path
from typing import Dict, Set

# The Python guide's commands (docs/python.md), as it shows them; each must appear in it word for
# word.
MAKE_VENV = "python3 -m venv .venv"
MAKE_VENV_WITH_DEBIAN_PYTEST = "python3 -m venv --system-site-packages .venv"
INSTALL_FROM_CHECKOUT = ".venv/bin/pip install ./bindings/python"
MAKE_WHEEL = ".venv/bin/pip wheel ./bindings/python -w dist"
INSTALL_WHEEL = ".venv/bin/pip install dist/vantoconnect-*.whl"
UNINSTALL = ".venv/bin/pip uninstall -y vantoconnect"

PYTEST_COPY = re.compile(r"vantoconnect/__pycache__/testing\.cpython-\d+-pytest-[\d.]+\.pyc")

# Runs in the environment: the example as a user runs it, against a unit in this process.
RUN_EXAMPLE = """
import json, subprocess, sys
import vantoconnect as vc
with vc.Emulator() as unit:
    done = subprocess.run([sys.executable, "examples/python/print_receipt.py", "127.0.0.1",
                           str(unit.port)], capture_output=True, text=True, timeout=120)
    printed = unit.wait_for_receipts(1, 10.0)
    paper = unit.receipts[-1].text if printed else ""
print(json.dumps({"code": done.returncode, "out": done.stdout, "err": done.stderr,
                  "paper": paper, "package": vc.__file__}))
"""


def environment(shims: Path) -> Dict[str, str]:
    # Nothing of the calling build's Python set-up leaks in, `python3` is the interpreter this
    # test runs under (Debian's), and pip reads no configuration and reaches no index.
    env = {k: v for k, v in os.environ.items()
           if not k.startswith(("PYTHON", "PIP_", "MYPY", "VIRTUAL_ENV"))}
    env.update(PATH=f"{shims}{os.pathsep}{os.environ.get('PATH', '')}", PIP_NO_INDEX="1",
               PIP_CONFIG_FILE=os.devnull, PIP_DISABLE_PIP_VERSION_CHECK="1", PYTHONNOUSERSITE="1")
    return env


def run(command: str, cwd: Path, env: Dict[str, str]) -> str:
    done = subprocess.run(["bash", "-c", command], cwd=cwd, env=env, capture_output=True,
                          text=True, timeout=1500)
    assert done.returncode == 0, f"`{command}` failed in {cwd}:\n{done.stdout}\n{done.stderr}"
    return done.stdout


def timed(command: str, cwd: Path, env: Dict[str, str]) -> float:
    start = time.monotonic()
    run(command, cwd, env)
    return time.monotonic() - start


def site_packages(venv: Path) -> Path:
    found = list(venv.glob("lib/python3*/site-packages"))
    assert len(found) == 1, found
    return found[0]


def files_below(folder: Path) -> Set[str]:
    return {p.relative_to(folder).as_posix() for p in folder.rglob("*")}


def check_uninstall_leaves_nothing(home: Path, before: Set[str], env: Dict[str, str]) -> None:
    run(UNINSTALL, home, env)
    after = files_below(site_packages(home / ".venv"))
    assert before <= after, f"removed: {sorted(before - after)}"
    # Only pytest's own copy of the fixture module may stay, which pytest writes when tests load
    # the fixture and pip never knew of (the Python guide says so).
    left = after - before
    pytest_copies = {p for p in left if PYTEST_COPY.fullmatch(p)}
    folders = {"vantoconnect", "vantoconnect/__pycache__"} if pytest_copies else set()
    assert left == pytest_copies | folders, f"left behind: {sorted(left)}"


def check_example(home: Path, env: Dict[str, str]) -> None:
    script = home.parent / "run_example.py"
    script.write_text(RUN_EXAMPLE)
    result = json.loads(run(f".venv/bin/python {script}", home, env))
    assert result["package"].startswith(str(site_packages(home / ".venv"))), result["package"]
    assert result["code"] == 0, result["err"]
    assert "delivered: all 1 packet acknowledged" in result["out"], result["out"]
    assert result["paper"].splitlines()[0].strip() == "CORNER CAFE", result["paper"]


def main() -> int:
    checkout, work = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    readme = (checkout / "docs" / "python.md").read_text()
    for command in (MAKE_VENV, MAKE_VENV_WITH_DEBIAN_PYTEST, INSTALL_FROM_CHECKOUT, MAKE_WHEEL,
                    INSTALL_WHEEL, UNINSTALL):
        assert f"\n{command}" in readme, f"docs/python.md no longer shows `{command}`"

    shutil.rmtree(work, ignore_errors=True)
    shims = work / "bin"
    shims.mkdir(parents=True)
    (shims / "python3").symlink_to(sys.executable)
    env = environment(shims)

    commit = run("git rev-parse HEAD", checkout, env).strip()
    if run("git status --porcelain --untracked-files=no", checkout, env).strip():
        print(f"testing commit {commit}: changes not committed are not part of this test")
    clone = work / "vantoconnect"
    run(f"git clone --quiet '{checkout}' '{clone}' && git -C '{clone}' checkout --quiet {commit}",
        work, env)

    run(MAKE_VENV, clone, env)
    before = files_below(site_packages(clone / ".venv"))
    seconds = timed(INSTALL_FROM_CHECKOUT, clone, env)
    print(f"pip install from the fresh clone: {seconds:.1f} s")
    check_example(clone, env)
    seconds = timed(MAKE_WHEEL, clone, env)
    wheels = list((clone / "dist").glob("vantoconnect-*.whl"))
    assert len(wheels) == 1, wheels
    size = wheels[0].stat().st_size
    print(f"pip wheel after it: {seconds:.1f} s, {wheels[0].name}: {size} bytes")
    check_uninstall_leaves_nothing(clone, before, env)

    # Another machine: the wheel and the app's tests, no checkout and no build.
    other = work / "other"
    (other / "dist").mkdir(parents=True)
    shutil.copy(wheels[0], other / "dist")
    shutil.copy(clone / "examples/python/test_my_pos.py", other)
    shutil.rmtree(clone)
    run(MAKE_VENV_WITH_DEBIAN_PYTEST, other, env)
    before = files_below(site_packages(other / ".venv"))
    seconds = timed(INSTALL_WHEEL, other, env)
    print(f"pip install of the wheel: {seconds:.1f} s")
    print(run(".venv/bin/python -m pytest -q -p no:cacheprovider test_my_pos.py", other, env)
          .strip().splitlines()[-1])
    check_uninstall_leaves_nothing(other, before, env)

    shutil.rmtree(work)
    return 0


if __name__ == "__main__":
    sys.exit(main())
