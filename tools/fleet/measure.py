"""What the programs of a deployment take over time: memory, descriptors, processor time and disk."""

import os
import pathlib
import statistics
import time

import campaign
from clients import answered_posts
from processes import with_descendants

PERIOD = 1.0  # seconds between two samples
NOISE = 1.02  # the factor within which two values count as equal
PAGE = os.sysconf("SC_PAGE_SIZE")
TICKS = os.sysconf("SC_CLK_TCK")


def sample(process):
    """The memory of a process in KiB, and its open descriptors."""
    entry = pathlib.Path("/proc", str(process))
    pages = int((entry / "statm").read_text().split()[1])
    return {"memoryKiB": pages * PAGE // 1024, "descriptors": len(os.listdir(entry / "fd"))}


def processor_seconds(process):
    """Those of a process and of all that it has started."""
    ticks = 0
    for one in with_descendants(process):
        try:
            # utime, stime, cutime and cstime, counted from the field behind the name in parentheses.
            fields = pathlib.Path("/proc", str(one), "stat").read_text().rpartition(")")[2].split()
            ticks += sum(map(int, fields[11:15]))
        except OSError:
            pass  # it has ended; its parent counts it
    return ticks / TICKS


def judge_growth(name, samples):
    """The medians of the quarters of the time, and what has grown: whose median in the last quarter is above all values
    of the second, by more than noise."""
    figures, problems = {}, []
    for kind in samples[0]:
        values = [each[kind] for each in samples]
        quarters = [values[len(values) * i // 4:len(values) * (i + 1) // 4] for i in range(4)]
        medians = [statistics.median_low(quarter) for quarter in quarters]
        figures[kind] = ", ".join(map(str, medians))
        if medians[3] > NOISE * max(quarters[1]):
            problems.append(f"{kind} of {name} grew: {figures[kind]}")
    return figures, problems


def watch(processes, seconds):
    """Samples of processes, by their names, while the time lasts."""
    samples = {name: [] for name in processes}
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        for name, process in processes.items():
            samples[name].append(sample(process))
        time.sleep(PERIOD)
    return samples


def spent(deployment):
    return {name: processor_seconds(process) for name, process in deployment.processes().items()}


def difference(later, earlier):
    return {name: later[name] - earlier[name] for name in later}


def run(deployment, fleet, seconds):
    """Watches the collectors and the clients for so long, and then ends the clients. Returns the exit status."""
    storage, processor, posts = deployment.storage(), spent(deployment), fleet.answers()
    samples = watch({**{service.name: service.pid for service in deployment.collectors}, "clients": fleet.pid}, seconds)
    processor, posts = difference(spent(deployment), processor), fleet.answers() - posts
    figures, problems = campaign.judge(deployment, fleet)
    figures["bytesPosted"] = sum(len(body.encode()) for _, body in answered_posts(fleet.answered_file))
    figures["storage"] = difference(deployment.storage(), storage)
    figures["processorSecondsOf1000Posts"] = {name: round(1000 * each / posts, 2) for name, each in processor.items()}
    figures["quarters"] = {}
    for name, some in samples.items():
        figures["quarters"][name], grown = judge_growth(name, some)
        problems += grown
    return campaign.report(figures, problems)
