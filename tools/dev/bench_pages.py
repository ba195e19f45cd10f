"""Writes the figures of a run into docs/benchmarks.md, between its markers, and draws docs/scale.svg.

bench/figures.toml has the texts: what each figure measures, its limit, and the reason of each that is above its aim. A
figure has a ratio; what has no limit has a value with a unit.
"""

import re
import tomllib

import bench_scale

PAGE = "docs/benchmarks.md"
DRAWING = "docs/scale.svg"
TEXTS = "bench/figures.toml"


def entry_of(name):
    """The name of a figure's texts: "saving/10 records" is a case of "saving"."""
    return name.partition("/")[0]


def title(name):
    """The figure's name for people: "saving, 100,000 records"."""
    return re.sub(r"\d{4,}", lambda digits: f"{int(digits[0]):,}", name.replace("/", ", "))


def is_above_aim(row):
    return row["aim"] is not None and row["ratio" if "ratio" in row else "value"] > row["aim"]


def reason(texts, name):
    """Why the figure is above its aim; None when there is no text. A text without a case is that of all cases."""
    reasons = texts.get(entry_of(name), {}).get("above", {})
    return reasons.get(name.partition("/")[2]) or reasons.get("")


def text_faults(texts, rows):
    """The differences between the texts and the rows that were measured."""
    entries = dict.fromkeys(entry_of(row["name"]) for row in rows)
    faults = [f"{entry} has no entry in {TEXTS}" for entry in entries if entry not in texts]
    faults += [f"{TEXTS} has an entry that nothing measures: {entry}" for entry in texts if entry not in entries]
    faults += [f"{row['name']} is above its aim, and {TEXTS} gives no reason" for row in rows
               if is_above_aim(row) and not reason(texts, row["name"])]
    return faults


# --- Sections ---------------------------------------------------------------------------------------------------------


def number(value):
    """At least three digits: 0.123, 1.23, 12.3, 123, 1,234."""
    digits = 0 if value >= 99.95 else 1 if value >= 9.995 else 2 if value >= 0.9995 else 3
    return f"{value:,.{digits}f}"


def table(head, alignment, rows):
    return ["| " + " | ".join(cells) + " |" for cells in (head, alignment, *rows)]


def machine_line(results):
    machine = results["machine"]
    memory = machine["memory_bytes"] / 2**30
    return (f"Measured on {results['date']} at commit {results['commit']}, on {machine['processors']} processors "
            f"({machine['processor']}), {memory:.0f} GiB of memory, {machine['system']}.")


def aim(row):
    return "" if row["aim"] is None else f"{row['aim']:g} {row.get('unit', '')}".strip()


def in_order(texts, figures):
    """The figures in the order of their texts."""
    order = list(texts)
    return sorted(figures, key=lambda figure: order.index(entry_of(figure["name"])))


def figures_section(figures):
    rows = [(title(each["name"]), number(each["time"] * 1e6), number(each["limit"] * 1e6), f"{each['ratio']:.2f}",
             f"{each['ratio'] * each['noise']:.2f}", aim(each))
            for each in figures]
    head = ("figure", "time, µs", "limit, µs", "ratio", "noise", "aim")
    return table(head, ("---", *["---:"] * 5), rows)


def texts_section(texts):
    rows = [(entry, columns["measured"], columns["limit"]) for entry, columns in texts.items() if "limit" in columns]
    return table(("figure", "what is measured", "its limit"), ["---"] * 3, rows)


def values_section(texts, values):
    """The values, each group with its text."""
    rows = []
    for at, each in enumerate(values):
        is_first = at == 0 or entry_of(values[at - 1]["name"]) != entry_of(each["name"])
        measured = texts[entry_of(each["name"])]["measured"] if is_first else ""
        rows.append((title(each["name"]), f"{number(each['value'])} {each['unit']}".strip(), aim(each), measured))
    return table(("figure", "value", "aim", "what is measured"), ("---", "---:", "---:", "---"), rows)


def scale_section(texts, results):
    times = (*bench_scale.STEPS, bench_scale.COPYING)
    rows = [(f"{size['records']:,}", *(number(size[time] * 1e6) for time in times), number(size["loaded memory"]))
            for size in results["sizes"]]
    head = ("records", *(f"{step}, µs" for step in bench_scale.STEPS), "`memcpy` of the document, µs", "memory, bytes")
    drawing = f"![The processor time for one record, by the number of records]({DRAWING.removeprefix('docs/')})"
    return [drawing, "", *table(head, ["---:"] * len(head), rows), "", *values_section(texts, results["scale"])]


def footprint_section(texts, results):
    libraries = [(name, number(size / 1000)) for name, size in results["libraries"]]
    return [*values_section(texts, results["footprint"]), "",
            *table(("shared library of the minimal host", "size, KB"), ("---", "---:"), libraries)]


def reasons_section(texts, rows):
    """One item for each reason, with the figures that it is given for."""
    named = {}
    for row in rows:
        if is_above_aim(row):
            named.setdefault(reason(texts, row["name"]), []).append(title(row["name"]))
    return [f"- **{'; '.join(names)}.** {text}" for text, names in named.items()] or ["No figure is above its aim."]


def replaced(page, name, lines):
    """The page with other lines between the markers of a section."""
    start, end = f"<!-- {name}: written by ./run bench --update-docs -->\n", f"<!-- end of {name} -->\n"
    if page.count(start) != 1 or page.count(end) != 1:
        raise ValueError(f"{PAGE} must have the markers of '{name}' once")
    before, _, rest = page.partition(start)
    return before + start + "\n" + "\n".join(lines) + "\n\n" + end + rest.partition(end)[2]


def update(root, results):
    """Writes the page and the drawing. Returns what is wrong with the texts; the files are then left as they were."""
    texts = tomllib.loads((root / TEXTS).read_text(encoding="utf-8"))
    rows = [*results["figures"], *results["scale"], *results["footprint"]]
    faults = text_faults(texts, rows)
    if faults:
        return faults
    figures = in_order(texts, results["figures"])
    page = (root / PAGE).read_text(encoding="utf-8")
    for name, lines in (("figures", [machine_line(results), "", *figures_section(figures)]),
                        ("texts", texts_section(texts)),
                        ("scale", scale_section(texts, results)),
                        ("footprint", footprint_section(texts, results)),
                        ("reasons", reasons_section(texts, rows))):
        page = replaced(page, name, lines)
    (root / PAGE).write_text(page, encoding="utf-8")
    (root / DRAWING).write_text(bench_scale.draw(results["sizes"]), encoding="utf-8")
    return []
