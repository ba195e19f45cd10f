"""Faults and upgrades under load, and what must hold all the same."""

import collections
import json
import random
import time

from clients import answered_records, fingerprint
from deployment import Failure, happens, wait_until

LONGEST_GAP = 30.0  # seconds without an answer
LEAST_ROUND = 8.0  # seconds: some faults take effect only when a time-out has passed
PATIENCE = 60.0  # seconds for a part to start again by itself, before it is repaired


# --- The rounds ---------------------------------------------------------------------------------------------------


def play_round(number, action, deployment, fleet, chance):
    """One action and the recovery from it. Returns its figures."""
    begin = time.monotonic()
    done = action(deployment, chance)
    time.sleep(max(begin + LEAST_ROUND - time.monotonic(), 0))
    answers = fleet.answers()
    wait_until(lambda: fleet.answers() > answers, 120, "the next answer")
    repaired = []
    if not happens(deployment.is_whole, PATIENCE):
        repaired = deployment.repair()
        wait_until(deployment.is_whole, 180, "the recovery")
    gap = fleet.longest_gap(begin)
    print(f"round {number}: {done}; longest time without an answer {gap:.1f} s; "
          f"{''.join(f'copied {name} anew; ' for name in repaired)}"
          f"whole after {time.monotonic() - begin:.0f} s; {fleet.answers()} answers", flush=True)
    return {"action": action.__name__, "done": done, "gap": round(gap, 1), "repaired": repaired}


def play_rounds(deployment, actions, fleet, chance):
    """Returns the figures of the rounds, and why they ended early, if they did. Ctrl-C ends them, too."""
    rounds = []
    for number, action in enumerate(actions, 1):
        try:
            rounds.append(play_round(number, action, deployment, fleet, chance))
        except KeyboardInterrupt:
            return rounds, ["the rounds were interrupted"]
        except Failure as problem:
            return rounds, [f"round {number}, {action.__name__}: {problem}"]
    return rounds, []


# --- What was kept ------------------------------------------------------------------------------------------------


def compare(answered, kept):
    """What does not hold of the records that are kept, when these were answered."""
    problems = []
    if missing := len(answered - kept.keys()):
        problems.append(f"{missing} records are missing whose post was answered")
    if doubles := sum(count > 1 for count in kept.values()):
        problems.append(f"{doubles} records are kept more than once")
    return problems


def judge(deployment, fleet):
    """Ends the fleet, and returns the figures and what does not hold."""
    status, truth = fleet.end()
    answered = answered_records(fleet.answered_file)
    kept = collections.Counter(map(fingerprint, deployment.records()))
    figures = {
        "posts": truth["posts"],
        "recordsMade": sum(truth["records"].values()),
        "recordsAnswered": len(answered),
        "recordsKept": len(kept),
    }
    problems = compare(answered, kept)
    if errors := {status: count for status, count in truth["posts"]["answered"].items() if status != "200"}:
        problems.append(f"clients got other statuses than 200: {errors}")
    if truth["waiting"] or status != 0:
        problems.append(f"{truth['waiting']} records are still in the lists of the clients")
    if figures["recordsMade"] != len(answered):
        problems.append(f"{figures['recordsMade']} records were made and {len(answered)} were answered")
    return figures, problems


def judge_rounds(rounds):
    """The figures of the rounds, and what does not hold."""
    figures = {
        "rounds": len(rounds),
        "actions": collections.Counter(each["action"] for each in rounds),
        "repaired": sum(len(each["repaired"]) for each in rounds),
        "longestGapSeconds": max((each["gap"] for each in rounds), default=0),
    }
    return figures, [f"{each['done']}: no answer for {each['gap']} s" for each in rounds if each["gap"] > LONGEST_GAP]


def report(figures, problems):
    """Returns the exit status."""
    print(json.dumps({**figures, "problems": problems}, indent=2))
    return 1 if problems else 0


def run(deployment, actions, fleet, chance):
    """Plays the rounds. Returns the exit status."""
    rounds, failed = play_rounds(deployment, actions, fleet, chance)
    figures, too_long = judge_rounds(rounds)
    kept, problems = judge(deployment, fleet)
    return report({**figures, **kept}, failed + too_long + problems)


def of_all(faults, count, chance):
    """So many faults, each once before any comes again."""
    order = [fault for _ in range(count // len(faults) + 1) for fault in chance.sample(faults, len(faults))]
    return order[:count]
