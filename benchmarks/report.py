"""Turns what scripts/bench measured into the tables and bars of docs/performance.md.

    report.py MEASUREMENTS INPUT DOCUMENT

Ratios compare figures of one run. Stages are the least of their repetitions, commands the least processor time of
their rounds. The part of the document between the two marks is replaced.
"""

import json
import os
import platform
import sys
from pathlib import Path

BEGIN = "<!-- measured: begin -->"
END = "<!-- measured: end -->"
BAR = 40


def read_stages(folder: Path) -> dict[str, float]:
    """Milliseconds of every stage at its best."""
    stages: dict[str, float] = {}
    for path in sorted(folder.glob("stages*.json")):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run.get("run_type") == "iteration":
                name = run["name"].split("/iterations:")[0]
                stages[name] = min(stages.get(name, float("inf")), run["cpu_time"])
    return stages


Command = tuple[float, float, int, int]


def read_commands(path: Path) -> dict[str, Command]:
    """Least processor seconds, least wall seconds, peak memory in bytes and page faults of every command."""
    commands = {}
    for line in path.read_text().splitlines():
        name, least, _median, wall, kibibytes, faults = line.split("\t")
        commands[name] = (float(least), float(wall), int(kibibytes) * 1024, int(faults))
    return commands


def processor_name() -> str:
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def page_cost(stages: dict[str, float]) -> float:
    """Microseconds that a fresh page costs here; the stage touches 16384 of them."""
    return stages["limit/fresh_pages"] * 1000 / 16384


def targets(stages: dict[str, float], commands: dict[str, Command], size: int) -> list[str]:
    """One row per target: what, how much of what it is compared with, and how much it may be."""
    seconds = {name: figures[0] for name, figures in commands.items()}
    peaks = {name: figures[2] for name, figures in commands.items()}
    faults = {name: figures[3] / (size / 1e6) for name, figures in commands.items()}
    rows = [
        ("parse of bit patterns ÷ flat loop over the same numbers",
         stages["parse/bit_patterns"] / stages["limit/bit_patterns"], 1.5),
        ("parse of decimals ÷ flat `std::from_chars` loop",
         stages["parse/decimals"] / stages["limit/from_chars"], 1.1),
        ("bit patterns ÷ gltfpack", seconds["bits"] / seconds["gltfpack"], 0.42),
        ("decimals ÷ gltfpack", seconds["decimals"] / seconds["gltfpack"], 0.42),
        ("bit patterns, vertex cache ÷ gltfpack", seconds["bits_ordered"] / seconds["gltfpack"], 0.55),
        ("vertex-cache pass ÷ meshoptimizer", stages["passes/vertex_cache"] / stages["limit/meshoptimizer"], 1.1),
        ("peak memory ÷ input, no passes", peaks["bits"] / size, 0.6),
        ("peak memory ÷ input, vertex cache", peaks["bits_ordered"] / size, 0.6),
        ("page faults for each MB of input, no passes", faults["bits"], 160),
        ("page faults for each MB of input, vertex cache", faults["bits_ordered"], 160),
        ("one triangle ÷ `/bin/true`", seconds["triangle"] / seconds["true"], 1.6),
        ("one car of 400, in batches of 100, in ms", seconds["cars"] / 400 * 1000, 0.6),
        ("ten times the input, no passes", seconds["plain"] / seconds["plain_tenth"], 10.5),
        ("ten times the input, vertex cache", seconds["plain_ordered"] / seconds["plain_ordered_tenth"], 10.5),
        ("ten times the input, skinned", seconds["skinned"] / seconds["skinned_tenth"], 10.5),
        ("ten times the input, skinned, vertex cache",
         seconds["skinned_ordered"] / seconds["skinned_ordered_tenth"], 10.5),
        ("`kmginfo --check` ÷ conversion of the same model", seconds["check"] / seconds["bits"], 0.1),
        ("`kmg2glb` ÷ the same", seconds["glb"] / seconds["bits"], 0.3),
        ("`gltf2kim` ÷ the same", seconds["import"] / seconds["bits"], 0.5),
    ]
    lines = ["| what | measured | at most |", "|---|---|---|"]
    for what, measured, limit in rows:
        lines.append(f"| {what} | {measured:.2f}{'' if measured <= limit else ' **over**'} | {limit} |")
    return lines


