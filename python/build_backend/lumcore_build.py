"""The build backend of `pip install ./python`: CMake builds the library and
the module's compiled core, and the wheel carries both beside the Python
files, so that `import lumcore` needs nothing set. It uses the standard
library only, so pip has nothing to fetch."""

import base64
import hashlib
import os
import pathlib
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

NAME, VERSION = "lumcore", "0.1.0"
PROJECT = pathlib.Path(__file__).resolve().parents[2]
METADATA = f"""Metadata-Version: 2.1
Name: {NAME}
Version: {VERSION}
Summary: LumCore's values in Python: immutable shared variants that NumPy reads in place
Requires-Python: >=3.9
Provides-Extra: numpy
Requires-Dist: numpy; extra == "numpy"
"""


def _tag():
    version = f"cp{sys.version_info.major}{sys.version_info.minor}"
    return f"{version}-{version}-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"


def _built_package(work):
    """The package folder a CMake build of the project gathers."""
    cmake = shutil.which("cmake")
    if cmake is None or not (PROJECT / "CMakeLists.txt").exists():
        raise RuntimeError("building lumcore needs CMake 3.25 and the LumCore source tree around python/")
    subprocess.run([cmake, "-S", str(PROJECT), "-B", str(work), "-DCMAKE_BUILD_TYPE=Release",
                    "-DLUMCORE_BUILD_TESTS=OFF", "-DLUMCORE_BUILD_BENCHMARKS=OFF", "-DLUMCORE_BUILD_EXAMPLES=OFF",
                    f"-DLUMCORE_PYTHON={sys.executable}"], check=True, stdout=sys.stderr)
    subprocess.run([cmake, "--build", str(work), "--target", "lumcore_python_package", "--parallel",
                    str(os.cpu_count() or 2)], check=True, stdout=sys.stderr)
    return work / "python" / NAME


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}"


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    wheel_name = f"{NAME}-{VERSION}-{_tag()}.whl"
    info = f"{NAME}-{VERSION}.dist-info"
    with tempfile.TemporaryDirectory(prefix="lumcore-build-") as work:
        package = _built_package(pathlib.Path(work))
        files = {f"{NAME}/{path.name}": path.read_bytes() for path in sorted(package.iterdir()) if path.is_file()}
        files[f"{info}/METADATA"] = METADATA.encode()
        files[f"{info}/WHEEL"] = (f"Wheel-Version: 1.0\nGenerator: lumcore_build\nRoot-Is-Purelib: false\n"
                                  f"Tag: {_tag()}\n").encode()
        record = [_record_line(name, data) for name, data in files.items()] + [f"{info}/RECORD,,"]
        files[f"{info}/RECORD"] = ("\n".join(record) + "\n").encode()
        with zipfile.ZipFile(pathlib.Path(wheel_directory) / wheel_name, "w", zipfile.ZIP_DEFLATED) as wheel:
            for name, data in files.items():
                entry = zipfile.ZipInfo(name, date_time=(2026, 1, 1, 0, 0, 0))
                entry.external_attr = (0o755 if name.endswith(".so") or ".so." in name else 0o644) << 16
                wheel.writestr(entry, data, zipfile.ZIP_DEFLATED)
    return wheel_name


def get_requires_for_build_wheel(config_settings=None):
    return []
