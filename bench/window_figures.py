# What the window costs: processor time of the program (all threads) and of the X server, memory, and the
# time to the first picture, with music and without, at 60 pictures a second; run by hand:
#
#   tests/lab/run.py bench/window_figures.py share --server pulseaudio seconds=12
#
# BASE names another build of the program, measured in turn with this one.
from lab.all import *
from lab.all import EXECUTABLE
from lab import velmora

SERVERS = ["any"]


def spent(pid):
    return sum(int(proc(pid, f"task/{task}/schedstat").split()[0]) for task in os.listdir(f"/proc/{pid}/task")) * 1e-9


# Shares of a core in percent.
def shares(lab, program, seconds):
    time.sleep(3)
    pids = program.pid, lab.screen.server.pid
    before, began = [spent(pid) for pid in pids], time.monotonic()
    time.sleep(seconds)
    took = time.monotonic() - began
    return [100 * (spent(pid) - then) / took for pid, then in zip(pids, before)]


def look(lab, name, seconds):
    lab.home = temp_dir()
    program, window = lab.open("--preset", "rock", display={"DISPLAY": lab.screen.display})
    lab.routed_to("speakers")
    becomes("the window has the keyboard", lambda: lab.screen.run("xdotool", "getwindowfocus"), window.id)
    first = program.log_text().split("First frame after ")[1].split("\n")[0]
    figures = {"idle": shares(lab, program, seconds)}
    player = Player(lab.server, noise())
    figures["full"] = shares(lab, program, seconds)
    full_kb = memory(program.pid)
    window.click(*TO_COMPACT)
    becomes("compact", window.size, COMPACT)
    window.pointer_away()
    figures["compact"] = shares(lab, program, seconds)
    player.close()
    print(f"{name}: first picture {first}, {full_kb / 1024:.0f} MB;",
          "; ".join(f"{view} {own:.2f} %, X server {screen:.2f} %" for view, (own, screen) in figures.items()))
    lab.end(program)


def test_share(lab, seconds=12, rounds=1):
    lab.need_screen()
    builds = {"this": EXECUTABLE} | ({"base": os.environ["BASE"]} if "BASE" in os.environ else {})
    for name in list(builds) * rounds:
        velmora.EXECUTABLE = builds[name]
        look(lab, name, seconds)
