#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# A minimal StatusNotifierItem host for the desktop tests, on the session bus: "tw_sni_host.py
# FILE" owns org.kde.StatusNotifierWatcher and appends "SERVICE PATH" to FILE for each item that
# registers.
import sys

import dbus
import dbus.service

WATCHER = "org.kde.StatusNotifierWatcher"


class Watcher(dbus.service.Object):
    def __init__(self, bus, record):
        super().__init__(bus, "/StatusNotifierWatcher")
        self.record = record
        self.items = []

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        # An item names its object path or its bus name; the sender is the bus name.
        path = service if service.startswith("/") else "/StatusNotifierItem"
        name = sender if service.startswith("/") else service
        self.items.append(f"{name}{path}")
        with open(self.record, "a") as out:
            out.write(f"{name} {path}\n")
        self.StatusNotifierItemRegistered(f"{name}{path}")

    @dbus.service.signal(WATCHER, signature="s")
    def StatusNotifierItemRegistered(self, service):
        pass

    # Declared, since Qt reads the properties through an interface built from the description.
    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s")
    def Introspect(self):
        return f"""<node><interface name="{WATCHER}">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
</interface>
<interface name="{dbus.PROPERTIES_IFACE}">
  <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="v" direction="out"/></method>
  <method name="GetAll"><arg type="s" direction="in"/><arg type="a{{sv}}" direction="out"/></method>
</interface></node>"""

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.GetAll(interface)[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s"),
                "IsStatusNotifierHostRegistered": True, "ProtocolVersion": dbus.Int32(0)}


def host(record):
    from dbus.mainloop.glib import DBusGMainLoop
    from gi.repository import GLib
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    watcher = Watcher(bus, record)  # noqa: F841 (held while running)
    name = dbus.service.BusName(WATCHER, bus)  # noqa: F841 (held while running)
    open(record, "a").close()  # ready
    GLib.MainLoop().run()


if __name__ == "__main__":
    host(sys.argv[1])
