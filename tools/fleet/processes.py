"""Processes on one machine: how they are started, started again and ended."""

import ctypes
import os
import pathlib
import signal
import subprocess
import threading
import time

# glibc keeps freed memory by arena, and gives a program with many threads 16 of them on two processors, which fill slowly.
FEW_ARENAS = {"MALLOC_ARENA_MAX": "2"}

_PR_SET_PDEATHSIG = 1
_libc = ctypes.CDLL(None)


def _end_with_parent():
    """SIGTERM when this program ends, even when it is killed. Patroni then stops its PostgreSQL."""
    _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)


def _running():
    """The processes of this machine, as paths in /proc."""
    return [entry for entry in pathlib.Path("/proc").iterdir() if entry.name.isdigit()]


def with_descendants(process):
    """A process and all that it has started, directly or not."""
    children = {}
    for entry in _running():
        try:
            # The second field, in parentheses, may contain anything.
            parent = int((entry / "stat").read_text().rpartition(")")[2].split()[1])
            children.setdefault(parent, []).append(int(entry.name))
        except OSError:
            pass  # it has ended
    found = [process]
    for one in found:
        found += children.get(one, [])
    return found


def marked(mark):
    """The processes that have this setting, NAME=VALUE, in their environment."""
    found = []
    for entry in _running():
        try:
            if mark.encode() in (entry / "environ").read_bytes().split(b"\0"):
                found.append(int(entry.name))
        except OSError:
            pass  # it has ended, or is another user's
    return found


def naming(text):
    """The processes that have this text in their command line."""
    found = []
    for entry in _running():
        try:
            if text.encode() in (entry / "cmdline").read_bytes():
                found.append(int(entry.name))
        except OSError:
            pass  # it has ended
    return found


def send(number, processes):
    for process in processes:
        try:
            os.kill(process, number)
        except ProcessLookupError:
            pass


class Service:
    """A program, started by `Services`."""

    def __init__(self, name, command, log, environment, user, restart_after):
        self.name = name
        self._command = [str(word) for word in command]
        self._log = log
        self._environment = environment
        self._user = user
        self._restart_after = restart_after
        self._due = None
        self._start()

    def _start(self):
        owner = {"user": self._user.pw_uid, "group": self._user.pw_gid, "extra_groups": []} if self._user else {}
        with open(self._log, "ab") as log:
            self._process = subprocess.Popen(
                self._command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=self._environment,
                start_new_session=True, preexec_fn=_end_with_parent, **owner)
        self._due = None

    @property
    def pid(self):
        return self._process.pid

    def is_running(self):
        return self._process.poll() is None

    def restart_when_due(self):
        if self.is_running():
            return
        if self._due is None:
            self._due = time.monotonic() + self._restart_after
        elif time.monotonic() >= self._due:
            self._start()

    def ask_to_end(self):
        processes = with_descendants(self.pid)
        send(signal.SIGTERM, processes[:1])
        send(signal.SIGCONT, processes)

    def wait(self, seconds):
        try:
            self._process.wait(seconds)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()


class Services:
    """Programs that are started again some seconds after they have ended, as systemd does it."""

    def __init__(self, mark):
        """`mark`: a setting, NAME=VALUE, of the environment of all programs and of what these start."""
        self._mark = mark
        self._services = []
        self._is_ending = threading.Event()
        self._keeper = threading.Thread(target=self._keep, daemon=True)
        self._keeper.start()

    def start(self, name, command, log, *, environment=None, user=None, restart_after=2.0):
        marking = dict([self._mark.split("=", 1)])
        service = Service(name, command, log, {**os.environ, **marking, **(environment or {})}, user, restart_after)
        self._services.append(service)
        return service

    def processes(self):
        """The first process of each program, by its name."""
        return {service.name: service.pid for service in self._services}

    def end(self):
        """Ends all of them, and whatever they have left."""
        self._is_ending.set()
        self._keeper.join()
        for service in reversed(self._services):
            service.ask_to_end()
        for service in self._services:
            service.wait(15)
        while left := marked(self._mark):
            send(signal.SIGKILL, left)
            time.sleep(0.1)

    def _keep(self):
        while not self._is_ending.wait(0.2):
            for service in list(self._services):
                service.restart_when_due()
