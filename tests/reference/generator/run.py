"""A random command line together with the files it names."""

import random

from ..sandbox import ROOT
from .model import RandomModel, skeleton_tokens
from .mutation import mutated

SWITCHES = (
    b"-tangent",
    b"-discard_bad_triangles",
    b"-merge_part_pieces",
    b"-optimize_for_vertex_cache",
    b"-verbose",
    b"-trace",
)
LONG_FOLDERS = (b"/a_folder_with_a_long_name_that/" + b"m" * 20 + b"/", b"/" + b"d" * 60 + b"/" + b"e" * 30 + b"/")
COMMON_FOLDERS = (b"/model/", b"model/", b"/", b"", b"/dir.old/", b"//twice/", b"/a/b/")
FOLDERS = 2 * COMMON_FOLDERS + (b"/a\\b/", b"a\\") + LONG_FOLDERS
SKELETON_FOLDERS = (b"", b"", b"", b"../skel/", b"sub\\", b"x..y/", b"../%s/" % ROOT.encode())
STRAY_ARGUMENTS = (b"-V", b"-root", b"x", b"+x", b"-Tangent", b"none.kim", b"a.KIM", b".kim", b"")


class RandomRun:
    """`files` by their path below the root, and `arguments` for the program.

    `samples` are files by path, of which some are changed in one place and converted too.
    """

    def __init__(self, rng: random.Random, samples: dict[str, bytes]) -> None:
        self._rng = rng
        self.files: dict[str, bytes] = {}
        if samples and rng.random() < 0.1:
            names = [self._add_sample(samples)]
        else:
            names = [self._add_model(number) for number in range(rng.choice((1, 1, 1, 2, 3)))]
        options = [[switch] for switch in SWITCHES if rng.random() < 0.4] + [[b"-root", ROOT.encode()]]
        rng.shuffle(options)
        self.arguments = names + [argument for option in options for argument in option]
        if rng.random() < 0.02:
            self._spoil_arguments()

    def _add_sample(self, samples: dict[str, bytes]) -> bytes:
        name = self._rng.choice(sorted(samples))
        self.files[name] = mutated(self._rng, samples[name])
        return b"/" + name.encode()

    def _add_model(self, number: int) -> bytes:
        rng = self._rng
        folder = rng.choice(FOLDERS)
        stem = rng.choice((b"m%d", b"m.%d", b"M-%d ")) % number
        skeleton_name = rng.choice(SKELETON_FOLDERS) + stem + b".kis"
        model = RandomModel(rng, skeleton_name)
        self._add(folder + stem + b".kim", model.tokens.text())
        if model.bone_names and rng.random() < 0.99:
            text = skeleton_tokens(rng, model.bone_names).text()
            self._add(folder + skeleton_name, text)
        return folder + stem + b".kim"

    def _add(self, path: bytes, text: bytes) -> None:
        """Files are made where the system finds them: with slashes, parents resolved, the root by its own name too."""
        if self._rng.random() < 0.2:
            text = mutated(self._rng, text)
        parts: list[str] = []
        for part in path.decode().replace("\\", "/").split("/"):
            if part == "..":
                parts = parts[:-1] if parts else ["..."]
            elif parts == ["..."] and part == ROOT:
                parts = []
            elif part:
                parts.append(part)
        self.files["/".join(parts)] = text

    def _spoil_arguments(self) -> None:
        rng = self._rng
        place = rng.randrange(len(self.arguments) + 1)
        if rng.random() < 0.2:
            self.arguments[place:place] = [b"-" + b"x" * rng.choice((1, 20, 300))] * rng.choice((6, 90, 130))
        elif rng.random() < 0.5:
            self.arguments.insert(place, rng.choice(STRAY_ARGUMENTS))
        else:
            self.arguments = [argument for argument in self.arguments if rng.random() < 0.5]
        if self.arguments and rng.random() < 0.3:
            del self.arguments[rng.randrange(len(self.arguments))]
