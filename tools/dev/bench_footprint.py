"""What a process that uses the library costs: its start, its end, its size and its memory."""

import http.server
import os
import pathlib
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

PROGRAM = "bench_host"  # reports the time of its steps and its memory
MINIMAL_HOST = "01_first_record"  # the shortest useful program
REPETITIONS = 9

IDLE_END_AIM = 5  # ms
BUSY_END_AIM = 100  # ms
SIZE_AIM = 450  # KB


class AnsweringHandler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, *_):
        pass


def run_host(programs, home, events=0, url=""):
    """Runs the host. Returns the times of its start and its end in ms, and its memory at each step in bytes."""
    reader, writer = os.pipe()
    arguments = [str(programs / PROGRAM), str(home), str(events), url]
    started = time.monotonic_ns()
    child = os.posix_spawn(arguments[0], arguments, os.environ, file_actions=[(os.POSIX_SPAWN_DUP2, writer, 1)])
    os.close(writer)
    with open(reader, encoding="ascii") as output:
        lines = output.read().splitlines()  # until the process ends
    status = os.waitpid(child, 0)[1]
    ended = time.monotonic_ns()
    if status != 0:
        sys.exit(f"bench: {PROGRAM} failed")
    steps = {name: (int(stamp), int(memory)) for name, stamp, memory in map(str.split, lines)}
    return {
        "start": (steps["ready"][0] - started) / 1e6,
        "end": (ended - steps["ending"][0]) / 1e6,
        "memory": {name: memory for name, (_, memory) in steps.items()},
    }


def median(name, runs):
    return statistics.median(run[name] for run in runs)


def value(name, number, unit, aim=None):
    return {"name": name, "value": number, "unit": unit, "aim": aim}


def starts(programs, counts):
    found = []
    for count in counts:
        with tempfile.TemporaryDirectory() as home:
            run_host(programs, home, events=count)
            runs = [run_host(programs, home) for _ in range(REPETITIONS if count < 100_000 else 2)]
        found.append(value(f"start of the process/{count:,} records", median("start", runs), "ms"))
    return found


def ends(programs):
    answering = http.server.ThreadingHTTPServer(("127.0.0.1", 0), AnsweringHandler)
    threading.Thread(target=answering.serve_forever, daemon=True).start()
    silent = socket.create_server(("127.0.0.1", 0))  # connections are made, and nobody reads from them
    found = []
    for name, step, server, aim in (("idle", "uploaded", answering.socket, IDLE_END_AIM),
                                    ("during an upload", "uploading", silent, BUSY_END_AIM)):
        url = f"http://127.0.0.1:{server.getsockname()[1]}/"
        with tempfile.TemporaryDirectory() as home:
            runs = [run_host(programs, home, events=1, url=url) for _ in range(REPETITIONS)]
        if any(step not in run["memory"] for run in runs):
            sys.exit(f"bench: {PROGRAM} was not {step} before its end")
        found.append(value(f"end of the process/{name}", median("end", runs), "ms", aim))
    answering.shutdown()
    silent.close()
    return found


def memory(programs, count):
    with tempfile.TemporaryDirectory() as home:
        measured = run_host(programs, home, events=count)["memory"]
    return [value("memory of the process/at its start", measured["ready"] / 1024, "KiB"),
            value(f"memory of the process/after {count:,} events", measured["ending"] / 1024, "KiB")]


def size(program):
    """The bytes of the program without symbols."""
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder, "stripped")
        subprocess.run(["strip", "-o", stripped, program], check=True)
        return stripped.stat().st_size


def libraries(program):
    """The shared libraries that the program names, with their sizes in bytes, and all others that they need."""
    listed = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
    paths = {line.split()[0]: line.split()[2] for line in listed.splitlines() if " => /" in line}
    head = subprocess.run(["objdump", "-p", program], capture_output=True, text=True, check=True).stdout
    named = [line.split()[1] for line in head.splitlines() if line.split()[:1] == ["NEEDED"]]
    sizes = {name: os.path.getsize(path) for name, path in paths.items()}
    others = [name for name in sizes if name not in named]
    rest = [f"{len(others)} others that these need", sum(sizes[name] for name in others)]
    return [*([name, sizes[name]] for name in named), rest]


def measure(programs, released, largest):
    """The figures, and the shared libraries of the minimal host."""
    minimal = released / MINIMAL_HOST
    figures = [
        *starts(programs, (0, 10_000, 1_000_000) if largest else (0, 10_000)),
        *ends(programs),
        *memory(programs, 10_000),
        value("size of the minimal host", size(minimal) / 1000, "KB", SIZE_AIM),
    ]
    return figures, libraries(minimal)
