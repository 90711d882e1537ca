"""What a desktop offers on the session bus: a settings portal that knows whether it is dark (argument: light or dark; a
signal USR1 turns it over), and a tray."""

import signal
import sys

from gi.repository import Gio, GLib

INTERFACE = """<node><interface name="org.freedesktop.portal.Settings">
<method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
<signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface></node>"""
TRAY = """<node><interface name="org.kde.StatusNotifierWatcher">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
<property name="RegisteredStatusNotifierItems" type="as" access="read"/>
</interface></node>"""
PATH = "/org/freedesktop/portal/desktop"
NAME = ("org.freedesktop.appearance", "color-scheme")
dark = sys.argv[1] == "dark"
items = []


def value():
    return GLib.Variant("u", 1 if dark else 2)


def call(_connection, _sender, _path, _interface, _method, parameters, invocation):
    if parameters.unpack() == NAME:
        invocation.return_value(GLib.Variant("(v)", (GLib.Variant("v", value()),)))
    else:
        invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", "no such setting")


def take_item(_connection, _sender, _path, _interface, _method, parameters, invocation):
    items.append(parameters.unpack()[0])
    invocation.return_value(None)


def tray_property(_connection, _sender, _path, _interface, name):
    return GLib.Variant("b", True) if name.startswith("Is") else GLib.Variant("as", items)


def turn_over():
    global dark
    dark = not dark
    bus.emit_signal(None, PATH, "org.freedesktop.portal.Settings", "SettingChanged",
                    GLib.Variant("(ssv)", (*NAME, value())))
    return True


bus = Gio.bus_get_sync(Gio.BusType.SESSION)
bus.register_object(PATH, Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0], call)
bus.register_object("/StatusNotifierWatcher", Gio.DBusNodeInfo.new_for_xml(TRAY).interfaces[0], take_item, tray_property)
for name in ("org.freedesktop.portal.Desktop", "org.kde.StatusNotifierWatcher"):
    Gio.bus_own_name_on_connection(bus, name, Gio.BusNameOwnerFlags.NONE)
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, turn_over)
GLib.MainLoop().run()
