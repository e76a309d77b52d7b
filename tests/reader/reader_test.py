# The window for those who cannot see it: what a screen reader hears and can do, over an accessibility bus of
# the test's own.
import importlib.util

from lab.all import *

SERVERS = ["any"]
PROGRAMS = ["dbus-daemon", "gdbus", "wmctrl"]
LAUNCHER = "/usr/libexec/at-spi-bus-launcher"


class Reader:
    # A session with an accessibility bus that nobody uses yet.
    def __init__(self, lab):
        if not Path(LAUNCHER).exists() or importlib.util.find_spec("pyatspi") is None:
            raise Skipped("not installed: at-spi2-core, python3-pyatspi")
        lab.need_screen()
        environment = {**lab.server.environment(), **lab.screen.environment(), "GSETTINGS_BACKEND": "memory"}
        self.processes = [Bus(environment)]
        self.bus = self.processes[0].variables
        self.environment = environment | self.bus
        self.processes.append(Process([LAUNCHER, "--launch-immediately"], self.environment, temp_dir() / "a11y.log"))
        self.address = becomes("there is an accessibility bus", lambda: self.call("org.a11y.Bus.GetAddress").split("'")[1])

    # The launcher first, and asked to end: killed, it would leave the bus behind that it has started.
    def close(self):
        for process in reversed(self.processes):
            process.stop()

    def call(self, method, *arguments, whom=("org.a11y.Bus", "/org/a11y/bus")):
        return subprocess.run(["gdbus", "call", "--session", f"--dest={whom[0]}", f"--object-path={whom[1]}",
                               f"--method={method}", *arguments], env=self.environment, text=True, check=True, timeout=10,
                              stdout=subprocess.PIPE).stdout

    def begin(self):
        self.call("org.freedesktop.DBus.Properties.Set", "org.a11y.Status", "ScreenReaderEnabled", "<true>")
        os.environ.update(self.bus, AT_SPI_BUS_ADDRESS=self.address)
        import pyatspi
        self.api, self.heard = pyatspi, []
        for kind in ("object:property-change:accessible-value", "object:state-changed", "object:children-changed",
                     "object:text-changed"):
            pyatspi.Registry.registerEventListener(lambda event: self.heard.append(str(event.type)), kind)
        pyatspi.Registry.registerKeystrokeListener(self.on_key, mask=0)

    # Escape and z are meant for the reader.
    def on_key(self, event):
        self.heard.append(event.event_string)
        return event.event_string in ("Escape", "z")

    # Whether it hears of such a thing, after what is done.
    def hears(self, kind, done):
        self.heard.clear()
        done()
        becomes(f"it hears of {kind}", lambda: (self.look(), any(event.startswith(kind) for event in self.heard))[1])

    # The program's elements from the top, as (role, name) -> what can be asked. One that goes meanwhile is an
    # error, and all are looked at again.
    def elements(self):
        return becomes("the elements stand still", self.look, lambda found: True)

    def look(self):
        from gi.repository import GLib
        while GLib.MainContext.default().iteration(False):
            pass
        found = {}

        def walk(node):
            check(node, "it has gone")
            node.clearCache()
            found[node.getRoleName().replace("push button", "button"), node.name] = node  # older releases' word
            for i in range(node.childCount):
                walk(node.getChildAtIndex(i))
        desktop = self.api.Registry.getDesktop(0)
        desktop.clearCache()
        for i in range(desktop.childCount):
            if desktop.getChildAtIndex(i).name == OURS:
                walk(desktop.getChildAtIndex(i))
        return found

    def element(self, role, name):
        return becomes(f"there is the {role} {name!r}", lambda: self.elements()[role, name])

    def names(self, role):
        return [name for kind, name in self.elements() if kind == role]

    def has(self, role, name, state):
        return self.element(role, name).getState().contains(getattr(self.api, f"STATE_{state}"))

    def press(self, role, name, action=0):
        check(self.element(role, name).queryAction().doAction(action), f"{name!r} is not pressed")

    def place(self, role, name, where):
        return tuple(self.element(role, name).queryComponent().getExtents(where))


