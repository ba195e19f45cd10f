"""What a campaign does to a deployment. Each fault takes the deployment and a source of random numbers, and returns what
it has done."""

import contextlib
import signal
import time

from processes import send, with_descendants

STOPPED = 28.0  # seconds that a primary is stopped: longer than it stays the primary
SHORT = 10.0  # seconds that a collector is stopped, or a disk is full


@contextlib.contextmanager
def _stopped(processes):
    send(signal.SIGSTOP, processes)
    try:
        yield
    finally:
        send(signal.SIGCONT, processes)


def kill_collector(deployment, chance):
    service = chance.choice(deployment.collectors)
    send(signal.SIGKILL, [service.pid])
    return f"killed {service.name}"


def stop_collector(deployment, chance):
    service = chance.choice(deployment.collectors)
    with _stopped([service.pid]):
        time.sleep(SHORT)
    return f"stopped {service.name} for {SHORT:.0f} s"


def fill_disk(deployment, chance):
    number = chance.randrange(len(deployment.disks))
    with deployment.disks[number].filled():
        time.sleep(SHORT)
    return f"filled disk {number + 1} for {SHORT:.0f} s"


def _named(node, cluster):
    return f"{node.name}, the primary" if node is cluster.primary() else node.name


def kill_database(cluster, chance):
    node = chance.choice(cluster.nodes)
    done = f"killed the database {_named(node, cluster)}"
    send(signal.SIGKILL, filter(None, [node.postmaster()]))
    return done


def kill_primary(cluster, _):
    node = cluster.primary()
    send(signal.SIGKILL, with_descendants(node.postmaster()))
    return f"killed all processes of the primary database {node.name}"


def kill_patroni(cluster, chance):
    node = chance.choice(cluster.nodes)
    done = f"killed Patroni of {_named(node, cluster)}"
    send(signal.SIGKILL, [node.patroni.pid])
    return done


def kill_etcd(cluster, chance):
    service = chance.choice(cluster.etcd)
    send(signal.SIGKILL, [service.pid])
    return f"killed {service.name}"


def kill_machine(cluster, chance):
    number = chance.randrange(len(cluster.nodes))
    node = cluster.nodes[number]
    done = f"killed the database, Patroni and etcd of {_named(node, cluster)}"
    send(signal.SIGKILL, node.processes() + [cluster.etcd[number].pid])
    return done


def stop_primary(cluster, _):
    node = cluster.primary()
    with _stopped(node.processes()):
        time.sleep(STOPPED)
    return f"stopped the primary {node.name} for {STOPPED:.0f} s"


OF_ONE_MACHINE = (kill_collector, stop_collector, fill_disk)
OF_A_CLUSTER = (kill_collector, kill_database, kill_primary, kill_patroni, kill_etcd, kill_machine, stop_primary,
                fill_disk)
