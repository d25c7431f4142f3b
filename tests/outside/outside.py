"""The program from outside: full disks, missing memory, closed streams, kills, two at once.

    python3 tests/outside/outside.py build/dev/tools/conv/kim2kmg/kim2kmg samples [KILLS]

Each check has an asset tree of its own in a temporary folder. What a check needs and the machine does not give
(root, a mount) is reported as skipped. Exit status 1 when a check failed.
"""

import contextlib
import os
import pathlib
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

program, samples = map(pathlib.Path, sys.argv[1:3])
kills = int(sys.argv[3]) if len(sys.argv) > 3 else 60
NOBODY = 65534
SKINNED = "model/actor/knight.kim"  # takes several milliseconds
PLAIN = "model/vehicle/car_police.kim"


class Skipped(Exception):
    pass


class Tree:
    """BASE/bin/linux_x64/kim2kmg and BASE/samples, as a user has them."""

    def __init__(self, base):
        self.base = pathlib.Path(base)
        (self.base / "bin/linux_x64").mkdir(parents=True)
        self.program = self.base / "bin/linux_x64/kim2kmg"
        shutil.copy(program, self.program)
        shutil.copytree(samples, self.base / "samples")

    def output(self, model):
        return self.base / "rsrc/samples/@cache" / (model[:-4] + ".kmg")

    def record(self, model):
        return self.base / "rsrc/samples/@dep" / (model[:-4] + ".kmg")

    def command(self, model, *options):
        return [self.program, "/" + model, "-root", "samples", "-optimize_for_vertex_cache", *options]

    def run(self, model, *options, **arguments):
        arguments.setdefault("stdout", subprocess.PIPE)
        arguments.setdefault("stderr", subprocess.PIPE)
        return subprocess.run(self.command(model, *options), timeout=120, **arguments)

    def products(self, model):
        """The bytes of output and record, None for one that is not there."""
        return tuple(path.read_bytes() if path.exists() else None for path in (self.output(model), self.record(model)))

    def forget(self):
        shutil.rmtree(self.base / "rsrc", ignore_errors=True)

    def expect_whole(self, run, model, whole):
        assert run.returncode == 0, (run.returncode, run.stderr)
        assert self.products(model) == whole

    def expect_nothing(self, run, model):
        assert run.returncode == 1, (run.returncode, run.stderr)
        assert b"*** ERROR *** : " in run.stderr, "nothing was said"
        assert self.products(model) == (None, None), "something was left"


@contextlib.contextmanager
def new_tree():
    with tempfile.TemporaryDirectory(prefix="kim2kmg-outside-") as base:
        tree = Tree(base)
        yield tree


def whole_products(tree, model, *options):
    run = tree.run(model, *options)
    assert run.returncode == 0, run.stderr
    products = tree.products(model)
    tree.forget()
    return products


def limit(kind, value):
    return lambda: resource.setrlimit(kind, (value, value))


