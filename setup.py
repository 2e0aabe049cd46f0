"""Makes a wheel of what CMake builds: the package talvor with its module, and the driver and the programs
inside of it. Everything else stands in pyproject.toml.

What CMake needs (docs/installing.md) has to be there. In the environment, TALVOR_WHEEL_BUILD names a
build folder that is taken as it is, and CMAKE_ARGS has further arguments for configuring one.
"""

import os
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, find_packages, setup
from setuptools.command.build_ext import build_ext
from setuptools.errors import SetupError

ROOT = Path(__file__).resolve().parent
# Programs and driver: where the build has them, and the package.
CARRIED = ["bin/talvor", "bin/talvor-podsim", "lib/libjsctalvor_340.so.0"]
TARGETS = ["talvor_python", "talvor", "talvor-podsim", "jsctalvor"]


def pybind11_of_python():
    """Where a pybind11 that is installed as a Python package is; else CMake finds the system's."""
    try:
        import pybind11
    except ImportError:
        return []
    return [f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"]


def build_by_cmake(folder):
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    for command in (
        ["cmake", "-S", ROOT, "-B", folder, *generator, "-DCMAKE_BUILD_TYPE=Release",
         "-DTALVOR_BUILD_TESTS=OFF", "-DTALVOR_BUILD_BENCH=OFF", "-DTALVOR_BUILD_PYTHON=ON",
         f"-DPython_EXECUTABLE={sys.executable}", *pybind11_of_python(),
         *shlex.split(os.environ.get("CMAKE_ARGS", ""))],
        ["cmake", "--build", folder, "--parallel", str(os.cpu_count()), "--target", *TARGETS],
    ):
        try:
            subprocess.run(command, check=True)
        except FileNotFoundError:
            raise SetupError("cmake is missing: scripts/setup build installs what building needs")
        except subprocess.CalledProcessError:
            raise SetupError("cmake failed, see above; docs/installing.md lists what building needs")


class BuildByCmake(build_ext):
    """Takes module, driver and programs from CMake's build folder."""

    def run(self):
        if self.inplace:
            raise SetupError("editable installation is not needed: the package in a build folder is "
                             "links (PYTHONPATH=build/release/python)")
        super().run()

    def build_extension(self, ext):
        named = os.environ.get("TALVOR_WHEEL_BUILD")
        folder = Path(named or Path(self.build_temp).absolute())
        if not named:
            build_by_cmake(folder)
        module = Path(self.get_ext_fullpath(ext.name))
        self.carry(folder / "python/talvor" / module.name, module)
        for name in CARRIED:
            self.carry(folder / name, module.parent / name)

    def carry(self, built, place):
        if not built.is_file():
            raise SetupError(f"{built} is missing: build the targets {' '.join(TARGETS)} for this "
                             f"Python, {sys.executable}")
        self.mkpath(str(place.parent))
        shutil.copy2(built, place)


(ROOT / "build").mkdir(exist_ok=True)
setup(
    version=subprocess.check_output([ROOT / "scripts/version"], text=True).strip(),
    package_dir={"": "python"},
    packages=find_packages("python", include=["talvor", "talvor.*"]),
    package_data={"talvor": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("talvor._core", [])],
    cmdclass={"build_ext": BuildByCmake},
    options={"egg_info": {"egg_base": "build"}, "build": {"build_base": "build/wheel"}},
)
