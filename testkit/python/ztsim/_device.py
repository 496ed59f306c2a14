import json
import os
import subprocess
from typing import Any, Dict, List, Optional, Sequence, Type, TypeVar, overload

from . import _protocol

_DONE = "0"
_TOO_LATE = "3"
_Self = TypeVar("_Self", bound="Device")


class Error(Exception):
    """Something could not be done; the text says what, and what to do about it."""


class NotSaid(Error):
    """The program has not said in time what was waited for."""


class Device:
    """The device that this process is on, or else the only one that this user runs, or that of a name."""

    def __init__(self, name: Optional[str] = None) -> None:
        found = [device for device in _protocol.find_devices() if name in (None, device.name)]
        if name is None:
            found = [device for device in found if _protocol.is_here(device)] or found
        if len(found) > 1:
            raise Error('several devices run here: give the name of one, "ztsim ctl list" has them')
        if not found:
            raise Error(
                "no device runs here: run this program by ztsim, or see ztsim.OwnDevice"
                if name is None
                else f"no device named {name} runs here: start one with ztsim --name {name}"
            )
        self._address = found[0].text

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.end()

    def start(self, *command: str, **popen: Any) -> "subprocess.Popen[Any]":
        """Runs a program on the device that this process is on; takes what subprocess.Popen does."""
        return subprocess.Popen(command, **popen)

    def end(self) -> None:
        """Does nothing, for somebody else has started this device."""

    @overload
    def power_state(self) -> int: ...
    @overload
    def power_state(self, state: int) -> None: ...
    def power_state(self, state: Optional[int] = None) -> Optional[int]:
        return self._number("power", state)

    @overload
    def timeout(self, state: int) -> int: ...
    @overload
    def timeout(self, state: int, value: int) -> None: ...
    def timeout(self, state: int, value: Optional[int] = None) -> Optional[int]:
        return self._number("timeout", state, value)

    @overload
    def propagation_time(self) -> int: ...
    @overload
    def propagation_time(self, time: int) -> None: ...
    def propagation_time(self, time: Optional[int] = None) -> Optional[int]:
        return self._number("propagation", time)

    @overload
    def device_state(self, name: str) -> int: ...
    @overload
    def device_state(self, name: str, state: int) -> None: ...
    def device_state(self, name: str, state: Optional[int] = None) -> Optional[int]:
        return self._number("device", name, state)

    @overload
    def health_field(self, name: str) -> str: ...
    @overload
    def health_field(self, name: str, value: object) -> None: ...
    def health_field(self, name: str, value: Optional[object] = None) -> Optional[str]:
        answer = self._say("health", name, value)
        return answer[0] if answer else None

    def hang_up(self, daemon: Optional[str] = None) -> None:
        self._say("hang-up", daemon)

    def power_fault(self, fault: str) -> None:
        """A fault such as "silence", for the next record, "hang-up@timeout" or "silence@10%", or "none"."""
        self._say("power-fault", fault)

    def health_fault(self, fault: str) -> None:
        self._say("health-fault", fault)

    def slow(self, seconds: float, daemon: Optional[str] = None) -> None:
        """From now on each record is handled so much later."""
        self._say("slow", f"{seconds:.3f}s", daemon)

    def deaf(self, is_deaf: bool, daemon: Optional[str] = None) -> None:
        """Clients are accepted, and nothing they say is handled, until it is deaf no more."""
        self._say("deaf", "on" if is_deaf else "off", daemon)

    def await_record(self, record: str, seconds: float = 10) -> None:
        """Returns when the program has said that, be it before this call; raises NotSaid if it has not by then."""
        self._say("await", "--since-start", "--wait", f"{seconds:.3f}", *record.split())

    def await_next_record(self, record: str, seconds: float = 10) -> None:
        """The same, but what was said before this call does not count."""
        self._say("await", "--wait", f"{seconds:.3f}", *record.split())

    def records(self, record: str = "any") -> List[str]:
        """What the program has said, as far as it begins with these words."""
        return self._say("records", *record.split())

    def count_records(self, record: str = "any") -> int:
        return int(self._say("count", *record.split())[0])

    def show(self) -> Dict[str, Any]:
        """All that there is, as "ztsim ctl show --json" has it."""
        state: Dict[str, Any] = json.loads(self._say("show", "--json")[0])
        return state

    def say(self, words: Sequence[str]) -> List[str]:
        """Any command, and the lines that answer it."""
        answer = _protocol.say(self._where(), words)
        if answer is None:
            raise Error("the device has ended")
        if answer.outcome != _DONE:
            kind: Type[Error] = NotSaid if answer.outcome == _TOO_LATE else Error
            raise kind(answer.lines[0])
        return answer.lines

    def _where(self) -> str:
        return self._address

    def _say(self, *words: object) -> List[str]:
        return self.say([str(word) for word in words if word is not None])

    def _number(self, *words: object) -> Optional[int]:
        answer = self._say(*words)
        return int(answer[0]) if answer else None


class OwnDevice(Device):
    """A device of one's own, with these options of ztsim. It is there from start() on, and ends with what that has
    started, with the `with` that it stands in, and with this process.

    The environment variable ZTSIM names the ztsim to run, or else it is that on the PATH.
    """

    def __init__(self, options: Sequence[str] = ()) -> None:  # pylint: disable=super-init-not-called
        self.options = list(options)
        self.process: Optional["subprocess.Popen[Any]"] = None
        self._address = ""
        self._lifeline = -1

    def start(self, *command: str, **popen: Any) -> "subprocess.Popen[Any]":
        """Runs a program on the device; takes what subprocess.Popen does. The daemons listen by the time this returns,
        and the exit code is that of the program."""
        if self.process is not None:
            raise Error("a program was started on this device: another one needs a device of its own")
        ready, is_ready = os.pipe()
        life, self._lifeline = os.pipe()
        ztsim = [os.environ.get("ZTSIM", "ztsim"), "--ready-fd", str(is_ready), "--lifeline-fd", str(life)]
        try:
            self.process = subprocess.Popen([*ztsim, *self.options, "--", *command], pass_fds=(is_ready, life), **popen)
        except FileNotFoundError as error:
            os.close(ready)
            raise Error(
                f"cannot run {ztsim[0]}: put the folder of ztsim on the PATH, or set ZTSIM to its path"
            ) from error
        finally:
            os.close(is_ready)
            os.close(life)
        with os.fdopen(ready) as line:
            if not line.readline():
                raise Error(
                    f"ztsim ended with {self.process.wait()} before its device was ready: "
                    "see what it says on standard error"
                )
        pid = self.process.pid
        self._address = next((found.text for found in _protocol.find_devices() if found.pid == pid), "")
        return self.process

    def end(self) -> None:
        """Kills all on the device."""
        if self._lifeline >= 0:
            try:
                os.write(self._lifeline, b"\0")  # reaches it even if somebody has inherited this end
            except BrokenPipeError:
                pass
            os.close(self._lifeline)
            self._lifeline = -1
        if self.process is not None:
            self.process.wait()

    def _where(self) -> str:
        if self.process is None:
            raise Error("this device is not there yet: device.start() runs a program on it")
        return self._address
