#!/usr/bin/env python3
"""Lists the pools of container files and checks them, from docs/format.md alone.

Usage: foreign_reader.py FILE...    Exit code 1 if a file is damaged.
"""

import os
import struct
import sys

SIGNATURE = bytes.fromhex("894F58420D0A1A0A")
HEADER = struct.Struct("<8sB7s4s16sIII")
ENTRY = 32
MOST_ENTRIES = 46340


class Damaged(Exception):
    pass


def read_pool(file, start, end):
    """One pool at `start` of a file of `end` bytes: its directory, data position and length."""
    file.seek(start)
    raw = file.read(HEADER.size)
    if len(raw) < HEADER.size:
        raise Damaged(f"{len(raw)} bytes at {start}, too few for a header")
    signature, version, _, user, digits, word1, word2, count = HEADER.unpack(raw)
    if signature != SIGNATURE:
        raise Damaged(f"no pool begins at {start}")
    if version != 6:
        raise Damaged(f"the pool at {start} has version {version}")
    if not digits.isdigit():
        raise Damaged(f"the length of the pool at {start} is no number")
    data = start + HEADER.size + ENTRY * count
    if count == 0 or count > MOST_ENTRIES or data > end:
        raise Damaged(f"the directory of the pool at {start} has {count} entries")
    sealed = int(digits) != 0
    length = int(digits) if sealed else end - start
    if start + length < data:
        raise Damaged(f"the pool at {start} ends inside its directory")
    entries = [file.read(ENTRY) for _ in range(count)]
    return {"start": start, "user": user, "sealed": sealed, "length": length, "data": data,
            "words": (word1, word2), "directory": entries}


def pools_of(path):
    with open(path, "rb") as file:
        end = os.fstat(file.fileno()).st_size
        position = 0
        while position < end:
            pool = read_pool(file, position, end)
            user = pool["user"] if position == 0 else user
            if pool["user"] != user:
                raise Damaged(f"the pool at {position} has another user signature")
            yield pool
            position += pool["length"]


def printable(uuid):
    """A damaged UUID can hold any bytes."""
    return "".join(chr(byte) if 32 < byte < 127 else f"\\x{byte:02x}" for byte in uuid)


def show(path):
    """Prints a line for the file and one for each pool; the number of pools."""
    count = 0
    print(path)
    for pool in pools_of(path):
        state = "sealed" if pool["sealed"] else "open"
        length = pool["start"] + pool["length"] - pool["data"]
        print(f"  pool {count}: {printable(pool['directory'][0])}, {length} data bytes "
              f"at {pool['data']}, {len(pool['directory'])} entries, {state}")
        count += 1
    return count


def main(paths):
    sound = True
    for path in paths:
        try:
            print(f"  {show(path)} pools, sound")
        except (Damaged, OSError) as damage:
            print(f"  damaged: {damage}")
            sound = False
    return 0 if sound else 1


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