def command_table(commands: dict[str, Command]) -> list[str]:
    names = {"bits": "kim2kmg, bit patterns", "decimals": "kim2kmg, decimals",
             "bits_ordered": "kim2kmg, bit patterns, vertex cache", "gltfpack": "gltfpack -noq",
             "ogre": "OgreXMLConverter -q", "assimp": "assimp export to assbin", "check": "kmginfo --check",
             "glb": "kmg2glb", "import": "gltf2kim"}
    lines = ["| command | processor s | wall s | peak MB | page faults |", "|---|---|---|---|---|"]
    for key, name in names.items():
        least, wall, peak, faults = commands[key]
        lines.append(f"| {name} | {least:.2f} | {wall:.2f} | {peak / 1e6:.0f} | {faults} |")
    return lines


def stage_bars(stages: dict[str, float]) -> list[str]:
    """A bar per stage; limits of the machine are drawn light."""
    longest = max(time for name, time in stages.items() if "literal" not in name)
    lines = ["```"]
    for name, time in sorted(stages.items(), key=lambda stage: stage[0]):
        cells = max(1, round(time / longest * BAR))
        bar = "…" * BAR if cells > BAR else ("░" if name.startswith("limit/") else "█") * cells
        lines.append(f"{name:34} {time:9.1f} ms {bar}")
    return lines + ["```"]


def conversion_bars(stages: dict[str, float], faults: dict[str, int]) -> list[str]:
    """Where the time and the fresh pages of a conversion with the vertex-cache pass go."""
    whole = stages["convert/bit_patterns_vertex_cache"]
    steps = {"read the text": stages["read/bit_patterns"], "parse": stages["parse/bit_patterns"],
             "order for the vertex cache": stages["passes/vertex_cache"],
             "build the geometry file": stages["write/plain"], "copy it to disk": stages["write/copy_to_disk"]}
    lines = ["```"]
    for name, time in steps.items():
        pages = f"{faults[name]:6} pages" if name in faults else " " * 12
        lines.append(f"{name:28} {time:7.1f} ms {pages} {'█' * round(time / whole * BAR)}")
    return lines + ["```"]


def read_faults(path: Path) -> dict[str, int]:
    """Page faults of every step of one conversion."""
    return {name: int(count) for name, count in (line.split("\t") for line in path.read_text().splitlines())}


def replace_measured(document: Path, lines: list[str]) -> None:
    """Puts the lines between the document's marks, and prints them."""
    before, rest = document.read_text().split(BEGIN)
    document.write_text(before + "\n".join([BEGIN, "", *lines, "", END]) + rest.split(END)[1])
    print("\n".join(lines))


def main() -> None:
    folder, source, document = (Path(argument) for argument in sys.argv[1:4])
    stages = read_stages(folder)
    commands = read_commands(folder / "commands.tsv")
    size = os.path.getsize(source)
    measured = [f"On {processor_name()}, {os.cpu_count()} cores, where a fresh page costs {page_cost(stages):.2f} µs; "
                f"input of {size / 1e6:.0f} MB.", ""]
    measured += targets(stages, commands, size) + [""]
    measured += command_table(commands) + [""]
    measured += ["A conversion of bit patterns with the vertex-cache pass, step by step:", "",
                 *conversion_bars(stages, read_faults(folder / "faults.tsv")), ""]
    measured += ["Every stage, each measured alone:", "", *stage_bars(stages)]
    replace_measured(document, measured)


if __name__ == "__main__":
    main()
