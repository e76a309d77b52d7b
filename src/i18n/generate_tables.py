#!/usr/bin/env python3
"""Makes the tables of texts that i18n.cpp looks up: i18n_data.h and i18n_data.cpp.

    generate_tables.py --languages LANGUAGES --output DIRECTORY FILE.po...

Every language carries every text, with English's placeholders, so that the program needs no checks
and no fallback for single texts. Whatever breaks this is reported as "file:line: what" and fails
the build; nothing is written then. en.po decides which texts there are: msgctxt holds the key,
msgid the English text, msgstr the translation.

The formatting of the files is up to the translators' tools: their order, comments, wrapped lines
and obsolete entries do not change the tables.
"""

import argparse
import pathlib
import re
import sys
import unicodedata
from typing import List, NamedTuple, Optional

SOURCE_LANGUAGE = "en"
# A code names a C++ array as well as a language.
CODE = re.compile(r"[a-z]{2,3}(_[A-Z]{2})?")
KEY = re.compile(r"[a-z][a-z0-9_]*")
WORD = re.compile(r"([A-Za-z_]+(?:\[\d*\])?)?\s*")
QUOTED = re.compile(r'"((?:[^"\\]|\\.)*)"\s*')
ESCAPES = {'"': '"', "\\": "\\", "n": "\n", "t": "\t"}
# A lone "%" counts as well: printf would make something of it.
PLACEHOLDER = re.compile(r"%(?:[-+ #0'*\d.$]*[hlLqjzt]*[A-Za-z]|%)?")


class Fault(Exception):
    """Something wrong with a file, told in the form that editors jump to."""

    def __init__(self, path, line, what):
        # One line, whatever the texts in it hold.
        shown = "".join(c if c.isprintable() else f"U+{ord(c):04X}" for c in what)
        super().__init__(f"{path}:{line}: {shown}")


class Language(NamedTuple):
    line: int
    code: str
    rtl: bool
    name: str


class Entry:
    """One text. A field is None until its keyword was met, and a list of pieces from then on."""

    def __init__(self, line, fuzzy):
        self.line = line
        self.fuzzy = fuzzy
        self.fields = {"msgctxt": None, "msgid": None, "msgstr": None}

    def text(self, field) -> Optional[str]:
        pieces = self.fields[field]
        return None if pieces is None else "".join(pieces)


def read_lines(path) -> List[str]:
    try:
        data = path.read_bytes()
    except (OSError, ValueError) as error:
        raise Fault(path, 1, f"cannot be read: {error}") from None
    lines = []
    for number, raw in enumerate(data.split(b"\n"), 1):
        try:
            line = raw.decode("utf-8")
        except UnicodeDecodeError as error:
            raise Fault(path, number, f"not UTF-8 from byte {error.start + 1} of the line on") from None
        line = line[:-1] if line.endswith("\r") else line
        for character in line:
            # Line and paragraph separators control as much as the control characters proper.
            if unicodedata.category(character) in ("Cc", "Zl", "Zp") and character != "\t":
                raise Fault(path, number, f"control character U+{ord(character):04X}")
        if line.startswith("\ufeff"):
            raise Fault(path, number, "byte order mark: save the file as UTF-8 without one")
        lines.append(line)
    return lines


def read_languages(path) -> List[Language]:
    languages = []
    for number, line in enumerate(read_lines(path), 1):
        if not line.strip() or line.startswith("#"):
            continue
        words = line.split(None, 2)
        if len(words) != 3 or words[1] not in ("ltr", "rtl"):
            raise Fault(path, number, "expected: code, ltr or rtl, native name")
        code, direction, name = words[0], words[1], words[2].strip()
        if not CODE.fullmatch(code):
            raise Fault(path, number, f'"{code}" is no language code such as de or zh_TW')
        if any(language.code == code for language in languages):
            raise Fault(path, number, f'"{code}" is listed twice')
        languages.append(Language(number, code, direction == "rtl", name))
    return languages


def pieces(path, number, rest) -> List[str]:
    """The quoted strings of a line, without their escapes."""
    found = []
    position = 0
    while position < len(rest):
        match = QUOTED.match(rest, position)
        if not match:
            closed = rest[position] != '"'
            raise Fault(path, number, "something that is not quoted" if closed else 'missing closing "')
        if "\t" in match[1]:
            raise Fault(path, number, r"control character U+0009 in a text: write it as \t")
        for escape in re.findall(r"\\(.)", match[1]):
            if escape not in ESCAPES:
                raise Fault(path, number, f"unknown escape \\{escape}")
        found.append(re.sub(r"\\(.)", lambda escape: ESCAPES[escape[1]], match[1]))
        position = match.end()
    return found


