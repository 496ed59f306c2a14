"""terminal.py SCRIPT COMMAND...: runs COMMAND on a terminal of its own, without echo.

The lines of SCRIPT are "expect TEXT", "type TEXT" (Python escapes), "kill SIGNAL", "resize" and, at
its end, "hang up". Says all that came, and ends with COMMAND's exit code."""
import fcntl
import os
import pty
import select
import signal
import struct
import sys
import termios

PATIENCE = 60


def receive(terminal):
    if not select.select([terminal], [], [], PATIENCE)[0]:
        raise SystemExit("nothing comes from the terminal")
    try:
        return os.read(terminal, 4096)
    except OSError:  # all processes on the terminal are gone
        return b""


def expect(terminal, text):
    got = b""
    while text not in got:
        byte = receive(terminal)
        if not byte:
            raise SystemExit(f"{text} never came, only {got}")
        got += byte
    return got


def perform(line, terminal, pid):
    verb, _, text = line.strip().partition(" ")
    text = text.encode().decode("unicode_escape").encode()
    if verb == "expect":
        return expect(terminal, text)
    if verb == "type":
        os.write(terminal, text)
    elif verb == "kill":
        os.kill(pid, signal.Signals[text.decode()])
    elif verb == "resize":
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("4H", 40, 90, 0, 0))
    elif verb == "hang":
        os.close(terminal)
        end(pid)
    return b""


def end(pid):
    raise SystemExit(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]))


pid, terminal = pty.fork()
if pid == 0:
    attributes = termios.tcgetattr(0)
    # A typed signal would throw away output that is still on its way.
    attributes[3] = attributes[3] & ~termios.ECHO | termios.NOFLSH
    termios.tcsetattr(0, termios.TCSANOW, attributes)
    os.execvp(sys.argv[2], sys.argv[2:])
output = b"".join(perform(line, terminal, pid) for line in sys.argv[1].splitlines())
while chunk := receive(terminal):
    output += chunk
sys.stdout.buffer.write(output.replace(b"\r", b""))
sys.stdout.flush()
end(pid)
