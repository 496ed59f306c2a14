"""Devices of the tests' own, by the fixture and without."""

import os
import signal
import subprocess
import sys

import pytest

import ztsim

POWER = os.path.join(os.path.dirname(__file__), "../../ztsim/power.py")


def test_a_program_runs_on_the_device_of_the_fixture(device):
    saying = 'python3 "$0" "0,2?" "9,5?"; exec cat'
    program = device.start("sh", "-c", saying, POWER, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    device.await_record("timeout 2")
    device.await_record("power 5 .")
    assert program.communicate()[0] == "2\n11\n"
    assert program.returncode == 0


def test_the_exit_code_is_that_of_the_program(device):
    assert device.start("sh", "-c", "exit 7").wait() == 7
    with pytest.raises(ztsim.Error, match="^the device has ended$"):
        device.power_state()


@pytest.mark.ztsim("--power-state", "2", "--health-field", "serial-number=A  1")
def test_the_options_are_those_of_the_mark(device):
    device.start("sleep", "infinity")
    assert device.power_state() == 2
    assert device.health_field("serial-number") == "A  1"


def test_the_device_tells_what_it_was_told(device):
    device.start("sleep", "infinity")
    device.power_state(4)
    device.timeout(3, 4294967295)
    device.propagation_time(30)
    device.device_state("rs232", -5)
    device.health_field("serial-number", "\x1b\udcff")
    device.health_field("product-type", 7)
    assert device.power_state() == 4
    assert device.timeout(3) == 4294967295
    assert device.propagation_time() == 30
    assert device.device_state("console") == -5
    assert device.health_field("serial-number") == "\x1b\udcff"
    assert device.health_field("product-type") == "7"
    assert device.show()["power"]["state"] == 4


def test_the_device_says_what_it_refuses(device):
    with pytest.raises(ztsim.Error, match=r"^this device is not there yet: device\.start\(\) runs a program on it$"):
        device.power_state()
    device.start("sleep", "infinity")
    with pytest.raises(ztsim.Error, match=r'^power: STATE: "7" is not in 0\.\.6$'):
        device.power_state(7)
    with pytest.raises(ztsim.Error, match="^a program was started on this device: another one needs a device of its own$"):
        device.start("true")


def test_it_waits_and_counts(device):
    device.start("sh", "-c", 'python3 "$0" 1,2,9 "8?"; exec sleep infinity', POWER, stdout=subprocess.DEVNULL)
    device.await_record("power .")
    assert device.records() == ["timeout 2 9", "power"]
    assert device.records("timeout any 9") == ["timeout 2 9"]
    assert device.records("propagation") == []
    assert device.count_records() == 2
    with pytest.raises(ztsim.NotSaid, match='^no client has said "power" in time$'):
        device.await_next_record("power", 0.001)
    with pytest.raises(ztsim.NotSaid, match='^no client has said "device" in time$'):
        device.await_record("device", 0)


def test_it_awaits_the_next_record(device):
    device.start("sh", "-c", 'while python3 "$0" "8?"; do :; done', POWER, stdout=subprocess.DEVNULL)
    device.await_next_record("power", 60)


def test_it_disturbs_the_program(device):
    device.start("sleep", "infinity")
    device.power_fault("silence@timeout 2")
    device.power_fault("hang-up@10%")
    device.health_fault("unterminated")
    device.slow(0.25, "power")
    device.deaf(True, "health")
    state = device.show()
    assert state["power"]["faults"] == ["silence@timeout 2", "hang-up@10%"]
    assert state["power"]["slow"] == "250ms"
    assert state["health"]["faults"] == ["unterminated@1"]
    assert state["health"]["deaf"] is True
    device.deaf(False)
    device.hang_up("power")
    device.hang_up()
    state = device.show()
    assert state["health"]["deaf"] is False
    assert state["power"]["away"] is True


def test_ten_devices_at_once():
    devices = [ztsim.OwnDevice(["--power-timeout", f"1={number}"]) for number in range(10)]
    for own in devices:
        own.start("sleep", "infinity")
    assert [own.timeout(1) for own in devices] == list(range(10))
    for own in devices:
        own.end()


def test_a_device_is_found_by_its_name():
    name = f"found-{os.getpid()}"
    with ztsim.OwnDevice(["--name", name]) as own:
        own.start("sleep", "infinity")
        found = ztsim.Device(name)
        found.power_state(3)
        found.end()
        assert own.power_state() == 3
    with pytest.raises(ztsim.Error, match=f"^no device named {name} runs here: start one with ztsim --name {name}$"):
        ztsim.Device(name)


def test_nothing_is_left_of_a_device(device):
    program = device.start("sh", "-c", "sleep infinity & exec sleep infinity", stdout=subprocess.PIPE)
    device.end()
    assert program.stdout.read() == b""


def test_nothing_is_left_of_a_device_when_the_test_is_killed():
    killed = subprocess.run(
        [sys.executable, "-c", "import os, ztsim; ztsim.OwnDevice().start('sleep', 'infinity'); os.kill(os.getpid(), 9)"],
        stdout=subprocess.PIPE,
        check=False,
    )  # returns at the end of its output, which every process of the device has open
    assert killed.returncode == -signal.SIGKILL


def test_it_says_what_is_missing(device, monkeypatch):
    monkeypatch.setenv("ZTSIM", "/nonesuch")
    with pytest.raises(
        ztsim.Error,
        match="^cannot run /nonesuch: put the folder of ztsim on the PATH, or set ZTSIM to its path$",
    ):
        device.start("true")


@pytest.mark.ztsim("--bogus")
def test_it_says_that_the_device_never_was_ready(device):
    with pytest.raises(
        ztsim.Error, match="^ztsim ended with 125 before its device was ready: see what it says on standard error$"
    ):
        device.start("true", stderr=subprocess.DEVNULL)


def test_no_descriptor_is_left():
    before = os.listdir("/proc/self/fd")
    for options in [], ["--bogus"]:
        with ztsim.OwnDevice(options) as own:
            try:
                own.start("true", stderr=subprocess.DEVNULL)
            except ztsim.Error:
                pass
    assert os.listdir("/proc/self/fd") == before
