#!/usr/bin/python3
"""A desktop's mail portal that keeps what it is given.

portal_double.py VERSION RESPONSE FILE: answers with RESPONSE (a number, or "never"), and leaves in
FILE, as JSON, the options of the call; descriptors as what can be read from them. Prints the
address of its bus, the session's, when it can be called.
"""
import json
import os
import sys

import dbus
import dbus.lowlevel
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

EMAIL = "org.freedesktop.portal.Email"
VERSION, RESPONSE, FILE = int(sys.argv[1]), sys.argv[2], sys.argv[3]


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


DBusGMainLoop(set_as_default=True)
BUS = dbus.SessionBus()
NAME = dbus.service.BusName("org.freedesktop.portal.Desktop", BUS)
PORTAL = Portal(BUS, "/org/freedesktop/portal/desktop")
print(os.environ["DBUS_SESSION_BUS_ADDRESS"], flush=True)
GLib.MainLoop().run()
