"""kimbuild from outside: what is converted and why, crashes, kills, full disks, two at once, watching, other engines.

    python3 tests/build/kimbuild.py build/dev/tools/build/kimbuild build/dev/tools/conv/kim2kmg/kim2kmg \
        build/dev/tools/lint/kimlint samples [NAME...]

Each check has a tree of its own in a temporary folder. What a check needs and the machine does not give (root, a mount)
is reported as skipped. Exit status 1 when a check failed.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

kimbuild, kim2kmg, kimlint, samples = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
NOBODY = 65534
KNIGHT, KNIGHT_BONES, BUSH = "/model/actor/knight.kim", "/model/actor/knight.kis", "/model/city/bush.kim"


class Skipped(Exception):
    pass


class Tree:
    """BASE/bin/linux_x64/ with the programs, and BASE/proj with the samples."""

    def __init__(self, base):
        self.base = pathlib.Path(base)
        self.programs = self.base / "bin/linux_x64"
        self.programs.mkdir(parents=True)
        for program in (kimbuild, kim2kmg, kimlint):
            shutil.copy(program, self.programs)
        self.sources = self.base / "proj"
        shutil.copytree(samples, self.sources)
        self.models = sorted("/" + str(path.relative_to(self.sources)) for path in self.sources.rglob("*.kim"))

    def source(self, path):
        return self.base / f"proj{path}"

    def output(self, model):
        return self.base / f"rsrc/proj/@cache{model[:-4]}.kmg"

    def record(self, model):
        return self.base / f"rsrc/proj/@dep{model[:-4]}.kmg"

    def products(self):
        resources = self.base / "rsrc/proj"
        return {path.relative_to(resources): path.read_bytes() for store in ("@cache", "@dep")
                for path in (resources / store).rglob("*") if path.is_file() and path.suffix != ".kmg~"}

    def start(self, *arguments, **options):
        return subprocess.Popen([self.programs / "kimbuild", "proj", *arguments], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, errors="surrogateescape", **options)

    def run(self, *arguments, status=0, **options):
        process = self.start(*arguments, **options)
        process.out, process.err = process.communicate(timeout=120)
        assert process.returncode == status, (process.returncode, process.out, process.err)
        return process

    def converted(self, *arguments, status=0):
        """The models that a run converts or tries to, with their reasons."""
        run = self.run("--explain", *arguments, status=status)
        return dict(re.findall(r"^(/.*?): (.*)$", run.out, re.M))

    def add(self, path, content=None):
        self.source(path).parent.mkdir(parents=True, exist_ok=True)
        self.source(path).write_bytes(self.source(BUSH).read_bytes() if content is None else content)

    def fake_converter(self, text):
        """Puts a script in the converter's place; the real one is bin/real/kim2kmg."""
        (self.base / "bin/real").mkdir()
        real = self.base / "bin/real/kim2kmg"
        (self.programs / "kim2kmg").rename(real)
        (self.programs / "kim2kmg").write_text(f"#!/bin/bash\nreal={real}\n{text}\n")
        (self.programs / "kim2kmg").chmod(0o755)


