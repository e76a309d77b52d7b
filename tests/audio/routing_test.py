# The program as built, on a real server: whose sound goes where, and that everything comes back.
from lab.all import *

PASSIVE = "Another installation is running - this one stays passive"
SURPRISES = [PASSIVE, "Cannot record from"]  # when the other one's sink goes at that moment
REPLACED = "The guard process was lost and has been replaced"
HALF_DB = -18.06


def test_takes_the_streams_of_the_followed_device_and_gives_everything_back(lab):
    lab.play((500, -20), application="Elsewhere", device="headset")
    lab.play()
    check(f"default source {SINK}\n" not in lab.start().log_text(), "the log takes a sink for a source")
    lab.music_is_on(SINK)
    lab.hears("speakers")
    check(lab.server.playing("Elsewhere") == ("headset",), "a stream was taken that was put elsewhere")
    sink = lab.server.sinks()[SINK]
    check((sink["description"], sink["sample_specification"].split()[1:]) == ("Velmora", ["2ch", "48000Hz"]), sink)


def test_off_or_without_takeover_neither_default_nor_streams_are_touched(lab):
    lab.play()
    watching, playing = ((), ("speakers.monitor",)), (("speakers",), (MONITOR,))
    for switch, kill, streams in (("--off", False, watching), ("--no-takeover", False, playing),
                                  ("--no-takeover", True, playing)):
        program = lab.launch(switch, "--preset", "flat")
        becomes("our streams run", lab.own_streams, streams)
        lab.music_is_on("speakers")
        check(lab.server.default() == "speakers", "the default was taken")
        check((SINK in lab.server.sinks()) == (switch != "--off"), f"{switch}: our sink")
        if switch == "--no-takeover":
            lab.play((440, -30), application="Chosen", device=SINK)
            lab.hears("speakers", (440, -30))
            lab.silence("Chosen")
            lab.settle()
            lab.server.set_volume(SINK, 30)
            lab.server.set_mute(SINK, True)
        lab.end(program, kill)
        lab.as_before()


def test_a_device_that_is_chosen_or_followed_may_vanish_and_return(lab):
    lab.server.add_sink("usb")
    lab.remember()
    for chosen in (True, False):
        if not chosen:
            lab.choose("usb")
        lab.play()
        unknown = "is not present: gone"
        program = lab.start("--preset", "flat", "--device", "usb" if chosen else "gone", device="usb", expect=[unknown])
        lab.server.remove_sink("usb")
        substitute, = becomes("another device takes its place", lambda: lab.own_streams()[0],
                              lambda at: at in (("speakers",), ("headset",)))
        check(substitute == "speakers" or not chosen, "the followed device was not taken")
        lab.routed_to(substitute)
        lab.hears(substitute)
        lab.server.add_sink("usb")
        lab.routed_to("usb")
        lab.hears("usb")
        for gap in (0, 0.02, 0.3, 1.5):  # a card that changes its profile is back before it is missed
            lab.server.pactl("unload-module", lab.server.sinks()["usb"]["owner_module"])
            time.sleep(gap)
            lab.server.add_sink("usb")
            lab.routed_to("usb")
            lab.hears("usb")
        check(program.count(unknown) == (0 if chosen else 1), "a wrong name is not reported, or too often")
        lab.end(program)
        lab.as_before()


def test_follows_when_the_user_switches_the_default_and_pins_no_stream(lab):
    lab.play()
    for kill in (False, True):
        program = lab.start()
        lab.choose("headset")
        lab.routed_to("headset")
        lab.music_is_on(SINK)
        lab.hears("headset")
        lab.end(program, kill)
        lab.as_before()
        lab.choose("speakers")
        lab.music_is_on("speakers")  # a pinned stream would stay
    # While a client is connecting, PipeWire does not tell the others of a new default device.
    program = lab.start()
    with lab.server.clients_coming_and_going():
        for device in ("headset", "speakers") * 6:
            lab.server.set_default(device)
            lab.routed_to(device)
    lab.end(program)
    lab.default_is("speakers")


