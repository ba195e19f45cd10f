"""Three databases under Patroni with their etcd, and two collectors behind haproxy, all on loopback.

Their configuration is that of tools/fleet/cluster, which also serves machines of their own.
"""

import os
import pathlib
import pwd
import secrets
import shutil
import string
import subprocess

from deployment import Deployment, Failure, LOOPBACK, free_ports, get, post, wait_until
from processes import with_descendants

TEMPLATES = pathlib.Path(__file__).resolve().parent / "cluster"
POSTGRESQL = "lib/postgresql/15/bin"
NAMES = ("one", "two", "three")


class Node:
    """A database and its Patroni."""

    def __init__(self, name, folder, rest_port, port):
        self.name = name
        self.rest_port = rest_port
        self.rest = f"http://{LOOPBACK}:{rest_port}"
        self.port = port
        self.data = folder / "data"
        self.patroni = None  # the service

    def postmaster(self):
        """The first process of PostgreSQL; None when it does not run."""
        try:
            process = int((self.data / "postmaster.pid").read_text().split("\n")[0])
            command = pathlib.Path(f"/proc/{process}/cmdline").read_bytes()
        except (OSError, ValueError):
            return None
        return process if str(self.data).encode() in command else None

    def processes(self):
        """Those of Patroni and of PostgreSQL."""
        postmaster = self.postmaster()
        return with_descendants(self.patroni.pid) + (with_descendants(postmaster) if postmaster else [])


