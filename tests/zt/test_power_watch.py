"""What "zt power watch" prints while things happen on its device."""

import json
import os
import subprocess

import pytest


def watch(device, *options):
    """Returns once it listens."""
    command = [os.environ["ZT"], "power", "watch", *options]
    watching = device.start(*command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert watching.stderr.readline() == "zt: listening to the power-management daemon\n"
    return watching


def test_ends_after_a_count(device):
    watching = watch(device, "--count", "2")
    device.power_state(5)
    device.power_state(3)
    assert watching.communicate() == ("new-state 5\nnew-state 3\n", "")
    assert watching.returncode == 0


@pytest.mark.ztsim("--power-away", "100")
def test_says_when_the_daemon_goes_away_and_comes_back(device):
    watching = watch(device)
    device.hang_up("power")
    assert [watching.stdout.readline() for _ in range(2)] == ["daemon-gone\n", "daemon-back\n"]
    device.power_state(2)
    assert watching.stdout.readline() == "new-state 2\n"
    watching.terminate()
    assert watching.wait() == 0


@pytest.mark.ztsim("--power-away", "100")
def test_says_so_in_json(device):
    watching = watch(device, "--json")
    device.hang_up("power")
    heard = [json.loads(watching.stdout.readline()) for _ in range(2)]
    device.power_state(2)
    heard.append(json.loads(watching.stdout.readline()))
    assert [set(event) for event in heard] == [{"event", "time"}, {"event", "time"}, {"event", "time", "state"}]
    assert [event["event"] for event in heard] == ["daemon-gone", "daemon-back", "new-state"]
    assert heard[2]["state"] == 2
    watching.terminate()
    assert watching.wait() == 0