def a_limit_on_file_sizes(tree):
    output, _ = whole_products(tree, PLAIN)
    for size in (0, 1, 100, 4096, len(output) // 2, len(output) - 1):
        tree.expect_nothing(tree.run(PLAIN, preexec_fn=limit(resource.RLIMIT_FSIZE, size)), PLAIN)


def a_full_disk(tree):
    whole = whole_products(tree, SKINNED)
    resources = tree.base / "rsrc"
    resources.mkdir()
    if os.geteuid() != 0 or subprocess.run(
            ["mount", "-t", "tmpfs", "-o", "size=64k", "none", resources], capture_output=True).returncode != 0:
        raise Skipped("needs a mount")
    try:
        tree.expect_nothing(tree.run(SKINNED), SKINNED)
        subprocess.run(["mount", "-o", "remount,size=8m", resources], check=True)
        tree.expect_whole(tree.run(SKINNED), SKINNED, whole)
    finally:
        subprocess.run(["umount", resources], check=True)


def a_read_only_cache(tree):
    whole = whole_products(tree, PLAIN)
    cannot_write = {}
    if os.geteuid() == 0:  # whom permissions do not stop
        os.chmod(tree.base, 0o755)
        cannot_write["user"] = NOBODY
    run = tree.run(PLAIN)
    tree.expect_whole(run, PLAIN, whole)
    folder = tree.output(PLAIN).parent
    os.chmod(folder, 0o555)
    run = tree.run(PLAIN, "-tangent", **cannot_write)
    assert run.returncode == 1 and b"error opening output file" in run.stderr, run.stderr
    assert tree.products(PLAIN) == whole, "the old products have changed"
    os.chmod(folder, 0o755)


def an_input_that_may_not_be_read(tree):
    arguments = {}
    if os.geteuid() == 0:
        os.chmod(tree.base, 0o755)
        arguments["user"] = NOBODY
    os.chmod(tree.base / "samples" / PLAIN, 0)
    tree.expect_nothing(tree.run(PLAIN, **arguments), PLAIN)


def little_memory(tree):
    """Whatever the limit: converted whole, or nothing that vouches for a part."""
    whole = whole_products(tree, SKINNED)
    ends = set()
    for kibibytes in range(2048, 16384, 256):
        run = tree.run(SKINNED, preexec_fn=limit(resource.RLIMIT_AS, kibibytes << 10))
        output, record = tree.products(SKINNED)
        if run.returncode == 0:
            assert (output, record) == whole
        else:
            assert record is None or output == whole[0]
            if run.returncode == 1:
                tree.expect_nothing(run, SKINNED)
        ends.add(run.returncode)
        tree.forget()
    assert {0, 1} <= ends, ends


def streams_that_take_nothing(tree):
    whole = whole_products(tree, SKINNED)
    for closed in ((1,), (2,), (0, 1, 2)):
        run = subprocess.run(tree.command(SKINNED), preexec_fn=lambda: [os.close(each) for each in closed])
        tree.expect_whole(run, SKINNED, whole)
        tree.forget()
    with open("/dev/full", "wb") as full:
        tree.expect_whole(tree.run(SKINNED, stdout=full, stderr=full), SKINNED, whole)
        run = tree.run("model/no.kim", stdout=full, stderr=full)
        assert run.returncode == 1
    tree.forget()
    # A reader that has gone, and many messages for it.
    (tree.base / "samples/junk.kim").write_bytes(b"*" * 100000)
    reading, writing = os.pipe()
    os.close(reading)
    run = tree.run("junk.kim", stdout=writing, stderr=writing)
    assert run.returncode == 1, run.returncode
    os.close(writing)


def kills_at_any_moment(tree):
    """With the products of an earlier run in place, every second time beside another converter."""
    old = (tree.run(SKINNED).returncode, tree.products(SKINNED))[1]
    started = time.monotonic()
    assert tree.run(SKINNED, "-tangent").returncode == 0
    duration = time.monotonic() - started
    new = tree.products(SKINNED)
    outputs = {old[0], new[0]}
    chance = random.Random(1)
    killed = 0
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    for i in range(kills):
        options = ["-tangent"] if i % 3 else []
        process = subprocess.Popen(tree.command(SKINNED, *options), **quiet)
        other = subprocess.Popen(tree.command(SKINNED), **quiet) if i % 2 else None
        time.sleep(chance.uniform(0, duration * 1.2))
        process.send_signal(signal.SIGKILL)
        killed += process.wait() == -signal.SIGKILL
        if other:
            other.wait()
        output, record = tree.products(SKINNED)
        assert record is None or output is None or output in outputs, f"kill {i}: a record beside an unfinished output"
        if i % 5 == 0:
            tree.expect_whole(tree.run(SKINNED, *options), SKINNED, new if options else old)
    assert killed > kills / 6, killed
    print(f"         {killed} of {kills} killed in time, half of all beside another")
    tree.expect_whole(tree.run(SKINNED, "-tangent"), SKINNED, new)


def two_at_once(tree):
    wholes = [whole_products(tree, model, *options)
              for model, options in ((SKINNED, []), (SKINNED, ["-merge_part_pieces"]))]
    for i in range(60):
        processes = [subprocess.Popen(tree.command(SKINNED, *options), stdout=subprocess.DEVNULL,
                                      stderr=subprocess.PIPE)
                     for options in ([], ["-merge_part_pieces"])]
        for process in processes:
            _, errors = process.communicate()
            assert process.returncode == 0, errors
        products = tree.products(SKINNED)
        # A record that one took back lest it vouch for the other's output may be missing.
        assert products in wholes or products in [(output, None) for output, _ in wholes], "a mix"
        if i % 3 == 0:
            tree.forget()


checks = [a_limit_on_file_sizes, a_full_disk, a_read_only_cache, an_input_that_may_not_be_read, little_memory,
          streams_that_take_nothing, kills_at_any_moment, two_at_once]

failed = 0
for check in checks:
    name = check.__name__.replace("_", " ")
    with new_tree() as tree:
        try:
            check(tree)
            print(f"ok       {name}")
        except Skipped as reason:
            print(f"skipped  {name}: {reason}")
        except AssertionError as what:
            failed += 1
            print(f"FAILED   {name}, line {what.__traceback__.tb_next.tb_lineno}: {what}")
sys.exit(failed != 0)
