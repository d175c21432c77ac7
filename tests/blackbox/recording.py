"""Builds event files byte by byte, sound ones as well as damaged ones."""

import struct
from typing import NamedTuple

PIXEL = 65536  # position units of one detector pixel
TICK = 1.5625e-9  # seconds


class Event(NamedTuple):
    """One record of an events block, in the order of its fields in the file."""

    x: int = 0
    y: int = 0
    time: int = 0
    photons: int = 1
    psd: float = 0.0


def block(identifier, payload=b"", size=None):
    """A block header and its payload; `size` is what the header claims, if not the truth."""
    return struct.pack("<8sQ", identifier, len(payload) if size is None else size) + payload


def events(*rows):
    return block(b"events", b"".join(struct.pack("<iiqQd", *row) for row in rows))


def triggers(*times):
    return block(b"extTrigs", struct.pack(f"<{len(times)}q", *times))


def build(version=0, file_type=3):
    return block(b"build", struct.pack("<QQ", version, file_type))


def container(*blocks, identifier=b"ORVEN", size=None):
    return block(identifier, b"".join(blocks), size)


def recording(rows, trigger_times=None):
    """A sound event file; without trigger times it has no trigger block at all."""
    trigger_block = b"" if trigger_times is None else triggers(*trigger_times)
    return container(build(), trigger_block, events(*rows))
