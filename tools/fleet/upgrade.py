"""An upgrade as an operator makes it: the programs are restarted one after another, while clients upload."""

from deployment import wait_until


def _restarting(service):
    def restart(*_):
        process = service.pid
        service.ask_to_end()
        wait_until(lambda: service.pid != process, 60, f"restarting {service.name}")
        return f"restarted {service.name}"

    return restart


def switch_over(cluster, _):
    before = cluster.primary().name
    cluster.switch_over()
    return f"made {cluster.primary().name} the primary instead of {before}"


def of_one_machine(machine):
    return map(_restarting, machine.collectors)


def of_a_cluster(cluster):
    """The primary is restarted last, when it is none any more."""
    yield from map(_restarting, cluster.collectors + cluster.etcd)
    primary = cluster.primary()
    yield from (_restarting(node.patroni) for node in cluster.nodes if node is not primary)
    yield switch_over
    yield _restarting(primary.patroni)
