#!/usr/bin/python3
"""A desktop's mail portal that keeps what it is given.

portal_double.py BUS VERSION RESPONSE FILE: on a bus of its own at that address, answers with RESPONSE (a number, or
"never"), and leaves in FILE, as JSON, the options of the call; descriptors as what can be read from them. Makes a file
named like the bus and ".ready" when it can be called, and ends with its standard input.
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

EMAIL = "org.freedesktop.portal.Email"
ADDRESS, VERSION, RESPONSE, FILE = sys.argv[1], int(sys.argv[2]), *sys.argv[3:]


def plain(value):
    if isinstance(value, dbus.types.UnixFd):
        with os.fdopen(value.take(), "rb") as file:
            return file.read().decode("latin-1")
    if isinstance(value, list):
        return [plain(entry) for entry in value]
    return str(value)


class Portal(dbus.service.Object):
    @dbus.service.method("org.freedesktop.DBus.Properties", "ss", "v")
    def Get(self, interface, name):
        assert (interface, name) == (EMAIL, "version")
        return dbus.UInt32(VERSION)

    @dbus.service.method(EMAIL, "sa{sv}", "o", sender_keyword="sender")
    def ComposeEmail(self, parent, options, sender):
        with open(FILE, "w", encoding="utf-8") as file:
            json.dump({"parent": str(parent), **{str(k): plain(v) for k, v in options.items()}}, file)
        path = "/org/freedesktop/portal/desktop/request/%s/%s" % (
            sender[1:].replace(".", "_"), options["handle_token"])
        if RESPONSE != "never":
            GLib.idle_add(self.respond, path, sender)
        return dbus.ObjectPath(path)

    def respond(self, path, sender):
        message = dbus.lowlevel.SignalMessage(path, "org.freedesktop.portal.Request", "Response")
        message.set_destination(sender)
        message.append(int(RESPONSE), {}, signature="ua{sv}")
        self.connection.send_message(message)


DAEMON = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "dbus-daemon", "--session", "--nofork", "--print-address",
                           f"--address={ADDRESS}"], stdout=subprocess.PIPE)
DAEMON.stdout.readline()
BUS = dbus.bus.BusConnection(ADDRESS, mainloop=DBusGMainLoop())
NAME = dbus.service.BusName("org.freedesktop.portal.Desktop", BUS)
PORTAL = Portal(BUS, "/org/freedesktop/portal/desktop")
pathlib.Path(ADDRESS.split("=")[1] + ".ready").touch()
LOOP = GLib.MainLoop()
GLib.io_add_watch(sys.stdin, GLib.IO_HUP, lambda *_: LOOP.quit())
LOOP.run()
