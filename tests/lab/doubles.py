#!/usr/bin/python3
"""Stand-ins for services of a desktop: doubles.py ADDRESS FILE SERVICE [NAME=NUMBER ...]

SERVICE is "portal", "kit" or "watcher", on the bus at this address; where there is none, on one of its own. FILE is
there when it can be called, and gets a line of JSON for each call.
"""
import json
import os
import pathlib
import subprocess
import sys

import dbus
import dbus.bus
import dbus.lowlevel
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

ADDRESS, FILE, SERVICE, *WORDS = sys.argv[1:]
# With these: what the portal answers to a mail, -1 nothing; whether real-time priority is granted, and which.
OPTIONS = {"version": 3, "response": 0, "granted": 1, "priority": 20} | {
    name: int(value) for name, value in (word.split("=") for word in WORDS)}
MAIL, WATCHER = "org.freedesktop.portal.Email", "org.kde.StatusNotifierWatcher"
SETTINGS = "org.freedesktop.portal.Settings"
WISHES = {("org.gnome.desktop.interface", "enable-animations"): True}  # what Set changes
PROPERTIES = {"version": dbus.UInt32(OPTIONS["version"]), "RTTimeUSecMax": dbus.Int64(200000), "MinNiceLevel": dbus.Int32(-15),
              "MaxRealtimePriority": dbus.Int32(OPTIONS["priority"]), "IsStatusNotifierHostRegistered": True}


def note(*call):
    with open(FILE, "a", encoding="utf-8") as file:
        print(json.dumps(call), file=file)


# Descriptors as what can be read from them.
def plain(value):
    if isinstance(value, dbus.types.UnixFd):
        with os.fdopen(value.take(), "rb") as file:
            return file.read().decode()
    return [plain(entry) for entry in value] if isinstance(value, list) else str(value)


class Properties(dbus.service.Object):
    @dbus.service.method("org.freedesktop.DBus.Properties", "ss", "v")
    def Get(self, interface, name):
        return PROPERTIES[name]


# Grants it for real.
def real_time(interface):
    class RealTime(Properties):
        def grant(self, method, pid, value, act):
            limits = pathlib.Path(f"/proc/{pid}/limits").read_text().splitlines()
            note(method, value, *[int(line.split()[4]) for line in limits if "realtime timeout" in line])
            try:
                act()
            except OSError as fault:
                raise dbus.DBusException(str(fault), name="org.freedesktop.DBus.Error.AccessDenied")

        @dbus.service.method(interface, "ttu")
        def MakeThreadRealtimeWithPID(self, pid, thread, value):
            def act():
                if not OPTIONS["granted"]:
                    raise PermissionError("Operation not permitted")
                os.sched_setscheduler(thread, os.SCHED_RR | 0x40000000, os.sched_param(value))
            self.grant("real-time", pid, value, act)

        @dbus.service.method(interface, "tti")
        def MakeThreadHighPriorityWithPID(self, pid, thread, value):
            self.grant("nice", pid, value, lambda: os.setpriority(os.PRIO_PROCESS, thread, value))
    return RealTime


class Portal(real_time("org.freedesktop.portal.Realtime")):
    @dbus.service.method(MAIL, "sa{sv}", "o", sender_keyword="sender")
    def ComposeEmail(self, parent, options, sender):
        note({str(key): plain(value) for key, value in options.items()})
        path = f"/org/freedesktop/portal/desktop/request/{sender[1:].replace('.', '_')}/{options['handle_token']}"
        if OPTIONS["response"] >= 0:
            GLib.idle_add(self.respond, path, sender)
        return dbus.ObjectPath(path)

    @dbus.service.method(SETTINGS, "ss", "v")
    def Read(self, group, key):
        return WISHES[(group, key)]

    @dbus.service.method(SETTINGS, "ssv")
    def Set(self, group, key, value):
        WISHES[(group, key)] = value
        self.SettingChanged(group, key, value)

    @dbus.service.signal(SETTINGS, "ssv")
    def SettingChanged(self, group, key, value):
        pass

    def respond(self, path, sender):
        message = dbus.lowlevel.SignalMessage(path, "org.freedesktop.portal.Request", "Response")
        message.set_destination(sender)
        message.append(OPTIONS["response"], {}, signature="ua{sv}")
        self.connection.send_message(message)


class Watcher(Properties):
    @dbus.service.method(WATCHER, "s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender):
        note(service, sender)


if not os.path.exists(ADDRESS.split("=")[1]):
    DAEMON = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "dbus-daemon", "--session", "--nofork", "--print-address",
                               f"--address={ADDRESS}"], stdout=subprocess.PIPE)
    DAEMON.stdout.readline()
NAME, PATH, KIND = {
    "portal": ("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", Portal),
    "kit": ("org.freedesktop.RealtimeKit1", "/org/freedesktop/RealtimeKit1", real_time("org.freedesktop.RealtimeKit1")),
    "watcher": (WATCHER, "/StatusNotifierWatcher", Watcher)}[SERVICE]
BUS = dbus.bus.BusConnection(ADDRESS, mainloop=DBusGMainLoop())
OBJECT = KIND(BUS, PATH)
OWNED = dbus.service.BusName(NAME, BUS)
pathlib.Path(FILE).touch()
GLib.MainLoop().run()
