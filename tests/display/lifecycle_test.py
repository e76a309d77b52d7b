# How the program comes, hides, returns and goes.
from lab.all import *

SERVERS = ["any"]


def test_a_minimised_window_is_brought_back_by_a_second_start_and_ends_in_order(lab):
    def second_start():
        second = lab.launch(home=lab.home)
        check(second.wait() == 0, "the second start fails")
        lab.programs.remove(second)
    for stopped in (False, True):
        copy = temp_dir() / OURS  # replaced while it runs, as by an upgrade
        program, window = lab.open(wrapped=["sh", "-c", f'cp "$0" {copy} && exec {copy}'])
        copy.unlink()
        lab.routed_to("speakers")
        before = window.still()
        window.minimise()
        program.wait_for_log("Window not visible - display paused")
        if stopped:
            lab.end(program)
            continue
        second_start()
        program.wait_for_log("Window visible again")
        becomes("the window is back", lambda: window.minimised() or (window.still() != before).any(), False)
        window.state("add")
        becomes("it is maximized", lambda: window.size() == FULL, False)
        second_start()
        check(all(window.size() != FULL for _ in range(40)), "a second start has shrunk it")
        window.key("alt+F4")
        lab.ended(program, program.wait())


def test_a_screen_that_hangs_or_vanishes_costs_neither_the_sound_nor_the_last_change(lab):
    lab.play()
    for hangs in (True, False):
        lab.home = temp_dir()
        program, window = lab.open(expect=["screen is gone"])
        lab.routed_to("speakers")
        window.click(*COLLAPSE)
        becomes("folded", window.size, COLLAPSED)
        if hangs:
            becomes("the change is saved", lambda: settings(lab.home)["collapsed"], "1")
            lab.screen.server.freeze()
            program.signal(signal.SIGTERM)
            check(program.wait(limit=7) >= 0, "a signal ended it")
            lab.screen.server.thaw()
        else:
            lab.screen.crash()  # before the change is saved in its own time
            check(program.wait() >= 0, "a signal ended it")
        lab.programs.remove(program)
        lab.as_before()
        check(settings(lab.home)["collapsed"] == "1", "the change is lost")
        check(not (program.folder / "crash_report.txt").exists(), "a crash is reported")


def test_the_panels_switch_makes_a_session_start_the_program(lab):
    require_programs("desktop-file-validate", "gio")
    entry = lab.server.directory / "home/.config/autostart/Velmora.desktop"
    program, window = lab.open("--settings")
    window.click(*AUTOSTART)
    becomes("there is an entry", entry.exists)
    lab.end(program)
    check(lab.screen.run("desktop-file-validate", entry) == "", "the entry is not valid")
    session = lab.server.environment() | lab.screen.environment() | {"XDG_CONFIG_HOME": str(lab.home)}
    launcher = Process(["gio", "launch", entry], session, lab.server.directory / "launcher.log")
    check(launcher.wait() == 0, launcher.output())
    Window(lab.screen)
    pid = int((lab.home / "Velmora/Velmora.lock").read_text())
    lab.routed_to("speakers")
    os.kill(pid, signal.SIGTERM)
    lab.as_before()
    becomes("it is gone", lambda: os.path.exists(f"/proc/{pid}"), False)


def test_runs_where_there_is_only_wayland(lab):
    require_programs("weston")
    lab.need_screen()
    # A compositor in a window: without a keyboard and a mouse, SDL of this generation would not start.
    weston = Process(["weston", "--backend=x11-backend.so", "--use-pixman", "--socket=screen", "--no-config",
                      "--width=1100", "--height=800"], lab.server.environment() | lab.screen.environment(),
                     lab.server.directory / "weston.log")
    becomes("Wayland's socket appears", (lab.server.directory / "run/screen").exists)
    program = lab.launch("--preset", "flat", display={"WAYLAND_DISPLAY": "screen"})
    program.wait_for_log("First frame after")
    check(program.count("Video: wayland, ") == 1, "it is not on Wayland")
    lab.end(program)
    weston.stop()


