# The program as the desktop finds it: by its name on a private session bus, by its lock and a signal where
# there is no bus, and not at all by strangers.
from lab.all import *

SERVERS = ("none",)
OWN_PRESETS = "Own preset for each output device"
PROGRAMS = ("dbus-daemon", "gdbus", "gapplication", "unshare")
PRESET_NAMES = ["Standard", "Flat", "Bass boost", "Treble boost", "Vocals", "Rock", "Pop", "Jazz", "Classical", "Electronic",
                "Loudness"]
NAME, PATH, ACTIONS = "org.velmora.Velmora", "/org/velmora/Velmora", "org.gtk.Actions"


# A second start; how long it takes.
def second(session, *switches, wrapped=()):
    began = time.monotonic()
    equal(session.run(*switches, wrapped=wrapped), (0, RUNS_ALREADY))
    return time.monotonic() - began


# What a program of the desktop prints, or the error.
def ask(session, *words):
    done = subprocess.run(words, env=session.environment(), text=True, capture_output=True, timeout=10)
    return done.stdout.strip() or done.stderr.strip()


def call(session, method, *arguments, path=PATH):
    return ask(session, "gdbus", "call", "--session", f"--dest={NAME}", f"--object-path={path}",
               f"--method={method}", *arguments)


def action(session, *words):
    return ask(session, "gapplication", "action", NAME, *words)


# The states, as a text such as "on=true preset=rock".
def states(session):
    return " ".join(f"{name}=" + "".join(re.findall("<'?(.*?)'?>", call(session, f"{ACTIONS}.Describe", name)))
                    for name in ("on", "preset"))


# What others on the bus hear of it.
def listen(session):
    listener = Process(["gdbus", "monitor", "--session", f"--dest={NAME}"], session.environment(), temp_dir() / "signals")
    becomes("it listens", lambda: "is owned by" in listener.output())
    return listener


# Starts it on a bus of its own.
def on_a_bus(session, *switches, states_then="on=true preset=flat", **options):
    session.start_bus()
    program = session.start(*switches, **options)
    becomes("it is found by its name", lambda: states(session), states_then)
    return program


def refused(answer):
    return "InvalidArgs" in answer or "NotSupported" in answer


def test_shortcuts_reach_the_copy_that_runs_and_nonsense_is_refused(session):
    write_settings(session.home, user_presets=2, up0_name="rock", up1_name="My_own",
                   **{f"up{i}": ",".join(11 * ["1"]) for i in (0, 1)})
    program = on_a_bus(session, "--preset", "flat")
    for words, wanted in ((["toggle"], "on=false preset=flat"), (["on"], "on=true preset=flat"),
                          (["on"], "on=true preset=flat"), (["off"], "on=false preset=flat"),
                          (["preset", "'rock'"], "on=false preset=rock"),
                          (["preset", "'Bass boost'"], "on=false preset=bass"),
                          (["preset", "'b:preset_jazz'"], "on=false preset=jazz"),
                          (["preset", "'My_own'"], "on=false preset=My_own"),
                          (["preset", "'u:rock'"], "on=false preset=u:rock")):
        answer = action(session, *words)
        check(answer == "", f"{words}: {answer}")
        becomes(f"{words} is done", lambda: states(session), wanted)
    for words in (["nothing"], ["toggle", "1"], ["preset"], ["preset", "3"], ["preset", "'nothing'"]):
        check(refused(action(session, *words)), f"{words} is refused")
    listener = listen(session)
    for asked, changed in ((["SetState", "on", "<true>", "{}"], "{'on': <true>}"),
                          (["SetState", "preset", "<'pop'>", "{}"], "{'preset': <'pop'>}"),
                          (["SetState", "preset-per-device", "<true>", "{}"], "{'preset-per-device': <true>}"),
                          (["Activate", "preset-per-device", "[]", "{}"], "{'preset-per-device': <false>}"),
                          (["Activate", "preset", "[<'vocal'>]", "{}"], "{'preset': <'vocal'>}")):
        check(call(session, f"{ACTIONS}.{asked[0]}", *asked[1:]) == "()", f"{asked} is taken")
        becomes(f"listeners hear of {asked}", lambda: f"Changed (@as [], @a{{sb}} {{}}, {changed}" in listener.output())
    for asked in (["Describe", "nothing"], ["Activate", "nothing", "[]", "{}"], ["Activate", "on", "[<1>]", "{}"],
                 ["Activate", "preset", "[<'pop'>, <'pop'>]", "{}"], ["SetState", "on", "<1>", "{}"],
                 ["SetState", "off", "<true>", "{}"], ["SetState", "nothing", "<true>", "{}"]):
        check(refused(call(session, f"{ACTIONS}.{asked[0]}", *asked[1:])), f"{asked} is refused")
    check(refused(call(session, f"{ACTIONS}.Activate", "preset-text", "[]", "{}")), "texts can only be read")
    texts = call(session, f"{ACTIONS}.Describe", "preset-text")
    check("'rock': 'Preamp: -3.0 dB\\nFilter 1: ON PK Fc 31 Hz Gain 5.0 dB Q 1.41\\n" in texts, f"presets: {texts}")
    for uris in ("[]", "['https://example.org/a.txt']", "['file:///a', 'file:///b']"):
        check(refused(call(session, "org.freedesktop.Application.Open", uris, "{}")), f"Open {uris} is refused")
    file = session.directory / "My headphone.txt"
    file.write_text("Filter: ON PK Fc 1000 Hz Gain 6 dB Q 1.41\n")
    uri = f"file://{session.directory}/My%20headphone.txt"
    check(call(session, "org.freedesktop.Application.Open", f"['{uri}']", "{}") == "()", "Open")
    becomes("the file is opened", lambda: program.count(f"Imported: {file}: its bands are ours"), 1)
    second(session, "--compact", os.path.relpath(file))
    becomes("it is handed over by a second start", lambda: program.count("Imported: "), 2)
    check("'quit'" in call(session, f"{ACTIONS}.List"), "there is a list")
    listener.kill()
    check(action(session, "quit") == "", "it is asked to end")
    session.ended(program, program.wait())