def what_is_out_of_date(tree):
    assert set(tree.converted()) == set(tree.models)
    assert tree.converted() == {}
    touch = lambda path: os.utime(tree.source(path))

    def expect(reason, *models):
        found = tree.converted()
        assert set(found) == set(models) and all(reason in why for why in found.values()), found
        assert tree.converted() == {}

    touch(BUSH)
    expect("has changed", BUSH)
    tree.source(BUSH).write_bytes(tree.source(BUSH).read_bytes() + b"#\n")
    expect("from 14200 to 14202 bytes", BUSH)
    touch(KNIGHT_BONES)
    expect(KNIGHT_BONES + " has changed", KNIGHT)
    tree.output(BUSH).unlink()
    expect("no output", BUSH)
    tree.record(KNIGHT).unlink()
    expect("no record", KNIGHT)
    subprocess.run([tree.programs / "kim2kmg", BUSH, "-root", "proj"], check=True)  # by hand, who knows how
    expect("record is not the one", BUSH)
    tree.output(BUSH).write_bytes(b"")
    assert tree.converted() == {}
    assert set(tree.converted("--check-outputs")) == {BUSH}
    tree.source("/kimbuild.json").write_text('{"rules": [{"models": "actor/*", "options": ["optimize"]}]}')
    expect("were none and are optimize", KNIGHT, "/model/actor/mage.kim")
    assert set(tree.converted("--tangent")) == set(tree.models)
    assert set(tree.converted()) == set(tree.models)
    assert set(tree.converted("--force", "/model/actor", BUSH)) == {KNIGHT, "/model/actor/mage.kim", BUSH}
    with open(tree.programs / "kim2kmg", "ab") as program:
        program.write(b"another build")
    expect("another build of the converter", *tree.models)
    record = tree.record(BUSH).read_bytes()
    assert record == f"version:3\r\n{BUSH}\r\n".encode(), record
    state = tree.base / "rsrc/proj/@build/state"
    state.write_text(state.read_text().replace("\t3\t", "\t2\t"))
    expect("by version 2, the converter is version 3", *tree.models)
    state.unlink()
    expect("nothing is known", *tree.models)
    state.write_bytes(os.urandom(1000))
    assert set(tree.converted()) == set(tree.models)


def a_skeleton_that_goes_and_comes(tree):
    tree.source(KNIGHT_BONES).rename(tree.base / "kept.kis")
    run = tree.run(status=1)
    assert f"{KNIGHT}: {KNIGHT_BONES}: failed to open" in run.out, run.out
    (tree.base / "kept.kis").rename(tree.source(KNIGHT_BONES))
    assert set(tree.converted()) == {KNIGHT}
    tree.source(KNIGHT_BONES).unlink()
    assert "knight.kis is gone" in tree.converted(status=1)[KNIGHT]


def messages_of_many_models(tree):
    """Failures and warnings all over batches, each with its model, the same whatever the number of processes."""
    junk = re.sub(rb"Alias", b"? Alias", tree.source(BUSH).read_bytes())
    broken = []
    for i in range(150):
        tree.add(f"/many/{i:03}_good.kim")
        if i % 10 == 3:
            tree.add(f"/many/{i:03}_junk.kim", junk)
        if i % 10 == 7:
            tree.add(f"/many/{i:03}_broken.kim", b"Header {\n")
            broken.append(f"/many/{i:03}_broken.kim")
    errors = set()
    for jobs in "1", "2", "7":
        report = tree.base / "report.json"
        run = tree.run("--force", "--jobs", jobs, "--json", report, "--optimize", status=1)
        errors.add(run.err)
        models = {model["model"]: model for model in json.loads(report.read_text())["models"]}
        assert [name for name, model in models.items() if model["status"] == "failed"] == broken
        for name, model in models.items():
            lines = model.get("messages", [])
            assert bool(lines) == ("junk" in name or "broken" in name), (name, lines)
            assert all(name in line for line in lines), (name, lines)
            assert all(name in line for line in model.get("information", []))
        assert any("reduced number" in str(model.get("information")) for model in models.values())
    assert len(errors) == 1 and "invalid filename" not in errors.pop()
    assert set(tree.converted("--optimize", status=1)) == set(broken)
    first = tree.run("--force", "--stop-at-first", "--jobs", "2", status=1)
    assert "_broken.kim:" in first.out and ", left " in first.out, first.out


def findings_of_the_checker(tree):
    """Of what was converted or failed to be, once, whatever the number of processes."""
    wrong = re.sub(rb"MaterialCount: *\d+", b"MaterialCount: 99", tree.source(BUSH).read_bytes())
    for name in "a", "b", "c":
        tree.add(f"/odd/{name}.kim", wrong)
    tree.add("/odd/d.kim", b"Header {\n")
    errors = {tree.run("--force", "--lint", "--jobs", jobs, "/odd", status=1).err for jobs in ("1", "3")}
    assert len(errors) == 1
    lines = errors.pop().splitlines()
    places = [line.split(": ")[0] for line in lines if "[count_unchecked]" in line]
    assert [re.sub(r":\d+:\d+$", "", place) for place in places] == [
        f"{tree.sources}/odd/{name}.kim" for name in "abc"], lines
    assert any("d.kim:2:1: error: found the end of the file" in line for line in lines), lines
    assert "kimlint" not in tree.run("--lint", "/odd/a.kim").err
    (tree.programs / "kimlint").unlink()
    assert "kimlint cannot be started" in tree.run("--lint", "--force", "/odd/a.kim").err


