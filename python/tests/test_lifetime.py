"""What lives how long: pods, threads, copies of the process, Ctrl-C."""

from __future__ import annotations

import gc
import os
import signal
import subprocess
import sys
import threading
import time

import pytest

import talvor
from talvor import lib


def test_everything_of_a_closed_pod_raises() -> None:
    pod = talvor.simulate(trace=True)
    device, registers, operation = pod.device["cpu"], pod.registers, pod.lib.GetState
    devices, chain, cpu = pod.device, pod.chain(), pod.target["cpu"]
    pod.close()
    pod.close()
    assert pod.closed and repr(pod) == "<SimulatedPod, closed>"
    for call in (
        lambda: pod.dr(0, bits=8),
        lambda: pod.state,
        lambda: pod.chain(),
        lambda: pod.play("x.svf"),
        lambda: pod.trace(),
        lambda: pod.power_off(),
        lambda: pod.status(),
        lambda: pod.shmoo(),
        lambda: device.dr(0, bits=8),
        lambda: chain[0].ir(0),
        lambda: registers[3],
        lambda: operation(None),
        lambda: pod.pins.sample(),
        lambda: next(iter(pod.pins.watch())),
        lambda: pod.pins.drive(),
        lambda: pod.interconnect("nets.toml"),
        lambda: pod.break_net("TDO"),
        lambda: pod.nets,
        lambda: cpu["idcode"],
        lambda: cpu.instruction,
    ):
        with pytest.raises(talvor.ClosedError, match="open it again"):
            call()
    assert devices["cpu"].name == "cpu"


def test_a_with_block_closes_also_behind_an_error() -> None:
    with pytest.raises(LookupError):
        with talvor.simulate() as pod:
            raise LookupError
    assert pod.closed


def test_a_pod_that_nobody_keeps_is_closed() -> None:
    pod = talvor.simulate()
    process = pod.status()  # it serves
    assert process
    del pod
    gc.collect()
    with talvor.simulate() as other:
        assert other.chain()


def test_threads_take_turns(pod: talvor.SimulatedPod) -> None:
    pod.ir((1 << 33) - 1, bits=33)
    wrong: list[int] = []

    def work(value: int) -> None:
        for _ in range(100):
            if pod.dr(value, bits=37) != value << 5:
                wrong.append(value)

    threads = [threading.Thread(target=work, args=(value,)) for value in (1, 2, 0xFFFF, 0x1234)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []


def test_other_threads_run_during_a_scan(pod: talvor.SimulatedPod) -> None:
    pod.latency(300_000)
    counted = []
    stop = threading.Event()

    def count() -> None:
        while not stop.is_set():
            counted.append(None)
            time.sleep(0.001)

    thread = threading.Thread(target=count)
    thread.start()
    before = len(counted)
    pod.dr(0, bits=8)
    during = len(counted) - before
    stop.set()
    thread.join()
    assert during > 10


def test_closing_waits_for_the_scan_of_another_thread(pod: talvor.SimulatedPod) -> None:
    pod.latency(200_000)
    outcome: list[object] = []

    def scan() -> None:
        try:
            outcome.append(pod.dr(0, bits=8))
        except talvor.ClosedError as error:
            outcome.append(error)

    thread = threading.Thread(target=scan)
    thread.start()
    time.sleep(0.05)
    pod.close()
    thread.join()
    assert len(outcome) == 1


def test_a_callback_may_not_use_the_pod(pod: talvor.SimulatedPod) -> None:
    with pytest.raises(talvor.RefusedError, match="progress callback"):
        pod.shmoo(clocks=2, delays=(0, 0), bits=8, progress=lambda *_: pod.state)
    with pytest.raises(talvor.RefusedError, match="progress callback"):
        pod.shmoo(clocks=2, delays=(0, 0), bits=8, progress=lambda *_: pod.close())
    assert len(pod.chain()) == 5


def test_a_copy_of_the_process_leaves_the_pod_alone(pod: talvor.SimulatedPod) -> None:
    child = os.fork()
    if child == 0:
        code = 1
        try:
            pod.dr(0, bits=8)
        except talvor.RefusedError:
            pod.close()
            code = 0
        os._exit(code)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    assert len(pod.chain()) == 5


@pytest.mark.parametrize(
    "call",
    [
        "pod.run(seconds=60)",
        "pod.play(file)",
        "pod.shmoo(clocks=200, bits=100_000)",
        "[pod.dr(bytes(1 << 20)) for _ in range(100_000)]",
    ],
)
def test_ctrl_c_ends_a_long_call_and_the_pod_is_as_good_as_before(call: str, tmp_path) -> None:  # type: ignore[no-untyped-def]
    file = tmp_path / "long.svf"
    file.write_text("RUNTEST 60 SEC;\n")
    program = f"""
import signal, talvor
pod = talvor.simulate()
file = {str(file)!r}
print("ready", flush=True)
try:
    {call}
except KeyboardInterrupt:
    print("interrupted", len(pod.chain()), signal.getsignal(signal.SIGINT).__name__)
pod.close()
"""
    process = subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, text=True)
    assert process.stdout is not None and process.stdout.readline() == "ready\n"
    time.sleep(0.3)
    process.send_signal(signal.SIGINT)
    said, _ = process.communicate(timeout=60)
    assert said == "interrupted 5 default_int_handler\n"
    assert process.returncode == 0


def test_a_program_that_ends_with_an_open_pod_ends_well() -> None:
    program = "import talvor; pod = talvor.simulate(); pod.dr(1, bits=8, receive=False)"
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert (done.returncode, done.stderr) == (0, "")


def test_a_simulator_that_dies_is_named(pod: talvor.SimulatedPod) -> None:
    served = subprocess.run(
        ["pgrep", "-P", str(os.getpid()), "-f", "talvor-podsim"], capture_output=True, text=True
    )
    os.kill(int(served.stdout.split()[0]), signal.SIGKILL)
    with pytest.raises(talvor.PodError, match="proxy"):
        pod.chain()
    with pytest.raises(talvor.TalvorError):
        pod.close()
    assert pod.closed


def test_operations_hold_the_pod_no_longer_than_it_lives(pod: talvor.SimulatedPod) -> None:
    operations = pod.lib
    pod.close()
    with pytest.raises(talvor.ClosedError):
        operations.PodStatus(lib.JSC_PodStatus())