def test_a_second_start_is_answered_over_the_bus_by_the_copy_with_its_settings(session):
    program = on_a_bus(session, states_then="on=true preset=standard", expect=["Moving without a frame"])
    other = Session(address=session.address)
    frame = "Moving without a frame not available"  # what a screen without window managers says of the strip
    second(session)
    check(program.count(frame) == 0, "it stays in its view")
    second(session, "--compact")
    becomes("it is in the compact view", lambda: program.count(frame), 1)
    # A copy with settings of its own starts beside it, waits for the name, and is not the one that is called.
    beside = other.start()
    beside.wait_for_log("First frame after")
    action(session, "full")
    second(other, "--compact")
    session.end(program)
    equal(settings(session.home)["compact"], "0")  # what another copy was called for
    becomes("the other one has the name", lambda: beside.count("Found on the session bus"), 1)
    # It is the session's end that takes the bus away.
    session.daemon.kill()
    other.end(beside)


def test_the_tray_finds_it_drives_it_and_never_keeps_its_window(session):
    write_settings(session.home, user_presets=1, up0_name="My_own", up0=",".join(11 * ["1"]))
    program = on_a_bus(session, "--preset", "flat", expect=["Moving without a frame"])
    item, menu = "org.kde.StatusNotifierItem", "com.canonical.dbusmenu"
    check("GDBus.Error" in call(session, "org.freedesktop.DBus.Properties.GetAll", item, path="/StatusNotifierItem"),
          "without a tray there is no icon")
    watcher = Double("watcher", session.address)
    becomes("the late tray hears of it, by its own name", watcher.calls, lambda calls: [a == b for a, b in calls] == [True])

    def tray(method, *arguments, path="/StatusNotifierItem"):
        return call(session, method, *arguments, path=path)

    def properties():
        return tray("org.freedesktop.DBus.Properties.GetAll", item)
    listener = listen(session)
    bright = properties()
    check(all(f"'{name}'" in bright for name in ("IconName", "IconPixmap", "ToolTip", "Menu", "AttentionMovieName",
                                                 "OverlayIconPixmap")), f"every property is there: {bright[:300]}")
    tray(f"{item}.Scroll", "120", "Vertical")
    tray(f"{item}.SecondaryActivate", "0", "0")
    becomes("the middle button has switched it off", lambda: states(session), "on=false preset=flat")
    becomes("the tray hears of that", lambda: all(
        part in listener.output() for part in (".NewIcon ()", "{'toggle-state': <0>}")))
    check(properties() != bright, "the icon is dimmed")

    # Every entry's number and mark, by its label.
    def entries():
        layout = tray(f"{menu}.GetLayout", "0", "int32 -1", "[]", path="/Menu")
        return {re.sub(".*'label': <'([^']*)'>.*", r"\1", entry): (entry[:entry.index(",")], "'toggle-state': <1>" in entry)
                for entry in re.findall(r"<\((\d+, {[^}]*})", layout) if "'label'" in entry and "'visible': <false>" not in entry}
    numbers = {label: number for label, (number, _) in entries().items()}
    equal(list(numbers), ["On", "Preset", *PRESET_NAMES, "My__own", OWN_PRESETS, "Compact view",
                           "Settings", "Hide Velmora", "Quit Velmora"])
    equal([label for label, (_, marked) in entries().items() if marked], ["Flat"])
    some = tray(f"{menu}.GetGroupProperties", f"[{numbers['On']}, {numbers['Settings']}, 999]", "['label']", path="/Menu")
    equal(re.findall("'label': <'(.*?)'>", some), ["On", "Settings"])

    # What happens to another entry meanwhile is none of this one's business.
    def click(label):
        return tray(f"{menu}.EventGroup", f"[({numbers['On']}, 'closed', <0>, 0), ({numbers[label]}, 'clicked', <0>, 0),"
                    " (999, 'clicked', <0>, 0)]", path="/Menu")
    check(click("Rock") == "([999],)", "only the unknown entry is refused")
    becomes("the menu has chosen", lambda: states(session), "on=false preset=rock")
    for on in (True, False):
        click(OWN_PRESETS)
        becomes("the wish is marked", lambda: entries()[OWN_PRESETS][1], on)
    for view in ("1", "0"):
        click("Compact view")
        becomes("the other view is there, and is marked", lambda: (entries()["Compact view"][1], settings(session.home)["compact"]),
                (view == "1", view))
    equal(states(session), "on=false preset=rock")
    def another_tray():
        watcher.kill()
        becomes("the window is back", lambda: program.count("Window visible again"), 3)
        later = Double("watcher", session.address)
        becomes("the next tray hears of it, too", later.calls)
    for number, back in enumerate((lambda: tray(f"{item}.Activate", "0", "0"), lambda: second(session), another_tray,
                                   session.daemon.kill), 1):
        click("Hide Velmora")
        becomes("the window is hidden", lambda: program.count("Window not visible"), number)
        becomes("only that is not offered again", lambda: numbers.keys() - entries().keys(), {"Hide Velmora"})
        becomes("the tray hears of that, too", lambda: listener.output().count("'visible': <false>"), number)
        back()
        becomes("the window is back", lambda: program.count("Window visible again"), number)
    session.end(program)
    listener.kill()


