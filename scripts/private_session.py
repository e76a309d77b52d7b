# A session of our own for scripts that show the program: the sound server and the screen of the tests'
# lab. Nothing of the user's session is needed or reached.
import contextlib
import os
import shutil
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests"))


def missing():
    programs = ["pactl", "Xvfb", "openbox", "xdotool", "xwininfo", "xprop"]
    servers = ["pulseaudio"] if shutil.which("pulseaudio") else ["pipewire", "wireplumber", "pipewire-pulse"]
    try:
        import numpy  # noqa: F401
    except ImportError:
        return True
    return not all(map(shutil.which, programs + servers))


if missing():
    print("Something is missing: trying to install it.", file=sys.stderr)
    subprocess.run([ROOT / "scripts/install-deps.sh", "--tests"], check=True)

from lab import velmora  # noqa: E402
from lab.screen import Screen  # noqa: E402
from lab.server import PIPEWIRE, PULSEAUDIO, Server  # noqa: E402


# A lab with this program, for `with`; what runs in it is ended in any case.
@contextlib.contextmanager
def session(program, screen_size, **server):
    if not os.access(program, os.X_OK):
        sys.exit(f"There is no {program}; ./run.sh builds it")
    velmora.EXECUTABLE = str(Path(program).resolve())
    os.environ.setdefault("LAB_TOOLS", str(Path(program).resolve().parent / "tests/lab"))
    lab = velmora.Lab(Server(PULSEAUDIO if shutil.which("pulseaudio") else PIPEWIRE, **server))
    failed = True
    try:
        lab.begin()
        lab.screen = Screen(*screen_size)
        yield lab
        failed = False
    finally:
        lab.close(failed)
