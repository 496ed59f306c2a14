"""What script/device does with a command, at a console, with a disk, and where something is missing."""

import os
import pathlib
import pty
import re
import signal
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
MACHINE = ROOT / "build/machine"


def device(*arguments, **options):
    return subprocess.run(["script/device", *map(str, arguments)], cwd=ROOT, capture_output=True, text=True, check=False,
                          stdin=subprocess.DEVNULL, **options)


def jobs():
    return set((MACHINE / "jobs").iterdir())


@pytest.mark.parametrize("arguments, complaint", [
    (["--unknown"], "script/device: unknown option --unknown\n"),
    (["--disk"], "script/device: --disk needs a file\n"),
    (["--disk", "/no/such/disk", "--", "true"], "script/device: no disk is at /no/such/disk\n"),
])
def test_a_wrong_call_is_refused_at_once(arguments, complaint):
    ran = device(*arguments)
    assert (ran.returncode, ran.stdout, ran.stderr) == (125, "", complaint)


@pytest.fixture(scope="module", autouse=True)
def up_to_date_machine():
    """What is built says so on standard error."""
    device("--", "true")


def test_a_command_has_its_own_exit_code_outputs_and_arguments():
    before = jobs()
    ran = device("--", "bash", "-c", 'echo "$PWD"; echo "$1" >&2; exit 7', "bash", "it's  two")
    assert (ran.returncode, ran.stdout, ran.stderr) == (7, f"{ROOT}\n", "it's  two\n")
    assert jobs() == before


def test_a_machine_that_ends_by_itself_gives_125():
    ran = device("--", "busybox", "poweroff", "-f")
    assert ran.returncode == 125
    assert ran.stderr.endswith("script/device: the machine ended without a result\n")


def test_what_is_changed_outside_of_this_folder_is_lost_and_a_disk_is_kept(tmp_path):
    disk = tmp_path / "disk"
    disk.write_bytes(bytes(1 << 20))
    ran = device("--disk", disk, "--", "sh", "-c", "touch /etc/changed && printf kept | dd of=/dev/vdb conv=notrunc && sync")
    assert ran.returncode == 0
    assert disk.read_bytes()[:5] == b"kept\0"
    assert device("--", "test", "-e", "/etc/changed").returncode == 1


def test_the_emulator_ends_with_a_script_that_is_ended():
    before = jobs()
    with subprocess.Popen(["script/device", "--", "sh", "-c", "echo up; sleep 1000"], cwd=ROOT, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE) as running:
        assert running.stdout.readline() == "up\n"
        (job,) = jobs() - before
        running.send_signal(signal.SIGTERM)
    assert jobs() == before
    commands = subprocess.run(["ps", "-e", "-o", "args"], check=True, capture_output=True, text=True).stdout
    assert f"zt_job={job.name}" not in commands


class Console:
    def __init__(self, *arguments):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(ROOT)
            os.execv("script/device", ["script/device", *arguments])
        self.text = ""

    def await_text(self, expression):
        while not re.search(expression, self.text):
            self.text += os.read(self.terminal, 4096).decode()

    def type(self, line):
        os.write(self.terminal, f"{line}\n".encode())

    def end(self):
        try:
            while True:
                self.text += os.read(self.terminal, 4096).decode()
        except OSError:  # the other side is closed
            return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


def test_the_console_has_zt_and_ends_with_the_shell():
    console = Console()
    console.await_text(r"The device\. zt is the library from the shell; exit switches the device off\.")
    console.await_text(r"# $")
    console.type("zt power state 2 && echo state $(zt power state)")
    console.await_text(r"\nstate 2\r")
    console.type("exit")
    assert console.end() == 0


@pytest.fixture(name="fresh")
def clone_without_downloads(tmp_path):
    """A clone that has what the cross compiler needs, and nothing of the machine."""
    clone = tmp_path / "clone"
    subprocess.run(["git", "clone", "--quiet", ROOT, clone], check=True)
    (clone / "build").mkdir()
    (clone / "build/armhf-sysroot").symlink_to(ROOT / "build/armhf-sysroot")
    (tmp_path / "bin").mkdir()
    return clone


def bootstrap(clone, command, script):
    stub = clone.parent / "bin" / command
    stub.write_text(f"#!/bin/sh\n{script}\n")
    stub.chmod(0o755)
    return subprocess.run(["script/device", "--", "true"], cwd=clone, capture_output=True, text=True, check=False,
                          env={**os.environ, "PATH": f"{stub.parent}:{os.environ['PATH']}"})


def test_a_machine_without_room_is_told_in_a_line(fresh):
    ran = bootstrap(fresh, "df", "echo '1999M'")
    assert ran.returncode == 1
    assert ran.stderr.splitlines()[-1] == "The device as a machine needs 2 GB in build, and there is less"


def test_a_machine_without_the_archive_is_told_in_a_line(fresh):
    ran = bootstrap(fresh, "apt-get", "exit 100")
    assert ran.returncode == 1
    assert ran.stderr.splitlines()[-1] == "The Debian archive cannot be reached, or lacks a package for the device"
    assert not (fresh / "build/machine/packages").exists()
