"""The way of one model from its name to its outputs."""

from dataclasses import dataclass

from .asset_tree import CACHE, DEPENDENCIES, AssetTree
from .city_hash import city_hash_64
from .console import Console
from .degenerate_triangles import discard_degenerated_triangles
from .dependency_text import dependency_text
from .geometry_file import geometry_file
from .merge_pieces import merge_part_pieces
from .model import Model, Skeleton
from .model_grammar import read_model
from .scanner import Scanner
from .skeleton_grammar import read_skeleton
from .token_reader import ParseStopped, TokenReader
from .vertex_cache import optimize_for_vertex_cache
from .write_failed import WriteFailed


@dataclass
class Options:
    tangents: bool = False
    discard_bad_triangles: bool = False
    merge_part_pieces: bool = False
    optimize_for_vertex_cache: bool = False
    verbose: bool = False


class ConversionFailed(Exception):
    """Carries the error line."""


def convert_file(tree: AssetTree, name: bytes, options: Options, console: Console) -> bool:
    try:
        _convert(tree, name, options, console)
    except ConversionFailed as failure:
        console.error(failure.args[0])
        return False
    except WriteFailed as failure:
        console.error(failure.message)
        console.warning(b"Expected rcfs_device_t::perform_conversion() to be true, but it is not.")
        tree.remove(output_name(name))
        return False
    return True


def _convert(tree: AssetTree, name: bytes, options: Options, console: Console) -> None:
    if not name.endswith(b".kim"):
        raise ConversionFailed(b"%s: invalid filename (should end with '.kim')" % name)
    model = _load(tree, name, read_model, b"%s: Failed to open", console)
    sources = [name]
    skeleton = None
    if model.skin is not None or model.piece_skins:
        skeleton_path = _directory(output_name(name)) + model.totals.skeleton
        skeleton = _load(tree, skeleton_path, read_skeleton, b"%s: failed to open", console)
        skeleton.hash = _skeleton_hash(skeleton_path, console)
        sources.append(skeleton_path)
    _run_passes(model, options, console)
    if not tree.create(CACHE, output_name(name)):
        raise ConversionFailed(b"error opening output file %s" % output_name(name))
    tree.write(CACHE, output_name(name), geometry_file(model, skeleton, options.tangents, console))
    if not tree.create(DEPENDENCIES, output_name(name)):
        path = tree.dependency_path(output_name(name))
        console.error(b"[fs] Failed to open file '%s' in the create_truncate mode." % path)
        raise WriteFailed(b"%s: failed to write deps." % output_name(name))
    tree.write(DEPENDENCIES, output_name(name), dependency_text(sources))


def _load(tree: AssetTree, path: bytes, read, not_there: bytes, console: Console):
    text = tree.read(path)
    if text is None:
        raise ConversionFailed(not_there % path)
    source_name = tree.display_name(path)
    try:
        root: Model | Skeleton = read(TokenReader(Scanner(text, source_name, console)))
    except ParseStopped:
        raise ConversionFailed(b"cannot parse %s" % path) from None
    root.source_name = source_name
    return root


def output_name(name: bytes) -> bytes:
    return name[: -len(b".kim")] + b".kmg"


def _directory(name: bytes) -> bytes:
    return name[: max(name.rfind(b"/"), name.rfind(b"\\")) + 1]


def _skeleton_hash(path: bytes, console: Console) -> int:
    resolved, complete = resolve_parents(path)
    if not complete:
        console.error(b"[kis] Error computing skeleton hash! (%s)" % resolved)
        return 0
    return city_hash_64(resolved)


def resolve_parents(path: bytes) -> tuple[bytes, bool]:
    """Takes every ".." out together with the name before it; fails on one that has nothing before it."""
    while (place := path.find(b"..")) >= 0:
        if place < 2:
            return path, False
        slash = path.rfind(b"/", 0, place - 1)
        path = path[: slash + 1] + path[place + 3 :]
    return path, True


def _run_passes(model: Model, options: Options, console: Console) -> None:
    if options.discard_bad_triangles:
        discard_degenerated_triangles(model, console)
    if options.merge_part_pieces:
        merge_part_pieces(model)
    if options.optimize_for_vertex_cache:
        optimize_for_vertex_cache(model, options.verbose, console)
