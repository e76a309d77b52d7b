#!/usr/bin/env python3
"""Makes Velmora's entry for application menus, and its file types, in every language of the interface.

    desktop_entry.py --reader GENERATE_TABLES --languages LANGUAGES --generic-names FILE --output FILE
                     TEMPLATE FILE.po...

Where a line of the template holds {key}, it is repeated for every language with that language's text:
the interface's own, and for {generic_name} the one in the file of that name. A line that reads as in
English is not repeated.
"""

import argparse
import importlib.util
import pathlib
import re
import sys

# "zh" alone would also be taken for zh_TW where that is missing.
LOCALES = {"zh": "zh_CN"}
KEY = re.compile(r"\{([a-z_]+)\}")


def load_reader(path):
    spec = importlib.util.spec_from_file_location("generate_tables", path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def value_of(template, texts):
    """The template with a language's texts. Menus show comments without a full stop, and a list names nothing twice."""
    value = KEY.sub(lambda key: texts[key[1]].replace("%s", "Velmora").rstrip(".。।۔").replace(";", r"\;"), template)
    if not template.endswith(";"):
        return value
    words = {}
    for word in value[:-1].split(";"):
        words.setdefault(word.casefold(), word)
    return "".join(f"{word};" for word in words.values())


def lines_of(line, texts):
    if not KEY.search(line):
        return [line]
    if line.lstrip().startswith("<"):  # XML
        return [(line if code == "en" else line.replace(">", f' xml:lang="{LOCALES.get(code, code)}">', 1)).replace(
            "{generic_name}", texts[code]["generic_name"]) for code in sorted(texts, key=lambda code: (code != "en", code))
                if code == "en" or texts[code]["generic_name"] != texts["en"]["generic_name"]]
    name, template = line.split("=", 1)
    english = value_of(template, texts["en"])
    lines = [f"{name}={english}"]
    for code in sorted(texts):
        value = value_of(template, texts[code])
        if value != english:
            lines.append(f"{name}[{LOCALES.get(code, code)}]={value}")
    return lines


def main():
    parser = argparse.ArgumentParser()
    for name in ("--reader", "--languages", "--generic-names", "--output"):
        parser.add_argument(name, type=pathlib.Path, required=True)
    parser.add_argument("template", type=pathlib.Path)
    parser.add_argument("files", type=pathlib.Path, nargs="+")
    options = parser.parse_args()
    faults = []
    _, texts = load_reader(options.reader).read_all(options.languages, options.files, faults)
    if faults:
        sys.exit("\n".join(map(str, faults)))
    for names in texts.values():
        names["generic_name"] = "Equalizer"
    for line in options.generic_names.read_text(encoding="utf-8").splitlines():
        if not line.startswith("#"):
            code, name = line.split(None, 1)
            texts[code]["generic_name"] = name
    template = options.template.read_text(encoding="utf-8").splitlines()
    entry = [line for template_line in template for line in lines_of(template_line, texts)]
    options.output.write_text("\n".join(entry) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
