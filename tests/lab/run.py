#!/usr/bin/python3
# Runs one case of the lab, or lists the cases of files:
#
#   run.py FILE CASE [--server pulseaudio|pipewire|none] [NAME=NUMBER ...]
#   run.py --list FILE ...
#
# VELMORA is the program, as built; LAB_TOOLS the directory tests/lab of the build. By default both are
# those of build-dev.
# A case is a function test_NAME(lab, ...) of a file; further arguments are its own, with defaults.
# Exit status 0 when it passed, 1 when not, 77 when something it needs is not installed; with CI=true
# that is a failure, too.
import importlib.util
import inspect
import os
import shutil
import signal
import sys
import traceback
from pathlib import Path

sys.dont_write_bytecode = True
build = Path(__file__).parents[2] / "build-dev"
os.environ.setdefault("VELMORA", str(build / "Velmora"))
os.environ.setdefault("LAB_TOOLS", str(build / "tests/lab"))
sys.path.insert(0, str(Path(__file__).parent.parent))
from lab.server import PIPEWIRE, PROGRAMS, PULSEAUDIO, Server  # noqa: E402
from lab.session import Skipped, require_programs  # noqa: E402
from lab.velmora import Lab, Session  # noqa: E402

SKIPPED = 77


def load(path):
    spec = importlib.util.spec_from_file_location(Path(path).stem, path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def cases(module):
    return {name[5:]: case for name, case in inspect.getmembers(module, inspect.isfunction)
            if name.startswith("test_") and case.__module__ == module.__name__}


# What a file or a case asks of its server: SERVERS, DEVICES, SUSPEND_S.
def setting(module, case, name, default):
    return getattr(case, name, getattr(module, name, default))


# "any": whichever of the two is installed; "none": a Session instead of a Lab.
def run(module, case, kind, arguments):
    if kind == "any":
        kind = PULSEAUDIO if shutil.which(PULSEAUDIO) else PIPEWIRE
    require_programs(*PROGRAMS.get(kind, ()), *getattr(module, "PROGRAMS", ()))
    lab = Session() if kind == "none" else Lab(Server(
        kind, setting(module, case, "DEVICES", ("speakers", "headset")), setting(module, case, "SUSPEND_S", 0)))
    failed = True
    try:
        if kind != "none":
            lab.begin()
        case(lab, **arguments)
        lab.finish()
        failed = False
    finally:
        lab.close(failed)


def main(words):
    if words[:1] == ["--list"]:
        for path in words[1:]:
            module = load(path)
            for name, case in cases(module).items():
                print(path, name, *setting(module, case, "SERVERS", (PULSEAUDIO, PIPEWIRE)))
        return 0
    if len(words) < 2:
        print(Path(__file__).read_text().split("import")[0])
        return 2
    path, name, *rest = words
    module = load(path)
    kind = rest[rest.index("--server") + 1] if "--server" in rest else getattr(module, "SERVERS", (PULSEAUDIO,))[0]
    arguments = {key: float(value) if "." in value else int(value)
                 for key, value in (word.split("=") for word in rest if "=" in word)}
    signal.signal(signal.SIGHUP, signal.SIG_DFL)
    try:
        run(module, cases(module)[name], kind, arguments)
    except Skipped as reason:
        print("skipped:", reason)
        return 1 if os.environ.get("CI") == "true" else SKIPPED
    except Exception:
        traceback.print_exc()
        return 1
    return 0


if __name__ == "__main__":
    sys.stdout.reconfigure(line_buffering=True)
    sys.exit(main(sys.argv[1:]))
