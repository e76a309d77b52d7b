# The window under window managers of all kinds: whatever they make of it, it accepts and fills, it comes
# back as it was, and a second start brings it to the front. By hand, with every one that is installed:
#
#   run.py FILE window_managers all=1
import ctypes

from lab.all import *

SERVERS = ["any"]
BUS = "dbus-run-session -- env KWIN_COMPOSE=N "
MANAGERS = {"openbox": MANAGER, "i3": "i3 -c {root}/rules", "none": "", "xfwm4": BUS + "xfwm4 --compositor=off",
            "marco": "marco --no-composite", "icewm": "icewm", "fluxbox": "fluxbox", "awesome": "awesome",
            "bspwm": "bspwm -c /bin/true", "kwin": BUS + "kwin_x11", "mutter": BUS + "mutter --x11"}
RULES = {"openbox": MANAGER_RULES, "i3": "for_window [class=.*] border pixel 1\n"}
TILING = "i3", "bspwm"  # the size is theirs


class Desk:
    def __init__(self, lab, name):
        self.lab, self.name, self.faults = lab, name, []
        self.screen = lab.screen = Screen(1600, 1200, MANAGERS[name], RULES.get(name, ""))
        self.program, self.window = lab.open("--preset", "flat")
        lab.routed_to("speakers")
        self.x11 = ctypes.CDLL("libX11.so.6")
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(self.screen.display.encode()))

    # What the window shows, but for the title, which shines.
    def picture(self):
        picture = self.window.picture().copy()
        picture[:picture.shape[1] // 16] = 0
        return picture

    # Looks, once the window rests, whether it has this size and place, is painted up to its edges, and
    # shows what a repaint shows.
    def looks(self, action, size=None, place=None):
        self.window.pointer_away()
        seen = [self.window.geometry()] * 2
        rest = lambda: seen.append(self.window.geometry()) or len(set(map(tuple, seen[-9:]))) == 1 and len(seen) > 20
        becomes("the window rests", rest)
        if self.name in TILING:  # whose size is asked for, refused, and then made do with
            shown, since = self.picture(), time.monotonic()

            def rests():
                nonlocal shown, since
                now = self.picture()
                if not np.array_equal(now, shown):
                    shown, since = now, time.monotonic()
                return time.monotonic() - since > 0.7
            becomes("the picture rests", rests)
        picture = self.window.picture()
        edges = [picture[0], picture[-1], picture[:, 0], picture[:, -1]]
        before = self.picture()
        self.x11.XClearArea(self.display, ctypes.c_ulong(int(self.window.id)), 0, 0, 0, 0, 1)
        self.x11.XFlush(self.display)
        shows = lambda: self.picture().shape == before.shape and np.array_equal(self.picture(), before)
        try:
            becomes("a repaint shows the same", shows, limit=2)
        except AssertionError:
            self.faults.append(f"{action}: a repaint shows something else")
        if not all(edge.any() for edge in edges):
            self.faults.append(f"{action}: a black edge")
        wrong_size = size and self.name not in TILING and self.window.size() != size
        # A tile may keep or lose its border with the strip's.
        tolerance = 2 if self.name in TILING else 0
        misplaced = place and np.abs(np.subtract(self.window.geometry(), place)).max() > tolerance
        if wrong_size or misplaced:
            self.faults.append(f"{action}: {self.window.geometry()}, not {place or size}")
        return self.window.geometry()

    # A place of the view in a window of any shape: elements keep to the left, the middle, the right or the bottom.
    def click(self, spot, view):
        w, h = self.window.size()
        zoom = min(w / view[0], h / view[1])
        x = w / 2 if spot == COLLAPSE else w - (view[0] - spot[0]) * zoom
        self.window.click(round(x), round(h - 16 * zoom if view == COLLAPSED and spot == COLLAPSE else spot[1] * zoom))

    def views(self, when, place, free):
        self.click(COLLAPSE, FULL)
        self.looks(f"{when}collapsed", COLLAPSED if free else tuple(place[2:]))
        self.click(COLLAPSE, COLLAPSED)
        self.looks(f"{when}expanded", place=place)
        self.click(TO_COMPACT, FULL)
        self.looks(f"{when}compact", COMPACT)
        self.click(TO_FULL, COMPACT)

    def second_start(self, minimised, place):
        other = Process(["xev", "-geometry", "900x900+300+200"], self.screen.quiet | self.screen.environment(), temp_dir() / "xev")
        other_id = becomes("another window", lambda: self.screen.run("xdotool", "search", "--onlyvisible", "--name", "^Event Tester$"))
        self.screen.run("wmctrl", "-i", "-a", other_id)
        becomes("the other window is in front", lambda: self.screen.run("xdotool", "getactivewindow"), other_id)
        self.screen.run("xdotool", "mousemove", 700, 700, "click", 1)
        if minimised:
            self.window.minimise()
        second = self.lab.launch(home=self.lab.home)
        check(second.wait() == 0, "the second start fails")
        self.lab.programs.remove(second)
        try:
            becomes("in front", lambda: self.screen.run("xdotool", "getactivewindow"), self.window.id, limit=4)
        except AssertionError as fault:
            self.faults.append(f"second start: {fault}")
        if self.name not in TILING:
            self.looks("second start", place=place)
        other.kill()

    def walk(self):
        place = self.looks("start", FULL)
        self.views("", place, free=True)
        self.looks("full again", place=place)
        if self.name == "none":
            return self.lab.end(self.program)
        for state in ("fullscreen", "maximized_vert", "maximized_vert,maximized_horz"):
            self.window.state("add", state)
            taken = self.looks(state)
            if state == "maximized_vert,maximized_horz":
                self.views("maximized, ", taken, free=False)
                self.looks("maximized, full again")
            if self.window.property("_NET_WM_STATE").count("_MAXIMIZED") or state == "fullscreen":
                self.window.state("remove", "maximized_vert,maximized_horz" if state != "fullscreen" else state)
            self.looks(f"back from {state}", place=place)
        for minimised in (False, True):
            self.second_start(minimised, place)
        self.screen.run("wmctrl", "-i", "-c", self.window.id)
        self.lab.ended(self.program, self.program.wait())
        self.program, self.window = self.lab.open()
        self.lab.routed_to("speakers")
        self.looks("start again", place=place)
        self.lab.end(self.program)


def test_window_managers(lab, all=0):
    require_programs("xev", "wmctrl")
    for name in list(MANAGERS)[:None if all else 3]:
        if all and not shutil.which(MANAGERS[name].removeprefix(BUS).split(" ")[0] or "true"):
            print(f"{name}: not installed")
            continue
        lab.home = temp_dir()
        desk = Desk(lab, name)
        desk.walk()
        print(f"{name}:", *desk.faults or ["ok"], sep="\n    ")
        lab.screen.close()
        check(all or not desk.faults, f"{name}: {desk.faults}")


# A window that has the size from before the program's own request was not resized by its user.
def test_a_window_manager_that_is_late_gets_its_time(lab):
    lab.screen = Screen(rules=MANAGER_RULES.replace("</focus>", "</focus><mouse/>"))  # it holds no click back
    program, window = lab.open("--preset", "flat")
    lab.routed_to("speakers")
    for spot, size in ((COLLAPSE, COLLAPSED), (EXPAND, FULL)):
        before = window.picture()[-200]
        lab.screen.manager.signal(signal.SIGSTOP)
        window.click(*spot)
        becomes("another view", lambda: np.array_equal(window.picture()[-200], before), False)
        time.sleep(0.8)
        lab.screen.manager.signal(signal.SIGCONT)
        becomes("the size that was asked for", window.size, size)
        time.sleep(0.4)
        check(window.size() == size, f"later it is {window.size()}")
    lab.end(program)
    lab.screen.close()
