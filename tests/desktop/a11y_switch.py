"""Turns the session's accessibility support on (1) or off (0): org.a11y.Status.IsEnabled.
Exits 0 once the AT-SPI bus answered."""

import sys

from gi.repository import Gio, GLib

bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
bus.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set",
              GLib.Variant("(ssv)", ("org.a11y.Status", "IsEnabled",
                                     GLib.Variant("b", sys.argv[1] == "1"))),
              None, Gio.DBusCallFlags.NONE, 2000, None)
bus.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None,
              GLib.VariantType("(s)"), Gio.DBusCallFlags.NONE, 2000, None)
