# The built program as a shell sees it: texts, exit codes, files, and two copies meeting.
import fcntl
from lab.all import *

SERVERS = ("none",)
VERSION = "Velmora 1.0.2 (Build 1057)\n"
NO_SERVER = 1, "Kein Tonserver erreichbar.\n"


def shell(script):
    return "sh", "-c", script


def test_texts_and_the_self_test_come_before_everything_else(lab):
    equal(lab.run("--bogus", "--help", "--selftest", "--version"), (0, VERSION))
    code, text = lab.run("--bogus", "--selftest", "--devices", "-h")
    equal((code, text[:len(VERSION)]), (0, VERSION))
    equal(lab.run("word", "--help"), (0, text))
    # A switch that is unknown is named and answered with the help.
    equal(lab.run("--off", "stray", "--b%s", "--devices", "--a"), (2, f"Unbekannter Schalter: --b%s\n\n{text}"))
    code, report = lab.run("--bogus", "--devices", "--selftest")
    check(code == 0 and report.endswith("OK\n\nAlles in Ordnung.\n") and "FEHLER" not in report, report)
    equal(list(lab.directory.iterdir()), [])


def test_output_that_nobody_takes_is_lost_and_nothing_else(lab):
    # The shell opens the pipe in both directions to get a writing end, then closes the reading one.
    for script in ('mkfifo pipe; exec 3<>pipe 4>pipe 3<&-; "$0" --help >&4', '"$0" --help >/dev/full'):
        equal(lab.run(wrapped=shell(f'cd {temp_dir()}; {script}; echo "code $?"')), (0, "code 0\n"))


def test_a_second_instance_ends_and_leaves_the_first_running(lab):
    lab.write("Velmora.lock", "99999999999999\nfrom an earlier run\n")
    first = lab.up()  # with its own number in the lock, and nothing else
    equal(lab.run("--compact"), (0, RUNS_ALREADY))
    # Without standard descriptors, no text goes into the file that takes their place.
    equal(lab.run(wrapped=shell('exec "$0" <&- >&- 2>&-')), (0, ""))
    equal(lab.read("Velmora.lock"), f"{first.pid}\n")
    # The list of devices needs no lock and has a log of its own.
    equal(lab.run("--devices", "--compact"), NO_SERVER)
    check(lab.read("Velmora-devices.log"), "the list leaves no log")
    check(first.running() and not (lab.folder / "Velmora.log.1").exists(), "the log of the first was taken away")
    check("SigBlk:\t0000000000000000\n" in proc(first.guard(), "status"), "the guard inherits blocked signals")
    lab.end(first)
    log = lab.read("Velmora.log")
    lab.end(lab.up())
    equal(lab.read("Velmora.log.1"), log)


# This process holds the lock, and another one is nobody's business. A signal would end either.
def test_where_the_lock_names_no_running_copy_nobody_is_signalled(lab):
    lab.write("Velmora.lock", "")
    stranger = Process(["sleep", 60], lab.environment(), os.devnull)
    own = os.getpid()
    with open(lab.folder / "Velmora.lock") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        # A number that is cut to 32 bits, or a process group, would hit this process.
        for nobody in ("", "none\n", f"-{os.getpgrp()}\n", f"{2**32 + own}\n", f"{own}\n", f"{stranger.pid}\n"):
            lab.write("Velmora.lock", nobody)
            equal(lab.run(), (0, RUNS_ALREADY))
    check(stranger.running() and not (lab.folder / "Velmora.log").exists(), "somebody was signalled")
    stranger.kill()


def test_what_lies_in_the_way_of_a_file_is_neither_followed_nor_waited_for(lab):
    precious = temp_dir() / "precious"
    precious.write_text("mine")
    lab.write("Velmora.lock", "").unlink()
    (lab.folder / "Velmora.lock").symlink_to(precious)
    os.mkfifo(lab.folder / "Velmora-devices.log")
    equal(lab.run("--devices"), NO_SERVER)
    program = lab.start()  # runs without a lock
    program.wait_for_log("INFO  Velmora 1.0.2 (Build 1057, plain)\n")
    lab.end(program)
    equal(precious.read_text(), "mine")


