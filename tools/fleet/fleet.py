#!/usr/bin/env python3
"""Starts collectors on this machine with simulated clients, and ends it all without a trace.

With --campaign, parts of it are killed, stopped and filled meanwhile; with --upgrade, restarted one after another; with --backup,
copied and restored. What the clients were told is then compared with what was kept.
"""

import argparse
import pathlib
import random
import signal
import sys
import time

import backup
import campaign
import faults
import measure
import upgrade
from clients import Fleet
from cluster import Cluster
from deployment import Failure, Machine


def arguments():
    parser = argparse.ArgumentParser(prog="./run fleet", description=__doc__)
    parser.add_argument("--one", action="store_true",
                        help="one collector with SQLite, instead of two before a cluster of PostgreSQL")
    parser.add_argument("--clients", type=int, default=2000, help="simulated clients (%(default)s)")
    parser.add_argument("--speed", type=float, default=360, help="simulated seconds in a second (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="chooses what happens (%(default)s)")
    parser.add_argument("--seconds", type=float, default=float("inf"), help="end after this time, not at Ctrl-C")
    what = parser.add_mutually_exclusive_group()
    what.add_argument("--campaign", type=int, metavar="ROUNDS", help="play so many rounds of faults")
    what.add_argument("--upgrade", action="store_true", help="restart everything, one program at a time")
    what.add_argument("--backup", action="store_true", help="make a backup, and restore it")
    what.add_argument("--hours", type=float, help="measure for so many simulated hours")
    for hidden in "programs", "unpacked", "logs":
        parser.add_argument(hidden, type=pathlib.Path, help=argparse.SUPPRESS)
    return parser.parse_args()


def show(deployment, seconds):
    print(f"{deployment.address}/service shows the quality of the service, {deployment.address}/ the records.\n"
          "Ctrl-C ends it all.", flush=True)
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        time.sleep(1)
    return 0


def possible_faults(options, deployment):
    possible = faults.OF_ONE_MACHINE if options.one else faults.OF_A_CLUSTER
    if deployment.has_disks():
        return possible
    print("Only root can fill a disk of its own: this fault is left out.", flush=True)
    return [fault for fault in possible if fault is not faults.fill_disk]


def play(options, deployment, fleet):
    """What the options ask for. Returns the exit status."""
    chance = random.Random(options.seed)
    if options.campaign:
        actions = campaign.of_all(possible_faults(options, deployment), options.campaign, chance)
        return campaign.run(deployment, actions, fleet, chance)
    if options.upgrade:
        steps = upgrade.of_one_machine if options.one else upgrade.of_a_cluster
        return campaign.run(deployment, steps(deployment), fleet, chance)
    if options.backup:
        kind = backup.SqliteBackup if options.one else backup.PostgresBackup
        return backup.run(deployment, kind(deployment), fleet)
    if options.hours:
        return measure.run(deployment, fleet, options.hours * 3600 / options.speed)
    return show(deployment, options.seconds)


def run(options):
    collector = options.programs / "sqm-collector"
    if options.one:
        deployment = Machine(collector, options.logs)
    else:
        deployment = Cluster(collector, options.logs, options.unpacked.resolve())
    with deployment:
        fleet = Fleet(options.programs / "sqm-fleet", deployment.address, deployment.folder,
                      clients=options.clients, seed=options.seed, speed=options.speed)
        try:
            return play(options, deployment, fleet)
        finally:
            fleet.kill()


def main():
    options = arguments()
    signal.signal(signal.SIGINT, signal.default_int_handler)  # also in the background of a shell that ignores it
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    try:
        return run(options)
    except (Failure, OSError) as problem:
        print(f"fleet: {problem}; the logs are in {options.logs}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 0


if __name__ == "__main__":
    sys.exit(main())
