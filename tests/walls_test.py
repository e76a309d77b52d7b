#!/usr/bin/env python3
"""Checks the walls between the folders of src with the real compile commands: from every library's sources, the
folder's own public headers and those of the folders that it links are found, and no private header of another folder.

    walls_test.py BUILD_DIRECTORY
"""

import json
import pathlib
import re
import shlex
import subprocess
import sys

build = pathlib.Path(sys.argv[1])
commands = json.loads((build / "compile_commands.json").read_text())
source_root = pathlib.Path(__file__).resolve().parent.parent / "src"


def folder_of(path):
    return path.relative_to(source_root).parts[0]


headers = sorted(source_root.glob("**/*.h"))
private = [h for h in headers if "include" not in h.relative_to(source_root).parts]
public = [h for h in headers if h not in private]


def visible(command, names):
    """Which of these names an #include in the command's source would find."""
    source = pathlib.Path(command["file"])
    words = shlex.split(command["command"])
    flags = [w for w in words[1:] if re.match(r"-(I|std|D)", w)]
    for i, word in enumerate(words):
        if word == "-isystem":
            flags += words[i : i + 2]
    # A file in the source's own folder: what lies beside it is found as it would be there.
    text = "\n".join(f'#if __has_include("{name}")\nfound {name}\n#endif' for name in names)
    run = subprocess.run([words[0], *flags, "-E", "-P", "-x", "c++", "-iquote", source.parent, "-"], input=text,
                         capture_output=True, text=True, check=True, cwd=build)
    return {line.split(" ", 1)[1] for line in run.stdout.splitlines() if line.startswith("found ")}


faults = []
checked = {}  # (folder, library) -> a source of it
for command in commands:
    source = pathlib.Path(command["file"])
    if source.is_relative_to(source_root):
        library = re.search(r"-o \S*?CMakeFiles/(\w+)\.dir", command["command"]).group(1)
        checked.setdefault((folder_of(source), library), command)

for (folder, library), command in checked.items():
    names = {}
    for header in private:
        if folder_of(header) != folder:
            names[header.name] = header
            names[str(header.relative_to(source_root))] = header
    own = {str(h.relative_to(source_root / folder / "include")) for h in public if folder_of(h) == folder}
    found = visible(command, [*names, *own])
    faults += [f"{library} sees {names[n].relative_to(source_root)} as \"{n}\"" for n in sorted(found & set(names))]
    faults += [f"{library} does not see its own {n}" for n in sorted(own - found) if library != "Velmora"]

if len(checked) < 10:
    faults.append(f"only {len(checked)} libraries found in compile_commands.json")
print("\n".join(faults) or f"{len(checked)} libraries, {len(private)} private headers: no wall is broken")
sys.exit(1 if faults else 0)