def read_entries(path) -> List[Entry]:
    entries = []
    entry = None  # the one being read
    field = None  # the one that further strings go on with
    fuzzy = False  # flagged by a comment, for the entry below it

    for number, line in enumerate(read_lines(path), 1):
        line = line.strip()
        unfinished = entry is not None and entry.fields["msgstr"] is None
        if line.startswith("#"):
            if unfinished:
                raise Fault(path, number, "comment inside of an entry")
            field = None
            if line.startswith("#~"):
                fuzzy = False  # the flag was for this obsolete entry
            elif line[:2] in ("#,", "#="):
                fuzzy = fuzzy or "fuzzy" in re.split(r"[,\s]+", line[2:])
            continue

        match = WORD.match(line)
        word = match[1]
        if word is not None:
            if word == "msgid_plural" or word.startswith("msgstr["):
                raise Fault(path, number, f"plural forms are not supported: {word}")
            if word not in Entry(0, False).fields:
                raise Fault(path, number, f'unknown keyword "{word}"')
            if not unfinished and word != "msgstr":
                entry = Entry(number, fuzzy)
                entries.append(entry)
                fuzzy = False
            fields = entry.fields if entry is not None else {}
            if (
                fields.get(word, ()) is not None  # doubled, or nothing to belong to
                or (word == "msgctxt" and fields["msgid"] is not None)
                or (word == "msgstr" and fields["msgid"] is None)
            ):
                raise Fault(path, number, f"{word} out of order: expected msgctxt, msgid, msgstr")
            field = fields[word] = []
        found = pieces(path, number, line[match.end() :])
        if found and field is None:
            raise Fault(path, number, "a text without a keyword")
        if found:
            field += found

    for entry in entries:
        for name, content in entry.fields.items():
            if content == [] or (content is None and name != "msgctxt"):
                raise Fault(path, entry.line, f"entry without {name}")
    return entries


def check_header(path, code, header):
    """The header tells translators' tools what the file is; a copied file shows here."""
    fields = {}
    for line in header.text("msgstr").split("\n"):
        name, _, content = line.partition(":")
        fields[name.strip().lower()] = content.strip()
    if "charset=utf-8" not in fields.get("content-type", "").lower():
        raise Fault(path, header.line, "the header lacks Content-Type: text/plain; charset=UTF-8")
    if fields.get("language") != code:
        raise Fault(path, header.line, f"the header lacks Language: {code}")


def read_texts(path, code, english, faults) -> dict:
    """The texts of a language by key. For English itself, english is None."""
    texts = {}
    lines = {}
    header = None

    def complain(line, what):
        faults.append(Fault(path, line, what))

    for entry in read_entries(path):
        key, msgid, msgstr = (entry.text(field) for field in entry.fields)
        if entry.fuzzy:
            complain(entry.line, f'fuzzy entry "{key or ""}": check it and remove the flag')
        if key is None and msgid == "":
            if header is not None:
                complain(entry.line, "a second header")
            header = entry
            continue
        if key is None:
            complain(entry.line, "entry without msgctxt, the key of the text")
            continue
        if key in lines:
            complain(entry.line, f'doubled key "{key}", first in line {lines[key]}')
            continue
        lines[key] = entry.line
        texts[key] = msgstr
        if not KEY.fullmatch(key):
            complain(entry.line, f'"{key}" is no key such as channel_left')
        elif english is not None and key not in english:
            complain(entry.line, f'extra key "{key}", which {SOURCE_LANGUAGE}.po lacks')
        elif not msgstr.strip():
            complain(entry.line, f'empty text for "{key}"')
        elif msgid != (msgstr if english is None else english[key]):
            complain(entry.line, f'msgid of "{key}" differs from the English text')
        elif PLACEHOLDER.findall(msgstr) != PLACEHOLDER.findall(msgid):
            complain(
                entry.line,
                f'placeholders of "{key}" are {PLACEHOLDER.findall(msgstr)}, '
                f"in English {PLACEHOLDER.findall(msgid)}",
            )

    if header is None:
        raise Fault(path, 1, "no header: expected an entry with an empty msgid and no msgctxt")
    check_header(path, code, header)
    for key in english or ():
        if key not in texts:
            complain(1, f'missing key "{key}"')
    return texts


