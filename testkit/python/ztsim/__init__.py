"""Drives a simulated device, which ztsim runs, from tests.

The words and their meaning are those of "ztsim ctl", see the manual page of ztsim. A `daemon` is "power" or
"health", or both if it is None. A `record` is the first words of what a program says to a daemon, such as
"timeout 2". With pytest the fixture `device` is there by itself.
"""

from ._device import Device, Error, NotSaid, OwnDevice

__all__ = ["Device", "Error", "NotSaid", "OwnDevice"]