def test_what_was_turned_down_does_not_come_back_loud(lab):
    levels = lambda name: (lab.server.volume(name), lab.server.muted(name))  # noqa: E731
    for kill in (False, True):
        home = temp_dir()
        lab.server.set_volume("speakers", 80, 40)
        lab.server.set_mute("speakers", False)
        program = lab.start(home=home)
        becomes("a new sink changes no loudness", lambda: levels(SINK), ([100, 100], False))
        lab.settle()
        lab.server.set_volume(SINK, 50, 25)
        lab.server.set_mute(SINK, True)
        for last in (False, True):
            becomes("our sink is turned down", lambda: levels(SINK), ([50, 25], True))
            lab.end(program, kill)
            lab.expect(speakers={"volume": [40, 10], "mute": True})
            lab.as_before()
            if last:
                break
            # Else the keys could turn it up to 40 % only.
            becomes("the levels are kept", (home / "Velmora/volume.txt").exists)
            for _ in range(2):  # killed while they are taken back
                program = lab.launch("--preset", "flat", home=home)
                program.wait_for_log("Virtual sink loaded")
                lab.end(program, kill=True)
                lab.as_before()
            program = lab.start(home=home)
            becomes("the device is as loud as it was", lambda: levels("speakers"), ([80, 40], False))
        lab.server.set_volume("speakers", 60, 60)  # the user's own wish is not undone
        lab.server.set_mute("speakers", False)
        program = lab.start(home=home)
        lab.settle()
        if lab.server.kind == PIPEWIRE:  # on a busy machine its session manager brings the level of the last sink back late
            node = lab.server.sinks()[SINK]["properties"]["object.id"]
            subprocess.run(["pw-cli", "set-param", node, "Props", "{ mute: true, channelVolumes: [ 0.125, 0.015625 ] }"],
                           env=lab.server.environment(), check=True, stdout=subprocess.DEVNULL)
        becomes("nothing is undone", lambda: (levels("speakers"), levels(SINK)), (([60, 60], False), ([100, 100], False)))
        lab.end(program)
        lab.expect(speakers={"volume": [60, 60], "mute": False})
        lab.as_before()


def test_of_two_copies_one_stays_passive_until_the_other_goes(lab):
    lab.play()
    for together in (False, True, True, True, True):
        if together:  # a server that stands still answers both at the same moment
            lab.server.freeze()
        first = lab.launch("--preset", "flat", expect=SURPRISES) if together else lab.start(expect=SURPRISES)
        second = lab.launch("--preset", "flat", expect=SURPRISES)
        if together:
            for program in (first, second):
                program.wait_for_log("First frame after")
            lab.server.thaw()
        becomes("one is passive", lambda: first.count(PASSIVE) + second.count(PASSIVE), 1)
        lab.routed_to("speakers")
        lab.hears("speakers")
        lab.end(first)
        lab.routed_to("speakers")
        lab.music_is_on(SINK)
        check(first.count(PASSIVE) + second.count(PASSIVE) == 1, "it was logged again")
        lab.end(second)
        lab.as_before()


def test_a_sink_left_behind_is_taken_over_or_removed_and_the_guard_leaves_it_alone(lab):
    lab.play()
    for switch in ("", "--off", None):
        dead = lab.start(expect=[REPLACED])
        if switch is None:  # the one that replaces it knows the sink as well
            os.kill(dead.guard(), signal.SIGKILL)
            dead.wait_for_log(REPLACED)
        guard = dead.guard()
        becomes("a kill of the whole job does not take both", lambda: os.getpgid(guard) != os.getpgid(dead.pid))  # noqa: B023
        os.kill(guard, signal.SIGSTOP)
        dead.kill()
        lab.programs.remove(dead)
        check(SINK in lab.server.sinks(), "nothing was left behind")
        if switch is None:  # and leaves somebody else's of that name alone
            lab.server.remove_sink(SINK)
            for name in ("another", SINK):  # the other one has the number of ours, where they are used again
                lab.server.load("module-null-sink", f"sink_name={name}")
            os.kill(guard, signal.SIGCONT)
            becomes("the guard has ended", lambda: not os.path.exists(f"/proc/{guard}"))
            for name in ("another", SINK):
                lab.server.remove_sink(name)
            lab.choose("speakers")
            break
        # The settings of the run before know the device to restore.
        program = lab.launch(*filter(None, [switch, "--preset", "flat"]), home=dead.home)
        if switch:
            program.wait_for_log("Virtual sink removed")
        else:
            program.wait_for_log("Virtual sink taken over from the last run")
            lab.routed_to("speakers")
        os.kill(guard, signal.SIGCONT)
        becomes("the guard has ended", lambda: not os.path.exists(f"/proc/{guard}"))
        if not switch:
            lab.routed_to("speakers")
        lab.hears("speakers")
        check(program.count("Virtual sink loaded") == 0, "a second sink was loaded")
        lab.end(program)
        lab.as_before()


