"""``pip install .``: the wheel, and what works where it is installed. CMake's part stands in for it."""

from __future__ import annotations

import email
import importlib.util
import os
import re
import shutil
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest

pytestmark = pytest.mark.skipif(
    any(importlib.util.find_spec(name) is None
        for name in ("ensurepip", "pip", "setuptools", "wheel")),
    reason="python3-venv, python3-pip, python3-setuptools or python3-wheel is not installed",
)

PATH = f"{Path(sys.executable).parent}:/usr/bin:/bin"
# What a wheel is made of; not the sources of what CMake builds.
MADE_OF = ["pyproject.toml", "setup.py", "CMakeLists.txt", "LICENSE", "docs/installing.md",
           "docs/python.md", "scripts/version", "python/talvor", "examples/pytest"]


def clean_environment(home: Path, **more: str) -> dict[str, str]:
    """Nothing that helps to find this build, nor of a person's own pip."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(("PYTHON", "TALVOR_", "PIP_", "LD_"))}
    return {**kept, "HOME": str(home), "PIP_CONFIG_FILE": os.devnull, "PIP_NO_INDEX": "1",
            "PIP_DISABLE_PIP_VERSION_CHECK": "1", "PYTHONDONTWRITEBYTECODE": "1",
            "PATH": PATH, **more}


def run(*command: str | Path, cwd: Path, **more: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        list(map(str, command)), cwd=cwd, env=clean_environment(cwd, **more),
        capture_output=True, text=True, timeout=200,
    )


def good(done: subprocess.CompletedProcess[str]) -> str:
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture(scope="module")
def checkout(source: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The part of the sources that is no affair of CMake's, in a folder that may be written to."""
    folder = tmp_path_factory.mktemp("checkout")
    for name in MADE_OF:
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        if (source / name).is_dir():
            shutil.copytree(source / name, folder / name,
                            ignore=shutil.ignore_patterns("__pycache__"))
        else:
            shutil.copy2(source / name, folder / name)
    return folder


def make_wheel(checkout: Path, *more: str, **environment: str) -> subprocess.CompletedProcess[str]:
    return run(sys.executable, "-m", "pip", "wheel", "--no-build-isolation", "--no-deps", *more, ".",
               cwd=checkout, **environment)


def commands(page: Path) -> str:
    """The box about Python in the page about installing."""
    chapter = page.read_text().split("\n## For Python\n")[1].split("\n## ")[0]
    return "\n".join(re.findall(r"^    (.*)$", chapter, flags=re.M))


