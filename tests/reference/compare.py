"""Runs the program and the reference on the samples and on random models, and compares everything they leave behind.

By hand, from the folder above this one:

    python3 -m reference.compare PROGRAM SAMPLES [--all-options] [--seed N] [--first N] [--runs N] [--keep DIR]

Exit status 1 when anything differs. A random run is known by its seed and number: the same two make the same files
again, and `--keep` leaves them in a folder to look at.
"""

import argparse
import itertools
import random
import shutil
import sys
import tempfile
import time
from pathlib import Path

from .generator.run import RandomRun
from .sandbox import ROOT, Sandbox

SWITCHES = (
    b"-tangent",
    b"-discard_bad_triangles",
    b"-merge_part_pieces",
    b"-optimize_for_vertex_cache",
    b"-verbose",
)
LARGEST_CHANGED_SAMPLE = 50000


def compare_samples(sandbox: Sandbox, samples: Path, all_options: bool) -> int:
    """Every sample without and with all options, or with all combinations; gives the number that differ."""
    counts = range(len(SWITCHES) + 1) if all_options else (0, len(SWITCHES))
    chosen = [list(options) for count in counts for options in itertools.combinations(SWITCHES, count)]
    differing = 0
    shutil.copytree(samples, sandbox.source_root, dirs_exist_ok=True)
    for path in sorted(samples.rglob("*.kim")):
        name = b"/" + bytes(path.relative_to(samples))
        for options in chosen:
            arguments = [name, b"-root", ROOT.encode(), *options]
            differing += _report("sample", arguments, sandbox.differences(arguments))
    return differing


def compare_random(sandbox: Sandbox, samples: Path, seed: int, numbers: range, keep: Path | None) -> int:
    """Runs on random files; gives the number that differ, and keeps their trees when told where."""
    small = [path for path in samples.rglob("*.kim") if path.stat().st_size < LARGEST_CHANGED_SAMPLE]
    small_samples = {path.relative_to(samples).as_posix(): path.read_bytes() for path in small}
    differing = 0
    for number in numbers:
        random_run = RandomRun(random.Random(f"{seed}/{number}"), small_samples)
        sandbox.clear()
        for name, content in random_run.files.items():
            sandbox.add(name, content)
        differences = sandbox.differences(random_run.arguments)
        if _report(f"seed {seed} run {number}", random_run.arguments, differences):
            differing += 1
            if keep is not None:
                shutil.copytree(sandbox.base, keep / f"{seed}-{number}", dirs_exist_ok=True)
    return differing


def _report(title: str, arguments: list[bytes], differences: list[str]) -> bool:
    if differences:
        line = b" ".join(arguments).decode("utf-8", "backslashreplace")
        print(f"{title}: {line}", *differences, sep="\n", flush=True)
    return bool(differences)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=Path)
    parser.add_argument("samples", type=Path)
    parser.add_argument("--all-options", action="store_true", help="the samples with every combination of options")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--first", type=int, default=0, help="number of the first random run")
    parser.add_argument("--runs", type=int, default=0, help="how many random runs")
    parser.add_argument("--keep", type=Path, help="folder for the files of random runs that differ")
    options = parser.parse_args()
    started = time.monotonic()
    with tempfile.TemporaryDirectory() as folder:
        sandbox = Sandbox(Path(folder) / "base", options.program)
        differing = compare_samples(sandbox, options.samples, options.all_options)
        numbers = range(options.first, options.first + options.runs)
        differing += compare_random(sandbox, options.samples, options.seed, numbers, options.keep)
    print(f"{differing} runs differ; {time.monotonic() - started:.0f} s")
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
