"""What the documentation shows is so: its examples convert, and docs/messages.md lists the messages that the code has.

    python3 tests/docs/docs_test.py KIM2KMG TREE
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

program, tree = map(pathlib.Path, sys.argv[1:3])
# Nothing of these is linked into the converter.
NOT_CONVERTER = ("kcore/units/", "kcore/mounts/")
# What "error writing %s" names.
SECTIONS = ("string pool data", "bone data", "parts data", "locators data", "piece data", "piece attributes", "index data")


def texts_of(source):
    """String literals of a source, those that stand side by side joined."""
    code = re.sub(r"//[^\n]*|static_assert\(.*?\);", "", source, flags=re.S)
    for group in re.finditer(r'(?:"(?:\\.|[^"\\\n])*"\s*)+', code):
        yield "".join(re.findall(r'"((?:\\.|[^"\\\n])*)"', group[0])).replace('\\"', '"')


def messages_in_code():
    """What reads like a sentence to the user; not the usage text, whose lines the manual page repeats."""
    for folder in ("kcore", "tools/conv"):
        for path in sorted((tree / folder).rglob("*.[ch]*")):
            if path.relative_to(tree).as_posix().startswith(NOT_CONVERTER):
                continue
            for text in texts_of(path.read_text()):
                if re.search(r"[A-Za-z]{2,}\S* \S*[A-Za-z%]", text) and text not in SECTIONS and not text.startswith(
                        ("Usage:", "***")):
                    yield text


def check_messages():
    listed = set(re.findall(r"^\| `(.*?)` \|", (tree / "docs/messages.md").read_text().replace("\\|", "|"), re.M))
    existing = set(messages_in_code())
    missing, gone = existing - listed, listed - existing
    assert not missing, "docs/messages.md lacks:\n" + "\n".join(sorted(missing))
    assert not gone, "docs/messages.md lists what the code has not:\n" + "\n".join(sorted(gone))


def blocks(page, language):
    return re.findall(rf"```{language}\n(.*?)```", (tree / page).read_text(), re.S)


def check_examples():
    """The models of README and docs/formats.md, each under the name that its header gives."""
    with tempfile.TemporaryDirectory() as base:
        base = pathlib.Path(base)
        (base / "bin/linux_x64").mkdir(parents=True)
        (base / "art").mkdir()
        shutil.copy(program, base / "bin/linux_x64/kim2kmg")
        names = []
        for page in ("README.md", "docs/formats.md"):
            for language in ("kim", "kis"):
                for text in blocks(page, language):
                    name = re.search(r'Name: "(\w+)"', text)[1]
                    (base / "art" / f"{name}.{language}").write_text(text)
                    names += [f"/{name}.kim"] * (language == "kim")
        assert len(names) >= 2, names
        run = subprocess.run([base / "bin/linux_x64/kim2kmg", *names, "-root", "art"], capture_output=True, text=True)
        assert run.returncode == 0 and not run.stderr, run.stderr


def check_dump():
    """The dump of docs/formats.md is what the program makes: hexadecimal offsets and bytes, worked out by hand."""
    dump = b""
    page = (tree / "docs/formats.md").read_text()
    for offset, numbers in re.findall(r"^([0-9a-f]{4})  ((?:[0-9a-f]{2}(?: {1,2}|$))+)", page, re.M):
        assert int(offset, 16) == len(dump), offset
        dump += bytes.fromhex(numbers)
    with tempfile.TemporaryDirectory() as base:
        base = pathlib.Path(base)
        for folder, file in (("bin/linux_x64", program), ("art", tree / "tests/data/golden/triangle.kim")):
            (base / folder).mkdir(parents=True)
            shutil.copy(file, base / folder)
        subprocess.run([base / "bin/linux_x64" / program.name, "/triangle.kim", "-root", "art"], check=True)
        assert (base / "rsrc/art/@cache/triangle.kmg").read_bytes() == dump


for check in (check_messages, check_examples, check_dump):
    check()
    print("ok", check.__name__)
