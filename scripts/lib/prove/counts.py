"""Adds up the files in which GCC 12's programs count their lines: mingw's gcov-tool skips all that it is given."""

import struct

WORD = 4
HEADER = 4 * WORD  # magic, version, stamp, checksum
ARCS = 0x01A10000


def read(data):
    """The file's records: a tag, and its counts or its bytes. Counts that are all zero have a negative length only."""
    records, at = [], HEADER
    while at + 2 * WORD <= len(data):
        tag, length = struct.unpack_from("<Ii", data, at)
        at += 2 * WORD
        if tag == ARCS and length < 0:
            records.append((tag, [0] * (-length // 8)))
            continue
        body = data[at:at + length]
        at += length
        records.append((tag, list(struct.unpack(f"<{length // 8}q", body)) if tag == ARCS else body))
    return records


def write(header, records):
    parts = [header]
    for tag, body in records:
        if tag == ARCS:
            body = struct.pack(f"<{len(body)}q", *body)
        parts.append(struct.pack("<Ii", tag, len(body)) + body)
    return b"".join(parts) + bytes(WORD)


def add_files(paths):
    """The sum of the same object's counts in several files."""
    header = total = None
    for path in paths:
        data = path.read_bytes()
        records = read(data)
        if total is None:
            header, total = data[:HEADER], records
            continue
        if data[:HEADER] != header or [tag for tag, _ in records] != [tag for tag, _ in total]:
            raise ValueError(f"{path}: counts of another object")
        for (tag, sums), (_, counts) in zip(total, records):
            if tag == ARCS:
                sums[:] = [one + other for one, other in zip(sums, counts)]
    return write(header, total)
