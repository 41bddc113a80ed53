#!/usr/bin/env python3
"""Holds examples/foreign_reader.py, which knows the format's page alone, against the library's own list.

Usage: check_foreign_reader.py SOURCE_FOLDER SCRATCH LIST_POOLS FIRST_PROGRAM SNAPSHOTS

The samples are the worked example of docs/format.md and the files of two programs. Each is compared whole,
cut at every length, and with every byte changed in several ways. What both must agree on: whether the file
is sound, and if so the UUID and the data length of each pool.
"""

import contextlib
import io
import os
import pathlib
import re
import shutil
import subprocess
import sys
import types

WHOLE_UNTIL = 240  # of a larger sample only this much is cut and changed
VALUES = (0x00, 0x01, 0x2F, 0x30, 0x31, 0x39, 0x3A, 0x7F, 0x80, 0xFF)


def run(*command, cwd):
    subprocess.run(command, cwd=cwd, stdout=subprocess.DEVNULL, check=True)


def make_samples(folder, page, first_program, snapshots):
    for text in ("some bytes", "others"):
        (folder / "tree").mkdir(exist_ok=True)
        (folder / "tree" / "file").write_text(text)
        run(snapshots, "take", "store", "tree", cwd=folder)
    run(first_program, cwd=folder)
    lines = re.findall(r"^ *\d+  ((?:[0-9A-F]{2} )*[0-9A-F]{2})(?=  |$)", page, re.M)
    (folder / "page").write_bytes(bytes.fromhex(" ".join(lines)))
    return [folder / name for name in ("page", "records.oxb", "index.oxb", "store/contents", "store/trees")]


def too_large_a_directory(page):
    """A count of one entry more than the limit, in a file that is long enough for it."""
    count = 2**26 - 1
    return page[:44] + count.to_bytes(4, "little"), 48 + 32 * count


def check_table(page):
    """The fields of the page's header table lie end to end."""
    rows = re.findall(r"^\| +(\d+) \| +(\d+) \| [a-z]", page.split("### Header")[1].split("##")[0], re.M)
    end = 0
    for offset, size in rows:
        if int(offset) != end:
            sys.exit(f"the page's header table has a field at {offset}, not at {end}")
        end += int(size)
    if end != 48:
        sys.exit(f"the page's header table ends at {end}")


def damaged(sample):
    """Copies of a sample, each with one fault."""
    reach = min(len(sample), WHOLE_UNTIL)
    for length in range(reach):
        yield sample[:length]
    for at in range(reach):
        for value in VALUES:
            yield sample[:at] + bytes([value]) + sample[at + 1:]


def verdicts(told):
    """What was told of each file: its name, a (UUID, data length) of each pool or None, and the words."""
    for block in re.split(r"^(?=/)", told, flags=re.M)[1:]:
        name, _, words = block.partition("\n")
        pools = re.findall(r"^  pool \d+: (\S*), (\d+) data bytes", words, re.M)
        # The library gives a UUID as text, which a zero byte ends.
        pools = [(uuid.split("\\x00")[0], length) for uuid, length in pools]
        yield name, pools if re.search(rf"^  {len(pools)} pools, sound$", words, re.M) else None, words


def reader_says(module, paths):
    told = io.StringIO()
    with contextlib.redirect_stdout(told):
        module.main(paths)
    return told.getvalue()


def library_says(list_pools, paths):
    return subprocess.run([list_pools, *paths], stdout=subprocess.PIPE, text=True).stdout


def main(source, scratch, list_pools, first_program, snapshots):
    source, folder = pathlib.Path(source), pathlib.Path(scratch) / "files"
    shutil.rmtree(scratch, ignore_errors=True)
    folder.mkdir(parents=True)
    page = (source / "docs/format.md").read_text()
    check_table(page)
    samples = make_samples(folder.parent, page, first_program, snapshots)
    for sample in samples:
        shutil.copy(sample, folder)
        for number, changed in enumerate(damaged(sample.read_bytes())):
            (folder / f"{sample.name}-{number:05}").write_bytes(changed)
    start, length = too_large_a_directory(samples[0].read_bytes())
    (folder / "sparse").write_bytes(start)
    os.truncate(folder / "sparse", length)
    module = types.ModuleType("foreign_reader")
    exec((source / "examples/foreign_reader.py").read_text(), module.__dict__)
    paths = sorted(str(path) for path in folder.iterdir())
    library = "".join(library_says(list_pools, paths[at:at + 1000]) for at in range(0, len(paths), 1000))

    sound = []
    pairs = list(zip(verdicts(reader_says(module, paths)), verdicts(library), strict=True))
    for (name, mine, words), (listed, its, its_words) in pairs:
        # The library takes a length field as it is, digits or not; the page says so.
        if name != listed or mine != its and "is no number" not in words:
            sys.exit(f"{name}\nreader:\n{words}library:\n{its_words}")
        sound += [name] if mine is not None else []
    wanted = {str(folder / sample.name) for sample in samples}
    if len(pairs) != len(paths) or not wanted <= set(sound):
        sys.exit(f"{len(pairs)} of {len(paths)} files were told of; unsound: {wanted - set(sound)}")
    print(f"{len(wanted)} samples, {len(paths)} files: reader and library agree; {len(sound)} are sound")


if __name__ == "__main__":
    main(*sys.argv[1:])
