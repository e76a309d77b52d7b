#!/usr/bin/python3
"""A desktop's watcher of tray icons, with a tray. Prints the names of the icons that register."""
import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

NAME = "org.kde.StatusNotifierWatcher"


class Watcher(dbus.service.Object):
    @dbus.service.method(NAME, "s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender):
        assert service == sender
        print(service, flush=True)

    @dbus.service.method("org.freedesktop.DBus.Properties", "ss", "v")
    def Get(self, interface, name):
        assert (interface, name) == (NAME, "IsStatusNotifierHostRegistered")
        return True


DBusGMainLoop(set_as_default=True)
BUS = dbus.SessionBus()
WATCHER = Watcher(BUS, "/StatusNotifierWatcher")
OWNED = dbus.service.BusName(NAME, BUS)
GLib.MainLoop().run()
