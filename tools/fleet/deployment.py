"""Collectors on this machine and what they need, and the end of it all. `Machine` is one collector with SQLite."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import urllib.request

from processes import FEW_ARENAS, Services, naming

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


def happens(condition, seconds):
    """Waits until the condition is true. Returns False when it is not within the time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.2)
    return True


def wait_until(condition, seconds, what):
    if not happens(condition, seconds):
        raise Failure(f"{what} took longer than {seconds} s")


def get(url):
    """The JSON at an address; None when there is no answer."""
    try:
        with urllib.request.urlopen(url, timeout=2) as answer:
            return json.load(answer)
    except (OSError, ValueError):
        return None


def post(url, value):
    """Posts a value as JSON."""
    request = urllib.request.Request(url, json.dumps(value).encode(), {"Content-Type": "application/json"})
    try:
        with urllib.request.urlopen(request, timeout=60):
            pass
    except OSError as problem:
        raise Failure(f"{url}: {problem}") from problem


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
        self.collectors_environment = {}
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
        if not happens(lambda: not naming(str(self.folder)), 5):
            raise Failure(f"processes are left: {naming(str(self.folder))}")

    def make_folder(self, name, user=None):
        folder = self.folder / name
        folder.mkdir(mode=0o700)
        if user:
            os.chown(folder, user.pw_uid, user.pw_gid)
        return folder

    def _make_disk(self, name, user=None):
        folder = self.make_folder(name, user)
        self.disks.append(Disk(folder, user))
        return folder

    def start_collector(self, name, database, port=None):
        """Returns its address."""
        port = port or free_ports(1)[0]
        self.collectors.append(self.services.start(
            f"collector {name}", [self._collector, "--quiet", "--port", port, "--database", database],
            self.logs / f"collector-{name}.log", environment={**FEW_ARENAS, **self.collectors_environment}))
        return f"http://{LOOPBACK}:{port}"

    def processes(self):
        """The first process of each program, by its name."""
        return self.services.processes()

    def repair(self):
        """Repairs what does not start again by itself. Returns its names."""
        return []

    def has_disks(self):
        return all(disk.is_mounted for disk in self.disks)

    def records(self, address=None):
        """The texts of the records that the collector at an address keeps."""
        last = 0
        while True:
            url = f"{address or self.address}/_export?format=jsonl&since={last}&limit=10000"
            with urllib.request.urlopen(url) as lines:
                some = [json.loads(line) for line in lines]
            if not some:
                return
            yield from (record["raw"] for record in some)
            last = some[-1]["id"]


class Machine(Deployment):
    """One collector with SQLite."""

    def _start(self):
        self.database = self._make_disk("collector") / "arrived.db"
        self.address = self.start_collector("one", self.database)

    def is_whole(self):
        return self.collectors[0].is_running()

    def storage(self):
        connection = sqlite3.connect(self.database)
        connection.execute("PRAGMA wal_checkpoint")
        connection.close()
        return {"databaseBytes": self.database.stat().st_size}
