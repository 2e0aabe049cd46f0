"""Pods in labgrid, by labgrid's own classes; without labgrid nothing of it is tested."""

from __future__ import annotations

import importlib.util
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import pytest

import talvor

HAS_LABGRID = importlib.util.find_spec("labgrid") is not None
pytestmark = pytest.mark.skipif(not HAS_LABGRID, reason="python3-labgrid is not installed")
if HAS_LABGRID:
    from labgrid import Environment, Target
    from labgrid.binding import StateError
    from labgrid.exceptions import InvalidConfigError
    from labgrid.factory import target_factory

    import talvor.labgrid
    from talvor.labgrid import bridge
    from talvor.labgrid.export import TalvorPodExport

PATIENCE_SECONDS = 60
SSHD = os.environ.get("TALVOR_SSHD") or shutil.which("sshd", path="/usr/sbin")


def wait_until(happened: Callable[[], object]) -> None:
    limit = time.monotonic() + PATIENCE_SECONDS
    while not happened():
        assert time.monotonic() < limit, "it did not happen"
        time.sleep(0.01)


def run_pytest(*arguments: str | Path) -> subprocess.CompletedProcess[str]:
    """pytest with labgrid's own plug-in, which the tests leave out otherwise."""
    return subprocess.run(
        [sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", *map(str, arguments)],
        env={**os.environ, "PYTEST_ADDOPTS": ""},
        capture_output=True,
        text=True,
        timeout=100,
    )


# --- at this machine ------------------------------------------------------------------------------


@pytest.fixture()
def board(source: Path) -> Iterator[Target]:
    """The example's target, simulated here."""
    environment = Environment(str(source / "examples/labgrid/simulated.yaml"))
    yield environment.get_target()
    environment.cleanup()


def test_importing_talvor_imports_no_labgrid() -> None:
    program = "import sys, talvor; print('labgrid' in sys.modules, 'attr' in sys.modules)"
    said = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert said.stdout == "False False\n"


def test_without_labgrid_the_module_says_what_it_needs() -> None:
    program = "import sys; sys.modules['labgrid'] = None; import talvor.labgrid"
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert done.stderr.endswith("talvor.labgrid needs labgrid: install python3-labgrid\n")


def test_a_driver_works_while_it_is_active(board: Target) -> None:
    driver = board.get_driver("TalvorDriver", activate=False)
    with pytest.raises(StateError, match="TalvorDriver.chain cannot be called"):
        driver.chain()
    with pytest.raises(StateError):
        driver.pod
    board.activate(driver)
    pod = driver.pod
    assert [device.name for device in driver.chain()] == ["bridge", "controller"]
    board.deactivate(driver)
    assert pod.closed
    board.activate(driver)
    assert not driver.pod.closed and len(driver.chain()) == 2


def test_scans_go_through_the_chain_or_a_device(board: Target) -> None:
    driver = board.get_driver("TalvorDriver")
    assert driver.dr(0x12345678, bits=32, device="controller", ir=8) is not None
    assert driver.dr(bits=32, device="controller") == 0x12345678
    assert driver.dr(bits=32, device=1) == 0
    assert driver.ir(0b11111, device="bridge") & 3 == 1
    driver.move("reset")
    assert driver.dr(0, bits=64) == 0x1B0A97E3_2C0178FB
    assert driver.ir(0x1FF, bits=9) & 1 == 1
    driver.move("pausedr")
    assert driver.tap_state == "pausedr" and driver.pod.status()["tap_state"] == "Pause-DR"
    with pytest.raises(talvor.UsageError, match="give device="):
        driver.dr(0, bits=32, ir=8)


def test_files_are_the_images_of_the_environment(board: Target, tmp_path: Path) -> None:
    driver = board.get_driver("TalvorDriver")
    seen: list[object] = []
    assert driver.play(progress=seen.append).compared_scans == 2 and seen
    driver.load()
    wrong = tmp_path / "wrong.svf"
    wrong.write_text("STATE RESET; SDR 64 TDI (0) TDO (1);")
    with pytest.raises(talvor.TargetError) as failed:
        driver.load(str(wrong))
    assert failed.value.report.mismatch_count == 1
    assert driver.play(wrong, keep_going=True).mismatch_count == 1
    driver.image = None
    with pytest.raises(talvor.UsageError, match="let image: name one"):
        driver.play()


def test_a_reset_resets_the_tap_too(board: Target) -> None:
    driver = board.get_driver("TalvorDriver")
    driver.move("pausedr")
    driver.reset()
    assert driver.tap_state == "reset"


def test_pins_are_those_of_the_pod(board: Target, monkeypatch: pytest.MonkeyPatch) -> None:
    driver = board.get_driver("TalvorDriver", activate=False)
    with pytest.raises(StateError):
        driver.pins
    board.activate(driver)
    own = property(lambda pod: ("pins of", pod))
    monkeypatch.setattr(talvor.Pod, "pins", own, raising=False)
    assert driver.pins == ("pins of", driver.pod)


def test_drivers_are_found_by_labgrids_protocols(board: Target) -> None:
    driver = board.get_driver("ResetProtocol")
    assert driver is board.get_driver("BootstrapProtocol") is board.get_driver("TalvorDriver")


def test_errors_of_the_target_are_the_packages_own(board: Target) -> None:
    driver = board.get_driver("TalvorDriver")
    driver.pod.power_off()
    with pytest.raises(talvor.TargetError) as failed:
        driver.chain()
    assert failed.value.thing == "TDO" and failed.value.next_step


def test_arguments_are_checked_when_the_environment_is_read() -> None:
    for arguments in ({"serial": "five"}, {"board": 5}, {"simulate": 5}):
        with pytest.raises(InvalidConfigError):
            target_factory.make_resource(Target("it"), "TalvorPod", None, arguments)
    arguments = {"host": "localhost", "protocol": "carrier pigeon"}
    with pytest.raises(ValueError, match="protocol"):
        target_factory.make_resource(Target("it"), "NetworkTalvorPod", None, arguments)


def test_the_example_passes(source: Path) -> None:
    folder = source / "examples/labgrid"
    done = run_pytest("--lg-env", folder / "simulated.yaml", folder)
    assert "7 passed" in done.stdout, done.stdout + done.stderr


def test_the_code_of_the_page_runs(source: Path) -> None:
    from test_checks import boxes

    (code,) = boxes(source / "docs/labgrid.md")
    done = subprocess.run([sys.executable, "-c", code], cwd=source, capture_output=True, text=True)
    expected = re.findall(r"# prints: (.*)", code)
    assert len(expected) == 3 and done.stdout.splitlines() == expected, done.stderr


# --- exported -------------------------------------------------------------------------------------


def exported(**params: Any) -> TalvorPodExport:
    """An export, as labgrid's exporter makes it."""
    data = {"avail": False, "cls": "TalvorPod", "params": params}
    return TalvorPodExport(data, host="localhost", proxy="bench.example", proxy_required=False)


@pytest.fixture()
def export(source: Path) -> Iterator[TalvorPodExport]:
    """The example's board, exported; clients reach the bridge without ssh."""
    made = exported(simulate=str(source / "examples/labgrid/board.toml"), exposed=True)
    made.poll()
    yield made
    if made.acquired and not made.broken:
        made.release()


def client_of(export: TalvorPodExport) -> tuple[Target, Any]:
    """A target with the resource that a client gets of the export, and its driver."""
    target = Target("client")
    resource = target_factory.make_resource(target, export.cls, "pod", export.args)
    resource.extra = export.extra
    return target, target_factory.make_driver(target, "TalvorDriver", None, {})


@pytest.mark.parametrize("protocol", ["xvc", "remote_bitbang"])
def test_a_client_works_with_an_acquired_pod(source: Path, protocol: str) -> None:
    folder = source / "examples/labgrid"
    export = exported(simulate=str(folder / "board.toml"), exposed=True, protocol=protocol)
    assert export.poll() and export.avail and export.params["port"] is None
    export.acquire("bench-3")
    target, driver = client_of(export)
    target.activate(driver)
    assert [device.name for device in driver.chain()] == ["bridge", "controller"]
    driver.dr(0xDEADBEEF, bits=32, device="controller", ir=8)
    assert driver.dr(bits=32, device="controller") == 0xDEADBEEF
    assert driver.play(folder / "self-test.svf").passed
    assert driver.pod.serial == 81
    target.cleanup()
    export.release()
    assert export.params["port"] is None and export.bridge is None and export.avail


def test_the_examples_tests_pass_through_a_bridge(
    source: Path, export: TalvorPodExport, tmp_path: Path
) -> None:
    export.acquire("bench-3")
    folder = source / "examples/labgrid"
    environment = (folder / "bridge.yaml").read_text()
    environment = environment.replace("2542", str(export.params["port"]))
    environment = environment.replace("self-test.svf", str(folder / "self-test.svf"))
    (tmp_path / "bridge.yaml").write_text(environment)
    done = run_pytest("--lg-env", tmp_path / "bridge.yaml", folder)
    assert "7 passed" in done.stdout, done.stdout + done.stderr


def test_clients_come_by_ssh_unless_the_pod_is_exposed(source: Path) -> None:
    described = str(source / "examples/labgrid/board.toml")
    for params, host, proxied in (({}, "localhost", True), ({"exposed": True}, "bench", False)):
        data = {"avail": False, "cls": "TalvorPod", "params": {"simulate": described, **params}}
        export = TalvorPodExport(data, host="bench", proxy="bench.example", proxy_required=False)
        export.poll()
        export.acquire("bench-3")
        assert export.params["host"] == host
        assert export.extra == {"proxy_required": proxied, "proxy": "bench.example"}
        assert export.bridge._ready()["ports"][0]["exposed"] is not proxied
        export.release()


def test_what_clients_are_told_can_be_sent(export: TalvorPodExport) -> None:
    export.acquire("bench-3")
    assert json.loads(json.dumps(export.asdict())) == export.asdict()
    chain = [(device["name"], device["ir"]) for device in export.params["devices"]]
    assert chain == [("bridge", 5), ("controller", 4)]


def test_a_place_that_is_not_acquired_has_no_bridge(export: TalvorPodExport) -> None:
    target, driver = client_of(export)
    with pytest.raises(talvor.PodError, match="acquire the place"):
        target.activate(driver)


def test_a_bridge_has_one_client_at_a_time(export: TalvorPodExport) -> None:
    export.acquire("bench-3")
    program = (
        "import sys, talvor\n"
        "text = f'[[pod]]\\nserial = 81\\ntarget = \"localhost:{sys.argv[1]}\"\\n'\n"
        "with talvor.simulate(text=text + 'target_protocol = \"xvc\"\\n') as pod:\n"
        "    print(len(pod.chain()), flush=True)\n"
        "    input()\n"
    )
    other = subprocess.Popen(
        [sys.executable, "-c", program, str(export.params["port"])],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    assert other.stdout.readline() == "2\n"
    target, driver = client_of(export)
    with pytest.raises(talvor.PodError, match="serves nobody else") as failed:
        target.activate(driver)
    assert failed.value.thing == f"bridge at localhost:{export.params['port']}"
    other.communicate("\n", timeout=PATIENCE_SECONDS)
    wait_until(lambda: '"event":"left"' in export.bridge._said())
    target.activate(driver)
    assert len(driver.chain()) == 2
    target.cleanup()


def test_a_lost_bridge_is_told_and_comes_again(export: TalvorPodExport) -> None:
    export.acquire("bench-3")
    target, driver = client_of(export)
    target.activate(driver)
    export.bridge._child.kill()
    export.bridge._child.wait()
    for work in (driver.chain, lambda: driver.dr(0, bits=8), lambda: driver.move("pausedr")):
        with pytest.raises(talvor.PodError, match="the bridge does not work any more: .*closed"):
            work()
    target.deactivate(driver)
    assert export.poll() and not export.avail and not export.broken
    assert "the bridge has ended: it has ended with status -9" == export.extra["reason"]
    export._look_at = 0.0
    assert export.poll() and export.avail and "reason" not in export.extra
    target.get_resource("NetworkTalvorPod").port = export.params["port"]
    target.activate(driver)
    assert len(driver.chain()) == 2
    target.cleanup()


def test_resets_go_through_a_bridge_that_has_them(source: Path, export: TalvorPodExport) -> None:
    export.acquire("bench-3")
    target, driver = client_of(export)
    target.activate(driver)
    with pytest.raises(talvor.RefusedError, match="export the pod with protocol: remote_bitbang"):
        driver.reset()
    target.cleanup()
    board = f"--simulate={source / 'examples/labgrid/board.toml'}"
    served = bridge.Bridge([board], "--rbb", "127.0.0.1", PATIENCE_SECONDS, ["--log"])
    target = Target("client")
    target_factory.make_resource(
        target,
        "NetworkTalvorPod",
        None,
        {"host": "localhost", "port": served.port, "protocol": "remote_bitbang"},
    )
    driver = target_factory.make_driver(target, "TalvorDriver", None, {})
    target.activate(driver)
    asserted = '{"event":"srst","asserted":true}'
    before = served._said().count(asserted)
    driver.reset()
    wait_until(lambda: served._said().count(asserted) > before)
    target.cleanup()
    served.stop()


# --- the pod's lock -------------------------------------------------------------------------------


@pytest.fixture()
def proxy(source: Path, build: Path, tmp_path: Path) -> Iterator[subprocess.Popen[bytes]]:
    """A pod proxy as on an exporter's machine, with pod 81."""
    ready = tmp_path / "proxy.ready"
    described = source / "examples/labgrid/board.toml"
    process = subprocess.Popen(
        [build / "bin/talvor-podsim", described, "--ready-file", ready], stdout=subprocess.DEVNULL
    )
    wait_until(ready.exists)
    yield process
    process.terminate()
    process.wait(PATIENCE_SECONDS)


def run_talvor(build: Path, *words: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [build / "bin/talvor", "--no-board", "--pod", "81", *words],
        capture_output=True,
        text=True,
        timeout=PATIENCE_SECONDS,
    )


def test_the_pod_is_locked_while_it_is_acquired(
    build: Path, proxy: subprocess.Popen[bytes]
) -> None:
    export = exported(serial=81)
    assert export.poll() and export.avail
    assert run_talvor(build, "chain").returncode == 0
    export.acquire("bench-3")
    refused = run_talvor(build, "chain")
    assert refused.returncode == 1 and "pod 81: used by" in refused.stderr
    assert "serve" in refused.stderr
    export.release()
    assert run_talvor(build, "chain").returncode == 0


def test_a_pod_in_use_is_unavailable_until_it_is_free(
    build: Path, proxy: subprocess.Popen[bytes]
) -> None:
    export = exported(serial=81)
    export.poll()
    user = bridge.Bridge(["--no-board", "--pod", "81"], "--xvc", "127.0.0.1", PATIENCE_SECONDS)
    export.acquire("bench-3")
    assert not export.avail and not export.broken and export.bridge is None
    export.poll()
    assert export.extra["reason"].startswith("pod 81: used by")
    user.stop()
    export._look_at = 0.0
    assert export.poll() and export.avail and export.params["port"] == export.bridge.port
    assert "reason" not in export.extra
    export.release()


def test_a_proxy_that_ends_takes_its_pod_along(proxy: subprocess.Popen[bytes]) -> None:
    export = exported()
    export.poll()
    export.acquire("bench-3")
    assert export.avail
    proxy.terminate()
    proxy.wait(PATIENCE_SECONDS)
    export._look_at = 0.0
    assert export.poll() and not export.avail and export.bridge is None
    assert export.extra["reason"] == "no pod is there; the pod proxy is absent"


def test_pods_that_are_not_there_are_unavailable(proxy: subprocess.Popen[bytes]) -> None:
    export = exported(serial=7)
    export.poll()
    assert not export.avail
    assert export.extra["reason"] == "pod 7 is not there; those that are: [81]"


def test_who_cannot_look_takes_no_pod_from_a_client(
    proxy: subprocess.Popen[bytes], monkeypatch: pytest.MonkeyPatch
) -> None:
    export = exported(serial=81)
    export.poll()
    export.acquire("bench-3")
    port = export.params["port"]
    monkeypatch.setattr("talvor.labgrid.export.command", lambda: "/dev/null/none")
    export._look_at = 0.0
    assert not export.poll() and export.avail and export.params["port"] == port
    export.release()
    export._look_at = 0.0
    assert export.poll() and not export.avail
    assert export.extra["reason"].startswith("talvor info: [Errno 20] Not a directory")


def test_a_board_file_tells_clients_the_chain(
    tmp_path: Path, proxy: subprocess.Popen[bytes]
) -> None:
    board = tmp_path / "board.toml"
    board.write_text(
        "[KELM]\nPOD_SN = 81\n[[device]]\nname = \"a \\\"b\\\"\"\nir = 5\n[[device]]\nir = 4\n"
    )
    export = exported(board=str(board), exposed=True)
    export.poll()
    assert export.params["serial"] == 81
    assert export.params["devices"] == [{"name": 'a "b"', "ir": 5}, {"name": "", "ir": 4}]
    board_text = talvor.labgrid.description.board_of(export.params["devices"])
    assert board_text == '[[device]]\nname = "a \\"b\\""\nir = 5\n[[device]]\nir = 4\n'
    export.acquire("bench-3")
    assert export.avail
    export.release()


def test_a_board_file_that_is_wrong_is_told_at_once(tmp_path: Path) -> None:
    with pytest.raises(talvor.FileError, match="cannot be read"):
        exported(board="/dev/null/none.toml")
    board = tmp_path / "board.toml"
    board.write_text("nonsense")
    with pytest.raises(talvor.FileError):
        exported(board=str(board))
    board.write_text("[nonsense]\n")
    export = exported(board=str(board), simulate=True)
    export.poll()
    with pytest.raises(talvor.UsageError, match="nonsense"):
        export.acquire("bench-3")
    assert export.broken == "start failed"


def test_a_bridge_ends_with_its_exporter(build: Path) -> None:
    program = (
        "import os\n"
        "from talvor.labgrid.bridge import Bridge\n"
        "bridge = Bridge(['--simulate'], '--xvc', '127.0.0.1', 30)\n"
        "print(bridge._child.pid, bridge._folder, flush=True)\n"
        "os.kill(os.getpid(), 9)\n"
    )
    done = subprocess.run(
        [sys.executable, "-c", program], stdout=subprocess.PIPE, text=True, timeout=60
    )
    assert done.returncode == -signal.SIGKILL
    process, folder = done.stdout.split()
    events = Path(folder) / "events"
    wait_until(lambda: '"event":"ended","signal":"SIGTERM"' in events.read_text())
    events.unlink()
    Path(folder).rmdir()


def test_a_clients_board_file_goes_before_what_the_exporter_tells(
    export: TalvorPodExport, tmp_path: Path
) -> None:
    (tmp_path / "boards").mkdir()
    board = tmp_path / "boards/client.toml"
    board.write_text(
        '[VEXIL]\nLINKDLY = 31\n[[device]]\nname = "one"\nir = 5\n[[device]]\nname = "two"\n'
    )
    export.acquire("bench-3")
    target, driver = client_of(export)
    driver.board = str(board)
    target.activate(driver)
    assert [(device.name, device.ir_bits) for device in driver.chain()] == [("one", 5), ("two", 4)]
    target.cleanup()
    board.write_text('[[device]]\nbsdl = "parts/one.bsd"\n')
    (device,) = talvor.labgrid.description.devices_in(str(board))
    assert device == {"bsdl": f"{tmp_path}/boards/parts/one.bsd"}
    assert f'bsdl = "{tmp_path}/boards/parts/one.bsd"' in talvor.labgrid.description.board_of([device])


# --- with coordinator and exporter ----------------------------------------------------------------


class Lab:
    """labgrid's coordinator, an exporter that shares the example's board, and clients."""

    def __init__(self, folder: Path, source: Path, environment: dict[str, str], share: str) -> None:
        self.folder = folder
        self.example = source / "examples/labgrid"
        self.environment = {**os.environ, "PYTEST_ADDOPTS": "", **environment}
        self.processes: list[subprocess.Popen[str]] = []
        (folder / "exporter.yaml").write_text(share)
        self.coordinator = source / "python/tests/labgrid_coordinator.py"

    def __enter__(self) -> Lab:
        self.start("coordinator.log", self.coordinator)
        try:
            wait_until(self.url)
            self.environment["LG_CROSSBAR"] = self.url()
            exporter = ("-m", "talvor.labgrid.exporter", "-n", "lab", "--hostname", "localhost")
            self.start("exporter.log", *exporter, "exporter.yaml")
            wait_until(lambda: "'cls': 'NetworkTalvorPod'" in self.log("exporter.log"))
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_: object) -> None:
        for process in reversed(self.processes):
            process.terminate()
            process.wait(PATIENCE_SECONDS)

    def url(self) -> str:
        """The coordinator's; empty before it is ready."""
        found = re.search(r"^ready (\S+)\n", self.log("coordinator.log"), flags=re.M)
        return found[1] if found else ""

    def start(self, log: str, *words: str | Path) -> None:
        with open(self.folder / log, "w") as out:
            self.processes.append(
                subprocess.Popen(
                    [sys.executable, "-u", *map(str, words)],
                    cwd=self.folder,
                    env=self.environment,
                    stdout=out,
                    stderr=subprocess.STDOUT,
                )
            )

    def log(self, name: str) -> str:
        return (self.folder / name).read_text()

    def run(self, *words: str | Path) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [sys.executable, "-m", *map(str, words)],
            cwd=self.folder,
            env=self.environment,
            capture_output=True,
            text=True,
            timeout=100,
        )

    def client(self, *words: str) -> str:
        done = self.run("labgrid.remote.client", *words)
        assert done.returncode == 0, done.stdout + done.stderr
        return done.stdout

    def acquire(self) -> None:
        self.client("-p", "bench-3", "create")
        self.client("-p", "bench-3", "add-match", "lab/bench-3/*")
        self.client("-p", "bench-3", "acquire")

    def run_the_examples_tests(self) -> str:
        done = self.run(
            "pytest", "-q", "-p", "no:cacheprovider",
            "--lg-env", self.example / "remote.yaml", self.example,
        )
        return done.stdout + done.stderr


