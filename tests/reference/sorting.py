"""The deterministic sort: a quicksort that leaves short ranges alone, and an insertion sort that finishes them.

It is not stable, and the order it gives to equal elements shows in the files; so every swap is made as stated.
"""

from typing import Any, Callable

Compare = Callable[[Any, Any], int]
SHORTEST_RANGE = 5


def sort(elements: list, compare: Compare) -> None:
    if len(elements) < 2:
        return
    if len(elements) >= SHORTEST_RANGE:
        _partition_all(elements, compare)
    _smallest_to_front(elements, compare)
    if len(elements) > 2:
        _insert_all(elements, compare)


def by_key(key: Callable[[Any], int]) -> Compare:
    """Smallest key first."""
    return lambda a, b: (key(a) > key(b)) - (key(a) < key(b))


def _swap(elements: list, a: int, b: int) -> None:
    elements[a], elements[b] = elements[b], elements[a]


def _partition_all(elements: list, compare: Compare) -> None:
    """The smaller part of every range is taken next."""
    stack = [(0, len(elements) - 1)]
    while stack:
        low, high = stack.pop()
        i, j = _partition(elements, low, high, compare)
        left, right = (low, j), (i, high)
        parts = [left, right] if high - i < j - low else [right, left]
        stack += [(first, last) for first, last in parts if last - first >= SHORTEST_RANGE - 1]


def _partition(elements: list, low: int, high: int, compare: Compare) -> tuple[int, int]:
    """Splits by the median of three; gives the first of the right part and the last of the left part."""
    pivot = low + (high - low) // 2
    if compare(elements[pivot], elements[low]) < 0:
        _swap(elements, pivot, low)
    if compare(elements[high], elements[pivot]) < 0:
        _swap(elements, high, pivot)
        if compare(elements[pivot], elements[low]) < 0:
            _swap(elements, pivot, low)
    i, j = low + 1, high - 1
    while True:
        while compare(elements[i], elements[pivot]) < 0:
            i += 1
        while compare(elements[pivot], elements[j]) < 0:
            j -= 1
        if i < j:
            _swap(elements, i, j)
            pivot = {i: j, j: i}.get(pivot, pivot)
            i, j = i + 1, j - 1
        elif i == j:
            return i + 1, j - 1
        if i > j:
            return i, j


def _smallest_to_front(elements: list, compare: Compare) -> None:
    smallest = 0
    for k in range(1, min(len(elements), SHORTEST_RANGE - 1)):
        if compare(elements[k], elements[smallest]) < 0:
            smallest = k
    if smallest != 0:
        _swap(elements, 0, smallest)


def _insert_all(elements: list, compare: Compare) -> None:
    for k in range(2, len(elements)):
        if compare(elements[k - 1], elements[k]) > 0:
            inserted = elements[k]
            place = k
            while place == k or compare(inserted, elements[place - 1]) < 0:
                elements[place] = elements[place - 1]
                place -= 1
            elements[place] = inserted