@pytest.fixture(scope="module")
def installed(checkout: Path, build: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A virtual environment made as the page shows it; what that printed is in ``said`` there."""
    home = tmp_path_factory.mktemp("home")
    done = run("sh", "-euc", f"HOME={home}\n{commands(checkout / 'docs/installing.md')}",
               cwd=checkout, TALVOR_WHEEL_BUILD=str(build))
    environment = home / "talvor-env"
    (environment / "said").write_text(good(done))
    return environment


def test_the_commands_of_the_page_install_and_run(installed: Path) -> None:
    said = (installed / "said").read_text()
    assert "5 devices, 33 instruction bits" in said
    assert re.search(r"^=* \d+ passed in ", said, flags=re.M)


def facts(metadata: str) -> dict[str, list[str]]:
    """What a package says about itself, but for its page and the files of its licence."""
    said = email.message_from_string(metadata)
    return {name: sorted(said.get_all(name, [])) for name in said.keys()
            if name not in ("Metadata-Version", "Description-Content-Type", "License-File")}


def test_the_wheel_holds_module_driver_and_programs(checkout: Path, build: Path) -> None:
    version = good(run(checkout / "scripts/version", cwd=checkout)).strip()
    tag = f"cp{sys.version_info.major}{sys.version_info.minor}"
    file = checkout / f"talvor-{version}-{tag}-{tag}-linux_x86_64.whl"
    good(make_wheel(checkout, TALVOR_WHEEL_BUILD=str(build)))
    with zipfile.ZipFile(file) as wheel:
        names = set(wheel.namelist())
        metadata = wheel.read(f"talvor-{version}.dist-info/METADATA").decode()
        modes = {name: wheel.getinfo(name).external_attr >> 16 for name in names}
        module = next(name for name in names if re.match(r"talvor/_core\..*\.so$", name))
        assert wheel.read(module) == (build / "python" / module).read_bytes()
    package = checkout / "python/talvor"
    ours = {f"talvor/{file.relative_to(package)}" for file in package.rglob("*") if file.is_file()}
    carried = {module, "talvor/bin/talvor", "talvor/bin/talvor-podsim",
               "talvor/lib/libjsctalvor_340.so.0"}
    assert {name for name in names if ".dist-info/" not in name} == ours | carried
    assert "talvor/py.typed" in ours and "talvor/_core.pyi" in ours
    assert modes["talvor/bin/talvor"] & modes["talvor/bin/talvor-podsim"] & 0o111 == 0o111
    said = facts(metadata)
    assert said["Version"] == [version] and said["License"] == ["MIT"]
    assert "Requires-Dist" not in said
    # The other way to the same: what CMake makes for build folder, installed tree and packages.
    ours_by_cmake = build / f"python/talvor-{version}.dist-info/METADATA"
    assert said == facts(ours_by_cmake.read_text())


def test_everything_is_found_inside_of_the_package(installed: Path, tmp_path: Path) -> None:
    program = (
        "import talvor; from talvor import _core, _places\n"
        "with talvor.simulate() as pod: print(len(pod.chain()))\n"
        "print(_places.program_folder()); print(_core.library_facts(None)[0])\n"
    )
    said = good(run(installed / "bin/python", "-c", program, cwd=tmp_path)).splitlines()
    assert said[0] == "5"
    package = Path(said[1]).parent
    assert package.is_relative_to(installed) and package.name == "talvor"
    assert said[2] == str(package / "lib/libjsctalvor_340.so.0")


@pytest.mark.parametrize("arguments", [["chain", "--simulate"], ["--version"], ["nonsense"]])
def test_the_commands_are_the_programs(
    installed: Path, build: Path, tmp_path: Path, arguments: list[str]
) -> None:
    wanted = run(build / "bin/talvor", *arguments, cwd=tmp_path)
    for command in ([installed / "bin/talvor"], [installed / "bin/python", "-m", "talvor"]):
        done = run(*command, *arguments, cwd=tmp_path)
        assert (done.returncode, done.stdout, done.stderr) == (
            wanted.returncode, wanted.stdout, wanted.stderr)


def test_the_simulator_serves_a_host(installed: Path, tmp_path: Path) -> None:
    done = run(installed / "bin/talvor-podsim", "--strict", "--private",
               installed / "bin/talvor", "chain", cwd=tmp_path)
    assert "0x1A2B3C4D" in good(done)


def fake_cmake(folder: Path, build: Path) -> Path:
    """A cmake that writes down what it is asked for, and 'builds' by links to this build."""
    (folder / "bin").mkdir()
    cmake = folder / "bin/cmake"
    cmake.write_text(f'''#!/bin/sh
printf '%s\\n' "$@" >>{folder}/asked
[ "$1" = --build ] || exit "${{CMAKE_FAILS-0}}"
mkdir -p "$2"
ln -s {build}/bin {build}/lib {build}/python "$2/"
''')
    cmake.chmod(0o755)
    return folder / "bin"


def test_cmake_builds_what_is_not_built(checkout: Path, build: Path, tmp_path: Path) -> None:
    tools = f"{fake_cmake(tmp_path, build)}:{PATH}"
    good(make_wheel(checkout, "-w", str(tmp_path / "wheels"), PATH=tools,
                    CMAKE_ARGS="-DONE=1 '-DTWO=a b'"))
    asked = (tmp_path / "asked").read_text().splitlines()
    assert {"-DTALVOR_BUILD_PYTHON=ON", f"-DPython_EXECUTABLE={sys.executable}", "-DONE=1",
            "-DTWO=a b", "--target", "talvor_python"} <= set(asked)
    (wheel,) = (tmp_path / "wheels").iterdir()
    assert "talvor/bin/talvor-podsim" in zipfile.ZipFile(wheel).namelist()


def test_what_is_missing_is_said(checkout: Path, build: Path, tmp_path: Path) -> None:
    def refused(*arguments: str, **environment: str) -> str:
        done = run(sys.executable, "setup.py", "build_ext", *arguments, cwd=checkout, **environment)
        assert done.returncode == 1, done.stdout
        return done.stderr

    assert re.search(r"^error: /dev/null/none/python/talvor/_core\..*\.so is missing: build the ",
                     refused(TALVOR_WHEEL_BUILD="/dev/null/none"), flags=re.M)
    tools = f"{fake_cmake(tmp_path, build)}:{PATH}"
    assert refused(PATH=tools, CMAKE_FAILS="3").startswith("error: cmake failed, see above; docs/")
    assert "PYTHONPATH=build/release/python" in refused("--inplace")
