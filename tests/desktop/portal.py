#!/usr/bin/python3
"""A desktop's portal that knows the toolkits' switch for animations, and what Set is called with."""
import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

SETTINGS = "org.freedesktop.portal.Settings"
VALUES = {("org.gnome.desktop.interface", "enable-animations"): True}


class Portal(dbus.service.Object):
    @dbus.service.method(SETTINGS, "ss", "v")
    def Read(self, group, key):
        return VALUES[(group, key)]

    @dbus.service.method(SETTINGS, "ssv")
    def Set(self, group, key, value):
        VALUES[(group, key)] = value
        self.SettingChanged(group, key, value)

    @dbus.service.signal(SETTINGS, "ssv")
    def SettingChanged(self, group, key, value):
        pass


DBusGMainLoop(set_as_default=True)
BUS = dbus.SessionBus()
PORTAL = Portal(BUS, "/org/freedesktop/portal/desktop")
OWNED = dbus.service.BusName("org.freedesktop.portal.Desktop", BUS)
GLib.MainLoop().run()