# Less motion, as the desktop's portal says it, or without one the settings on its X server: the title stands still, and a preset's gains arrive at once.
def test_a_wish_for_less_motion_is_followed_while_it_holds(lab):
    require_programs("dbus-daemon", "gdbus", "xsettingsd")
    portal = Double("portal")
    session = lab.server.environment() | {"DBUS_SESSION_BUS_ADDRESS": portal.address}
    program, window = lab.open("--preset", "flat", DBUS_SESSION_BUS_ADDRESS=portal.address)

    def wish(key, value):
        subprocess.run(["gdbus", "call", "--session", "--dest=org.freedesktop.portal.Desktop",
                        "--object-path=/org/freedesktop/portal/desktop",
                        "--method=org.freedesktop.portal.Settings.Set", *key.split("/"), value], env=session, check=True)

    def title_rests():
        first = window.picture()[TITLE]
        time.sleep(0.6)
        return (window.picture()[TITLE] == first).all()
    becomes("the portal is there", lambda: wish("org.gnome.desktop.interface/enable-animations", "<true>") is None)
    for row, key, less, more in ((3, "org.gnome.desktop.interface/enable-animations", "<false>", "<true>"),
                                 (5, "org.freedesktop.appearance/reduced-motion", "<uint32 1>", "<uint32 0>")):
        check(not title_rests(), "the title does not shine")
        wish(key, less)
        becomes(f"the title rests with {key}", title_rests)
        window.opens(*PRESETS_BUTTON)
        window.click(*preset_row(row))
        seen = len({window.masked()[300:500].tobytes() for _ in range(60)})
        check(seen <= 2, f"the gains are seen in {seen} places on their way")
        wish(key, more)
        becomes("the title shines again", title_rests, False)
    lab.end(program)
    rules = lab.server.directory / "xsettings"
    rules.write_text("Gtk/EnableAnimations 0\nNet/DoubleClickTime 400\nNet/DoubleClickDistance 5\n")
    shared = Process(["xsettingsd", "-c", rules], lab.server.environment() | lab.screen.environment(), rules.with_suffix(".log"))
    becomes("settings are shared", lambda: "Took ownership" in shared.output())
    program, window = lab.open(DBUS_SESSION_BUS_ADDRESS=portal.address)
    becomes("the title shines, as the portal's word counts first", title_rests, False)
    lab.end(program)
    portal.stop()
    program, window = lab.open("--preset", "flat")
    becomes("the title rests without animations", title_rests, limit=5)
    window.click(*TO_COMPACT)
    becomes("compact", window.size, COMPACT)
    window.double_click(*MINI_BODY)
    becomes("a double click at the desktop's pace leads back", window.size, FULL)
    lab.end(program)
    shared.stop()


def test_the_tray_hides_the_window_shows_it_where_it_was_and_follows_its_language(lab):
    require_programs("dbus-daemon", "gdbus")
    tray = Double("watcher")
    session = lab.server.environment() | {"DBUS_SESSION_BUS_ADDRESS": tray.address}

    def ask(path, method, *arguments):
        return subprocess.run(["gdbus", "call", "--session", "--dest=org.velmora.Velmora", f"--object-path={path}",
                               f"--method={method}", *arguments], env=session, text=True, check=True, stdout=subprocess.PIPE).stdout

    def menu():
        return ask("/Menu", "com.canonical.dbusmenu.GetLayout", "0", "int32 -1", "[]")
    browser = temp_dir() / "xdg-open"
    browser.write_text("#!/bin/sh\nenv > $0.new; mv $0.new $0.environment\n")
    browser.chmod(0o755)
    program, window = lab.open("--preset", "flat", DBUS_SESSION_BUS_ADDRESS=tray.address, PATH=f"{browser.parent}:{os.environ['PATH']}")
    lab.routed_to("speakers")
    becomes("the tray hears of it", tray.calls)
    window.move(140, 90)
    before, place, english = window.still(), window.geometry(), menu()
    for count in (1, 2):
        ask("/StatusNotifierItem", "org.kde.StatusNotifierItem.Activate", "0", "0")
        becomes("the click is followed", lambda: program.count("Window not visible"), count)  # noqa: B023
        if count == 1:
            ask("/StatusNotifierItem", "org.kde.StatusNotifierItem.Activate", "0", "0")
        else:  # as a second start under Wayland does
            ask("/org/velmora/Velmora", "org.freedesktop.Application.Activate", "{'activation-token': <'token'>}")
        becomes("it is back", lambda: program.count("Window visible again"), count)  # noqa: B023
        becomes("it is where it was", lambda: (window.geometry(), (window.still() == before).all()), (place, True))
    window.opens(*SETTINGS)
    window.click(540, 432)  # the address
    check("XDG_ACTIVATION_TOKEN" not in becomes("it is opened", browser.with_suffix(".environment").read_text), "it is for Wayland")
    window.opens(*LANGUAGE)
    window.click(LANGUAGE[0], LANGUAGE[1] - 120)
    becomes("the menu is in the language that was chosen", lambda: menu() != english)
    lab.end(program)
    tray.stop()