def a_crash_costs_one_model(tree):
    tree.fake_converter('''
for name in "$@"; do
    case $name in
    *crash*) kill -SEGV $$;;
    -root) break;;
    *) "$real" "$name" -root proj || ((++failed));;
    esac
done
[[ $1 == -V ]] && exec "$real" -V
exit $failed''')
    for i in range(20):
        tree.add(f"/many/{i}.kim")
    tree.add("/many/10_crash.kim")
    run = tree.run(status=1)
    assert "/many/10_crash.kim: the converter ended by signal 11 (Segmentation fault)" in run.out, run.out
    assert ("converted 28, up to date 0, failed 1") in run.out, run.out
    assert set(tree.converted(status=1)) == {"/many/10_crash.kim"}


def stopped_at_any_moment(tree):
    """By Ctrl-C, by the system, by force: nothing half-made, and the next run goes on to the same bytes."""
    for i in range(100):
        tree.add(f"/many/{i}.kim", tree.source("/model/vehicle/car_taxi.kim").read_bytes())
    tree.run()
    whole = tree.products()
    ends = set()
    for i in range(24):
        shutil.rmtree(tree.base / "rsrc") if i % 2 else None
        kind = (signal.SIGINT, signal.SIGTERM, signal.SIGKILL)[i % 3]
        process = tree.start(*([] if i % 2 else ["--force"]))
        time.sleep(0.005 + 0.01 * (i % 8))
        process.send_signal(kind)
        process.communicate(timeout=60)
        ends.add(process.returncode)
        assert process.returncode in (0, -kind), process.returncode
        if kind != signal.SIGKILL:
            for path, content in tree.products().items():
                assert content == whole[path], (path, len(content), "half-made")
        tree.run()  # after a SIGKILL it waits for what is still running
        assert tree.products() == whole
    assert len(ends) > 2, ends


def two_at_once(tree):
    tree.fake_converter('[[ $1 == -V ]] && exec "$real" -V\nsleep 1; exec "$real" "$@"')
    first = tree.start()
    time.sleep(0.3)
    assert "another kimbuild is at work on proj" in tree.run("--no-wait", status=2).err
    second = tree.run()
    assert "waiting" in second.err and "converted 0" in second.out, second.out
    assert first.wait(10) == 0


def full_and_read_only_disks(tree):
    resources = tree.base / "rsrc"
    resources.mkdir()
    if os.geteuid() != 0 or subprocess.run(["mount", "-t", "tmpfs", "-o", "size=300k", "none", resources],
                                           capture_output=True).returncode != 0:
        raise Skipped("needs a mount")
    try:
        run = tree.run(status=1)
        assert "failed" in run.out and run.err
        subprocess.run(["mount", "-o", "remount,size=20m", resources], check=True)
        tree.run()
        assert tree.converted() == {}
        subprocess.run(["mount", "-o", "remount,ro", resources], check=True)
        assert tree.converted() == {}
        os.utime(tree.source(BUSH))
        assert "Read-only file system" in tree.run(status=2).err
    finally:
        subprocess.run(["umount", resources], check=True)


