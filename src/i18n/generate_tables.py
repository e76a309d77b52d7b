#!/usr/bin/env python3
"""Makes one of the tables of texts that i18n.cpp looks up: NAME.h and NAME.cpp with the namespace NAME.

    generate_tables.py --languages LANGUAGES --output DIRECTORY [--name NAME] FILE.po...

Every language carries every text, with the same placeholders as English, so the program needs no
checks and no fallback for single texts. Anything that breaks this is reported as "file:line: what"
and fails the build; nothing is written then. en.po decides which texts there are: msgctxt holds the
key, msgid the English text, msgstr the translation.

msgfmt (package gettext) reads the files and reports errors of syntax, encoding and doubled keys
itself; it leaves out entries that are fuzzy or empty, which are then missing here.
"""

import argparse
import gettext
import io
import pathlib
import re
import subprocess
import sys
import unicodedata
from typing import List, NamedTuple

SOURCE_LANGUAGE = "en"
# A code names a C++ array as well as a language.
CODE = re.compile(r"[a-z]{2,3}(_[A-Z]{2})?")
KEY = re.compile(r"[a-z][a-z0-9_]*")
# A lone "%" counts as well: printf would make something of it.
PLACEHOLDER = re.compile(r"%(?:[-+ #0'*\d.$]*[hlLqjzt]*[A-Za-z]|%)?")
CONTEXT_END = "\x04"  # between msgctxt and msgid in a compiled catalogue


class Fault(Exception):
    """Something wrong with a file."""


def fault_at(path, line, what) -> Fault:
    """In the form that editors jump to."""
    return Fault(f"{path}:{line}: {what}")


class Language(NamedTuple):
    line: int
    code: str
    rtl: bool
    name: str


def read_languages(path) -> List[Language]:
    languages = []
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        words = line.split(None, 2)
        if len(words) != 3 or words[1] not in ("ltr", "rtl"):
            raise fault_at(path, number, "expected: code, ltr or rtl, native name")
        code, direction, name = words[0], words[1], words[2].strip()
        if not CODE.fullmatch(code):
            raise fault_at(path, number, f'"{code}" is no language code such as de or zh_TW')
        if any(language.code == code for language in languages):
            raise fault_at(path, number, f'"{code}" is listed twice')
        languages.append(Language(number, code, direction == "rtl", name))
    return languages


def line_of(path, text) -> int:
    """The first line of the file that begins with `text`, else 1."""
    with open(path, encoding="utf-8") as lines:
        return next((number for number, line in enumerate(lines, 1) if line.startswith(text)), 1)


def read_catalogue(path, code) -> dict:
    """The translations by (key, English text)."""
    compiled = subprocess.run(["msgfmt", "--output-file=-", str(path)], capture_output=True, check=False)
    no_charset = fault_at(path, 1, "the header lacks Content-Type: text/plain; charset=UTF-8")
    if compiled.returncode != 0:
        # Its messages have file and line already, but for one of gettext 1.0, that there is no charset.
        message = compiled.stderr.decode(errors="replace").rstrip()
        raise Fault(message) if str(path) in message else no_charset
    try:
        translations = gettext.GNUTranslations(io.BytesIO(compiled.stdout))
    except UnicodeDecodeError:
        raise no_charset from None
    # From the file itself: gettext 1.0 converts the texts, and what the header says of them, to UTF-8.
    if b"charset=utf-8" not in pathlib.Path(path).read_bytes().lower():
        raise no_charset
    if translations.info().get("language") != code:  # a copied file shows here
        raise fault_at(path, 1, f"the header lacks Language: {code}")
    # Python offers look-ups only, and a check needs all there is.
    catalogue = {}
    for entry, text in translations._catalog.items():  # pylint: disable=protected-access
        if not isinstance(entry, str):
            raise fault_at(path, line_of(path, "msgid_plural"), "plural forms are not supported")
        key, separator, msgid = entry.partition(CONTEXT_END)
        if separator:
            catalogue[key, msgid] = text
        elif entry:
            raise fault_at(path, line_of(path, 'msgid "' + entry.split('"')[0]), "entry without msgctxt, the key of the text")
    return catalogue


