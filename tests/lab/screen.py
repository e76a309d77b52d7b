# A screen of the test's own: a virtual X server with a window manager, and a user's hand and eye before
# it. The X server keeps its picture in a file, so a pixel is read without asking anybody; input comes
# from xdotool, and the program cannot tell it from a user's. Pictures are rows x columns x (r, g, b).
import ctypes
import struct
import subprocess
import time
import zlib

from .session import Process, becomes, clean_environment, require_programs, temp_dir
from .sound import np

# All that a window manager needs here: a new window gets the keyboard, and alt+F4 closes it.
MANAGER_RULES = """<?xml version="1.0"?><openbox_config xmlns="http://openbox.org/3.4/rc">
<focus><focusNew>yes</focusNew></focus>
<keyboard><keybind key="A-F4"><action name="Close"/></keybind>
</keyboard></openbox_config>"""


MANAGER = "openbox --sm-disable --config-file {root}/rules"


class Screen:
    #   manager   a window manager's command, in which {root}/rules is a file with its rules; "": none
    def __init__(self, width=1280, height=1024, manager=MANAGER, rules=MANAGER_RULES):
        require_programs("Xvfb", *manager.split()[:1], "xdotool", "xwininfo", "xprop")
        self.size = width, height
        self.directory = temp_dir()
        root = str(self.directory)
        self.quiet = clean_environment(HOME=root, XDG_CONFIG_HOME=root, XDG_CACHE_HOME=root,
                                       DBUS_SESSION_BUS_ADDRESS=f"unix:path={root}/no-bus")
        (self.directory / "rules").write_text(rules)
        self.server = Process(["Xvfb", "-displayfd", 1, "-screen", 0, f"{width}x{height}x24", "-nolisten", "tcp",
                               "-noreset", "-fbdir", root], self.quiet, self.directory / "server.txt")
        number = becomes("the X server names its display", lambda: [
            line for line in self.server.output().split("\n")[:-1] if line.isdigit()])
        self.display = f":{number[0]}"
        self.manager = manager and Process(manager.format(root=root).split(), self.quiet | self.environment(),
                                           self.directory / "manager.txt")

        # Openbox answers before it manages windows, so it is asked for something; it begins with four desktops.
        def listens():
            if "openbox" not in manager:
                return not manager or "window id" in self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK")
            self.run("xdotool", "set_num_desktops", 1)
            return self.run("xdotool", "get_num_desktops") == "1"
        becomes("the window manager listens", listens)

    # For the programs to be seen on this screen: drawn without a graphics card, the same everywhere.
    def environment(self):
        return {"DISPLAY": self.display, "SDL_RENDER_DRIVER": "software"}

    # Ends the X server as a crash would: every program on it loses its screen.
    def crash(self):
        self.server.kill()

    def close(self):
        if self.manager:
            self.manager.kill()
        self.server.kill()

    # Runs a program on this screen to its end and returns its output.
    def run(self, *arguments):
        done = subprocess.run(list(map(str, arguments)), env=self.quiet | self.environment(), timeout=15, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise RuntimeError(f"{arguments[0]}: {done.stdout}")
        return done.stdout.strip()

    # The picture of the pointer as it is now.
    def pointer(self):
        x11, fixes = ctypes.CDLL("libX11.so.6"), ctypes.CDLL("libXfixes.so.3")
        x11.XOpenDisplay.restype = fixes.XFixesGetCursorImage.restype = ctypes.c_void_p
        display = ctypes.c_void_p(x11.XOpenDisplay(self.display.encode()))
        image = fixes.XFixesGetCursorImage(display)
        width, height = (ctypes.c_ushort * 2).from_address(image + 4)
        pixels = ctypes.string_at(ctypes.c_void_p.from_address(image + 24).value, 8 * width * height)
        x11.XCloseDisplay(display)
        return pixels

    def picture(self):
        data = (self.directory / "Xvfb_screen0").read_bytes()
        header = struct.unpack(">25I", data[:100])
        first, width, height, row_bytes = header[0] + header[19] * 12, header[4], header[5], header[12]
        rows = np.frombuffer(data, np.uint8, row_bytes * height, first).reshape(height, -1, 4)
        return rows[:, :width, 2::-1]

    def save(self, path, picture=None):
        rows = self.picture() if picture is None else picture
        height, width, _ = rows.shape

        def chunk(kind, content):
            return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
        lines = np.concatenate([np.zeros((height, 1), np.uint8), rows.reshape(height, -1)], axis=1)
        with open(path, "wb") as file:
            file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                       chunk(b"IDAT", zlib.compress(lines.tobytes(), 6)) + chunk(b"IEND", b""))
        return path


