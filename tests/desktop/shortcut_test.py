# What a shortcut does is heard, as after a press in the window.
from lab.all import *

SERVERS = ("pulseaudio",)
PROGRAMS = ("dbus-daemon", "gapplication")


def test_a_shortcut_is_heard(lab):
    bus = {"DBUS_SESSION_BUS_ADDRESS": f"unix:path={lab.server.directory}/bus"}
    daemon = Process(["dbus-daemon", "--session", f"--address={bus['DBUS_SESSION_BUS_ADDRESS']}", "--nofork"],
                     lab.server.environment(), lab.server.directory / "bus.log")
    becomes("the bus listens", (lab.server.directory / "bus").exists)
    lab.play()
    program = lab.start("--preset", "flat", **bus)
    program.wait_for_log("Found on the session bus")

    def action(*words):
        subprocess.run(["gapplication", "action", "org.velmora.Velmora", *words], check=True, timeout=10,
                       env={**lab.server.environment(), **bus})
    action("preset", "'rock'")
    lab.hears("speakers", curve=PRESETS["rock"])
    for muted in (True, False):
        action("mute")
        becomes("the sound is muted" if muted else "it is heard again", lambda: lab.server.muted("speakers"), muted)
    action("off")
    becomes("the device is the default again", lab.server.default, "speakers")
    lab.hears("speakers")
    action("toggle")
    lab.routed_to("speakers")
    action("quit")
    lab.ended(program, program.wait())
    daemon.kill()
