#!/usr/bin/env python3
"""Starts collectors on this machine with simulated clients, and ends it all without a trace.

With --campaign, parts of it are killed, stopped and filled meanwhile, and what the clients were told is compared with what was
kept.
"""

import argparse
import pathlib
import signal
import sys
import time

import campaign
import faults
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
    parser.add_argument("--campaign", type=int, metavar="ROUNDS", help="play so many rounds of faults")
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


def run(options):
    collector = options.programs / "sqm-collector"
    if options.one:
        deployment, possible = Machine(collector, options.logs), faults.OF_ONE_MACHINE
    else:
        deployment, possible = Cluster(collector, options.logs, options.unpacked.resolve()), faults.OF_A_CLUSTER
    with deployment:
        if not deployment.has_disks():
            possible = [fault for fault in possible if fault is not faults.fill_disk]
            print("Only root can fill a disk of its own: this fault is left out.", flush=True)
        fleet = campaign.Fleet(options.programs / "sqm-fleet", deployment.address, deployment.folder,
                               clients=options.clients, seed=options.seed, speed=options.speed)
        try:
            if options.campaign:
                return campaign.run(deployment, possible, fleet, options.campaign, options.seed)
            return show(deployment, options.seconds)
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
