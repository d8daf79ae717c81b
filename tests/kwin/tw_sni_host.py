#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# A minimal StatusNotifierItem host for the desktop tests, on the session bus: "host FILE" owns
# org.kde.StatusNotifierWatcher and appends "SERVICE PATH" to FILE for each item that registers;
# "show SERVICE PATH" prints what a panel reads (icon, tooltip, menu labels); "call SERVICE PATH
# METHOD" calls Activate or SecondaryActivate.
import sys

import dbus
import dbus.service

ITEM = "org.kde.StatusNotifierItem"
WATCHER = "org.kde.StatusNotifierWatcher"
MENU = "com.canonical.dbusmenu"


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


def menu_labels(bus, service, path):
    properties = dbus.Interface(bus.get_object(service, path), dbus.PROPERTIES_IFACE)
    menu = dbus.Interface(bus.get_object(service, properties.Get(ITEM, "Menu")), MENU)
    menu.AboutToShow(0)  # the menu is built as it opens
    _, (_, _, children) = menu.GetLayout(0, -1, dbus.Array([], signature="s"))
    return [str(props.get("label", "")).replace("_", "") for _, props, _ in children
            if props.get("type") != "separator"]


def show(bus, service, path):
    item = dbus.Interface(bus.get_object(service, path), dbus.PROPERTIES_IFACE)
    values = item.GetAll(ITEM)
    pixmaps = [f"{int(w)}x{int(h)}" for w, h, data in values.get("IconPixmap", [])
               if len(data) == 4 * int(w) * int(h)]
    print("IconName=" + str(values.get("IconName", "")))
    print("IconPixmap=" + ",".join(pixmaps))
    tooltip = values.get("ToolTip", ("", [], "", ""))
    print("ToolTip=" + str(tooltip[2]))
    print("Menu=" + "|".join(menu_labels(bus, service, path)))


def main():
    command, args = sys.argv[1], sys.argv[2:]
    if command == "host":
        return host(args[0])
    bus = dbus.SessionBus()
    service, path = args[0], args[1]
    if command == "show":
        show(bus, service, path)
    elif command == "call":
        dbus.Interface(bus.get_object(service, path), ITEM).get_dbus_method(args[2])(
            dbus.Int32(0), dbus.Int32(0))


if __name__ == "__main__":
    main()
