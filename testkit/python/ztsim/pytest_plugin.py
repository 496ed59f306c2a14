"""The fixture `device`, for pytest."""

from typing import Iterator

import pytest

from . import _protocol
from ._device import Device, OwnDevice


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "ztsim(*options): the options of ztsim for the device of this test")


@pytest.fixture
def device(request: pytest.FixtureRequest) -> Iterator[Device]:
    """A device of the test's own, which is there from device.start() on, and ends with the test.

    Where pytest itself runs on a device (ztsim -- pytest) it is that one, for all tests.
    """
    if any(_protocol.is_here(found) for found in _protocol.find_devices()):
        yield Device()
        return
    options = [option for mark in request.node.iter_markers("ztsim") for option in mark.args]
    with OwnDevice(options) as own:
        yield own
