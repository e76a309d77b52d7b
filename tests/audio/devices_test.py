# Each output device has a curve of its own: what is heard at it, from the first sound on.
from lab.all import *

PROGRAMS = ("dbus-daemon", "gapplication")
TONE = 1000, -24
LOUD, QUIET, PORT = (((0, 0, 0, 0, 0, db, 0, 0, 0, 0), 0) for db in (9, -9, 3))
PHONES, BOX = "device.bus_path=usb-1", "device.bus_path=usb-2"


def plug(lab, name, identity):
    lab.server.load("module-null-sink", *sink_arguments(name), f"sink_properties={identity}")
    becomes(f"there is a sink {name}", lambda: name in lab.server.sinks())


# The program plays to this device, and the tone is heard there with this curve.
def plays(lab, device, curve):
    becomes(f"it plays to {device}", lambda: lab.server.playing(OURS), (device,))
    lab.hears(device, TONE, curve=curve)


# Null sinks have no ports: the engine is shown one.
def test_a_device_is_never_louder_than_its_own_curve_and_the_one_before(lab):
    plug(lab, "phones", PHONES)
    plug(lab, "box", BOX)
    lab.choose("phones")
    engine = lab.engine()
    for device, curve in ((PHONES, LOUD), (BOX, QUIET), ("name=speakers", QUIET), (f"{PHONES}, port=socket", PORT)):
        engine.device_curve(device, *curve)
    engine.ask("active", 1)
    engine.ask("start", 1)
    lab.play(TONE)
    plays(lab, "phones", LOUD)
    unplug = lab.server.remove_sink

    def restart():
        lab.server.kill()
        lab.server.start()
        plug(lab, "phones", PHONES)
        plug(lab, "box", BOX)
        lab.choose("phones")

    # Where the user chooses the default, and where there is no program yet, a server plays past us at first.
    for act, device, curve, loudest in (
            (lambda: engine.ask("output", "box"), "box", QUIET, -9),
            (lambda: engine.ask("output", ""), "phones", LOUD, 9),
            (lambda: lab.choose("box"), "box", QUIET, 9),
            (lambda: engine.ask("active", 0), "box", PRESETS["flat"], 0),
            (lambda: lab.choose("phones"), "phones", PRESETS["flat"], 0),
            (lambda: engine.ask("active", 1), "phones", LOUD, 9),
            (lambda: unplug("phones"), "speakers", QUIET, 9),
            (lambda: plug(lab, "phones", PHONES), "phones", LOUD, 9),
            (restart, "phones", LOUD, 9),
            (lambda: (engine.ask("port", "socket"), plug(lab, "other", "a=b")), "phones", PORT, 9),
            (lambda: (engine.ask("port", "hole"), unplug("other")), "phones", PORT, 3),
            # One without a curve goes on with the last one, whatever becomes of that one's.
            (lambda: (engine.device_curve(f"{PHONES}, port=socket", *LOUD), lab.settle()), "phones", PORT, 3)):
        appears = act == restart or device not in lab.server.sinks()
        if appears:
            act()
        recorder = Recorder(lab.server, f"{device}.monitor")
        if not appears:
            act()
        if act == restart:
            lab.play(TONE)
        lab.hears(device, TONE, curve=curve)
        heard = db_of(peak(recorder.since())) - TONE[1]
        recorder.close()
        check(heard < loudest + 1, f"{heard:.1f} dB at {device} on the way to {curve}")
    engine.close()
    lab.engines.remove(engine)
    unplug("phones")
    unplug("box")
    lab.choose("speakers")


# Chosen over the bus, as by the tray's menu.
def test_every_device_has_its_own_preset_until_it_is_not_wanted_any_more(lab):
    bus = Bus(lab.server.environment())
    action, home = bus.action, temp_dir()

    def start(*switches, device):
        program = lab.start(*switches, home=home, device=device, expect=["No sound server reachable", "Cannot play to", "Cannot record from"],
                            **bus.variables)
        program.wait_for_log("Found on the session bus")
        return program

    def restart():
        lab.server.kill()
        lab.server.start()
        plug(lab, "phones2", PHONES)
        plug(lab, "box", BOX)
        lab.choose("phones2")
        lab.play(TONE)

    # What is chosen before the window has seen the new device would be for the one before.
    def choose(device, *words):
        becomes("it is known", lambda: re.findall(r"device\d+=(.*)", probe(home, "devices"))[-1:], [device], limit=20)
        action(*words)

    rock, jazz, bass = PRESETS["rock"], PRESETS["jazz"], PRESETS["bass"]
    plug(lab, "phones", PHONES)
    plug(lab, "box", BOX)
    lab.choose("phones")
    lab.play(TONE)
    program = start("--preset", "rock", device="phones")
    for act, device, curve in (
            (lambda: action("preset-per-device"), "phones", rock),
            (lambda: lab.choose("box"), "box", rock),  # met for the first time
            (lambda: choose(BOX, "preset", "'jazz'"), "box", jazz),
            (lambda: lab.choose("phones"), "phones", rock),
            (lambda: lab.server.remove_sink("box"), "phones", rock),
            (lambda: plug(lab, "box", BOX), "phones", rock),
            (lambda: lab.choose("box"), "box", jazz),
            (lambda: lab.server.remove_sink("phones"), "box", jazz),
            (lambda: plug(lab, "phones2", PHONES), "box", jazz),
            (lambda: lab.choose("phones2"), "phones2", rock),
            (lambda: plug(lab, "phones3", "device.bus_path=usb-3"), "phones2", rock),  # of the same make
            (lambda: lab.choose("phones3"), "phones3", rock),
            (lambda: choose("device.bus_path=usb-3", "preset", "'bass'"), "phones3", bass),
            (lambda: lab.choose("phones2"), "phones2", rock),
            (restart, "phones2", rock)):
        act()
        plays(lab, device, curve)
    lab.end(program)
    program = start("--device", "box", device="box")
    plays(lab, "box", jazz)
    lab.end(program)
    program = start("--preset", "bass", device="phones2")  # the switch is the user's choice for this device
    plays(lab, "phones2", bass)
    lab.choose("box")
    plays(lab, "box", jazz)
    choose(BOX, "preset-per-device")
    # Whatever else is asked over the bus is heard as well.
    for muted in (True, False):
        action("mute")
        becomes("the device is muted, or heard again", lambda: lab.server.muted("box"), muted)
    for verb, curve in (("off", PRESETS["flat"]), ("on", jazz), ("toggle", PRESETS["flat"]), ("toggle", jazz)):
        action(verb)
        plays(lab, "box", curve) if curve is jazz else lab.default_is("box")
    lab.choose("phones2")
    plays(lab, "phones2", jazz)
    action("quit")
    lab.ended(program, program.wait())
    bus.kill()
    lab.choose("speakers")
    lab.remember()
