"""The programs of another system against those of this one: outputs, records, messages, statuses, byte for byte.

    python3 tests/systems/compare.py HERE THERE SAMPLES MODELS [--runner COMMAND] [--drive Z:]

HERE and THERE are folders with the programs of one build each, MODELS one with random models (fuzz/print_models.cpp).
RUNNER stands before the programs of THERE, for an emulator; DRIVE is how the other system's paths begin. Compared are
the samples with every combination of options, the golden inputs and the random models with some; names with blanks and
letters of other alphabets; broken command lines; the inspectors, the import, and the builder of whole trees. Exit
status 1 when one differs.
"""

import argparse
import itertools
import os
import pathlib
import shutil
import subprocess
import sys
import tarfile
import tempfile

TREE = pathlib.Path(__file__).resolve().parent.parent.parent
OPTIONS = ("-tangent", "-discard_bad_triangles", "-merge_part_pieces", "-optimize_for_vertex_cache", "-verbose")
SINGLE = [()] + [(option,) for option in OPTIONS[:4]] + [OPTIONS]
EVERY = [c for n in range(len(OPTIONS) + 1) for c in itertools.combinations(OPTIONS, n)]
FOLDER = "\u00fcbung mit \U0001f600 und blanks"
MODEL = "k\u00e4fer \U0001f41e nr 1"
TOOLS = ("kim2kmg", "kmginfo", "kmg2glb", "gltf2kim", "kimbuild", "kimlint")
ROOT = "root"
COMMAND_BYTES = 1700  # of the 2048 that the converter takes


class Place:
    """An asset tree with the programs of one build, run with that build's runner."""

    def __init__(self, base, programs, runner, drive):
        self.base, self.runner, self.drive = base, runner.split(), drive
        self.suffix = ".exe" if (programs / "kim2kmg.exe").exists() else ""
        self.folder = base / "bin/system"
        self.folder.mkdir(parents=True)
        for tool in TOOLS:
            shutil.copy(programs / (tool + self.suffix), self.folder)

    def run(self, tool, *arguments):
        """Status and what was printed, with the place of the tree and the system's spelling of it taken out."""
        command = [*self.runner, str(self.folder / (tool + self.suffix)), *arguments]
        run = subprocess.run(command, cwd=self.base, capture_output=True, timeout=600, stdin=subprocess.DEVNULL)
        return run.returncode, self.plain(run.stdout), self.plain(run.stderr)

    def plain(self, content):
        return content.replace((self.drive + str(self.base)).encode(), b"BASE")

    def products(self, *folders):
        """Every file below the folders, with its content; none stays."""
        files = {}
        for folder in folders:
            for path in sorted((self.base / folder).rglob("*")):
                if path.is_file():
                    files[path.relative_to(self.base).as_posix()] = self.plain(path.read_bytes())
            shutil.rmtree(self.base / folder, ignore_errors=True)
        return files


class Comparison:
    def __init__(self, here, there):
        self.places, self.runs, self.files, self.differences = (here, there), 0, 0, 0

    def same(self, what, results):
        if results[0] == results[1]:
            return
        self.differences += 1
        here, there = (str(result) for result in results)
        start = max(0, len(os.path.commonprefix([here, there])) - 100)
        print(f"differs: {what}\nhere:  ...{here[start:start + 500]}\nthere: ...{there[start:start + 500]}", flush=True)

    def run(self, tool, *arguments):
        self.runs += 1
        what = " ".join([tool, *arguments[:3], "..." if len(arguments) > 3 else "", *arguments[-5:]])
        self.same(what, [place.run(tool, *arguments) for place in self.places])

    def products(self, what, *folders):
        one, other = [place.products(*folders) for place in self.places]
        self.files += len(one)
        self.same(f"{what}: the list of files", [sorted(one), sorted(other)])
        for name in one.keys() & other.keys():
            self.same(f"{what}: {name}", [one[name], other[name]])

    def convert(self, names, options):
        for batch in batches(names):
            self.run("kim2kmg", *batch, "-root", ROOT, *options)
        self.products(f"outputs with {' '.join(options)}", "rsrc")


def batches(names):
    batch, size = [], 0
    for name in names:
        length = len(name.encode()) + 1
        if batch and (size + length > COMMAND_BYTES or len(batch) == 100):
            yield batch
            batch, size = [], 0
        batch.append(name)
        size += length
    yield batch


def fill(root, samples, models):
    """The same tree for both: samples, golden inputs, random models, and one with a name of every kind."""
    shutil.copytree(samples, root)
    with tarfile.open(TREE / "tests/golden/inputs.tar.xz") as archive:
        archive.extractall(root / "g")
    shutil.copytree(models, root / "r")
    strange = root / FOLDER
    strange.mkdir()
    knight = root / "model/actor/knight.kim"
    shutil.copy(knight, strange / f"{MODEL}.kim")
    shutil.copy(knight.with_suffix(".kis"), strange)


def names_below(root, folder):
    return ["/" + path.relative_to(root).as_posix() for path in sorted((root / folder).rglob("*.kim"))]


