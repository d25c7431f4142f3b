"""A few hundred inputs and the samples: outputs, records, messages and statuses against digests.

    python3 tests/golden/golden.py PROGRAM SAMPLES [--runner COMMAND]

The inputs lie in inputs.tar.xz: models and skeletons, whole and broken, for every stage of the conversion. The digests
in digests.tsv were made by scripts/golden, which has every one of them confirmed by an independent implementation of
the formats. Exit status 1 when one differs. RUNNER stands before the program, for another system's emulator.
"""

import argparse
import hashlib
import pathlib
import shutil
import subprocess
import sys
import tarfile
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
DIGESTS = HERE / "digests.tsv"
INPUTS = HERE / "inputs.tar.xz"
ROOT = "golden"


class Tree:
    """An asset tree whose root holds the inputs, and the samples below model/."""

    def __init__(self, base, program, samples, runner=""):
        self.base = pathlib.Path(base).resolve()
        self.root = self.base / ROOT
        folder = self.base / "bin/linux_x64"
        folder.mkdir(parents=True)
        shutil.copy(program, folder)
        self.command = runner.split() + [str(folder / pathlib.Path(program).name)]
        shutil.copytree(samples, self.root)
        with tarfile.open(INPUTS) as archive:
            archive.extractall(self.root)

    def product(self, store, name):
        path = self.base / "rsrc" / ROOT / store / name.replace(".kim", ".kmg")
        return path.read_bytes() if path.exists() else None

    def convert(self, name, options):
        """Status, standard output, standard error, output and record; none of an earlier run is left."""
        shutil.rmtree(self.base / "rsrc", ignore_errors=True)
        run = subprocess.run(self.command + ["/" + name, "-root", ROOT, *options], capture_output=True, timeout=300)
        return run.returncode, run.stdout, run.stderr, self.product("@cache", name), self.product("@dep", name)

    def row(self, name, options, result):
        """The line of digests.tsv; the place of the tree does not matter."""
        status, *texts = result
        place = str(self.base).encode()
        digests = ["-" if text is None else hashlib.sha256(text.replace(place, b"BASE")).hexdigest()[:16] for text in texts]
        return "\t".join([name, " ".join(options) or "-", str(status), *digests])


def cases(lines):
    for line in lines:
        name, options, *_ = line.split("\t")
        yield line, name, options.split() if options != "-" else []


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("samples")
    parser.add_argument("--runner", default="")
    arguments = parser.parse_args()
    columns, *expected = DIGESTS.read_text().splitlines()
    differing = 0
    with tempfile.TemporaryDirectory(prefix="kim2kmg-golden-") as base:
        tree = Tree(base, arguments.program, arguments.samples, arguments.runner)
        for line, name, options in cases(expected):
            result = tree.convert(name, options)
            row = tree.row(name, options, result)
            if row != line:
                differing += 1
                print(f"{columns}\nexpected {line}\ngot      {row}\n{result[2].decode(errors='replace')}")
    print(f"{differing} of {len(expected)} runs differ")
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
