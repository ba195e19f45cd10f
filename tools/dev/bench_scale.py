"""The cost of a record in lists of different lengths, from the program bench_scale: figures, and a drawing."""

import json
import math
import pathlib
import subprocess
import sys
import tempfile

PROGRAM = "bench_scale"
STEPS = ("recording", "saving", "loading", "document", "upload")
COPYING = "copying"  # the document into new memory, which bounds its time and that of the upload

GROWTH_AIM = 1.2  # of the cost of a record, from the shortest list to the longest
LOADING_AIM = 1.2  # bytes of memory above what stays, for each byte of the file
UPLOAD_AIM = 1.05  # bytes of memory above the list, for each byte of the document
SAVING_AIM = 256  # KiB, whatever the length


def measure(programs, largest):
    """The costs of each length, as the program's JSON has them. The program prints them, too."""
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder, "report.json")
        options = [f"--json={report}"] + (["--largest"] if largest else [])
        if subprocess.run([programs / PROGRAM, *options], check=False).returncode != 0:
            sys.exit(f"bench: {PROGRAM} failed")
        return json.loads(report.read_text(encoding="utf-8"))


def values(sizes):
    """The figures that have an aim."""
    first, last = sizes[0], sizes[-1]
    found = [{"name": f"growth of the cost/{step}", "value": last[step] / first[step], "unit": "", "aim": GROWTH_AIM}
             for step in STEPS]
    return found + [
        {"name": "memory to load", "value": last["loading peak"], "unit": "", "aim": LOADING_AIM},
        {"name": "memory to save", "value": last["saving peak"] / 1024, "unit": "KiB", "aim": SAVING_AIM},
        {"name": "memory to upload", "value": last["upload peak"], "unit": "", "aim": UPLOAD_AIM},
    ]


# --- The drawing ------------------------------------------------------------------------------------------------------

WIDTH, HEIGHT = 720, 400
LEFT, RIGHT, TOP, BOTTOM = 64, 600, 48, 340
LINE = 18  # between two labels, in pixels
COLOURS = ("#0072b2", "#b34700", "#00795a", "#a8487f", "#7a5c00")  # dark enough for text on white
STYLE = "text{font:13px sans-serif;fill:#333}.title{font-size:15px}.grid{stroke:#ddd}.curve{fill:none;stroke-width:2.5}"


def spread(places):
    """The places, in their order, moved apart until each is a line of text below the one before."""
    moved = {}
    below = -math.inf
    for name, place in sorted(places.items(), key=lambda item: item[1]):
        below = moved[name] = max(place, below + LINE)
    return moved


def draw(sizes):
    """The time for one record by the number of records, both axes logarithmic, as SVG on a white ground."""
    counts = [size["records"] for size in sizes]
    costs = [size[step] * 1e6 for size in sizes for step in STEPS]
    low, high = math.floor(math.log10(min(costs))), math.ceil(math.log10(max(costs)))

    def x(count):
        return LEFT + (RIGHT - LEFT) * math.log10(count / counts[0]) / math.log10(counts[-1] / counts[0])

    def y(cost):
        return BOTTOM - (BOTTOM - TOP) * (math.log10(cost) - low) / (high - low)

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" role="img">',
           "<title>The processor time for one record, by the number of records in the list</title>",
           f"<style>{STYLE}</style>", f'<rect width="{WIDTH}" height="{HEIGHT}" rx="8" fill="#fff"/>',
           f'<text class="title" x="{LEFT}" y="26">Processor time for one record, µs, by the number of records</text>']
    for power in range(low, high + 1):
        at = y(10**power)
        svg += [f'<path class="grid" d="M{LEFT} {at:.1f}H{RIGHT}"/>',
                f'<text x="{LEFT - 8}" y="{at + 4:.1f}" text-anchor="end">{10.0**power:g}</text>']
    for count in counts:
        svg += [f'<path class="grid" d="M{x(count):.1f} {TOP}V{BOTTOM}"/>',
                f'<text x="{x(count):.1f}" y="{BOTTOM + 22}" text-anchor="middle">{count:,}</text>']
    labels = spread({step: y(sizes[-1][step] * 1e6) for step in STEPS})
    for step, colour in zip(STEPS, COLOURS):
        points = [(x(size["records"]), y(size[step] * 1e6)) for size in sizes]
        curve = "L".join(f"{px:.1f} {py:.1f}" for px, py in points)
        svg.append(f'<path class="curve" stroke="{colour}" d="M{curve}"/>')
        svg += [f'<circle cx="{px:.1f}" cy="{py:.1f}" r="4" fill="{colour}"/>' for px, py in points]
        svg += [f'<path stroke="{colour}" d="M{RIGHT + 6} {points[-1][1]:.1f}L{RIGHT + 20} {labels[step]:.1f}"/>',
                f'<text x="{RIGHT + 24}" y="{labels[step] + 4:.1f}" style="fill:{colour}">{step}</text>']
    return "\n".join([*svg, "</svg>"]) + "\n"
