# With nothing playing, the real device may sleep; the first sound wakes it, and is heard from its beginning.
from lab.all import *

SUSPEND_S = 1


def uncorked(lab, kind):
    return [not stream["corked"] for stream in lab.server.list(kind) if stream["properties"]["application.name"] == OURS]


# Off, a capture of the device's own monitor shows its spectrum: that keeps nothing awake either.
def test_the_device_sleeps_in_silence_and_the_first_sound_wakes_it_and_is_whole(lab):
    for switches, default in ((FLAT_SWITCHES, SINK), (("--off",), "speakers")):
        program = lab.launch(*switches)
        becomes("the sound is captured", lambda: uncorked(lab, "source-outputs"), [True])
        if default == SINK:
            hears_a_ramp(lab)
        becomes("the device sleeps", lambda: (lab.server.default(), lab.server.sinks()["speakers"]["state"]),
                (default, "SUSPENDED"), limit=40)
        lab.play()
        becomes("the capture goes on", lambda: uncorked(lab, "source-outputs"), [True])
        lab.hears("speakers")
        if default == SINK:
            lab.silence()
        else:  # a paused player keeps nothing awake either, nor does it where another device takes over
            lab.players[-1].pause()
            becomes("the device sleeps", lambda: lab.server.sinks()["speakers"]["state"], "SUSPENDED", limit=40)
            lab.choose("headset")
            becomes("it is captured", lambda: lab.own_streams()[1], ("headset.monitor",))
            becomes("it sleeps as well", lambda: lab.server.sinks()["headset"]["state"], "SUSPENDED", limit=40)
        check(program.count("underrun") == 0, "it ran dry")
        lab.end(program)


# The first sound after our stream has fallen asleep; a ramp tells for each of its samples when it was played.
def hears_a_ramp(lab):
    start, per_frame = 0.1, 0.5 / (2 * RATE)
    few_ms = 0.006 * RATE * per_frame
    recorder = Recorder(lab.server, "speakers.monitor")  # keeps the device awake
    for awake in (True, False):
        becomes("our stream " + ("plays" if awake else "sleeps"), lambda: uncorked(lab, "sink-inputs"), [awake], limit=40)
    first = recorder.frames

    def ramp(first, count):
        at = first + np.arange(count)
        return np.repeat(np.where(at < 2 * RATE, start + per_frame * at, 0)[:, None], 2, axis=1)
    player = Player(lab.server, ramp)
    becomes("the ramp has been heard", lambda: peak(recorder.since(first)) > 0.58)
    player.close()
    heard = recorder.since(first)[:, 0]
    recorder.close()
    at = int(np.argmax(heard > 0.05))
    check(heard[at] < start + few_ms, f"it begins at {heard[at]}")
    # Nor is anything missing right behind it, while the queue finds its length. What a busy server
    # leaves out shows as zeros.
    step = RATE // 100
    for at in range(at + step, at + 10 * step, step):
        if not heard[at:at + step + 1].all():
            break
        check(abs(heard[at + step] - heard[at] - step * per_frame) < few_ms, f"a piece is missing at {at}")