def test_a_lost_guard_is_replaced_and_delays_no_end(lab):
    lab.play()
    for losses, kill in ((("killed", "stopped"), True), (("killed", "full"), False)):
        program = lab.start(expect=[REPLACED])
        for done, loss in enumerate(losses):
            guard = program.guard()
            becomes("it reads", lambda: proc(guard, "comm"), "Velq-waechter\n")  # noqa: B023
            os.kill(guard, signal.SIGKILL if loss == "killed" else signal.SIGSTOP)
            if loss == "full":
                fill_pipe(guard)
            if loss != "killed":  # there is a message for it
                lab.choose("headset")
                lab.routed_to("headset")
            if loss != "full":
                becomes("it is replaced", lambda: program.count(REPLACED) > done)  # noqa: B023
        began = time.monotonic()
        program.signal(signal.SIGKILL if kill else signal.SIGHUP)  # or its terminal closes
        lab.ended(program, program.wait(), -signal.SIGKILL if kill else 0)
        check(time.monotonic() - began < 4, "the guard held the end up")
        lab.as_before()
        lab.choose("speakers")


def fill_pipe(guard):
    fd, = [fd for fd in os.listdir(f"/proc/{guard}/fd") if int(fd) > 2]
    pipe = os.open(f"/proc/{guard}/fd/{fd}", os.O_WRONLY | os.O_NONBLOCK)
    try:
        while os.write(pipe, 4096 * b"\n"):
            pass
    except BlockingIOError:
        os.close(pipe)


# Programs and devices call themselves whatever they like.
def test_names_may_hold_anything_and_the_list_of_devices_has_a_line_for_each(lab):
    name = "a\nERROR b \x1b[31m \u202e\u2028c " + 10000 * "x"
    shown = "a ERROR b  [31m  c xxx"
    lab.server.add_sink("odd", name)
    lab.remember()
    lab.choose("odd")
    Player(lab.server, sines(*TONES), application=name, name=name)
    lab.before = lab.server.state()

    def listed():
        program = lab.launch("--devices")
        check(program.wait() == 0, "--devices fails")
        lab.programs.remove(program)  # it has no log to look at
        return program.output()
    listing = listed()
    lab.as_before(limit=0)
    check("  speakers" + 53 * " " + "Speakers\n" in listing and "* odd" + 58 * " " + shown in listing, listing[:500])
    check("\x1b" not in listing and listing.count("\n") == 3, listing[:500])
    program = lab.start(device="odd")
    lab.hears("odd")
    check(listed().count("\n") == 3, "while another copy has the routing")
    program.wait_for_log(shown)


# Somebody else unloads our module: the record stream must never end up on a microphone or another
# monitor, and our playback never on our own sink.
def test_recovers_when_its_sink_is_removed_by_others(lab):
    lab.play()
    lab.start()
    lab.settle()
    lab.server.set_volume(SINK, 50)
    lab.hears("speakers", gain_db=HALF_DB)

    def rob():  # a sink that has just been removed may still be listed, without its module
        lab.server.pactl("unload-module", lab.server.sinks()[SINK]["owner_module"])
        return True

    def is_back():
        played, recorded = lab.own_streams()
        check(set(played) <= {"speakers"} and set(recorded) <= {MONITOR, ""}, (played, recorded))
        return SINK in lab.server.sinks() and len(played) == len(recorded) == 1 and lab.server.default() == SINK
    lab.server.set_mute(SINK, True)
    lab.settle()
    for _ in range(3):
        becomes("the sink is removed", rob)
        becomes("a new sink is in place", is_back)
    lab.music_is_on(SINK)
    becomes("what was muted stays so", lambda: lab.server.muted(SINK))
    lab.settle()
    lab.server.set_mute(SINK, False)
    lab.hears("speakers", gain_db=HALF_DB)  # what was turned down is no louder for it
    lab.settle()
    lab.server.set_volume(SINK, 100)
    lab.hears("speakers")


# A patchbay takes the record stream off our sink.
def test_is_heard_again_after_its_links_were_cut(lab):
    lab.play()
    lab.start(expect=["Audio path"])
    lab.hears("speakers")
    for side in ("FL", "FR"):
        subprocess.run(["pw-link", "-d", f"{SINK}:monitor_{side}", f"{OURS}:input_{side}"], check=True, env=lab.server.environment())
    lab.hears("speakers")
test_is_heard_again_after_its_links_were_cut.SERVERS = (PIPEWIRE,)


