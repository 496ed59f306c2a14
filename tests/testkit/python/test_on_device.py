"""Run on a device, on which the fixture is that device: ztsim --power-state 1 -- pytest"""

import os
import subprocess

import ztsim

POWER = os.path.join(os.path.dirname(__file__), "../../ztsim/power.py")


def test_the_device_is_the_one_below(device):
    assert isinstance(device, ztsim.Device) and not isinstance(device, ztsim.OwnDevice)
    assert device.power_state() == 1
    assert ztsim.Device().power_state() == 1
    with device.start("python3", POWER, "8?", stdout=subprocess.PIPE, text=True) as program:
        assert program.stdout.read() == "10\n"
    device.await_record("power .")
    device.end()
    assert device.count_records() == 1
