# The sound itself: what another program plays arrives equalized, and nothing is lost on the way. The
# engine runs alone, so that it can be asked and changed while it plays.
import resource

from lab.all import *

SPEAKERS = "speakers.monitor"
THREE_BANDS = [(hz, db, side) for side, db in (("left", -30), ("right", -36)) for hz in (125, 1000, 8000)]


def run(lab):
    engine = lab.engine()
    engine.ask("active", 1)
    engine.ask("start", 1)
    becomes("the engine runs", engine.status, lambda s: (s["state"], s["active"], s["alive"]) == ("1", "1", "1"))
    return engine


def test_tones_arrive_and_are_shown_as_the_curve_says_on_both_channels(lab):
    lab.play(*THREE_BANDS)
    engine = lab.engine()
    some, rate, serial, sound = engine.tap()
    check((some, rate, serial, sound[0, 0]) == (False, 48000, 0, 7), "there is sound before there is any")
    engine.ask("active", 1)
    engine.ask("start", 1)
    lab.routed_to("speakers")
    for name in ("rock", "vocal"):
        engine.curve(*PRESETS[name])
        lab.hears("speakers", *THREE_BANDS, curve=PRESETS[name])
        # What is shown is what is heard, in order and without a seam.
        becomes("the display gets the same", lambda: [
            level_db(engine.tap()[3][:, side], hz) - db
            for side in (0, 1) for hz, db, channel in through(PRESETS[name], *THREE_BANDS)
            if (channel == "right") == side], lambda off: max(map(abs, off)) < 0.3)
    engine.curve(*PRESETS["flat"])
    lab.play((1000, -20, "left"))
    engine.peaks()
    becomes("the tone is shown on the left and not on the right",
            lambda: (engine.tap()[3], engine.peaks()),
            lambda seen: abs(level_db(seen[0][:, 0], 1000) + 20) < 0.2 and jump(seen[0][:, 0]) < 0.02 and
            abs(seen[1][0] - 0.1) < 0.005 and not seen[0][:, 1].any() and seen[1][1] == 0)
    check(engine.tap(8192 + 4096)[3].shape and engine.tap()[2] > 0, "the blocks are not counted")


def test_an_engine_that_gets_no_thread_says_so_and_starts_later(lab):
    if b"Sanitizer" in Path(tool("lab_probe")).read_bytes():
        return  # it needs more memory than it is left here
    engine = lab.engine()
    engine.ask("active", 1)
    pid = engine.process.pid
    size = int(proc(pid, "statm").split()[0]) * 4096
    limits = resource.prlimit(pid, resource.RLIMIT_AS, (size + 4 * 2**20, -1))  # less than a thread's stack
    check(engine.ask("start", 1) == "0" and engine.status()["state"] == "2", "it runs, or does not say so")
    resource.prlimit(pid, resource.RLIMIT_AS, limits)
    becomes("the engine runs", engine.status, lambda s: s["state"] == "1")


def test_the_status_tells_of_a_missing_device_and_a_missing_sink(lab):
    engine = run(lab)
    for device in lab.server.devices:
        lab.server.remove_sink(device)
    becomes("no device is named", engine.status, lambda s: (s["target"], s["label"]) == ("", ""))
    for device in lab.server.devices:
        lab.server.add_sink(device, device.capitalize())
    lab.routed_to("speakers")
    lab.server.write("home/.config/pulse/daemon.conf", "allow-module-loading = no\n")
    lab.server.kill()
    lab.server.start()
    becomes("it is not active", engine.status, lambda s: (s["state"], s["active"], s["target"]) == ("1", "0", "speakers"))


test_the_status_tells_of_a_missing_device_and_a_missing_sink.SERVERS = (PULSEAUDIO,)


