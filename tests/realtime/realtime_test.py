# What the audio thread becomes, by what the machine grants: the kernel, RealtimeKit (a stand-in that grants it for
# real), the portal, a nice level, nothing; with a bus that never answers; and what happens to a thread that runs away.
from lab.all import *

SERVERS = ("none",)
PROGRAMS = ("dbus-daemon", "setpriv")
# Takes the right to set priorities away, so that a service has to be asked.
UNPRIVILEGED = ["setpriv", "--inh-caps=-sys_nice", "--bounding-set=-sys_nice"]
NOBODY = "unix:path=/nonexistent"


# Returns the exit code, "POLICY PRIORITY NICE" of the thread and what is logged; see realtime_probe.cpp.
def probe(*arguments, system=NOBODY, session=NOBODY, prefix=UNPRIVILEGED, **variables):
    if os.geteuid() != 0:
        raise Skipped("only root may grant real-time priority here")
    environment = clean_environment(DBUS_SYSTEM_BUS_ADDRESS=system, DBUS_SESSION_BUS_ADDRESS=session, **variables)
    run = subprocess.run([*prefix, tool("realtime_probe"), *arguments], env=environment, capture_output=True, text=True, timeout=30)
    scheduling, _, log = run.stdout.partition("\n")
    return run.returncode, scheduling, log.strip()[len("hh:mm:ss INFO  "):]


def test_the_first_way_that_is_granted_is_kept_and_logged(lab):
    policy, own = os.SCHED_RR, os.nice(0)
    equal(probe(prefix=[]), (0, f"{policy} 5 {own}", "Audio thread runs with real-time priority 5"))
    kit = Double("kit")
    code, scheduling, log = probe(system=kit.address)
    equal((code, scheduling), (0, f"{policy} 5 {own}"))
    check("real-time priority 5 (through RealtimeKit)" in log, log)
    equal(kit.calls(), [["real-time", 5, 200000]])  # the hard limit is set before
    equal(probe(system=Double("kit", priority=3).address)[1], f"{policy} 3 {own}")
    equal(probe(system=Double("kit", granted=0).address)[1], f"{os.SCHED_OTHER} 0 -11")
    code, scheduling, log = probe(system=kit.address, session=Double("portal").address, FLATPAK_ID="x")
    equal((scheduling, "through the portal" in log), (f"{policy} 5 {own}", True))
    equal(len(kit.calls()), 1)  # outside, a sandbox's numbers mean other processes


def test_without_a_service_or_with_a_bus_that_never_answers_nothing_changes(lab):
    nothing = f"{os.SCHED_OTHER} 0 {os.nice(0)}"
    equal(probe()[1], nothing)
    with socket.socket(socket.AF_UNIX) as mute:
        address = temp_dir() / "mute"
        mute.bind(str(address))
        mute.listen()
        code, scheduling, log = probe(system=f"unix:path={address}", session=f"unix:path={address}")
        equal((code, scheduling, "normal priority" in log), (0, nothing, True))
        began = time.monotonic()
        equal(probe("withdraw", system=f"unix:path={address}")[0], 0)
        check(time.monotonic() - began < 1.5, "a withdrawn request is waited for")


def test_a_thread_that_runs_away_is_aborted_and_not_the_machine(lab):
    equal(probe("run-away", prefix=[])[0], -signal.SIGABRT)
    equal(probe("run-away", system=Double("kit").address)[0], -signal.SIGABRT)
