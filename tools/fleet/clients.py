"""The simulated clients, as a process, and what they were told."""

import hashlib
import json
import os
import re
import subprocess
import threading
import time

from processes import FEW_ARENAS

SAMPLING = 0.2  # seconds between two looks at the number of answers


class Fleet:
    def __init__(self, program, address, folder, *, clients, seed, speed):
        self.answered_file = folder / "answered"
        # The number of answers, at the times at which it has changed or no client was waiting for an answer.
        self._samples = [(time.monotonic(), 0)]
        self._process = subprocess.Popen(
            [program, "--server", address, "--clients", str(clients), "--seed", str(seed), "--speed", str(speed),
             "--days", "3650", "--progress", str(SAMPLING), "--answered", self.answered_file],
            env={**os.environ, **FEW_ARENAS}, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            start_new_session=True)
        self._reader = threading.Thread(target=self._read)
        self._reader.start()

    def _read(self):
        for line in self._process.stderr:
            if not line.startswith("{"):
                continue
            posts = json.loads(line)
            answered = sum(posts["answered"].values())
            if answered > self._samples[-1][1] or not posts["uploading"]:
                self._samples.append((time.monotonic(), answered))

    @property
    def pid(self):
        return self._process.pid

    def answers(self):
        return self._samples[-1][1]

    def longest_gap(self, begin):
        """The longest time since `begin` in which clients waited and none got an answer, in seconds."""
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


def answered_posts(file):
    """The addresses and the bodies of the posts that were answered so far."""
    with open(file, encoding="utf-8", newline="\n") as lines:
        for line in lines:
            if line.endswith("\n"):  # else it is being written
                yield line[:-1].split(" ", 2)[1:]


def fingerprint(record):
    return hashlib.blake2b(record.encode(), digest_size=16).digest()


def answered_records(file):
    """The fingerprints of the records in the bodies that were answered so far."""
    found = set()
    for _, document in answered_posts(file):
        # <?xml …?><list><record>…</record><record>…</record></list>
        records = re.fullmatch(r"<\?xml[^>]*\?><\w+>(.*)</\w+>", document)[1]
        if records:
            end = re.sub(r"<(\w+)>.*", r"</\1>", records)
            found.update(fingerprint(record + end) for record in records.split(end)[:-1])
    return found
