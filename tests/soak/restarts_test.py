# A thousand starts and ends in a row, and nothing may be left of them:
#
#   tests/lab/run.py tests/soak/restarts_test.py starts_and_ends_leave_nothing --server pipewire times=1000
from lab.all import *

WARM_UP = 3  # the first runs leave settings and logs, and fill the server's pools
SIGNALS = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)


def held(lab):
    return sum(map(descriptors, lab.server.pids())), sum(map(memory, lab.server.pids()))


# Where anything of the program's could be left, and where the server itself leaves nothing new.
def all_files(lab):
    return {path for folder in ("run", "home", "cache") for path in (lab.server.directory / folder).rglob("*")}


def test_starts_and_ends_leave_nothing(lab, times=10):
    lab.play((1000, -30))
    took = {"start to routed": [], "signal to restored": [], "kill to restored": []}
    for run in range(WARM_UP + times):
        if run == WARM_UP:
            before = held(lab)
            files = all_files(lab)
        began = time.monotonic()
        program = lab.launch(home=lab.home)
        lab.routed_to("speakers")
        lab.music_is_on(SINK)
        took["start to routed"].append(time.monotonic() - began)
        began = time.monotonic()
        number = signal.SIGKILL if run % 10 == 9 else SIGNALS[run % 3]
        program.signal(number)
        code = program.wait()
        lab.as_before()
        took["kill to restored" if number == signal.SIGKILL else "signal to restored"].append(time.monotonic() - began)
        lab.ended(program, code, -number if number == signal.SIGKILL else 0)
        if run >= WARM_UP:
            becomes("the server's descriptors are free again", lambda: held(lab)[0], lambda now: now <= before[0])
    check(all_files(lab) <= files, f"left behind: {all_files(lab) - files}")
    for what, times_s in took.items():
        if times_s:
            print(f"{what}: median {statistics.median(times_s) * 1000:.0f} ms, longest {max(times_s) * 1000:.0f} ms")
    print(f"the server's descriptors and memory in kB: {before}, then {held(lab)}")