def strange_trees(tree):
    tree.add("/with blank/a b.kim")
    tree.add("/with blank/knight.kim", tree.source(KNIGHT).read_bytes())
    shutil.copy(tree.source(KNIGHT_BONES), tree.source("/with blank"))
    tree.source("/up").symlink_to("model/..")
    tree.source("/town").symlink_to("model/city")
    tree.source("/dead.kim").symlink_to("nowhere")
    tree.add("/.hidden/a.kim")
    run = tree.run()
    assert "up is a link to a folder above it" in run.err, run.err
    assert f"converted {len(tree.models) + 2 + 3}, " in run.out, run.out
    assert tree.converted() == {}
    tree.add("/" + "/".join(["long" * 20] * 4) + "/a.kim")
    tree.add("/back\\slash.kim")
    tree.add("/line\nbreak.kim")
    tree.add(os.fsdecode(b"/byte\xff.kim"))
    run = tree.run(status=1)
    assert "failed 4" in run.out and all(text in run.out for text in (
        "a backslash", "line\\x0abreak.kim: its name has a line break", "byte\\xff.kim: its name is not valid UTF-8",
        "longer than 255 bytes")), run.out
    for wrong in ["../proj"], ["/no"], ["--shard", "3/2"], ["--jobs", "0"], ["--depfile", "x"]:
        tree.run(*wrong, status=2)
    assert "no folder" in tree.run("-n", "/nothing", status=2).err


def folders_that_may_not_be_read(tree):
    arguments = {}
    tree.run()
    if os.geteuid() == 0:
        subprocess.run(["chmod", "-R", "a+rwX", tree.base], check=True)
        arguments["user"] = NOBODY
    whole = tree.products()
    tree.source("/model/city").chmod(0)
    run = tree.run("--prune", status=1, **arguments)
    tree.source("/model/city").chmod(0o755)
    assert "model/city: Permission denied" in run.err, run.err
    assert tree.products() == whole, "outputs of what could not be seen were removed"


def orphans(tree):
    tree.run()
    (tree.base / "rsrc/proj/@cache/model/city/notes.txt").write_text("kept")
    shutil.rmtree(tree.source("/model/vehicle"))
    tree.source(BUSH).unlink()
    run = tree.run()
    assert "4 outputs have no source" in run.out and "  /model/vehicle/car_taxi.kmg" in run.out, run.out
    assert tree.output(BUSH).exists()
    run = tree.run("--prune")
    assert "removed 4 outputs" in run.out, run.out
    left = {str(path) for path in tree.products()}
    assert left == {f"{store}{model[:-4]}.kmg" for model in tree.models for store in ("@cache", "@dep")
                    if tree.source(model).exists()} | {"@cache/model/city/notes.txt"}, left
    assert not tree.output("/model/vehicle/x.kim").parent.exists()
    assert "source" not in tree.run().out
    shutil.rmtree(tree.source("/model"))
    assert "nothing is removed" in tree.run("--prune").err and tree.products()


def shares(tree):
    for i in range(60):
        tree.add(f"/many/{i}.kim")
    models = set(tree.models) | {f"/many/{i}.kim" for i in range(60)}
    shares = [set(tree.converted("--shard", f"{i}/4", "-n")) for i in range(1, 5)]
    assert all(shares) and sum(map(len, shares)) == len(models) and set().union(*shares) == models
    running = [tree.start("--shard", f"{i}/4") for i in range(1, 5)]
    assert [process.wait(60) for process in running] == [0] * 4
    assert tree.converted() == {}, "the whole does not know what the shares did"
    built = tree.products()
    shutil.rmtree(tree.base / "rsrc")
    tree.run()
    assert tree.products() == built


