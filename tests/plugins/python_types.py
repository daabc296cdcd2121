"""Holds the Python package's types against mypy, and its stub against the compiled module."""

import pathlib
import subprocess
import sys

SOURCE = pathlib.Path(__file__).resolve().parents[2]

if subprocess.run([sys.executable, "-m", "mypy", "--version"], capture_output=True).returncode:
    print("SKIPPED: mypy is not installed")
    sys.exit()
package = SOURCE / "plugins/python"
allowed = pathlib.Path("allowed")  # pybind11's own way of making classes
allowed.write_text("trellis._core.Picture(.__init__)?\n")
checks = [
    ["mypy", "--strict", "--cache-dir", "mypy", package / "trellis"],
    ["mypy", "--cache-dir", "mypy", "--ignore-missing-imports", *package.glob("examples/*.py")],
    ["mypy.stubtest", "--allowlist", allowed, "trellis._core"],
]
sys.exit(any([subprocess.run([sys.executable, "-m", *check]).returncode for check in checks]))
