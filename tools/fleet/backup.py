"""Backups while clients upload, and what is there when they are restored.

`SqliteBackup` and `PostgresBackup` do what docs/fleet.md tells an operator. What was answered before `end` is in the backup.
`restore` returns the database for a collector.
"""

import collections
import http.client
import os
import shutil
import sqlite3
import subprocess
import time
import urllib.parse

import campaign
import faults
from clients import answered_posts, answered_records, fingerprint
from deployment import Failure, LOOPBACK, free_ports, get, wait_until

LOAD = 3.0  # seconds of load before, during and after the backup
RESTORE_POINT = "sqm"


class SqliteBackup:
    def __init__(self, machine):
        self._file = machine.database
        self._copy = machine.folder / "copy.db"

    def begin(self):
        pass

    def end(self):
        connection = sqlite3.connect(self._file)
        connection.execute("VACUUM INTO ?", [str(self._copy)])
        connection.close()

    def restore(self):
        return self._copy


class PostgresBackup:
    """A copy of the primary's files, and the write-ahead log from then on, also that of the next primary."""

    def __init__(self, cluster):
        self._cluster = cluster
        self._files = cluster.make_folder("backup", cluster.user)
        self._log = cluster.make_folder("backup-wal", cluster.user)
        self._source = f"postgresql://replicator@{cluster.hosts()}/?target_session_attrs=read-write"
        self._environment = {"PGPASSWORD": cluster.secrets["REPLICATION_PASSWORD"]}

    def begin(self):
        self._cluster.services.start(
            "pg_receivewal", [self._program("pg_receivewal"), "--directory", self._log, "--dbname", self._source],
            self._cluster.logs / "receivewal.log", user=self._cluster.user, environment=self._environment)
        command = [self._program("pg_basebackup"), "--pgdata", self._files, "--dbname", self._source,
                   "--checkpoint", "fast"]
        owner = self._cluster.user and self._cluster.user.pw_uid
        if subprocess.run(command, env={**os.environ, **self._environment}, user=owner).returncode != 0:
            raise Failure("the files of the database could not be copied")

    def end(self):
        faults.kill_primary(self._cluster, None)
        wait_until(self._cluster.is_whole, 120, "the next primary")
        segment = self._cluster.query("postgres", f"SELECT pg_walfile_name(pg_create_restore_point('{RESTORE_POINT}'))")
        self._cluster.query("postgres", "SELECT pg_switch_wal()")
        wait_until((self._log / segment).exists, 60, f"receiving {segment}")

    def restore(self):
        (self._files / "recovery.signal").touch()
        port, = free_ports(1)
        settings = {"listen_addresses": LOOPBACK, "port": port, "synchronous_standby_names": "",
                    "restore_command": f"cp {self._log}/%f %p", "recovery_target_name": RESTORE_POINT,
                    "recovery_target_action": "promote"}
        words = [word for name, value in settings.items() for word in ("-c", f"{name}={value}")]
        self._cluster.services.start("restored database", [self._program("postgres"), "-D", self._files, *words],
                                     self._cluster.logs / "restored.log", user=self._cluster.user)
        wait_until(lambda: not (self._files / "recovery.signal").exists(), 120, "the recovery")
        return self._cluster.database(f"{LOOPBACK}:{port}")

    def _program(self, name):
        return self._cluster.postgresql(name)


def send_again(address, file):
    """Posts all bodies that were answered, as clients do whose answers were lost."""
    server = urllib.parse.urlsplit(address)
    connection = http.client.HTTPConnection(server.hostname, server.port)
    for url, body in answered_posts(file):
        connection.request("POST", urllib.parse.urlsplit(url).path, body.encode())
        connection.getresponse().read()
    connection.close()


def run(deployment, backup, fleet):
    """Plays it, and returns the exit status."""
    time.sleep(LOAD)
    begin = time.monotonic()
    backup.begin()
    time.sleep(LOAD)
    answered = answered_records(fleet.answered_file)
    at_end = time.monotonic()
    backup.end()
    figures = {"gapDuringBackupSeconds": round(fleet.longest_gap(begin), 1),
               "secondsOfCopy": round(time.monotonic() - at_end, 1), "answeredBefore": len(answered)}
    time.sleep(LOAD)
    more, problems = campaign.judge(deployment, fleet)
    figures.update(more)

    address = deployment.start_collector("restored", backup.restore())
    wait_until(lambda: get(f"{address}/_records?limit=1") is not None, 60, "starting the collector")
    kept = collections.Counter(map(fingerprint, deployment.records(address)))
    figures["restored"] = len(kept)
    problems += [f"the backup: {problem}" for problem in campaign.compare(answered, kept)]
    send_again(address, fleet.answered_file)
    kept = collections.Counter(map(fingerprint, deployment.records(address)))
    figures["restoredAndSentAgain"] = len(kept)
    problems += [f"sent again: {problem}"
                 for problem in campaign.compare(answered_records(fleet.answered_file), kept)]
    return campaign.report(figures, problems)
