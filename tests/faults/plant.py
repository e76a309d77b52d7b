#!/usr/bin/env python3
"""Plants one realistic fault at a time and asks the tests whether they notice.

    tests/faults/plant.py --list                        the faults and where they are now
    tests/faults/plant.py TREE --label unit             unit tests; server and display likewise
    tests/faults/plant.py TREE                          what was found so far, and what was not

TREE is a git worktree of its own, with a configured build directory in it: sources are changed and
restored there. A fault is found when a test fails, fails again on its own, and passes without the
fault. Later labels look only at what earlier ones did not find. Results are appended to a file, so
a run may be interrupted and goes on where it was. faults.txt explains the table.
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
LABELS = ("unit", "server", "display")
# Whose unit tests can notice a fault of an area, after its own.
UNIT = {
    "dsp": "dsp|app|cli|ui|audio", "gfx": "gfx|ui", "platform": "platform|ui", "app": "app|cli|ui|audio",
    "crash": "crash|cli", "curves": "curves|ui", "i18n": "i18n|ui|gfx|cli", "posix": "posix|app|crash|cli|audio",
    "desktop": "desktop|ui|cli",
}
SERVER = ("audio", "dsp", "app", "crash")  # the others are not asked: no server test shows the window
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


class Lab:
    def __init__(self, options):
        self.tree, self.options, self.build = options.tree, options, options.tree / options.build
        self.marker = self.build / "planted.txt"
        if self.marker.exists():  # an earlier run was killed
            self.run("git", "checkout", "--", self.marker.read_text())
            self.marker.unlink()
        if self.run("git", "status", "--porcelain", "src").stdout:
            sys.exit(f"{self.tree}/src has changes of its own")

    def run(self, *command, where=None):
        result = subprocess.run([str(word) for word in command], cwd=where or self.tree, text=True, errors="replace",
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        with (self.build / "planted.log").open("a", encoding="utf-8") as log:
            log.write(f"$ {shlex.join(map(str, command))}\n{result.stdout}\n")
        return result

    def compile(self):
        return self.run(*self.options.build_with, "cmake", "--build", self.build).returncode == 0

    def failures(self, label, only, skip=()):
        """Names of the tests that fail, at least one of them where any does."""
        arguments = ["-L", f"^{label}$", "-R", only, f"-j{self.options.jobs}", "--stop-on-failure", "--no-tests=ignore"]
        if skip:
            arguments += ["-E", "^(" + "|".join(map(re.escape, skip)) + ")$"]
        wrapper = self.options.build_with if label == "unit" else self.options.test_with
        log = self.build / "Testing/Temporary/LastTestsFailed.log"
        log.unlink(missing_ok=True)
        if self.run(*wrapper, "ctest", *arguments, where=self.build).returncode == 0:
            return []
        return [line.split(":", 1)[1] for line in log.read_text().splitlines()] if log.exists() else ["?"]

    def ask(self, label, area, skip):
        """The test that finds the fault, or an empty string."""
        for only in [rf"^({folders})\." for folders in (area, UNIT.get(area, area))] if label == "unit" else ["."]:
            while failed := self.failures(label, only, skip):
                again = [name for name in failed if self.failures(label, f"^{re.escape(name)}$")]
                if again:
                    return again[0]
                skip = skip + failed  # once only: nothing that a maintainer would act on
        return ""

    def measure(self, label, fault, skip):
        """(outcome, test) of one fault, which is gone again afterwards."""
        source = self.tree / "src" / fault.file
        healthy = source.read_text(encoding="utf-8")
        sick = planted(fault, healthy)
        if sick is None:
            return "lost", ""
        self.marker.write_text(f"src/{fault.file}")
        try:
            source.write_text(sick, encoding="utf-8")
            if not self.compile():
                return "build", ""
            test = self.ask(label, fault.file.split("/")[0], skip)
            return ("found", test) if test else ("survived", "")
        finally:
            source.write_text(healthy, encoding="utf-8")
            self.marker.unlink()

    def broken_without_faults(self, label):
        """Tests that fail on the healthy tree: they prove nothing."""
        if not self.compile():
            sys.exit(f"the tree does not build: see {self.build}/planted.log")
        broken = []
        while failed := self.failures(label, ".", broken):
            broken += failed
        return broken


def summary(faults, results):
    rows = collections.defaultdict(collections.Counter)
    for fault in faults:
        result = results[fault.name]
        found = [label for label in LABELS if result.get(label, "").startswith("found")]
        outcome = found[0] if found else "survives " + "+".join(result) if result else "not measured"
        for area in (fault.file.split("/")[0], "all"):
            rows[area][outcome] += 1
        if not found:
            print(f"{outcome}: {fault.file} {fault.name}: {fault.what}")
    for area, row in rows.items():
        print(f"{area}: {sum(row.values())} faults, " + ", ".join(f"{what} {n}" for what, n in row.items()))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tree", nargs="?", type=pathlib.Path, default=HERE.parents[1])
    parser.add_argument("--label", choices=LABELS)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--only", default=".", metavar="REGEX", help="faults whose file and name match")
    parser.add_argument("--build", default="build-dev", help="build directory in the tree")
    parser.add_argument("--jobs", default=2)
    parser.add_argument("--results", type=pathlib.Path, default=pathlib.Path("faults.tsv"))
    parser.add_argument("--build-with", type=shlex.split, default=[], help="put before build and unit tests")
    parser.add_argument("--test-with", type=shlex.split, default=[], help="put before the other tests")
    options = parser.parse_args()
    options.tree = options.tree.resolve()
    faults = [f for f in read_faults(HERE / "faults.txt") if re.search(options.only, f"{f.file} {f.name}")]
    if options.list:
        lost = [f for f in faults if planted(f, (options.tree / "src" / f.file).read_text(encoding="utf-8")) is None]
        for fault in faults:
            print(f"{fault.file}\t{fault.name}\t{'LOST: ' * (fault in lost)}{fault.what}")
        print(f"{len(faults)} faults, {len(lost)} without a place")
        return 1 if lost else 0
    results = collections.defaultdict(dict)  # fault: {label: outcome}; later lines count
    if options.results.exists():
        for line in options.results.read_text(encoding="utf-8").splitlines():
            name, label, outcome = line.split("\t", 2)
            results[name][label] = outcome
    if not options.label:
        return summary(faults, results)

    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))  # restores on the way out
    label = options.label
    asked = [f for f in faults if label not in results[f.name] and (label != "server" or f.file.split("/")[0] in SERVER)
             and not any(outcome.startswith("found") for outcome in results[f.name].values())]
    lab = Lab(options)
    broken = lab.broken_without_faults(label)
    print(f"{len(asked)} faults to ask; failing without any: {broken or 'none'}", flush=True)
    for fault in asked:
        line = "\t".join([fault.name, label, *lab.measure(label, fault, broken)])
        print(line, flush=True)
        with options.results.open("a", encoding="utf-8") as out:
            out.write(line + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
