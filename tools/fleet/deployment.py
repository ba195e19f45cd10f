"""Collectors on this machine and what they need, and the end of it all. `Machine` is one collector with SQLite."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

from processes import Services

LOOPBACK = "127.0.0.1"
DISK = "8g"  # the size of a disk of its own; it takes memory for what is written only


class Failure(Exception):
    """What went wrong, for the user."""


def free_ports(count):
    sockets = [socket.create_server((LOOPBACK, 0)) for _ in range(count)]
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def wait_until(condition, seconds, what):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise Failure(f"{what} took longer than {seconds} s")
        time.sleep(0.2)


def get(url):
    """The JSON at an address; None when there is no answer."""
    try:
        with urllib.request.urlopen(url, timeout=2) as answer:
            return json.load(answer)
    except (OSError, ValueError):
        return None


class Disk:
    """A folder on a disk of its own, which can be full. Only root can make one."""

    def __init__(self, folder, user=None):
        self._folder = folder
        owner = f",uid={user.pw_uid},gid={user.pw_gid}" if user else ""
        mount = ["mount", "-t", "tmpfs", "-o", f"size={DISK},mode=700{owner}", "sqm-fleet", folder]
        self.is_mounted = subprocess.run(mount, stderr=subprocess.DEVNULL).returncode == 0

    @contextlib.contextmanager
    def filled(self):
        while not self._resize(self._used_bytes()):
            pass  # more was written meanwhile
        try:
            yield
        finally:
            self._resize(DISK)

    def unmount(self):
        if self.is_mounted:
            subprocess.run(["umount", self._folder], check=True)

    def _used_bytes(self):
        disk = os.statvfs(self._folder)
        return (disk.f_blocks - disk.f_bfree) * disk.f_frsize

    def _resize(self, size):
        """False for a size below what is used."""
        mount = ["mount", "-o", f"remount,size={size}", self._folder]
        return subprocess.run(mount, stderr=subprocess.DEVNULL).returncode == 0


class Deployment:
    """Collectors behind `address`, while the context lasts. Afterwards no process and no file of it is left."""

    def __init__(self, collector, logs):
        """`collector`: the program sqm-collector. `logs`: a folder, which is left behind."""
        self._collector = collector
        self.logs = logs
        self.collectors = []
        self.disks = []

    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="sqm-fleet-"))
        self.folder.chmod(0o711)
        self.services = Services(f"SQM_FLEET={self.folder}")
        try:
            self._start()
            wait_until(lambda: get(f"{self.address}/_records?limit=1") is not None, 60, "starting the collectors")
        except BaseException:
            self.__exit__(*sys.exc_info())
            raise
        return self

    def __exit__(self, *_):
        # A second Ctrl-C would leave processes behind.
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, signal.SIG_IGN)
        self.services.end()
        for disk in self.disks:
            disk.unmount()
        shutil.rmtree(self.folder)

    def _make_folder(self, name, user=None):
        folder = self.folder / name
        folder.mkdir(mode=0o700)
        if user:
            os.chown(folder, user.pw_uid, user.pw_gid)
        return folder

    def _make_disk(self, name, user=None):
        folder = self._make_folder(name, user)
        self.disks.append(Disk(folder, user))
        return folder

    def _start_collector(self, name, port, database, environment=None):
        self.collectors.append(self.services.start(
            f"collector {name}", [self._collector, "--quiet", "--port", port, "--database", database],
            self.logs / f"collector-{name}.log", environment=environment))

    def has_disks(self):
        return all(disk.is_mounted for disk in self.disks)

    def records(self):
        """The texts of the records that are kept."""
        last = 0
        while True:
            with urllib.request.urlopen(f"{self.address}/_export?format=jsonl&since={last}&limit=10000") as lines:
                some = [json.loads(line) for line in lines]
            if not some:
                return
            yield from (record["raw"] for record in some)
            last = some[-1]["id"]


class Machine(Deployment):
    """One collector with SQLite."""

    def _start(self):
        port = free_ports(1)[0]
        self.address = f"http://{LOOPBACK}:{port}"
        self._start_collector("one", port, self._make_disk("collector") / "arrived.db")

    def is_whole(self):
        return self.collectors[0].is_running()
