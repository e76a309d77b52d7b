#!/usr/bin/env python3
"""Damaged PO files: the table generator makes whole tables of them or says what is wrong, and where.

    fuzz_po.py GENERATOR [--seconds N] [--seed N]

Prints what it did; the first input that breaks a rule stays beside it, and the exit status is 1.
"""

import argparse
import contextlib
import importlib.util
import io
import pathlib
import random
import re
import sys
import tempfile
import time
import traceback

FAULT = re.compile(r".+\.po:\d+: .+|.+LANGUAGES:\d+: .+")
ROW = re.compile(r'    "(?:[^"\\]|\\(?:["\\?nt]|[0-7]{3}))*",  // [a-z][a-z0-9_]*')
TOKENS = [b"msgctxt ", b"msgid ", b"msgstr ", b"msgstr[0] ", b"msgid_plural ", b'"', b'""', b"\\", b"\\n",
          b"\\x", b"#, fuzzy\n", b"#~ ", b"\r", b"\n", b"\t", b"\0", b"%s", b"%", b"%5$s", b"??/",
          b"\xff", b"\xc3", b"\xed\xa0\x80", b"\xe2\x80\xae", b"\xe2\x80\xa8", b"\xef\xbb\xbf", b"*/"]


def damaged(random_source, text):
    data = bytearray(text)
    for _ in range(random_source.choice((1, 1, 2, 5))):
        at = random_source.randrange(len(data) + 1)
        end = min(len(data), at + random_source.choice((1, 3, 40)))
        kind = random_source.randrange(5)
        if kind == 0:
            data[at:at] = random_source.choice(TOKENS)
        elif kind == 1:
            del data[at:end]
        elif kind == 2:
            data[at:at] = data[at:end] * random_source.choice((1, 2, 100))
        elif kind == 3 and at < len(data):
            data[at] = random_source.randrange(256)
        else:
            lines = data.split(b"\n")
            i, j = (random_source.randrange(len(lines)) for _ in range(2))
            lines[i], lines[j] = lines[j], lines[i]
            data = bytearray(b"\n".join(lines))
    return bytes(data)


def broken_rule(generator, directory):
    """Runs the generator; returns what it did wrong, or None, and whether it made tables."""
    output = directory / "out"
    output.mkdir(exist_ok=True)
    for old in output.iterdir():
        old.unlink()
    said = io.StringIO()
    try:
        with contextlib.redirect_stderr(said):
            status = generator.main(["--languages", str(directory / "LANGUAGES"), "--output", str(output),
                                     str(directory / "en.po"), str(directory / "ar.po")])
    except Exception:  # pylint: disable=broad-except
        return traceback.format_exc(), False
    if status != 0:
        for line in said.getvalue().splitlines() or [""]:
            if not FAULT.fullmatch(line):
                return f"said: {line!r}", False
        return ("tables in spite of faults" if list(output.iterdir()) else None), False
    for line in (output / "i18n_data.cpp").read_text(encoding="utf-8").split("\n"):
        if line.startswith('    "') and not ROW.fullmatch(line):
            return f"a row that is no string: {line!r}", True
    return None, True


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("generator", type=pathlib.Path)
    parser.add_argument("--seconds", type=float, default=600)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    module = importlib.util.spec_from_file_location("generator", options.generator)
    generator = importlib.util.module_from_spec(module)
    module.loader.exec_module(generator)

    languages = options.generator.parent / "languages"
    # A dozen texts are as good as all, and quicker.
    whole = {name: b"\n\n".join((languages / name).read_bytes().split(b"\n\n")[:13])
             for name in ("en.po", "ar.po")}
    source = random.Random(options.seed)
    runs = accepted = 0
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        (directory / "LANGUAGES").write_text("en ltr English\nar rtl العربية\n", encoding="utf-8")
        end = time.monotonic() + options.seconds
        while time.monotonic() < end:
            victim = source.choice(list(whole))
            for file, content in whole.items():
                (directory / file).write_bytes(damaged(source, content) if file == victim and runs else content)
            rule, tables = broken_rule(generator, directory)
            if rule is None and not runs and not tables:
                rule = "undamaged files are refused"
            if rule is not None:
                found = pathlib.Path(f"po-{options.seed}-{runs}.po")
                found.write_bytes((directory / victim).read_bytes())
                print(f"seed {options.seed}, run {runs}, kept as {found}:\n{rule}")
                return 1
            runs += 1
            accepted += tables
    print(f"seed {options.seed}: {runs} files, {accepted} of them still whole, no finding")
    return 0


if __name__ == "__main__":
    sys.exit(main())
