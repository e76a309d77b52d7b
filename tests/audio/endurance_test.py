# What happens to the user's sound when the program or the server dies, hangs or is late, and when what is
# around the program is not as it should be.
from lab.all import *

RESCUE_S = 3  # for so long a killed program may leave something undone


def test_everything_returns_when_killed_or_ended_at_any_moment(lab, seed=0):
    seed = seed or random.randrange(10**6)
    print("seed", seed)
    dice = random.Random(seed)
    lab.play()
    for way, times, longest_s in (("killed", 14, 0.9), ("killed at its end", 6, 0.3), ("ended", 8, 0.3)):
        for _ in range(times):
            program = lab.launch("--preset", "flat", expect=["Audio path"])
            if way == "killed at its end":
                lab.routed_to("speakers")
                program.signal(signal.SIGTERM)
            time.sleep(dice.uniform(0, longest_s))  # a moment, drawn and not waited for
            if way == "ended" and program.count("Build 1057"):
                lab.end(program)
            else:  # before main has its handlers in place a signal ends it as it would any other
                program.kill()
                lab.programs.remove(program)
            lab.as_before(limit=RESCUE_S)
    lab.hears("speakers")


def test_a_suspended_sink_is_woken_and_heard_again(lab):
    lab.play()
    program = lab.start()
    lab.server.pactl("suspend-sink", SINK, 1)
    becomes("it is awake", lambda: lab.server.sinks()[SINK]["state"], lambda state: state != "SUSPENDED")
    lab.hears("speakers")
    check(program.count("No sound is recorded any more") == 0, "it was noticed late")


test_a_suspended_sink_is_woken_and_heard_again.SERVERS = [PULSEAUDIO]  # the other does not announce it


# Every connection is as good as the first, and none leaves anything open.
def test_waits_for_a_server_and_comes_back_after_a_restart(lab):
    lab.server.stop()
    program = lab.launch("--preset", "flat", expect=["No sound server reachable"])
    for lost, end in enumerate((lab.server.stop, lab.server.kill, lab.server.kill, None), 1):
        becomes("the loss is logged, once", lambda: program.count("No sound server reachable"), lost)
        lab.server.start()
        lab.routed_to("speakers")
        lab.play()
        lab.hears("speakers")
        if lost == 1:
            program.remember()
        if end:
            lab.silence()
            end()
    # It is not slower afterwards either: of some switches at least one is as quick as always.
    lab.silence()  # then nothing but the change of the default is reported
    took = []
    for device in ("headset", "speakers") * 3:
        time.sleep(1.1)  # longer than what the last switch caused is waited for
        began = time.monotonic()
        lab.choose(device)
        lab.routed_to(device)
        took.append(round(time.monotonic() - began, 2))
    print("switches in", took)
    check(min(took) < 0.8, "it has become slow")


def test_goes_on_after_a_server_that_hung_and_ends_in_time_while_it_hangs(lab):
    lab.play()
    program = lab.start(expect=["Sound server not answering"])
    lab.server.freeze()
    time.sleep(2)
    lab.server.thaw()
    lab.routed_to("speakers")
    lab.hears("speakers")
    program.check_holdings()
    lab.server.freeze()
    program.signal(signal.SIGTERM)
    code = program.wait(12)
    lab.server.thaw()
    lab.ended(program, code)
    lab.as_before()  # the guard finishes what could not be done
    if lab.server.kind == PIPEWIRE:  # a stream that the server could not create in time is not left behind
        engine = lab.engine()
        engine.ask("active", 1)
        engine.ask("start", 1)
        lab.routed_to("speakers")
        manager = lab.server.processes[1]
        manager.freeze()
        engine.ask("output", "headset")
        becomes("the stream is given up", engine.status, lambda s: s["alive"] == "0")
        manager.thaw()
        lab.settle()
        lab.routed_to("headset")


def test_a_place_for_its_files_is_not_needed(lab):
    home = temp_dir()
    (home / "Velmora").write_text("in the way")
    lab.end(lab.start(home=home))
    check((home / "Velmora").read_text() == "in the way", "a file was overwritten")
