"""Faults under load, and what must hold all the same."""

import collections
import hashlib
import json
import random
import re
import subprocess
import threading
import time

from deployment import Failure, wait_until

LONGEST_GAP = 30.0  # seconds without an answer
LEAST_ROUND = 8.0  # seconds: some faults take effect only when a time-out has passed
SAMPLING = 0.2  # seconds between two looks at the number of answers


class Fleet:
    """The simulated clients, as a process."""

    def __init__(self, program, address, folder, *, clients, seed, speed):
        self.answered_file = folder / "answered"
        self._samples = [(time.monotonic(), 0)]  # the times at which the number of answers has changed
        self._process = subprocess.Popen(
            [program, "--server", address, "--clients", str(clients), "--seed", str(seed), "--speed", str(speed),
             "--days", "3650", "--progress", str(SAMPLING), "--answered", self.answered_file],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True)
        self._reader = threading.Thread(target=self._read)
        self._reader.start()

    def _read(self):
        for line in self._process.stderr:
            answered = sum(json.loads(line)["answered"].values()) if line.startswith("{") else 0
            if answered > self._samples[-1][1]:
                self._samples.append((time.monotonic(), answered))

    def answers(self):
        return self._samples[-1][1]

    def longest_gap(self, begin):
        """The longest time without an answer since `begin`, in seconds."""
        times = [begin] + [at for at, _ in list(self._samples) if at > begin] + [time.monotonic()]
        return max(later - earlier for earlier, later in zip(times, times[1:]))

    def end(self):
        """Asks for the end, and returns the exit status and the true figures."""
        self._process.terminate()
        out = self._process.stdout.read()
        self._reader.join()
        return self._process.wait(), json.loads(out)

    def kill(self):
        self._process.kill()
        self._process.stdout.close()
        self._reader.join()
        self._process.wait()


# --- The rounds ---------------------------------------------------------------------------------------------------


def play_round(number, fault, deployment, fleet, chance):
    """One fault and the recovery from it. Returns its figures."""
    begin = time.monotonic()
    done = fault(deployment, chance)
    time.sleep(max(begin + LEAST_ROUND - time.monotonic(), 0))
    answers = fleet.answers()
    wait_until(lambda: fleet.answers() > answers, 120, "the next answer")
    gap = fleet.longest_gap(begin)
    wait_until(deployment.is_whole, 180, "the recovery")
    print(f"round {number}: {done}; longest time without an answer {gap:.1f} s; "
          f"whole after {time.monotonic() - begin:.0f} s; {fleet.answers()} answers", flush=True)
    return {"fault": fault.__name__, "done": done, "gap": round(gap, 1)}


def play_rounds(deployment, faults, fleet, count, seed):
    """Returns the figures of the rounds, and why they ended early, if they did. Ctrl-C ends them, too."""
    chance = random.Random(seed)
    # Every fault once before any comes again.
    order = [fault for _ in range(count // len(faults) + 1) for fault in chance.sample(faults, len(faults))]
    rounds = []
    try:
        for number, fault in enumerate(order[:count], 1):
            rounds.append(play_round(number, fault, deployment, fleet, chance))
    except KeyboardInterrupt:
        return rounds, ["the rounds were interrupted"]
    except Failure as problem:
        return rounds, [f"round {len(rounds) + 1}, {order[len(rounds)].__name__}: {problem}"]
    return rounds, []


# --- What was kept ------------------------------------------------------------------------------------------------


def fingerprint(record):
    return hashlib.blake2b(record.encode(), digest_size=16).digest()


def answered_records(file):
    """The fingerprints of the records in the bodies that were answered."""
    found = set()
    with open(file, encoding="utf-8", newline="\n") as lines:
        for line in lines:
            document = line.split(" ", 2)[2]
            # <?xml …?><list><record>…</record><record>…</record></list>
            records = re.fullmatch(r"<\?xml[^>]*\?><\w+>(.*)</\w+>\n", document)[1]
            if records:
                end = re.sub(r"<(\w+)>.*", r"</\1>", records)
                found.update(fingerprint(record + end) for record in records.split(end)[:-1])
    return found


def judge(deployment, fleet, rounds):
    """Ends the fleet, and returns the figures of the campaign and what does not hold."""
    status, truth = fleet.end()
    answered = answered_records(fleet.answered_file)
    kept = collections.Counter(fingerprint(record) for record in deployment.records())
    figures = {
        "rounds": len(rounds),
        "faults": collections.Counter(each["fault"] for each in rounds),
        "longestGapSeconds": max((each["gap"] for each in rounds), default=0),
        "posts": truth["posts"],
        "recordsMade": sum(truth["records"].values()),
        "recordsAnswered": len(answered),
        "recordsKept": len(kept),
    }
    problems = []
    if missing := len(answered - kept.keys()):
        problems.append(f"{missing} records are missing whose post was answered")
    if doubles := sum(count > 1 for count in kept.values()):
        problems.append(f"{doubles} records are kept more than once")
    if errors := {status: count for status, count in truth["posts"]["answered"].items() if status != "200"}:
        problems.append(f"clients got other statuses than 200: {errors}")
    problems += [f"{each['done']}: no answer for {each['gap']} s" for each in rounds if each["gap"] > LONGEST_GAP]
    if truth["waiting"] or status != 0:
        problems.append(f"{truth['waiting']} records are still in the lists of the clients")
    if figures["recordsMade"] != len(answered):
        problems.append(f"{figures['recordsMade']} records were made and {len(answered)} were answered")
    return figures, problems


def run(deployment, faults, fleet, count, seed):
    """Plays the rounds. Returns the exit status."""
    rounds, problems = play_rounds(deployment, faults, fleet, count, seed)
    figures, more = judge(deployment, fleet, rounds)
    problems += more
    print(json.dumps({**figures, "problems": problems}, indent=2))
    return 1 if problems else 0