def test_a_screen_reader_that_comes_later_reads_sets_and_presses_everything(lab):
    reader = Reader(lab)
    low = (62, -20, "left"), (1000, -20, "right")
    lab.play(*low)
    program, window = lab.open("--preset", "flat", expect=["Not imported: "], **reader.bus)
    program.wait_for_log("Found on the session bus")
    lab.hears("speakers", *low)
    check("libatk" not in proc(program.pid, "maps"), "it pays for a reader that is not there")
    reader.begin()
    becomes("every slider has a name", lambda: len(reader.names("slider")), 11)
    slider = reader.element("slider", "62 Hz").queryValue()
    check((slider.minimumValue, slider.maximumValue, slider.minimumIncrement) == (-12, 12, 0.5), "its range")
    for action in ("add", "remove"):  # maximized
        window.state(action)
        becomes("the window takes it", lambda: (window.size() == FULL) == (action == "remove"))  # noqa: B023
        becomes("its reported place is where it is", lambda: reader.place("frame", OURS, reader.api.DESKTOP_COORDS)
                == tuple(window.geometry()))
    window.resize(1200, 800)
    at = [[round(1.25 * length) for length in knob(band)] for band in (0, 1)]

    def off():
        x, y, width, height = reader.place("slider", "62 Hz", reader.api.DESKTOP_COORDS)
        left, top = (a + b for a, b in zip(window.place(), at[1]))
        return abs(x + width / 2 - left) > 3 or not y < top < y + height
    becomes("its reported place is where it is seen", off, False)
    slider.currentValue = 3.4
    becomes("it stands at the next step", lambda: reader.element("slider", "62 Hz").queryValue().currentValue, 3.5)
    for action, gain in ((1, 3), (0, 3.5)):
        reader.press("slider", "62 Hz", action)
        becomes("a step down, and up again", lambda: reader.element("slider", "62 Hz").queryValue().currentValue, gain)
    lab.hears("speakers", *low, curve=((0, 3.5, *8 * [0]), 0))
    reader.hears("object:property-change:accessible-value", lambda: window.wheel(at[0], 2))

    reader.press("toggle button", "On")
    lab.default_is("speakers")
    becomes("the sliders are disabled", lambda: reader.has("slider", "62 Hz", "ENABLED"), False)
    slider.currentValue = -12
    reader.press("toggle button", "On")
    lab.routed_to("speakers")
    check(reader.element("slider", "62 Hz").queryValue().currentValue == 3.5, "a disabled slider moves")
    reader.press("combo box", "Preset")
    reader.hears("object:text-changed", lambda: reader.press("list item", "Rock"))
    becomes("the preset is chosen", lambda: reader.element("combo box", "Preset").queryText().getText(0, -1), "Rock")
    lab.hears("speakers", *low, curve=PRESETS["rock"])
    reader.press("button", "Settings")
    reader.press("check box", "Equalizer active at start")
    reader.press("button", "Close")
    becomes("the panel is closed", lambda: reader.names("dialog"), [])
    reader.press("button", "Save preset")
    becomes("keys go to the field, whose text is selected", lambda: reader.has("entry", "Name", "FOCUSED")
            and reader.element("entry", "Name").queryText().getNSelections(), 1)
    reader.hears("Escape", lambda: window.key("Escape"))
    window.type("Mzine")
    becomes("it reads what is typed", lambda: reader.element("entry", "Name").queryText().getText(0, -1), "Mine")
    window.key("Return")
    becomes("it is saved while the reader does not answer", lambda: settings(lab.home).get("up0_name"), "Mine", limit=5)
    ours = "org.velmora.Velmora", "/org/velmora/Velmora"
    becomes("it can be chosen over the bus", lambda: "'Mine'" in reader.call("org.gtk.Actions.Describe", "preset-text", whom=ours))
    reader.hears("object:state-changed:showing", lambda: reader.call(  # a note
        "org.freedesktop.Application.Open", f"['file://{LAUNCHER}']", "{}", whom=ours))
    reader.press("button", "Compact view")
    becomes("it is in the compact view", lambda: reader.names("slider"), [])
    reader.press("toggle button", "Compact view")
    becomes("it is back in the full view", lambda: len(reader.names("slider")), 11)
    # Without its buses the program goes on.
    reader.close()
    lab.hears("speakers", *low, curve=PRESETS["rock"])
    lab.end(program)


def test_the_note_about_a_crash_is_read_and_answered(lab):
    reader = Reader(lab)
    folder = lab.home / "Velmora"
    folder.mkdir()
    (folder / "crash_report.txt").write_text("=== Velmora crash report ===\n")
    reader.begin()
    program, _ = lab.open(expect=["Crash report from the last run found"], **reader.bus)
    becomes("it asks for the user", lambda: reader.has("alert", "The program crashed last time", "FOCUSED"))
    check(any(name.startswith("A report was saved.") for name in reader.names("label")), "it says why")
    reader.press("button", "Discard")
    becomes("the note is gone", lambda: reader.names("alert"), [])
    check(not (folder / "crash_report.txt").exists(), "the report is not deleted")
    lab.end(program)
    reader.close()