def watching(tree):
    process = tree.start("--watch")

    def wait_for(text):
        line = ""
        while text not in line:
            line = process.stdout.readline()
            assert line, process.communicate()
        return line

    def converts(model, change):
        before = tree.record(model).stat().st_mtime_ns if tree.record(model).exists() else None
        change()
        line = wait_for("converted ")
        assert line.startswith(f"converted {model}:"), line
        assert tree.record(model).stat().st_mtime_ns != before

    wait_for("watching")
    content = tree.source(BUSH).read_bytes()
    converts(BUSH, lambda: tree.source(BUSH).write_bytes(content))

    def replace():
        (tree.base / "proj/model/city/.bush.tmp").write_bytes(content)
        (tree.base / "proj/model/city/.bush.tmp").rename(tree.source(BUSH))
    converts(BUSH, replace)
    converts("/new/deep/a.kim", lambda: tree.add("/new/deep/a.kim"))
    converts("/new/deep/b.kim", lambda: tree.add("/new/deep/b.kim"))
    converts("/moved/deep/a.kim", lambda: tree.source("/new").rename(tree.source("/moved")))
    wait_for("converted /moved/deep/b.kim:")
    bones = tree.source(KNIGHT_BONES).read_bytes()
    converts(KNIGHT, lambda: tree.source(KNIGHT_BONES).write_bytes(bones))
    # A model comes before its skeleton: it fails, and is converted when the skeleton comes, not before.
    tree.add("/moved/knight.kim", tree.source(KNIGHT).read_bytes())
    time.sleep(0.3)
    converts(BUSH, lambda: tree.source(BUSH).write_bytes(content))
    converts("/moved/knight.kim", lambda: tree.add("/moved/knight.kis", bones))
    tree.run()  # it does not hold the lock
    process.send_signal(signal.SIGINT)
    _, errors = process.communicate(timeout=10)
    assert process.returncode == -signal.SIGINT
    assert errors.count("/moved/knight.kim: /moved/knight.kis: failed to open") == 1, errors


def with_ninja(tree):
    tree.add("/odd $name's: dir/a b.kim")
    tree.source("/kimbuild.json").write_text('{"rules": [{"models": "/model/city/**", "options": ["optimize"]}]}')
    tree.run()
    whole = tree.products()
    shutil.rmtree(tree.base / "rsrc")
    out = tree.base / "out"
    out.mkdir()
    (out / "build.ninja").write_text("subninja models.ninja\nbuild all: phony kimbuild-proj\ndefault all\n")

    def ninja():
        tree.run("--ninja", out / "models.ninja")
        text = subprocess.run(["ninja", "-C", out], check=True, capture_output=True, text=True).stdout
        return re.findall(r"kim2kmg '(.*?\.kim)'$", text.replace("'\\''", "?"), re.M)

    assert len(ninja()) == len(tree.models) + 1
    assert tree.products() == whole
    assert ninja() == []
    os.utime(tree.source(KNIGHT_BONES))
    assert ninja() == [KNIGHT]
    tree.output(BUSH).unlink()
    assert ninja() == [BUSH]
    tree.record(BUSH).unlink()
    assert ninja() == [BUSH]
    assert ninja() == []


def with_make(tree):
    name = "/odd $ dir/a b.kim"
    tree.add(name, tree.source(KNIGHT).read_bytes())
    shutil.copy(tree.source(KNIGHT_BONES), tree.source("/odd $ dir/knight.kis"))
    escaped = "odd\\ $$\\ dir/a\\ b"
    (tree.base / "Makefile").write_text(
        f"{tree.base}/rsrc/proj/@cache/{escaped}.kmg:\n"
        f"\tbin/linux_x64/kim2kmg '{name.replace('$', '$$')}' -root proj\n"
        f"\tbin/linux_x64/kimbuild proj '{name.replace('$', '$$')}' --depfile model.d\n-include model.d\n")
    make = lambda: subprocess.run(["make", "-C", tree.base], check=True, capture_output=True, text=True).stdout
    assert "--depfile" in make()
    assert "--depfile" not in make()
    os.utime(tree.source("/odd $ dir/knight.kis"))
    assert "--depfile" in make()


checks = [what_is_out_of_date, a_skeleton_that_goes_and_comes, messages_of_many_models, findings_of_the_checker,
          a_crash_costs_one_model, stopped_at_any_moment, two_at_once, full_and_read_only_disks, strange_trees,
          folders_that_may_not_be_read, orphans, shares, watching, with_ninja, with_make]

failed = 0
for check in checks:
    name = check.__name__
    if sys.argv[5:] and name not in sys.argv[5:]:
        continue
    with tempfile.TemporaryDirectory(prefix="kimbuild-") as base:
        try:
            check(Tree(base))
            print(f"ok       {name}", flush=True)
        except Skipped as reason:
            print(f"skipped  {name}: {reason}")
        except AssertionError as what:
            failed += 1
            line = what.__traceback__.tb_next.tb_lineno
            print(f"FAILED   {name}, line {line}: {what}", flush=True)
sys.exit(failed != 0)
