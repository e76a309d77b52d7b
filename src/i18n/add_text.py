#!/usr/bin/env python3
"""Adds a text to every language, in English for the time being: src/i18n/add_text.py KEY "English text"

It goes into additions/; languages/ holds what the programs of all platforms share. The program builds
then. Then translate the entries, which "git diff" shows.
"""

import pathlib
import re
import sys


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n") + '"'


def main(arguments):
    if len(arguments) != 2 or not re.fullmatch(r"[a-z][a-z0-9_]*", arguments[0]):
        print(__doc__, file=sys.stderr)
        return 2
    key, text = arguments
    for path in sorted(pathlib.Path(__file__).with_name("additions").glob("*.po")):
        header, *entries = path.read_text(encoding="utf-8").rstrip("\n").split("\n\n")
        if any(f'msgctxt "{key}"' in entry for entry in entries):
            raise SystemExit(f'{path}: there is a "{key}" already')
        entries.append(f'msgctxt "{key}"\nmsgid {quoted(text)}\nmsgstr {quoted(text)}')
        entries.sort(key=lambda entry: re.search(r'msgctxt "(.*)"', entry)[1])
        path.write_text("\n\n".join([header, *entries]) + "\n", encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
