"""The tree that a run reads from and writes to.

Sources are read from the disk; outputs are kept in memory, so that they can be compared with what the program wrote.
"""

from pathlib import Path

CACHE = b"@cache"
DEPENDENCIES = b"@dep"


class AssetTree:
    """The directory `base`/`root` of sources, and the outputs of one run by store and path."""

    def __init__(self, base: Path, root: bytes) -> None:
        self._base = bytes(base)
        self._sources = self._base + b"/" + root
        self._root = root
        self._folders = {CACHE: {b""}, DEPENDENCIES: {b""}}
        self.outputs: dict[tuple[bytes, bytes], bytes] = {}

    def display_name(self, name: bytes) -> bytes:
        """How messages call a source file: the store's directory, its mount point (none), the name."""
        return b"<%s | >%s" % (self._sources, name)

    def dependency_path(self, name: bytes) -> bytes:
        """Where the system finds the dependency file of an output."""
        folder = b"%s/rsrc/%s/%s" % (self._base, self._root, DEPENDENCIES)
        return folder + (b"" if name.startswith(b"/") else b"/") + name

    def read(self, name: bytes) -> bytes | None:
        """The bytes of a source file; None when there is no such file."""
        path = Path((self._sources + on_disk(name)).decode("utf-8", "surrogateescape"))
        return path.read_bytes() if path.is_file() else None

    def create(self, store: bytes, name: bytes) -> bool:
        """An empty output, in a folder that is made for it unless only a backslash says that there is one."""
        parent = name[: max(name.rfind(b"/"), 0)]
        for end in [place for place in range(1, len(parent)) if parent[place : place + 1] == b"/"] + [len(parent)]:
            self._make_folder(store, on_disk(parent[:end]))
        if _parent(on_disk(name)) not in self._folders[store]:
            return False
        self.outputs[store, on_disk(name)] = b""
        return True

    def _make_folder(self, store: bytes, folder: bytes) -> None:
        if _parent(folder) in self._folders[store]:
            self._folders[store].add(folder)

    def write(self, store: bytes, name: bytes, data: bytes) -> None:
        self.outputs[store, on_disk(name)] = data

    def remove(self, name: bytes) -> None:
        for store in (CACHE, DEPENDENCIES):
            self.outputs.pop((store, on_disk(name)), None)


def on_disk(name: bytes) -> bytes:
    """The place of a name below a directory: both kinds of slash separate, and many are as good as one."""
    parts = [part for part in name.replace(b"\\", b"/").split(b"/") if part]
    return b"".join(b"/" + part for part in parts)


def _parent(path: bytes) -> bytes:
    return path[: path.rfind(b"/")] if path else b""
