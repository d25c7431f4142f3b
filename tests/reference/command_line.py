"""The command line: what is asked of a run, and its exit status."""

from pathlib import Path

from .asset_tree import AssetTree
from .console import Console
from .conversion import Options, convert_file
from .dependency_text import VERSION

MOST_ARGUMENTS = 128
POOL_SIZE = 2048
LONGEST_ROOT = 255
HIGHEST_STATUS = 255

USAGE = (
    b"Usage: kim2kmg <input-file.kim> [OPTIONS]\r\n"
    b"\r\n"
    b"  -discard_bad_triangles\r\n"
    b"\t\tdetect and discard bad (zero area) triangles from the geometry data.\r\n"
    b"\t\tUse (usually) for old data that avoided bad triangle detection at export.\r\n"
    b"  -merge_part_pieces\r\n"
    b"\t\t!HIGHLY EXPERIMENTAL! - merge pieces using the same material within part.\r\n"
    b"\t\tUse in cases when the geometry was unnecessarily split into many pieces when authored.\r\n"
    b"  -tangent\r\n"
    b"\t\tenable export of the tangent vectors to the geometry data.\r\n"
    b"  -verbose\r\n"
    b"\t\tprovide detailed geometry optimization report.\r\n"
)


class Arguments:
    """As many of the arguments as the program keeps; options are looked up in these."""

    def __init__(self, arguments: list[bytes]) -> None:
        self.kept: list[bytes] = []
        room = POOL_SIZE
        for argument in arguments[:MOST_ARGUMENTS]:
            room -= len(argument) + 1
            if room < 0 or not _is_utf8(argument):
                break
            self.kept.append(argument)

    def find(self, option: bytes) -> int | None:
        for position, argument in enumerate(self.kept[1:], start=1):
            if argument == option:
                return position
        return None

    def has(self, option: bytes) -> bool:
        return self.find(option) is not None

    def values_at(self, position: int) -> list[bytes]:
        """What follows the option up to the next option."""
        values = []
        for argument in self.kept[position + 1 :]:
            if argument.startswith((b"-", b"+")):
                break
            values.append(argument)
        return values


def _is_utf8(text: bytes) -> bool:
    try:
        text.decode("utf-8")
    except UnicodeDecodeError:
        return False
    return True


class RunRefused(Exception):
    """Carries the error lines, and whether the usage follows."""

    def __init__(self, *lines: bytes, usage: bool = False) -> None:
        super().__init__(lines)
        self.lines = lines
        self.usage = usage


NO_ROOT = b"failed to determine root directory"


def run(base: Path, arguments: list[bytes]) -> tuple[Console, int, AssetTree | None]:
    """One run of the program below `base`; the first argument is the program itself."""
    console = Console()
    kept = Arguments(arguments)
    try:
        if len(kept.kept) < 2:
            raise RunRefused(b"kim2kmg: Not enough parameters.", usage=True)
        if kept.has(b"-V"):
            console.info(b"version:" + VERSION)
            return console, 0, None
        root = _root(base, kept)
        if arguments[1].startswith(b"-"):
            raise RunRefused(b"kim2kmg: Missing input file.", usage=True)
    except RunRefused as refusal:
        for line in refusal.lines:
            console.error(line)
        if refusal.usage:
            console.info(USAGE)
        return console, 1, None
    tree = AssetTree(base, root)
    return console, _convert_all(tree, arguments, _options(kept), console), tree


def _root(base: Path, arguments: Arguments) -> bytes:
    """The one value of -root, a directory below the base; in it both kinds of slash come to the same."""
    position = arguments.find(b"-root")
    if position is None:
        raise RunRefused(b"missing root parameter", NO_ROOT)
    values = arguments.values_at(position)
    if not values:
        raise RunRefused(b"root parameter missing directory", NO_ROOT)
    if len(values) > 1:
        raise RunRefused(b"root parameter received more than one argument", NO_ROOT)
    root = values[0].replace(b"\\", b"/")
    if len(root) > LONGEST_ROOT or not (base / root.decode()).is_dir():
        raise RunRefused(NO_ROOT)
    return root


def _options(arguments: Arguments) -> Options:
    return Options(
        tangents=arguments.has(b"-tangent"),
        discard_bad_triangles=arguments.has(b"-discard_bad_triangles"),
        merge_part_pieces=arguments.has(b"-merge_part_pieces"),
        optimize_for_vertex_cache=arguments.has(b"-optimize_for_vertex_cache"),
        verbose=arguments.has(b"-verbose"),
    )


def _convert_all(tree: AssetTree, arguments: list[bytes], options: Options, console: Console) -> int:
    """Converts the files up to the first option; gives the number that failed."""
    failed = 0
    for argument in arguments[1:]:
        if argument.startswith(b"-"):
            break
        failed += not convert_file(tree, argument, options, console)
    return min(failed, HIGHEST_STATUS)
