"""Turns what scripts/bench-tree measured into the table of docs/build.md.

    tree_report.py COMMANDS DOCUMENT

Wall time is the least of all rounds, and so is processor time, that of the converters included.
"""

import sys
from pathlib import Path

import report

commands = report.read_commands(Path(sys.argv[1]))
document = Path(sys.argv[2])
processor = {name: figures[0] for name, figures in commands.items()}
wall = {name: figures[1] for name, figures in commands.items()}

rows = [
    ("nothing to do ÷ `find ROOT -printf '%T@ %s'`", wall["nothing"] / wall["find"], 3),
    ("everything, two cores ÷ the converter's own batches on one", wall["all"] / wall["batches"], 1 / 1.7),
    ("the same in processor time", processor["all"] / processor["batches"], 1.15),
    ("one of them changed ÷ nothing to do and one conversion",
     (wall["changed"] - wall["touched"]) / (wall["nothing"] + wall["one"]), 1.15),
    ("peak memory, MB", max(commands[name][2] for name in ("all", "nothing", "changed")) / 1e6, 100),
]
lines = [f"On {report.processor_name()}, 20,000 models of 1.1 GB.", "", "| what | measured | at most |", "|---|---|---|"]
for what, measured, limit in rows:
    lines.append(f"| {what} | {measured:.2f}{'' if measured <= limit else ' **over**'} | {limit:.3g} |")
lines += ["", "| command | wall s | processor s |", "|---|---|---|"]
names = {"nothing": "`kimbuild`, nothing to do", "find": "`find`", "changed": "`kimbuild`, one changed",
         "all": "`kimbuild --force --jobs 2`", "batches": "the converter's own batches, one after the other"}
for key, name in names.items():
    lines.append(f"| {name} | {wall[key]:.3f} | {processor[key]:.3f} |")
report.replace_measured(document, lines)
