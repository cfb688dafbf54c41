"""A reader and a maker of compressed files by the form's description alone: they share nothing with the library."""

import struct
import zlib

ROOM = 24  # bytes of the heading, of the table's header and of each record
MARK = -100


def contents(data, row0, block_size):
    """Returns: the dictionary part and the case data; None when the file is not sound."""
    if len(data) < row0 + ROOM:
        return None
    place, table, size = struct.unpack_from("<qqq", data, row0)
    if place != row0 or size < ROOM or size % ROOM or not row0 + ROOM <= table <= len(data) - size:
        return None
    mark, zero, limit, count = struct.unpack_from("<qqii", data, table)
    if (mark, zero, limit, count) != (MARK, 0, block_size, size // ROOM - 1):
        return None
    parts, logical, position = [data[:row0]], row0, row0 + ROOM
    for i in range(count):
        starts, lies, plain, packed = struct.unpack_from("<qqii", data, table + ROOM * (i + 1))
        inflater = zlib.decompressobj()
        try:
            part = inflater.decompress(data[lies:lies + packed])
        except zlib.error:
            return None
        if (starts, lies, plain) != (logical, position, len(part)) or not inflater.eof or lies + packed > table:
            return None
        if plain > block_size or (i + 1 < count and plain != block_size):
            return None
        parts.append(part)
        logical += plain
        position += packed
    return b"".join(parts)


def made(dictionary, case_data, block_size):
    """Returns: the bytes of a compressed file."""
    row0 = len(dictionary)
    blocks = [case_data[at:at + block_size] for at in range(0, len(case_data), block_size)]
    body, records, logical = b"", b"", row0
    for block in blocks:
        packed = zlib.compress(block, 1)
        records += struct.pack("<qqii", logical, row0 + ROOM + len(body), len(block), len(packed))
        body += packed
        logical += len(block)
    heading = struct.pack("<qqq", row0, row0 + ROOM + len(body), ROOM * (len(blocks) + 1))
    return dictionary + heading + body + struct.pack("<qqii", MARK, 0, block_size, len(blocks)) + records