def read_all(languages_path, files, faults):
    languages = read_languages(languages_path)
    codes = [language.code for language in languages]
    paths = {}
    for path in files:
        if path.suffix != ".po" or path.stem not in codes or path.stem in paths:
            raise Fault(path, 1, f"extra file: {languages_path} has no line for it")
        paths[path.stem] = path
    for language in languages:
        if language.code not in paths:
            raise Fault(languages_path, language.line, f"missing file {language.code}.po")
    if SOURCE_LANGUAGE not in paths:
        raise Fault(languages_path, 1, f"missing language {SOURCE_LANGUAGE}")

    english = read_texts(paths[SOURCE_LANGUAGE], SOURCE_LANGUAGE, None, faults)
    if faults:
        return languages, {}  # everything would differ from it
    if not english:
        raise Fault(paths[SOURCE_LANGUAGE], 1, "no texts")
    texts = {SOURCE_LANGUAGE: english}
    for code, path in paths.items():
        if code != SOURCE_LANGUAGE:
            try:
                texts[code] = read_texts(path, code, english, faults)
            except Fault as fault:
                faults.append(fault)
    return languages, texts


def literal(text) -> str:
    def escaped(character):
        if character in '"\\?':  # "?" could begin a trigraph
            return "\\" + character
        if character in "\n\t":
            return {"\n": "\\n", "\t": "\\t"}[character]
        if unicodedata.category(character) == "Cf":
            # Invisible marks of direction and joining: compilers warn about them, readers miss them.
            # Three octal digits never swallow the character that follows.
            return "".join(f"\\{byte:03o}" for byte in character.encode())
        return character

    return '"' + "".join(map(escaped, text)) + '"'


def tables(languages, texts):
    keys = sorted(texts[SOURCE_LANGUAGE], key=str.encode)
    notice = "// Generated by generate_tables.py: change the files in languages/ instead.\n"

    header = [notice + "#pragma once\n", "namespace i18n_data {\n"]
    header += [
        "// One language: its code, its native name, whether it is written from right to left, and its",
        "// texts in the order of KEYS.",
        "struct Lang {",
        "  const char* code;",
        "  const char* name;",
        "  bool rtl;",
        "  const char* const* values;",
        "};\n",
        f"inline constexpr int KEY_COUNT = {len(keys)};",
        f"inline constexpr int LANG_COUNT = {len(languages)};\n",
        "// In the order of strcmp.",
        "inline constexpr const char* KEYS[KEY_COUNT] = {",
        *(f"    {literal(key)}," for key in keys),
        "};\n",
        *(f"extern const char* const VALUES_{lang.code}[KEY_COUNT];" for lang in languages),
        "\n// In the order in which languages are listed.",
        "inline constexpr Lang LANGS[LANG_COUNT] = {",
    ]
    for lang in languages:
        rtl = "true" if lang.rtl else "false"
        header.append(f"    {{{literal(lang.code)}, {literal(lang.name)}, {rtl}, VALUES_{lang.code}}},")
    header += ["};\n", "}  // namespace i18n_data\n"]

    source = [notice + '#include "i18n_data.h"\n', "namespace i18n_data {\n"]
    for lang in languages:
        source.append(f"const char* const VALUES_{lang.code}[KEY_COUNT] = {{")
        source += [f"    {literal(texts[lang.code][key])},  // {key}" for key in keys]
        source.append("};\n")
    source.append("}  // namespace i18n_data\n")
    return {"i18n_data.h": "\n".join(header), "i18n_data.cpp": "\n".join(source)}


def main(arguments) -> int:
    parser = argparse.ArgumentParser(description="Makes the C++ tables of texts from PO files.")
    parser.add_argument("--languages", required=True, type=pathlib.Path)
    parser.add_argument("--output", required=True, type=pathlib.Path, help="an existing directory")
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    options = parser.parse_args(arguments)

    faults = []
    try:
        languages, texts = read_all(options.languages, options.files, faults)
        if not faults:
            for name, content in tables(languages, texts).items():
                (options.output / name).write_bytes(content.encode())
    except Fault as fault:
        faults.append(fault)
    except OSError as error:
        faults.append(Fault(error.filename or options.output, 1, f"cannot be written: {error}"))
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