# The program's window. Places are pixels from its upper left corner, without the frame.
class Window:
    # Waits until it is visible.
    def __init__(self, screen):
        self.screen = screen
        self.id = becomes("there is a window", lambda: screen.run(
            "xdotool", "search", "--onlyvisible", "--limit", 1, "--class", "^velmora$"))
        self.pointer_away()

    def geometry(self):
        lines = dict(line.strip().split(":", 1) for line in self.screen.run("xwininfo", "-id", self.id).split("\n")
                     if ":" in line)
        return [int(lines[key]) for key in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]

    def size(self):
        return tuple(self.geometry()[2:])

    def place(self):
        return tuple(self.geometry()[:2])

    def title(self):
        return self.screen.run("xdotool", "getwindowname", self.id)

    # Whether the window manager draws a frame around it.
    def framed(self):
        return any(digit in self.property("_NET_FRAME_EXTENTS") for digit in "123456789")

    def minimised(self):
        return "_HIDDEN" in self.property("_NET_WM_STATE")

    # What the window manager and others know of it, but for times.
    def properties(self):
        return {line for line in self.screen.run("xprop", "-id", self.id).split("\n") if "TIME" not in line}

    def property(self, name):
        return self.screen.run("xprop", "-id", self.id, name).split("=")[-1]

    def picture(self):
        x, y, width, height = self.geometry()
        return self.screen.picture()[max(y, 0):y + height, max(x, 0):x + width]

    def pixel(self, x, y):
        return tuple(int(value) for value in self.picture()[y, x])

    # The picture, but for the title that shines all the time, and for the sound's own movement if asked.
    def masked(self, sound=False):
        picture = self.picture().copy()
        for part in [TITLE] + [BARS, *METERS.values()] * sound:
            picture[part] = 0
        return picture

    # The same once it rests for a moment.
    def still(self, sound=False):
        seen = [self.masked(sound)]

        def rests():
            time.sleep(0.25)
            seen.append(self.masked(sound))
            return np.array_equal(seen[-1], seen[-2])
        becomes("the picture rests", rests)
        return seen[-1]

    # ---- The hand

    def hand(self, *words):
        self.screen.run("xdotool", *words)

    def at(self, spot, *words):
        self.hand("mousemove", "--window", self.id, *spot, *words)

    # Where it lights nothing up.
    def pointer_away(self):
        self.hand("mousemove", *[length - 1 for length in self.screen.size])

    # At a user's speed: a press of no length is reported twice by some libraries, and window managers need
    # to see it go down and up.
    def click(self, *spot, times=1):
        self.at(spot, *["mousedown", 1, "sleep", 0.07, "mouseup", 1, "sleep", 0.07] * times)

    # Clicks, and waits until the picture has become another one and rests: what was clicked for is painted
    # now, and can be clicked itself.
    def opens(self, *spot):
        before = self.still(sound=True)
        self.click(*spot)
        self.pointer_away()
        becomes("the click is seen", lambda: np.array_equal(self.masked(sound=True), before), False)

    def double_click(self, *spot):
        self.click(*spot, times=2)

    # Presses at the first place, moves in small steps, releases at the second; on the way another button is
    # clicked, which has no say.
    def drag(self, start, end):
        steps = [[round(a + (b - a) * i / 8) for a, b in zip(start, end)] for i in range(1, 9)]
        moves = [["mousemove", "--window", self.id, *step] for step in steps]
        self.at(start, "mousedown", 1, *sum(moves[:4], []), "click", 3, *sum(moves[4:], []), "mouseup", 1)

    # Turns the wheel away from the user, or towards them with a negative number.
    def wheel(self, spot, steps):
        self.at(spot, "click", "--repeat", abs(steps), "--delay", 20, 4 if steps > 0 else 5)

    def key(self, name):
        self.hand("key", "--clearmodifiers", name)

    def type(self, text):
        self.hand("type", "--delay", 20, text)

    def resize(self, width, height):
        self.hand("windowsize", self.id, width, height)

    def minimise(self):
        self.hand("windowminimize", self.id)

    # Asks the window manager to "add" a state, or to "remove" it.
    def state(self, action, name="maximized_vert,maximized_horz"):
        self.screen.run("wmctrl", "-i", "-r", self.id, "-b", f"{action},{name}")

    def move(self, x, y):
        self.hand("windowmove", self.id, x, y)


# ---- Where to point, in English


FULL, COLLAPSED, COMPACT = (960, 640), (960, 340), (420, 132)
POWER, PRESETS_BUTTON, SAVE, TO_COMPACT, SETTINGS = (504, 35), (682, 35), (819, 35), (871, 35), (921, 35)
MUTE, STEREO, LEFT, RIGHT, RESET, DEVICE = (742, 92), (797, 92), (850, 92), (900, 92), (899, 342), (168, 608)
COLLAPSE, EXPAND = (480, 311), (480, 324)
# In the settings panel.
AUTOSTART, EQ_ON_START, ON_TOP = (447, 242), (447, 292), (447, 342)
LANGUAGE, DARK, LIGHT = (300, 391), (330, 441), (422, 441)
# In the compact view.
MINI_POWER, MINI_MUTE, TO_FULL, MINI_BODY = (32, 64), (327, 18), (363, 18), (180, 70)
# Where the sound moves, as rows and columns of a picture.
TITLE = np and np.s_[14:52, 36:372]
BARS = np and np.s_[112:278, 74:884]
METERS = np and {"left": np.s_[112:278, 896:912], "right": np.s_[112:278, 913:930]}


# The knob of a band's slider (0 to 9) at this gain; half a dB is 3 pixels.
def knob(band, gain_db=0.0):
    return round(210 + band * 698 / 9), round(461 - gain_db * 75 / 12)


def preamp(gain_db=0.0):
    return 106, knob(0, gain_db)[1]


# A row of the presets menu; row 0 is a heading.
def preset_row(row):
    return PRESETS_BUTTON[0], 62 + 28 * row + 14