class Cluster(Deployment):
    def __init__(self, collector, logs, unpacked):
        """`unpacked`: a folder with the Debian packages of the services."""
        super().__init__(collector, logs)
        self._unpacked = unpacked
        # PostgreSQL refuses to run as root.
        self.user = pwd.getpwnam("nobody") if os.geteuid() == 0 else None
        self.secrets = {f"{role}_PASSWORD": secrets.token_hex(16) for role in ("SUPERUSER", "REPLICATION", "REWIND")}
        self._password = secrets.token_hex(16)  # of the collectors
        self.etcd = []
        self.nodes = []

    def _start(self):
        if self.user:  # who may not read the folders of root
            self._unpacked = shutil.copytree(
                self._unpacked, self.folder / "debian", symlinks=True, ignore=shutil.ignore_patterns("archives"))
        self._start_databases(self._start_etcd())
        self._make_database()
        self._start_collectors()

    def _program(self, path):
        return self._unpacked / "usr" / path

    def postgresql(self, program):
        return self._program(POSTGRESQL) / program

    def _configure(self, template, target, values):
        target.write_text(string.Template((TEMPLATES / template).read_text()).substitute(values))
        target.chmod(0o600)
        if self.user:
            os.chown(target, self.user.pw_uid, self.user.pw_gid)
        return target

    def _start_etcd(self):
        ports = free_ports(6)
        peers, clients = ports[:3], ports[3:]
        members = ",".join(f"{name}=http://{LOOPBACK}:{port}" for name, port in zip(NAMES, peers))
        for name, peer, client in zip(NAMES, peers, clients):
            folder = self.make_folder(f"etcd-{name}", self.user)
            configuration = self._configure("etcd.yml", folder / "etcd.yml", {
                "NODE": name, "ADDRESS": LOOPBACK, "DATA": folder / "data", "PEER_PORT": peer, "CLIENT_PORT": client,
                "ETCD_MEMBERS": members})
            self.etcd.append(self.services.start(
                f"etcd {name}", [self._program("bin/etcd"), "--config-file", configuration],
                self.logs / f"etcd-{name}.log", user=self.user))
        for client in clients:
            wait_until(lambda: get(f"http://{LOOPBACK}:{client}/health"), 30, "starting etcd")
        return ",".join(f"{LOOPBACK}:{client}" for client in clients)

    def _start_databases(self, etcd_hosts):
        for name in NAMES:
            folder = self._make_disk(f"database-{name}", self.user)
            node = Node(name, folder, *free_ports(2))
            configuration = self._configure("patroni.yml", folder / "patroni.yml", {
                "NODE": name, "ADDRESS": LOOPBACK, "REST_PORT": node.rest_port, "PORT": node.port,
                "ETCD_HOSTS": etcd_hosts, "DATA": node.data, "POSTGRESQL": self._program(POSTGRESQL),
                "NETWORK": f"{LOOPBACK}/32", "WATCHDOG": "off", **self.secrets})
            node.patroni = self.services.start(
                f"Patroni {name}", [self._program("bin/patroni"), configuration], self.logs / f"database-{name}.log",
                user=self.user,
                environment={"HOME": str(folder), "PYTHONPATH": str(self._program("lib/python3/dist-packages"))})
            self.nodes.append(node)
        wait_until(self.is_whole, 120, "starting the databases")

    def hosts(self):
        return ",".join(f"{LOOPBACK}:{node.port}" for node in self.nodes)

    def _make_database(self):
        for statement in f"CREATE ROLE sqm LOGIN PASSWORD '{self._password}'", "CREATE DATABASE sqm OWNER sqm":
            self.query("postgres", statement)

    def query(self, database, statement):
        """What the primary answers to its superuser."""
        done = subprocess.run(
            [self.postgresql("psql"), "-XqAt", "-c", statement,
             f"postgresql://postgres@{self.hosts()}/{database}?target_session_attrs=read-write"],
            env={**os.environ, "PGPASSWORD": self.secrets["SUPERUSER_PASSWORD"]}, stdout=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise Failure(f"psql failed: {statement}")
        return done.stdout.strip()

    def database(self, hosts):
        """The collectors' database on these hosts."""
        return f"postgresql://sqm@{hosts}/sqm?target_session_attrs=read-write&connect_timeout=3"

    def _start_collectors(self):
        password = self.folder / "password"
        password.write_text(f"*:*:sqm:sqm:{self._password}\n")
        password.chmod(0o600)
        self.collectors_environment = {"PGPASSFILE": str(password)}
        *ports, balancer, metrics = free_ports(4)
        for name, port in zip(NAMES, ports):
            self.start_collector(name, self.database(self.hosts()), port)
        configuration = self._configure("haproxy.cfg", self.folder / "haproxy.cfg", {
            "ADDRESS": LOOPBACK, "PORT": balancer, "METRICS_PORT": metrics, "COLLECTOR_ONE": f"{LOOPBACK}:{ports[0]}",
            "COLLECTOR_TWO": f"{LOOPBACK}:{ports[1]}"})
        self.services.start("haproxy", [self._program("sbin/haproxy"), "-db", "-f", configuration],
                            self.logs / "haproxy.log", user=self.user)
        self.address = f"http://{LOOPBACK}:{balancer}"

    def members(self):
        """What Patroni says of the nodes, by their names; empty when it does not answer."""
        for node in self.nodes:
            if answer := get(f"{node.rest}/cluster"):
                return {member["name"]: member for member in answer["members"]}
        return {}

    def standbys(self):
        """The names of the nodes that follow the primary, by its own word."""
        status = get(f"{self.primary().rest}/patroni") or {}
        return {each["application_name"] for each in status.get("replication") or []
                if each["state"] == "streaming" and each["application_name"] in NAMES}

    def is_whole(self):
        """True when both standbys follow the primary, and Patroni knows one that may take over."""
        standbys, members = self.standbys(), self.members()
        return len(standbys) == 2 and any(members.get(name, {}).get("role") == "sync_standby" for name in standbys)

    def processes(self):
        return {**super().processes(), **{f"database {node.name}": node.postmaster() for node in self.nodes}}

    def storage(self):
        """Sizes on one node; the log since the cluster was made."""
        return {"databaseBytes": int(self.query("postgres", "SELECT pg_database_size('sqm')")),
                "logBytes": int(self.query("postgres", "SELECT pg_current_wal_lsn() - '0/0'"))}

    def primary(self):
        """The node that is the primary; while there is none, the first."""
        members = self.members()
        return next((node for node in self.nodes if members.get(node.name, {}).get("role") == "leader"), self.nodes[0])

    def switch_over(self):
        """Makes the synchronous standby the primary, as `patronictl switchover` does."""
        primary = self.primary()
        post(f"{primary.rest}/switchover", {"leader": primary.name})

    def repair(self):
        """Copies the databases that do not follow from the primary, as `patronictl reinit` does. Returns their names."""
        primary, standbys = self.primary(), self.standbys()
        broken = [node for node in self.nodes if node is not primary and node.name not in standbys]
        for node in broken:
            post(f"{node.rest}/reinitialize", {"force": True})
        return [node.name for node in broken]