# A server that accepts and never answers; with authentication, one that does not know what comes after it.
def hanging_bus(authenticates):
    listener = socket.socket(socket.AF_UNIX)
    path = temp_dir() / "bus"
    listener.bind(str(path))
    listener.listen()
    kept = []

    def serve():
        while True:
            connection = listener.accept()[0]
            kept.append(connection)
            if authenticates:
                threading.Thread(target=authenticate, args=[connection], daemon=True).start()

    def authenticate(connection):
        while text := connection.recv(4096):
            for line in text.split(b"\r\n"):
                if line.startswith((b"AUTH", b"\0AUTH")):
                    connection.sendall(b"OK 0123456789abcdef0123456789abcdef\r\n")
                elif line.startswith(b"NEGOTIATE"):
                    connection.sendall(b"ERROR\r\n")
    threading.Thread(target=serve, daemon=True).start()
    return f"unix:path={path}"


def test_a_bus_that_hangs_or_is_not_there_holds_nobody(session):
    good, = Bus(session.environment()).variables.values()
    for what, address in (("silent", hanging_bus(False)), ("half dead", hanging_bus(True)), ("missing", "unix:path=/nonexistent"),
                          ("broken", "nonsense"), ("not to be started", "autolaunch:"), ("good beside a silent one", good)):
        session = Session(address=address)
        program = session.start(DBUS_SYSTEM_BUS_ADDRESS=hanging_bus(False))
        program.wait_for_log("First frame after", limit=5)
        took = second(session)
        check(took < 2.5, f"{what}: a second start takes {took} s")
        check(program.running(), f"{what}: the first one runs")
        began = time.monotonic()
        code = program.stop(5)
        check(time.monotonic() - began < 2, f"{what}: it ends in time")
        session.ended(program, code)


# In another pid namespace the number in the lock is that of somebody else: there it must hit nobody.
def test_a_process_of_the_same_number_elsewhere_is_left_alone(session):
    namespace = ["unshare", "--user", "--map-root-user", "--pid", "--fork", "--mount-proc", "--kill-child"]
    if subprocess.run([*namespace, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        raise Skipped("pid namespaces are not allowed here")
    first = session.start(wrapped=namespace)
    becomes("the first one has the lock", lambda: session.read("Velmora.lock"), "1\n")
    session.write("Velmora.lock", "2\n")  # process 1 of a namespace survives every signal
    alive = session.directory / "alive"
    script = f'sleep 60 & "$0"; [ "$!" = 2 ] && kill -0 2 && touch {alive}; kill 2'
    second(session, wrapped=[*namespace, "sh", "-c", script])
    check(alive.exists(), "the decoy lives")
    first.kill()
    session.programs.remove(first)