def test_a_lab_shares_a_pod(source: Path, tmp_path: Path) -> None:
    board = source / "examples/labgrid/board.toml"
    share = f"bench-3:\n  TalvorPod:\n    simulate: {board}\n    exposed: true\n"
    with Lab(tmp_path, source, {}, share) as lab:
        lab.acquire()
        assert re.search(r"'port'[,:] \d+", lab.log("exporter.log"))
        assert "7 passed" in (said := lab.run_the_examples_tests()), said
        lab.client("-p", "bench-3", "release")
        assert re.search(r"'acquired': None,\s*'avail': True", lab.client("-v", "resources"))
        assert re.search(r"'port'[,:] None", lab.log("exporter.log").splitlines()[-1])


@pytest.fixture()
def ssh(tmp_path: Path) -> Iterator[str]:
    """An SSH server of the test's own; a PATH whose ``ssh`` goes there."""
    folder = tmp_path / "ssh"
    folder.mkdir()
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    for name in ("host", "client"):
        subprocess.run(
            ["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / name], check=True
        )
    shutil.copy(folder / "client.pub", folder / "authorized")
    known = (folder / "host.pub").read_text()
    (folder / "known").write_text(f"[localhost]:{port} {known}")
    (folder / "sshd_config").write_text(
        f"Port {port}\nListenAddress 127.0.0.1\nHostKey {folder}/host\nPidFile none\n"
        f"AuthorizedKeysFile {folder}/authorized\nStrictModes no\nUsePAM no\n"
        "PasswordAuthentication no\n"
    )
    (folder / "ssh_config").write_text(
        f"Host *\n  Port {port}\n  HostName localhost\n  IdentityFile {folder}/client\n"
        f"  UserKnownHostsFile {folder}/known\n"
    )
    (folder / "bin").mkdir()
    (folder / "bin/ssh").write_text(
        f'#!/bin/sh\nexec {shutil.which("ssh")} -F {folder}/ssh_config "$@"\n'
    )
    (folder / "bin/ssh").chmod(0o755)
    server = subprocess.Popen([SSHD, "-D", "-e", "-f", folder / "sshd_config"])
    yield f"{folder}/bin:{os.environ['PATH']}"
    server.terminate()
    server.wait(PATIENCE_SECONDS)


@pytest.mark.skipif(SSHD is None, reason="openssh-server is not installed")
def test_a_lab_shares_a_pod_by_ssh(source: Path, tmp_path: Path, ssh: str) -> None:
    board = source / "examples/labgrid/board.toml"
    share = f"bench-3:\n  TalvorPod:\n    simulate: {board}\n"
    with Lab(tmp_path, source, {"PATH": ssh}, share) as lab:
        lab.acquire()
        assert "'proxy_required': True" in lab.log("exporter.log")
        assert "7 passed" in (said := lab.run_the_examples_tests()), said
