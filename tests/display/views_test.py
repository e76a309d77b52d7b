# The window's sizes, places and shapes.
from lab.all import *

SERVERS = ["any"]


def test_the_window_introduces_itself_and_keeps_its_shape(lab):
    program, window = lab.open()  # of the class "velmora"
    check((window.title(), window.size(), window.framed()) == ("Velmora", FULL, True), "title, size or frame")
    for line in ("Video: x11, Renderer software (software!)", ", software\n", "First frame after"):
        equal((line, program.count(line)), (line, 1))
    # As under a window manager that does not care for shapes.
    lab.screen.run("xprop", "-id", window.id, "-remove", "WM_NORMAL_HINTS")
    window.resize(1200, 640)
    becomes("it keeps its shape", window.size, (1200, 800))


def test_compact_and_full_view_find_their_places_again(lab):
    def settles_near(window, x, y):
        seen = [None]

        def rests():
            seen.append(window.place())
            return seen[-1] == seen[-2] and abs(seen[-1][0] - x) < 40 and abs(seen[-1][1] - y) < 40
        becomes(f"the window is near {x}, {y}", rests)
        return seen[-1]
    def on_top():
        return "ABOVE" in lab.screen.run("xprop", "-id", window.id, "_NET_WM_STATE")
    program, window = lab.open()
    window.move(100, 60)
    full = settles_near(window, 100, 60)
    window.click(*TO_COMPACT)
    becomes("compact", window.size, COMPACT)
    check(not window.framed(), "the strip has a frame")
    becomes("the strip is on top", on_top)
    beside = full[0] + FULL[0] - COMPACT[0], full[1]
    check(settles_near(window, *beside) == beside, "the strip is not at the window's upper right corner")
    # The pointer is another one at the border, and only there.
    pointer = lab.screen.pointer()
    for spot in (MINI_BODY, (2, 66), MINI_BODY):
        window.at(spot)
        pointer = becomes(f"the pointer changes at {spot}", lab.screen.pointer, lambda now: now != pointer)  # noqa: B023
    # A drag is no first press of a double click.
    press = "mousedown", 1, "sleep", 0.07, "mouseup", 1
    window.at(MINI_BODY, *press[:4], *["mousemove_relative", 10, 0, "sleep", 0.02] * 4, *press[4:], "sleep", 0.05, *press)
    window.move(300, 500)
    mini = settles_near(window, 300, 500)
    lab.end(program)
    program, window = lab.open()
    becomes("compact", window.size, COMPACT)
    check(settles_near(window, *mini) == mini, "the strip is elsewhere")
    program.freeze()  # both presses reach it at once
    window.double_click(*MINI_BODY)
    program.thaw()
    becomes("full", window.size, FULL)
    check(window.framed(), "no frame")
    becomes("it is not on top", on_top, False)
    check(settles_near(window, *full) == full, "the window is elsewhere")
    window.click(*COLLAPSE)
    becomes("the window manager moves nothing that was let go", window.size, COLLAPSED)


def test_no_saved_place_or_size_loses_the_window(lab):
    for compact, x, y, size in ((0, 5000, 5000, 1), (1, -3000, 100, -7), (0, 10, -900, 100000)):
        write_settings(lab.home, compact=compact, win_x=x, mini_x=x, win_y=y, mini_y=y, win_w=size, win_h=size,
                       mini_w=size, mini_h=size)
        program, window = lab.open()
        least = COMPACT if compact else (480, 320)
        becomes("the whole window is on the screen", window.geometry, lambda now: all(
            place >= 0 and place + length <= room and length >= short
            for place, length, room, short in zip(now[:2], now[2:], lab.screen.size, least)))
        if compact:
            time.sleep(0.4)  # until it is known to rest
            window.state("add")
            becomes("the strip fills the screen", lambda: window.size()[0] > FULL[0])
            window.double_click(*MINI_BODY)
            becomes("full", window.framed)
        lab.end(program)
        # A view that fills the screen from the start has neither, least of all the other one's.
        if compact:
            stored = settings(lab.home)
            equal([int(stored[key]) for key in ("win_x", "win_y", "win_w", "win_h", "compact")], [x, y, size, size, 0])