# Chosen by the user before or after our sink is there, by switch or as the default; made for a device
# or for whatever is the default, which is us.
def test_a_filter_sink_is_played_to_but_never_fed_back(lab):
    made = lab.server.load("module-remap-sink", "sink_name=filter", "master=speakers")
    lab.play()
    program = lab.start("--preset", "flat", "--device", "filter", device="filter")
    lab.hears("speakers")
    lab.end(program)
    program = lab.start()
    lab.choose("filter")
    lab.routed_to("filter")
    lab.hears("speakers")
    lab.choose("speakers")
    lab.routed_to("speakers")
    lab.hears("speakers")
    late = lab.server.load("module-remap-sink", "sink_name=late")
    lab.choose("late")
    lab.routed_to("late")
    lab.hears("speakers")
    lab.server.pactl("unload-module", late)
    lab.routed_to("speakers")
    lab.hears("speakers")
    late = lab.server.load("module-remap-sink", "sink_name=late")
    lab.server.pactl("unload-module", lab.server.load("module-null-sink", "sink_name=passing"))
    lab.routed_to("speakers")
    lab.hears("speakers")
    lab.server.pactl("unload-module", late)
    lab.end(program)
    lab.server.pactl("unload-module", made)
    lab.music_is_on("speakers")
    check((lab.server.default(), SINK in lab.server.sinks()) == ("speakers", False), "not as before")
    lab.remember()


def test_a_device_that_changes_its_profile_is_followed_under_its_new_name(lab):
    def plug(name):
        lab.server.load("module-null-sink", f"sink_name={name}", "norewinds=true", "format=float32le",
                        "sink_properties=device.string=00:11:22")
    plug("bt.a2dp")
    lab.choose("bt.a2dp")
    lab.play()
    program = lab.start(device="bt.a2dp")
    lab.server.remove_sink("bt.a2dp")
    time.sleep(0.4)
    plug("bt.hfp")
    lab.routed_to("bt.hfp")
    lab.hears("bt.hfp")
    lab.end(program)
    lab.default_is("bt.hfp")
    lab.remember()


def test_a_restarted_server_gets_the_default_device_of_the_user_back(lab):
    home = temp_dir()
    lab.choose("headset")
    for ended in (False, True):
        lab.server.set_default("headset")
        program = lab.start(device="headset", home=home)
        lab.server.stop()
        if ended:  # the server goes first, as at the end of a session
            program.stop()
            lab.programs.remove(program)
            becomes("no process is left", lambda: processes_with(f"XDG_CONFIG_HOME={home}\0"), [])
        else:
            program.wait_for_log("No sound server reachable")
            program.expect.append("No sound server reachable")
        # WirePlumber may remember the choice before ours, too.
        shutil.rmtree(lab.server.directory / "state/wireplumber", ignore_errors=True)
        lab.server.start()
        check(lab.server.default() != "headset", "the server knows it itself")
        if ended:
            program = lab.launch(home=home)
        lab.routed_to("headset")
        lab.end(program)
        lab.default_is("headset")
    lab.server.set_default("speakers")
    lab.remember()


# With volumes that are the device's, and a stream that somebody has turned down in a mixer.
def test_our_own_stream_is_as_loud_as_the_music_and_moves_no_volume(lab):
    lab.server.stop()
    lab.server.write("config/pulse/daemon.conf", "flat-volumes = yes\n")
    lab.server.start()
    lab.server.set_volume("speakers", 50)
    lab.play()
    lab.remember()
    for turned in (False, True):
        program = lab.start()
        lab.hears("speakers", gain_db=HALF_DB)
        check(lab.server.volume("speakers") == [50, 50], "the device was turned up")
        if not turned:
            stream, = [s["index"] for s in lab.server.list()["sink_inputs"] if s["properties"].get("application.name") == OURS]
            lab.server.pactl("set-sink-input-volume", stream, "30%")
            lab.server.pactl("set-sink-input-mute", stream, 1)
            lab.server.set_volume("speakers", 50)
            lab.settle()  # a session manager remembers it a moment later
        lab.end(program)
        lab.as_before()


def test_a_surround_device_is_as_loud_as_before_and_warned_of_once(lab):
    lab.server.load("module-null-sink", *sink_arguments("surround")[:2], "channels=6", "channel_map=surround-51",
                    "format=float32le", "norewinds=true")
    lab.remember()
    lab.choose("surround")
    lab.play((1000, -20))

    def level():
        recorder = Recorder(lab.server, "surround.monitor")
        try:
            return level_db(recorder.next(0.4)[-12000:, 0], 1000)
        finally:
            recorder.close()
    before = becomes("the music is loud", level, lambda db: db > -40)
    program = lab.start(device="surround", expect=["has 6 channels"])
    becomes("it is as loud as before", level, lambda db: abs(db - before) < 0.3)
    check(program.count("has 6 channels") == 1, "not warned of, or more than once")


def test_a_stream_that_is_sent_to_the_followed_device_is_equalized_like_the_others(lab):
    lab.play()
    lab.start()
    lab.music_is_on(SINK)
    lab.settle()
    stream, = [s["index"] for s in lab.server.list()["sink_inputs"] if s["properties"].get("application.name") != OURS]
    lab.server.pactl("move-sink-input", stream, "speakers")
    lab.music_is_on(SINK)
    lab.hears("speakers")