def read_texts(path, code, english, faults) -> dict:
    """The texts of a language by key. For English itself, english is None."""
    texts = {}

    def complain(key, what):
        faults.append(fault_at(path, line_of(path, f'msgctxt "{key}"'), what))

    for (key, msgid), text in read_catalogue(path, code).items():
        placeholders, expected = PLACEHOLDER.findall(text), PLACEHOLDER.findall(msgid)
        if key in texts:
            complain(key, f'doubled key "{key}"')
        elif not KEY.fullmatch(key):
            complain(key, f'"{key}" is no key such as channel_left')
        elif english is not None and key not in english:
            complain(key, f'extra key "{key}", which {SOURCE_LANGUAGE}.po lacks')
        elif not text.strip():
            complain(key, f'empty text for "{key}"')
        elif msgid != (text if english is None else english[key]):
            complain(key, f'msgid of "{key}" differs from the English text')
        elif placeholders != expected:
            complain(key, f'placeholders of "{key}" are {placeholders}, in English {expected}')
        elif any(unicodedata.category(c) in ("Cc", "Zl", "Zp") and c not in "\n\t" for c in text):
            complain(key, f'control character in the text of "{key}"')
        texts[key] = text
    for key in english or ():
        if key not in texts:
            complain(key, f'missing, empty or fuzzy text for "{key}"')
    return texts


def read_all(languages_path, files, faults):
    """The languages in their order, and their texts by code and key; the texts count only without faults."""
    languages = read_languages(languages_path)
    codes = [language.code for language in languages]
    paths = {}
    for path in files:
        if path.suffix != ".po" or path.stem not in codes or path.stem in paths:
            raise fault_at(path, 1, f"extra file: {languages_path} has no line for it")
        paths[path.stem] = path
    for language in languages:
        if language.code not in paths:
            raise fault_at(languages_path, language.line, f"missing file {language.code}.po")
    if SOURCE_LANGUAGE not in paths:
        raise fault_at(languages_path, 1, f"missing language {SOURCE_LANGUAGE}")

    english = read_texts(paths[SOURCE_LANGUAGE], SOURCE_LANGUAGE, None, faults)
    if faults:
        return languages, {}  # everything would differ from it
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


def tables(name, languages, texts):
    keys = sorted(texts[SOURCE_LANGUAGE], key=str.encode)
    notice = "// Generated by generate_tables.py: change the .po files instead.\n"

    header = [notice + "#pragma once\n", f"namespace {name} {{\n"]
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
    header += ["};\n", f"}}  // namespace {name}\n"]

    source = [notice + f'#include "{name}.h"\n', f"namespace {name} {{\n"]
    for lang in languages:
        source.append(f"const char* const VALUES_{lang.code}[KEY_COUNT] = {{")
        source += [f"    {literal(texts[lang.code][key])},  // {key}" for key in keys]
        source.append("};\n")
    source.append(f"}}  // namespace {name}\n")
    return {f"{name}.h": "\n".join(header), f"{name}.cpp": "\n".join(source)}


def main(arguments) -> int:
    parser = argparse.ArgumentParser(description="Makes the C++ tables of texts from PO files.")
    parser.add_argument("--languages", required=True, type=pathlib.Path)
    parser.add_argument("--output", required=True, type=pathlib.Path, help="an existing directory")
    parser.add_argument("--name", default="i18n_data", help="of the table: a C++ identifier")
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    options = parser.parse_args(arguments)

    faults = []
    try:
        languages, texts = read_all(options.languages, options.files, faults)
        if not faults:
            for file, content in tables(options.name, languages, texts).items():
                (options.output / file).write_bytes(content.encode())
    except Fault as fault:
        faults.append(fault)
    except (OSError, UnicodeDecodeError) as error:
        faults.append(fault_at(getattr(error, "filename", None) or options.output, 1, error))
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
