# What the engine costs on a real server: the delay that it adds, click by click, and its share of a
# processor; run by hand:
#
#   tests/lab/run.py bench/engine_figures.py delay --server pipewire count=200
#   tests/lab/run.py bench/engine_figures.py share_of_a_processor --server pipewire seconds=60
#
# The delay is measured between two recordings, of our sink's monitor and of the device's; both are
# mapped to one clock by the earliest arrival of a frame in each, so what they have in common cancels
# out. Of the time that is spent, the server's own counts too, and wake-ups beside it. The program draws
# its frames all the while, for a window without a screen.
import os
import statistics
import time

from lab.session import becomes, proc
from lab.sound import Player, Recorder, clicks, delays_ms, noise
from lab.velmora import MONITOR, OURS

SUSPEND_S = 5
CLICK_S = 0.25


def test_delay(lab, count=200):
    lab.start()
    lab.players.append(Player(lab.server, clicks(CLICK_S)))
    sent, heard = Recorder(lab.server, MONITOR), Recorder(lab.server, "speakers.monitor")
    heard.next((count + 2) * CLICK_S)
    delays = delays_ms(sent.click_times(), heard.click_times(), most_ms=200)
    tenth = max(1, len(delays) // 10)
    print(f"{lab.server.kind}: delay over {len(delays)} clicks: median {statistics.median(delays):.1f} ms, "
          f"{min(delays):.1f} to {max(delays):.1f} ms; first tenth {statistics.median(delays[:tenth]):.1f} ms, "
          f"last tenth {statistics.median(delays[-tenth:]):.1f} ms")


# Milliseconds of processor time, and how often a thread had waited and went on.
def usage(pids):
    ms = wakeups = 0
    for pid in pids:
        for task in os.listdir(f"/proc/{pid}/task"):
            ms += int(proc(pid, f"task/{task}/schedstat").split()[0]) * 1e-6
            wakeups += int(proc(pid, f"task/{task}/status").split("\nvoluntary_ctxt_switches:")[1].split()[0])
    return ms, wakeups


def report(lab, what, program, seconds):
    groups = {"program": [program.pid] if program else [], "server": lab.server.pids()}
    before = {name: usage(pids) for name, pids in groups.items()}
    began = time.monotonic()
    time.sleep(seconds)
    took = time.monotonic() - began
    shares = []
    for name, pids in groups.items():
        ms, wakeups = (now - then for now, then in zip(usage(pids), before[name]))
        shares.append(f"{name} {ms / took / 10:.2f} % of a core, {wakeups / took:.1f} wake-ups a second")
    print(f"{lab.server.kind}: {what}: {'; '.join(shares)}; device {lab.server.sinks()['speakers']['state'].lower()}")


def test_share_of_a_processor(lab, seconds=60):
    report(lab, "without the program, nothing playing", None, seconds)
    program = lab.start("--preset", "rock")
    player = Player(lab.server, noise())
    report(lab, "equalizing", program, seconds)
    player.close()
    becomes("our stream sleeps", lambda: [stream["corked"] for stream in lab.server.list("sink-inputs")
                                          if stream["properties"]["application.name"] == OURS], [True], limit=30)
    report(lab, "equalizer on, asleep", program, seconds)
    lab.end(program)
    program = lab.launch("--off")
    time.sleep(10)  # a spectrum alone is drawn more slowly when it has been silent for a while
    report(lab, "equalizer off, nothing playing", program, seconds)
