"""What a search leaves in fileSearch/, read as docs/formats.md tells it. Everything that is not as told there is a ValueError.

The data of a record is an FSO element; its attributes become bytes with harness.to_bytes.
"""

import struct
from base64 import b64encode
from datetime import datetime
from pathlib import Path

HEADER = 1024
MARK = b"RECORD"


def volume_file(directory, token, volume, ending):
    """Where the file of a volume lies: `ending` is "dat" or "offset.dat", `volume` a path as text or bytes."""
    path = volume if isinstance(volume, bytes) else volume.encode("utf-8", "surrogateescape")
    return Path(directory) / f"{token}.{b64encode(path).decode().replace('/', '-')}.{ending}"


def walk(path):
    """Each record of a record file with its offset."""
    data = Path(path).read_bytes()
    if data[:HEADER] != b"NORVALITH_FILE_SEARCH_RECORDS_FILE".ljust(64, b"\0") + struct.pack("<I", 0x100000).ljust(960, b"\0"):
        raise ValueError(f"{path}: no header of a record file")
    at = HEADER
    while at < len(data):
        begin = at + len(MARK) + 4
        length = data[at + len(MARK) : begin]
        end = begin + int.from_bytes(length, "little")
        if not data.startswith(MARK, at) or len(length) != 4 or end > len(data):
            raise ValueError(f"{path}: no whole record at {at}")
        yield at, data[begin:end].replace(MARK + MARK, MARK)
        at = end


def records(path):
    return [data for _, data in walk(path)]


def offsets(path):
    data = Path(path).read_bytes()
    return [number for (number,) in struct.iter_unpack("<I", data[: len(data) // 4 * 4])]


def expiry(path):
    """The time without a zone, in UTC."""
    data = Path(path).read_bytes()
    if len(data) != HEADER + 19 or data[:HEADER] != b"NORVALITH_FILE_SEARCH_EXPIRATION_FILE".ljust(HEADER, b"\0"):
        raise ValueError(f"{path}: no expiry file")
    return datetime.strptime(data[HEADER:].decode(), "%Y-%m-%d %H:%M:%S")
