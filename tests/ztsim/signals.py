"""Says "ready", then the name of each signal it gets, and ends with 7 at SIGUSR2."""
import signal

awaited = signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP, signal.SIGCHLD}
signal.pthread_sigmask(signal.SIG_BLOCK, awaited)
print("ready", flush=True)
number = 0
while number != signal.SIGUSR2:
    number = signal.sigwait(awaited)
    name = getattr(number, "name", f"SIG{int(number)}")
    print(name, flush=True)
raise SystemExit(7)
