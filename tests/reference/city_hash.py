"""CityHash64 of release 1.0.3."""

_MASK = 0xFFFFFFFFFFFFFFFF
_K0 = 0xC3A5C85C97CB3127
_K1 = 0xB492B66FBE98F273
_K2 = 0x9AE16A3B2F90404F
_K3 = 0xC949D7C7509E6557
_MULTIPLIER = 0x9DDFEA08EB382D69

Pair = tuple[int, int]


def city_hash_64(text: bytes) -> int:
    if len(text) <= 16:
        return _hash_to_16(text)
    if len(text) <= 32:
        return _hash_to_32(text)
    if len(text) <= 64:
        return _hash_to_64(text)
    return _hash_long(text)


def _word64(text: bytes, position: int) -> int:
    """Eight bytes as a number; negative positions count from the end."""
    start = position if position >= 0 else len(text) + position
    return int.from_bytes(text[start : start + 8], "little")


def _word32(text: bytes, position: int) -> int:
    start = position if position >= 0 else len(text) + position
    return int.from_bytes(text[start : start + 4], "little")


def _rotate(value: int, count: int) -> int:
    value &= _MASK
    count %= 64
    return ((value >> count) | (value << (64 - count))) & _MASK


def _mix(value: int) -> int:
    value &= _MASK
    return value ^ (value >> 47)


def _join(low: int, high: int) -> int:
    """Two words hashed to one."""
    low &= _MASK
    high &= _MASK
    a = _mix((low ^ high) * _MULTIPLIER)
    b = _mix((high ^ a) * _MULTIPLIER)
    return b * _MULTIPLIER & _MASK


def _hash_to_16(text: bytes) -> int:
    length = len(text)
    if length > 8:
        a, b = _word64(text, 0), _word64(text, -8)
        return _join(a, _rotate(b + length, length)) ^ b
    if length >= 4:
        return _join(length + (_word32(text, 0) << 3), _word32(text, -4))
    if length > 0:
        y = text[0] + (text[length // 2] << 8)
        z = length + (text[-1] << 2)
        return _mix(y * _K2 ^ z * _K3) * _K2 & _MASK
    return _K2


def _hash_to_32(text: bytes) -> int:
    a = _word64(text, 0) * _K1
    b = _word64(text, 8)
    c = _word64(text, -8) * _K2
    d = _word64(text, -16) * _K0
    return _join(_rotate(a - b, 43) + _rotate(c, 30) + d, a + _rotate(b ^ _K3, 20) - c + len(text))


def _hash_to_64(text: bytes) -> int:
    v = _half_of_64(text, 0, _word64(text, 0) + (len(text) + _word64(text, -16)) * _K0, 24)
    w = _half_of_64(text, -32, _word64(text, 16) + _word64(text, -32), -8)
    r = _mix((v[0] + w[1]) * _K2 + (w[0] + v[1]) * _K0)
    return _mix(r * _K0 + v[1]) * _K2 & _MASK


def _half_of_64(text: bytes, start: int, a: int, z_position: int) -> Pair:
    z = _word64(text, z_position)
    b = _rotate(a + z, 52)
    c = _rotate(a, 37)
    a += _word64(text, start + 8)
    c += _rotate(a, 7)
    a += _word64(text, start + 16)
    return a + z, b + _rotate(a, 31) + c


def _hash_32_weakly(text: bytes, position: int, a: int, b: int) -> Pair:
    w, x, y, z = (_word64(text, position + 8 * k) for k in range(4))
    a += w
    b = _rotate(b + a + z, 21)
    c = a
    a += x + y
    b += _rotate(a, 44)
    return (a + z) & _MASK, (b + c) & _MASK


def _hash_long(text: bytes) -> int:
    """56 bytes of state, filled from the end, then fed with 64 bytes at a time from the beginning."""
    length = len(text)
    x = _word64(text, -40)
    y = _word64(text, -16) + _word64(text, -56)
    z = _join(_word64(text, -48) + length, _word64(text, -24))
    v = _hash_32_weakly(text, length - 64, length, z)
    w = _hash_32_weakly(text, length - 32, y + _K1, x)
    x = x * _K1 + _word64(text, 0)
    for block in range(0, (length - 1) // 64 * 64, 64):
        x = _rotate(x + y + v[0] + _word64(text, block + 8), 37) * _K1
        y = _rotate(y + v[1] + _word64(text, block + 48), 42) * _K1
        x ^= w[1]
        y += v[0] + _word64(text, block + 40)
        z = _rotate(z + w[0], 33) * _K1
        v = _hash_32_weakly(text, block, v[1] * _K1, x + w[0])
        w = _hash_32_weakly(text, block + 32, z + w[1], y + _word64(text, block + 16))
        x, z = z & _MASK, x & _MASK
    return _join(_join(v[0], w[0]) + _mix(y) * _K1 + z, _join(v[1], w[1]) + x)