def compare_converter(comparison, root):
    samples = names_below(root, "model") + [f"/{FOLDER}/{MODEL}.kim"]
    for options in EVERY:
        comparison.convert(samples, options)
    for options in SINGLE:
        comparison.convert(names_below(root, "g") + names_below(root, "r"), options)
    comparison.convert([name.replace("/", "\\") for name in samples], ())
    for arguments in ([], ["-V"], ["/a.kim"], ["/a.kim", "-root"], ["/a.kim", "-root", "no such"],
                      ["-tangent", "-root", ROOT], ["/a.kim", "-root", ROOT, "b"], ["/nothing.kim", "-root", ROOT],
                      ["nothing", "-root", ROOT], ["/a.kim", "-root", "r" * 256], ["/model", "/", "", "-root", ROOT],
                      ["/" + "n" * 300 + ".kim", "-root", ROOT], [f"/{FOLDER}/kein \U0001f600.kim", "-root", ROOT],
                      ["/../../outside.kim", "-root", ROOT], ["/g", "/g.kim", "/model/actor.kim/x.kim", "-root", ROOT]):
        comparison.run("kim2kmg", *arguments)
    comparison.products("broken command lines", "rsrc")


def compare_inspectors(comparison, root):
    names = names_below(root, "model") + [f"/{FOLDER}/{MODEL}.kim"]
    for batch in batches(names):
        comparison.run("kim2kmg", *batch, "-root", ROOT, "-tangent")
    outputs = [f"rsrc/{ROOT}/@cache{name[:-4]}.kmg" for name in names]
    comparison.run("kmginfo", *outputs)
    comparison.run("kmginfo", "--all", *outputs[-2:])
    comparison.run("kmginfo", "--json", *outputs)
    comparison.run("kmginfo", "--check", *outputs)
    comparison.run("kmginfo", "--vertices", "0", outputs[0])
    comparison.run("kmginfo", "--indices", "0", outputs[0])
    comparison.run("kmginfo", "--diff", *outputs[:2])
    comparison.run("kmginfo", "missing.kmg", "rsrc", f"{ROOT}/model/city/bush.kim")
    comparison.run("kmginfo", "--help")
    comparison.run("kmginfo", "--nonsense")
    comparison.run("kimlint", *[f"{ROOT}{name}" for name in names], "missing.kim")
    comparison.run("kimlint", "--json", f"{ROOT}{names[0]}")
    comparison.run("kmg2glb", *outputs)
    comparison.run("kmg2glb", "missing.kmg")
    comparison.run("kmg2glb", outputs[0], "-o", "no such folder/x.glb")
    comparison.run("gltf2kim", outputs[-1][:-4] + ".glb", f"out {MODEL}.kim")
    comparison.run("gltf2kim", "--numbers", "decimals", outputs[0][:-4] + ".glb", "plain.kim")
    comparison.run("gltf2kim", outputs[0], "x.kim")
    for place in comparison.places:
        (place.base / "texts").mkdir()
        for path in (*place.base.glob("*.kim"), *place.base.glob("*.kis")):
            path.rename(place.base / "texts" / path.name)
    comparison.products("what the inspectors wrote", "rsrc", "texts")


def compare_builder(comparison, root):
    """Its lines tell seconds and have the system's program names in them; its outputs do not."""
    seconds = lambda lines: [line.split(b"; ")[0] for line in lines]
    def build(*arguments):
        results = [place.run("kimbuild", ROOT, "/model", f"/{FOLDER}", *arguments) for place in comparison.places]
        comparison.runs += 1
        comparison.same(f"kimbuild {' '.join(arguments)}",
                        [(status, seconds(out.splitlines()), errors) for status, out, errors in results])
    build("--dry-run")
    build("--optimize", "--jobs", "2")
    build("--optimize", "--explain")
    for place in comparison.places:
        os.utime(place.base / ROOT / FOLDER / "knight.kis")
        (place.base / ROOT / "model/city/bush.kim").write_bytes(b"broken")
    build("--optimize", "--explain")
    for place in comparison.places:
        shutil.rmtree(place.base / "rsrc" / ROOT / "@build")
    comparison.products("kimbuild", "rsrc")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("here", "there", "samples", "models"):
        parser.add_argument(name, type=pathlib.Path)
    parser.add_argument("--runner", default="")
    parser.add_argument("--drive", default="")
    parser.add_argument("--no-kimbuild", action="store_true", help="the runner does not run what a program starts")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="kim2kmg-") as folder:
        above = pathlib.Path(folder).resolve() / "b\u00e4se \U0001f600"
        here = Place(above / "1", arguments.here, "", "")
        there = Place(above / "2", arguments.there, arguments.runner, arguments.drive)
        for place in (here, there):
            fill(place.base / ROOT, arguments.samples, arguments.models)
        comparison = Comparison(here, there)
        compare_converter(comparison, here.base / ROOT)
        compare_inspectors(comparison, here.base / ROOT)
        if not arguments.no_kimbuild:
            compare_builder(comparison, here.base / ROOT)
    print(f"{comparison.runs} runs, {comparison.files} files: {comparison.differences} differ")
    return 1 if comparison.differences else 0


if __name__ == "__main__":
    sys.exit(main())
