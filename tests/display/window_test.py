# The window as a whole: what an action and its reverse leave, what is there again after a restart, and
# which channel is shown where. Pictures are compared whole; only the title, which shines, is left out.
from lab.all import *

SERVERS = ["any"]
SIZES = {"win_w", "win_h", "mini_x", "mini_y", "mini_w", "mini_h"}  # stored whenever a view changes


def click(*spots):
    return [("click", *spot) for spot in spots]


def escape(times=1):
    return [("key", "Escape")] * times


# What is done, what undoes it, the window's size in between, and what is stored then; None: nothing.
PAIRS = {
    "menu": (click(PRESETS_BUTTON), click((300, 62)), FULL, None),
    "dialog": (click(SAVE) + [("type", "abc")], escape(), FULL, None),
    "panel and list over it": (click(SETTINGS, LANGUAGE), escape(2), FULL, None),
    "devices": (click(DEVICE), escape(), FULL, None),
    "pointer on a button": ([("at", MUTE)], [("pointer_away",)], FULL, None),
    "mute": (click(MUTE), click(MUTE), FULL, None),
    "power": (click(POWER), click(POWER), FULL, {"active": "0"}),
    "left": (click(LEFT), click(STEREO), FULL, {"channel": "1"}),
    "right": (click(RIGHT), click(STEREO), FULL, {"channel": "2"}),
    "band": ([("drag", knob(5), knob(5, 6))], [("double_click", *knob(5, 6))], FULL, {"band5": "6"}),
    "highest, beyond its end": ([("drag", knob(9), (908, 638))], click(RESET), FULL, {"band9": "-12"}),
    "preamp": ([("drag", preamp(), preamp(-6))], [("double_click", *preamp(-6))], FULL, {"preamp": "-6"}),
    "light": (click(SETTINGS, LIGHT) + escape(), click(SETTINGS, DARK) + escape(), FULL, {"theme": "light"}),
    "at start": (click(SETTINGS, EQ_ON_START), click(EQ_ON_START) + escape(), FULL, {"active_on_start": "0"}),
    "on top": (click(SETTINGS, ON_TOP), click(ON_TOP) + escape(), FULL, {"compact_on_top": "0"}),
    "folded": (click(COLLAPSE), click(EXPAND), COLLAPSED, {"collapsed": "1"}),
    "compact": (click(TO_COMPACT), click(TO_FULL), COMPACT, {"compact": "1"}),
}


def do(window, actions):
    for name, *arguments in actions:
        getattr(window, name)(*arguments)
        time.sleep(0.1)
    if name != "at":
        window.pointer_away()


def changed(before, now):
    return {key: now.get(key) for key in before.keys() | now.keys() if before.get(key) != now.get(key)}


def same(picture, other):
    return picture.shape == other.shape and np.array_equal(picture, other)


def test_an_action_and_its_reverse_leave_picture_and_settings_as_they_were(lab, only=""):
    program, window = lab.open("--preset", "flat")
    lab.routed_to("speakers")
    window.move(100, 60)
    do(window, click(COLLAPSE, EXPAND))
    becomes("the place is stored", lambda: int(settings(lab.home)["win_x"]), lambda x: 60 <= x <= 140)
    around = lambda: (window.properties(), lab.server.state())  # noqa: E731
    check(not any("STATE_ABOVE" in line for line in window.properties()), "the full view lies above other windows")
    before, stored, known = window.still(), settings(lab.home), around()
    for name, (action, reverse, size, changes) in PAIRS.items():
        print(name)
        do(window, action)
        becomes(f"{name}: the window has its size", window.size, size)
        becomes(f"{name}: something is seen", lambda: not same(window.still(), before))
        if changes:
            becomes(f"{name}: it is stored", lambda: changed(stored, settings(lab.home)),
                    lambda now: changes.items() <= now.items() and set(now) <= {"preset"} | changes.keys() | SIZES)
        do(window, reverse)
        becomes(f"{name}: the picture is as before", lambda: same(window.still(), before), limit=5)
        becomes(f"{name}: window manager and server are as before", around, known)
    becomes("the settings are as before", lambda: changed(stored, settings(lab.home)).keys() - SIZES, set())


# Everything that is stored is stored in the field of its own, and read from there.
def test_what_was_changed_is_there_again_after_a_restart(lab):
    lab.play()
    for compact in (False, True):
        program, window = lab.open()
        lab.silence()
        if not compact:
            window.move(80, 40)
            do(window, click(LEFT))
            do(window, [("drag", knob(0), knob(0, 8)), ("drag", knob(9), knob(9, -5)), ("drag", preamp(-2), preamp(-9))])
            window.resize(1080, 720)
            becomes("it is larger", window.size, (1080, 720))
            # Last: what is drawn for one theme is not kept for the other.
            do(window, click(*((x * 9 // 8, y * 9 // 8) for x, y in (SETTINGS, LIGHT, ON_TOP))) + escape())
        else:
            window.click(TO_COMPACT[0] * 9 // 8, TO_COMPACT[1] * 9 // 8)
            becomes("the view is compact", window.size, COMPACT)
            window.move(500, 700)
        picture, place = window.still(), window.geometry()
        lab.end(program)
        program, window = lab.open()
        becomes("the window is where it was", window.geometry, place)
        becomes("the picture is what it was", lambda: same(window.still(), picture))
        lab.end(program)


def test_each_channel_is_shown_where_it_belongs_and_silence_everywhere(lab):
    program, window = lab.open("--preset", "flat")
    lab.routed_to("speakers")
    pictures = {}
    for name, button in (("stereo", STEREO), ("left", LEFT), ("right", RIGHT)):
        do(window, click(button))
        pictures[name] = window.still()

    def moving(name):
        now, silent = window.picture(), pictures[name]
        return {place for place, part in ({"bars": BARS} | METERS).items() if not same(now[part], silent[part])}
    for side, other in (("left", "right"), ("right", "left")):
        lab.play((1000, -10, side))
        for name, button in (("stereo", STEREO), ("left", LEFT), ("right", RIGHT)):
            do(window, click(button))
            becomes(f"{side} plays, {name} is shown", lambda: moving(name), {side} | ({"bars"} if name != other else set()))
        # Neither a server that hangs nor one that dies leaves the last bars on the screen.
        lab.silence()
        becomes("silence is shown", lambda: same(window.still(), pictures["right"]))
    # The last step of the fall is shown in the strip, too, where nothing else moves, though it comes late.
    window.click(*TO_COMPACT)
    becomes("compact", window.size, COMPACT)
    silent = window.still()
    lab.play((1000, -63.2))
    becomes("the lowest segments are lit", lambda: same(window.masked(), silent), False)
    lab.silence()
    for _ in range(12):
        program.freeze()
        time.sleep(0.2)
        program.thaw()
        time.sleep(0.01)
    becomes("silence is shown in the strip", lambda: same(window.still(), silent), limit=4)