def test_the_directory_of_the_earlier_name_becomes_todays_and_a_file_does_not(lab):
    legacy = lab.home / "Tarsel"
    lab.home.mkdir()
    legacy.write_text("a file")
    lab.run("--devices")
    equal(legacy.read_text(), "a file")
    legacy.unlink()
    (lab.folder / "Velmora-devices.log").unlink()
    lab.folder.rmdir()
    for name, text in (("log", "old"), ("lock", "1\n")):
        legacy.mkdir(exist_ok=True)
        (legacy / f"Tarsel.{name}").write_text(text)
    lab.run("--devices")
    equal(lab.read("Velmora.log"), "old")
    check(not legacy.exists() and not (lab.folder / "Tarsel.lock").exists(), "something of the earlier name is left")


def test_without_a_display_the_console_says_so(lab):
    code, text = lab.run(wrapped=shell('exec "$0" >/dev/null'), display={"SDL_VIDEODRIVER": "none"})
    equal((code, text), (1, f"Kein Fenster moeglich, siehe {lab.folder}/Velmora.log\n"))


def test_a_request_to_end_is_followed_in_order_from_the_start_on(lab):
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        program = lab.start()
        # As early as can be seen from outside: start-up is in its middle.
        becomes("it has the lock", lambda: lab.read("Velmora.lock"), f"{program.pid}\n")
        program.signal(number)
        lab.ended(program, program.wait())
        (lab.folder / "settings.dat").unlink()


def test_an_engine_that_cannot_have_a_thread_is_reported(lab):
    # No thread can have a stack of this size, in KiB.
    code, text = lab.run(wrapped=shell('ulimit -s 68719476736 && exec "$0" --devices'))
    if "ulimit" in text or "Sanitizer" in text:  # which does not find its memory under such a limit
        return
    equal((code, text), NO_SERVER)
    check(" ERROR The audio engine cannot be started: " in lab.read("Velmora-devices.log"), "not in the log")


def test_one_that_is_to_outlive_its_terminal_does(lab):
    program = lab.up(wrapped=shell('exec env --ignore-signal=HUP,CHLD "$0"'))
    # Asked until it holds: starting a thread blocks every signal for a moment.
    def is_set(mask, sig):
        return bool(int(re.search(f"{mask}:\t(.*)\n", proc(program.pid, "status"))[1], 16) & 1 << sig - 1)
    becomes("it outlives its terminal", lambda: is_set("SigIgn", signal.SIGHUP) and not is_set("SigBlk", signal.SIGHUP))
    check(not is_set("SigIgn", signal.SIGCHLD), "it would not know how its children end")
    lab.end(program)


def test_the_switches_of_a_run_are_remembered_but_for_the_device(lab):
    initial = settings(lab.home)
    program = lab.up("--theme", "light", "--preset", "rock", "--collapsed", "--off", "--device", "sink",
                     "--no-takeover", "stray", "--size", "5", expect=["Switch ignored: --size 5", "Not imported: stray"])
    becomes("it is named once", lambda: program.count(" WARN  Switch ignored: --size 5\n"), 1)
    lab.end(program)
    gains, preamp = PRESETS["rock"]
    changes = {f"band{i}": str(gain) for i, gain in enumerate(gains)} | {
        "preamp": str(preamp), "theme": "light", "preset": "b:preset_rock", "collapsed": "1"}
    stored = settings(lab.home)
    place = {key: stored[key] for key in ("win_x", "win_y", "win_w", "win_h")}
    equal(stored, initial | changes | {"active": "0"} | place)
    # The next run starts from them, apart from the equalizer itself.
    lab.end(lab.up())
    equal(settings(lab.home), initial | changes | place)
