"""A settings portal that knows one thing: whether the desktop is dark. Argument: light or dark; a signal USR1 turns it
over."""

import signal
import sys

from gi.repository import Gio, GLib

INTERFACE = """<node><interface name="org.freedesktop.portal.Settings">
<method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
<signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface></node>"""
PATH = "/org/freedesktop/portal/desktop"
NAME = ("org.freedesktop.appearance", "color-scheme")
dark = sys.argv[1] == "dark"


def value():
    return GLib.Variant("u", 1 if dark else 2)


def call(_connection, _sender, _path, _interface, _method, parameters, invocation):
    if parameters.unpack() == NAME:
        invocation.return_value(GLib.Variant("(v)", (GLib.Variant("v", value()),)))
    else:
        invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", "no such setting")


def turn_over():
    global dark
    dark = not dark
    bus.emit_signal(None, PATH, "org.freedesktop.portal.Settings", "SettingChanged",
                    GLib.Variant("(ssv)", (*NAME, value())))
    return True


bus = Gio.bus_get_sync(Gio.BusType.SESSION)
bus.register_object(PATH, Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0], call)
Gio.bus_own_name_on_connection(bus, "org.freedesktop.portal.Desktop", Gio.BusNameOwnerFlags.NONE)
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, turn_over)
GLib.MainLoop().run()
