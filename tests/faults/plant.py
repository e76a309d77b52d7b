#!/usr/bin/env python3
"""Plants one realistic fault at a time and asks the tests whether they notice.

    tests/faults/plant.py --list              the faults and where they are now
    tests/faults/plant.py TREE                asks the unit tests, those of the area first, then some on servers and screens
    tests/faults/plant.py TREE --stages 4     and then all the others
    tests/faults/plant.py TREE --summary      what was found so far, and what was not

TREE is a git worktree of its own, with a configured build directory in it: sources are changed and
restored there. A fault is found when a test fails, and fails again on its own. Results are appended
to a file, so a run may be interrupted and goes on where it was. faults.txt explains the table.
"""

import argparse
import collections
import pathlib
import re
import shlex
import signal
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
# Which tests on servers and screens are most likely to notice a fault of an area.
LAB = {"audio": "engine|soak", "dsp": r"engine\.sound|display\.window", "app": r"engine\.devices|display",
       "crash": r"display\.crash|reader", "realtime": r"engine\.sound", "reader": "reader", "curves": r"display\.input"}
Fault = collections.namedtuple("Fault", "name file what old new")


def read_faults(path):
    faults = []
    for block in re.split(r"^@ ", path.read_text(encoding="utf-8"), flags=re.M)[1:]:
        lines = block.split("\n====")[0].rstrip("\n").split("\n")
        name, file = lines[0].split()
        old, new = ("\n".join(line[1:] for line in lines[2:] if line.startswith(sign)) for sign in "-+")
        faults.append(Fault(name, file, lines[1], old, new))
    assert len({fault.name for fault in faults}) == len(faults), "a name is there twice"
    return faults


def planted(fault, text):
    """The source with the fault in it, None without a place for it. The old text may be wrapped differently by now."""
    found = list(re.finditer(r"\s+".join(map(re.escape, fault.old.split())), text))
    return text[: found[0].start()] + fault.new.strip() + text[found[0].end() :] if len(found) == 1 else None


class Tree:
    def __init__(self, options):
        self.path, self.options, self.build = options.tree, options, options.tree / options.build

    def run(self, *command):
        return subprocess.run([*map(str, command)], text=True, errors="replace", stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False)

    def failures(self, labels, only):
        """The tests among these that fail, and fail again alone."""
        wrapper = self.options.build_with if labels == "unit" else self.options.test_with
        ctest = [*wrapper, "ctest", "--test-dir", self.build, "-L", f"^({labels})$", "--no-tests=ignore", "-R"]
        real = []
        for how in (["--stop-on-failure"], []):  # one that passes alone must not hide the others
            output = self.run(*ctest, only, f"-j{self.options.jobs}", *how).stdout
            failed = re.findall(r"Test +#\d+: (\S+) .*\*\*\*", output)
            real = [name for name in failed if self.run(*ctest, f"^{re.escape(name)}$").returncode != 0]
            if real or not failed:
                break
        return real

    def ask(self, area):
        lists = HERE.parent / area / "CMakeLists.txt"
        own = re.findall(r"velmora_test\(NAME (\S+) LABEL unit", lists.read_text(encoding="utf-8")) if lists.exists() else []
        stages = [("unit", rf"^({'|'.join(own)})\." if own else "^$", [f"test_{name}" for name in own]), ("unit", ".", []),
                  ("server|display", f"^({LAB.get(area, 'display|reader|desktop')})", []), ("unit|server|display", ".", [])]
        for labels, only, needed in stages[: self.options.stages]:
            targets = [word for target in needed for word in ("--target", target)]
            if self.run(*self.options.build_with, "cmake", "--build", self.build, *targets).returncode != 0:
                return "does not build"
            if failed := self.failures(labels, only):
                return f"found\t{failed[0]}"
        return "survived"

    def measure(self, fault):
        source = self.path / "src" / fault.file
        healthy = source.read_text(encoding="utf-8")
        sick = planted(fault, healthy)
        if sick is None:
            return "lost"
        try:
            source.write_text(sick, encoding="utf-8")
            return self.ask(fault.file.split("/")[0])
        finally:
            source.write_text(healthy, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tree", nargs="?", type=pathlib.Path, default=HERE.parents[1])
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--summary", action="store_true")
    parser.add_argument("--faults", type=pathlib.Path, default=HERE / "faults.txt", help="another list of faults")
    parser.add_argument("--stages", type=int, default=3)
    parser.add_argument("--only", default=".", metavar="REGEX", help="faults whose file and name match")
    parser.add_argument("--build", default="build-dev", help="build directory in the tree")
    parser.add_argument("--jobs", default=2)
    parser.add_argument("--results", type=pathlib.Path, default=pathlib.Path("faults.tsv"))
    parser.add_argument("--build-with", type=shlex.split, default=[], help="put before build and unit tests")
    parser.add_argument("--test-with", type=shlex.split, default=[], help="put before the other tests")
    options = parser.parse_args()
    options.tree = options.tree.resolve()
    faults = [f for f in read_faults(options.faults) if re.search(options.only, f"{f.file} {f.name}")]
    lost = [f for f in faults if planted(f, (options.tree / "src" / f.file).read_text(encoding="utf-8")) is None]
    known = options.results.read_text(encoding="utf-8").splitlines() if options.results.exists() else []
    results = dict(line.split("\t", 1) for line in known)  # later lines count
    if options.list or options.summary:
        for fault in faults:
            print(f"{fault.file}\t{fault.name}\t{'LOST: ' * (fault in lost)}{fault.what}\t{results.get(fault.name, '')}")
        found = sum(results.get(fault.name, "").startswith("found") for fault in faults)
        print(f"{len(faults)} faults, {len(lost)} without a place, {found} found")
        return 1 if lost else 0

    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))  # restores on the way out
    tree = Tree(options)
    for fault in faults:
        if fault.name not in results:
            line = f"{fault.name}\t{tree.measure(fault)}"
            print(line, flush=True)
            with options.results.open("a", encoding="utf-8") as out:
                out.write(line + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
