"""An asset tree on disk in which the program is run, and the comparison of a run with the reference."""

import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

from .asset_tree import CACHE, DEPENDENCIES
from .command_line import run

PROGRAM_FOLDER = "bin/linux_x64"
ROOT = "root"
TIME_LIMIT = 120


@dataclass
class Result:
    """All that a run leaves behind."""

    status: int
    output: bytes
    errors: bytes
    files: dict[tuple[bytes, bytes], bytes]


class Sandbox:
    def __init__(self, base: Path, program: Path) -> None:
        self.base = base
        self.program = base / PROGRAM_FOLDER / "kim2kmg"
        self.program.parent.mkdir(parents=True)
        shutil.copy2(program, self.program)
        self.source_root = base / ROOT
        self.clear()

    def clear(self) -> None:
        """Takes all sources away."""
        shutil.rmtree(self.source_root, ignore_errors=True)
        self.source_root.mkdir()

    def add(self, name: str, content: bytes) -> None:
        path = self.source_root / name.lstrip("/")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def differences(self, arguments: list[bytes]) -> list[str]:
        """Runs both on the arguments; one line for every difference."""
        return _differences(self._run_program(arguments), self._run_reference(arguments))

    def _run_program(self, arguments: list[bytes]) -> Result:
        outputs = self.base / "rsrc"
        shutil.rmtree(outputs, ignore_errors=True)
        done = subprocess.run(
            [bytes(self.program), *arguments], capture_output=True, timeout=TIME_LIMIT, check=False
        )
        return Result(done.returncode, done.stdout, done.stderr, _files_below(outputs / ROOT))

    def _run_reference(self, arguments: list[bytes]) -> Result:
        console, status, tree = run(self.base, [bytes(self.program), *arguments])
        files = tree.outputs if tree is not None else {}
        return Result(status, bytes(console.output), bytes(console.errors), files)


def _files_below(outputs: Path) -> dict[tuple[bytes, bytes], bytes]:
    files = {}
    for store in (CACHE, DEPENDENCIES):
        folder = outputs / store.decode()
        for path in folder.rglob("*") if folder.is_dir() else []:
            if path.is_file():
                files[store, b"/" + bytes(path.relative_to(folder))] = path.read_bytes()
    return files


def _differences(program: Result, reference: Result) -> list[str]:
    found = []
    if program.status != reference.status:
        found.append(f"exit status: program {program.status}, reference {reference.status}")
    found += _text_difference("standard output", program.output, reference.output)
    found += _text_difference("standard error", program.errors, reference.errors)
    for key in sorted(program.files.keys() | reference.files.keys()):
        name = b"".join(key).decode("utf-8", "backslashreplace")
        found += _file_difference(name, program.files.get(key), reference.files.get(key))
    return found


def _text_difference(name: str, program: bytes, reference: bytes) -> list[str]:
    """The first line that differs."""
    if program == reference:
        return []
    lines = zip(program.split(b"\n") + [b"(no line)"], reference.split(b"\n") + [b"(no line)"])
    number, pair = next((n, pair) for n, pair in enumerate(lines, start=1) if pair[0] != pair[1])
    return [f"{name}, line {number}:\n  program   {pair[0]!r}\n  reference {pair[1]!r}"]


def _file_difference(name: str, program: bytes | None, reference: bytes | None) -> list[str]:
    if program == reference:
        return []
    if program is None or reference is None:
        return [f"{name}: written by the {'reference' if program is None else 'program'} only"]
    pairs = zip(program, reference)
    place = next((n for n, pair in enumerate(pairs) if pair[0] != pair[1]), min(len(program), len(reference)))
    return [
        f"{name}: {len(program)} and {len(reference)} bytes, first difference at {place}: "
        f"program {program[place : place + 8].hex(' ')}, reference {reference[place : place + 8].hex(' ')}"
    ]