# A null sink that nobody has used is up to two seconds ahead of the clock: ours after it was loaded, and
# the user's own where that is the device.
def test_the_first_sound_after_the_start_is_not_lost(lab):
    lab.server.load("module-null-sink", "sink_name=plain")
    lab.remember()
    lab.choose("plain")
    engine = run(lab)
    becomes("the plain device is played to", engine.status, lambda s: s["target"] == "plain")
    lab.play((440, -12))
    heard = Recorder(lab.server, "plain.monitor").next(1.2)
    check(abs(level_db(heard[-RATE * 3 // 10:, 0], 440) + 12) < 1, "the sound is late")


def test_muting_silences_the_device_and_off_gives_everything_back(lab):
    lab.play()
    engine = run(lab)
    lab.hears("speakers")
    lab.settle()
    engine.ask("mute", 1)
    check(engine.status()["muted"] == "1", "the button waits for the server")
    becomes("the device is muted", lambda: lab.server.muted("speakers"))
    lab.server.set_mute("speakers", False)
    becomes("that is shown", lambda: engine.status()["muted"], "0")
    lab.server.set_mute(SINK, True)
    becomes("a mute of our sink is shown", lambda: (lab.server.muted("speakers"), engine.status()["muted"]), (False, "1"))
    engine.ask("mute", 0)
    becomes("device and sink are unmuted, as is shown",
            lambda: (lab.server.muted("speakers"), lab.server.muted(SINK), engine.status()["muted"]), (False, False, "0"))
    engine.ask("active", 0)
    becomes("the equalizer is off", engine.status, lambda s: s["active"] == "0")
    becomes("the spectrum goes on", lab.own_streams, ((), (SPEAKERS,)))
    lab.music_is_on("speakers")
    check(SINK not in lab.server.sinks(), "our sink stays")
    lab.play((500, -20, "right"))
    engine.peaks()
    becomes("the peaks of what plays", engine.peaks, lambda p: p[0] == 0 and abs(p[1] - 0.1) < 0.005)
    engine.ask("active", 1)
    lab.routed_to("speakers")
    lab.hears("speakers", (500, -20, "right"))
    # What is handed over is not asked of the next sink as well, unless the device is as it was left.
    lab.settle()
    lab.server.set_volume(SINK, 50)
    engine.ask("active", 0)
    becomes("the device is turned down", lambda: lab.server.volume("speakers"), [50, 50])
    lab.server.set_volume("speakers", 70)
    lab.expect(speakers={"volume": [70, 70]})
    engine.ask("active", 1)
    lab.routed_to("speakers")
    lab.settle()
    becomes("it is not asked again", lambda: (lab.server.volume(SINK), lab.server.volume("speakers")), ([100, 100], [70, 70]))


def test_the_delay_stays_near_its_target_after_hiccups(lab):
    run(lab)
    lab.players.append(Player(lab.server, clicks(0.25)))
    sent, heard = Recorder(lab.server, MONITOR), Recorder(lab.server, SPEAKERS)

    def is_short(heard, why):
        def delay():
            first = sent.forget(), heard.forget()
            heard.next(1.5)
            return statistics.median(delays_ms(sent.click_times(first[0]), heard.click_times(first[1])))
        becomes(f"the delay is short {why}", delay, lambda ms: 0 < ms < 130)
    is_short(heard, "after the start")
    if lab.server.kind == PIPEWIRE:  # longer than what was requested, and as long as the device's cycles at most
        becomes("the fragments are whole cycles", lambda: [
            stream["properties"]["node.latency"] for stream in lab.server.list("source-outputs")
            if stream["properties"]["application.name"] == OURS], ["512/48000"])
    lab.server.freeze()
    time.sleep(0.4)
    lab.server.thaw()
    is_short(heard, "after a server that hung")
    for device in ("headset", "speakers"):
        lab.choose(device)
        lab.routed_to(device)
    is_short(Recorder(lab.server, SPEAKERS), "after two switches")


def test_a_server_that_hangs_holds_no_caller_up(lab):
    engine = run(lab)
    lab.player()
    lab.server.freeze()
    engine.ask("output", "headset")  # a pass that gets no answer
    # Bounded by what the worst single wait on the server would cost: these rounds would take hours.
    check(int(engine.ask("hammer", 1000)) < 2000, "a call waits for the server")
    engine.ask("active", 1)
    engine.ask("output")
    lab.server.thaw()
    lab.routed_to("speakers")
    lab.play()  # once more: a starved pipewire-pulse may forget to ask the old player for more
    lab.hears("speakers")
    lab.server.freeze()
    engine.ask("mute", 0)
    time.sleep(0.5)
    engine.ask("mute", 1)  # the newest counts
    time.sleep(11)  # longer than two passes wait: neither the older nor the newest is lost
    lab.server.thaw()
    becomes("what was wished meanwhile is made up for", lambda: lab.server.muted("speakers"))
    engine.ask("mute", 0)
    lab.play()
    lab.hears("speakers")
    lab.engines.remove(engine)
    check(engine.close(), "nobody waits for the answer, but it may still come")
