#!/usr/bin/env python3
"""What the audio thread becomes, by what the machine grants: the kernel, RealtimeKit (a stand-in that grants it for
real), the portal, a nice level, nothing; with a bus that never answers; and what happens to a thread that runs away.

    realtime_test.py PROBE
"""

import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

try:
    import gi

    gi.require_version("Gio", "2.0")
    from gi.repository import Gio, GLib
except (ImportError, ValueError):
    Gio = None

probe = pathlib.Path(sys.argv.pop(1)).resolve()
# Takes the right to set priorities away, so that a service has to be asked.
unprivileged = ["setpriv", "--inh-caps=-sys_nice", "--bounding-set=-sys_nice"]

interface_xml = """<node><interface name='{}'>
<method name='MakeThreadRealtimeWithPID'><arg type='t' direction='in'/><arg type='t' direction='in'/><arg type='u' direction='in'/></method>
<method name='MakeThreadHighPriorityWithPID'><arg type='t' direction='in'/><arg type='t' direction='in'/><arg type='i' direction='in'/></method>
<property name='RTTimeUSecMax' type='x' access='read'/><property name='MaxRealtimePriority' type='i' access='read'/>
<property name='MinNiceLevel' type='i' access='read'/></interface></node>"""
services = {
    "RealtimeKit": ("org.freedesktop.RealtimeKit1", "/org/freedesktop/RealtimeKit1", "org.freedesktop.RealtimeKit1"),
    "the portal": ("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                   "org.freedesktop.portal.Realtime"),
}


class Bus:
    """A private bus; with `service`, one on it that grants what it is asked for."""

    def __init__(self, directory, service=None, realtime=True, max_priority=20):
        self.address = f"unix:path={tempfile.mktemp(dir=directory)}"
        self.process = subprocess.Popen(["dbus-daemon", "--session", f"--address={self.address}", "--print-address",
                                         "--nofork"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.process.stdout.readline()
        self.asked = []
        if service is None:
            return
        self.realtime, self.max_priority = realtime, max_priority
        name, path, interface = services[service]
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        context = GLib.MainContext.new()
        ready = threading.Event()

        def serve():
            context.push_thread_default()
            self.connection = Gio.DBusConnection.new_for_address_sync(self.address, flags, None, None)
            info = Gio.DBusNodeInfo.new_for_xml(interface_xml.format(interface)).interfaces[0]
            self.connection.register_object(path, info, self.on_call, self.on_get, None)
            Gio.bus_own_name_on_connection(self.connection, name, Gio.BusNameOwnerFlags.NONE,
                                           lambda *_: ready.set(), None)
            while self.process.poll() is None:
                context.iteration(True)

        threading.Thread(target=serve, daemon=True).start()
        assert ready.wait(10), "the stand-in did not get its name"

    def on_call(self, _connection, _sender, _path, _interface, method, arguments, invocation):
        pid, thread, value = arguments.unpack()
        hard = [line for line in pathlib.Path(f"/proc/{pid}/limits").read_text().splitlines() if "realtime timeout" in line]
        self.asked.append((method, value, int(hard[0].split()[4])))
        try:
            if method == "MakeThreadRealtimeWithPID":
                if not self.realtime:
                    raise PermissionError("Operation not permitted")
                os.sched_setscheduler(thread, os.SCHED_RR | 0x40000000, os.sched_param(value))
            else:
                os.setpriority(os.PRIO_PROCESS, thread, value)
            invocation.return_value(None)
        except OSError as fault:
            invocation.return_dbus_error("org.freedesktop.DBus.Error.AccessDenied", str(fault))

    def on_get(self, _connection, _sender, _path, _interface, name):
        values = {"RTTimeUSecMax": GLib.Variant("x", 200000), "MinNiceLevel": GLib.Variant("i", -15),
                  "MaxRealtimePriority": GLib.Variant("i", self.max_priority)}
        return values[name]

    def stop(self):
        self.process.terminate()
        self.process.communicate()


@unittest.skipIf(Gio is None or shutil.which("dbus-daemon") is None, "needs python3-gi and dbus-daemon")
@unittest.skipIf(os.geteuid() != 0, "only root may grant real-time priority here")
class Realtime(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.directory, ignore_errors=True)
        self.none = f"unix:path={self.directory}/nobody"

    def bus(self, *arguments, **options):
        bus = Bus(self.directory, *arguments, **options)
        self.addCleanup(bus.stop)
        return bus

    def run_probe(self, *arguments, system=None, session=None, prefix=unprivileged, **variables):
        environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": system or self.none,
                       "DBUS_SESSION_BUS_ADDRESS": session or self.none, **variables}
        run = subprocess.run([*prefix, probe, *arguments], env=environment, capture_output=True, text=True, timeout=30)
        scheduling, _, log = run.stdout.partition("\n")
        return run.returncode, scheduling, log.strip()[len("hh:mm:ss INFO  "):]

    def test_the_first_way_that_is_granted_is_kept_and_logged(self):
        policy, own = os.SCHED_RR, os.nice(0)
        self.assertEqual(self.run_probe(prefix=[])[1:], (f"{policy} 5 {own}", "Audio thread runs with real-time priority 5"))
        kit = self.bus("RealtimeKit")
        code, scheduling, log = self.run_probe(system=kit.address)
        self.assertEqual((code, scheduling), (0, f"{policy} 5 {own}"))
        self.assertIn("real-time priority 5 (through RealtimeKit)", log)
        self.assertEqual(kit.asked, [("MakeThreadRealtimeWithPID", 5, 200000)], "the hard limit is set before")
        modest = self.bus("RealtimeKit", max_priority=3)
        self.assertEqual(self.run_probe(system=modest.address)[1], f"{policy} 3 {own}")
        strict = self.bus("RealtimeKit", realtime=False)
        self.assertEqual(self.run_probe(system=strict.address)[1], f"{os.SCHED_OTHER} 0 -11")
        portal = self.bus("the portal")
        code, scheduling, log = self.run_probe(system=kit.address, session=portal.address, FLATPAK_ID="x")
        self.assertEqual(scheduling, f"{policy} 5 {own}")
        self.assertIn("through the portal", log)
        self.assertEqual(len(kit.asked), 1, "outside, a sandbox's numbers mean other processes")

    def test_without_a_service_or_with_a_bus_that_never_answers_nothing_changes(self):
        self.assertEqual(self.run_probe()[1], f"{os.SCHED_OTHER} 0 {os.nice(0)}")
        with socket.socket(socket.AF_UNIX) as mute:
            mute.bind(f"{self.directory}/mute")
            mute.listen()
            address = f"unix:path={self.directory}/mute"
            code, scheduling, log = self.run_probe(system=address, session=address)
            self.assertEqual((code, scheduling), (0, f"{os.SCHED_OTHER} 0 {os.nice(0)}"))
            self.assertIn("normal priority", log)
            began = time.monotonic()
            self.assertEqual(self.run_probe("withdraw", system=address)[0], 0)
            self.assertLess(time.monotonic() - began, 1.5, "a withdrawn request is not waited for")

    def test_a_thread_that_runs_away_is_aborted_and_not_the_machine(self):
        self.assertEqual(self.run_probe("run-away", prefix=[])[0], -signal.SIGABRT)
        self.assertEqual(self.run_probe("run-away", system=self.bus("RealtimeKit").address)[0], -signal.SIGABRT)


if __name__ == "__main__":
    unittest.main(verbosity=2)
