#!/usr/bin/python3
"""The tray on StatusNotifierItem desktops (KDE, GNOME with AppIndicator, Xfce): the real corvane
against a StatusNotifierWatcher written here, on a private D-Bus session bus.
sni_e2e.py CORVANE_BINARY CASE. Needs Debian's python3-dbus and python3-gi."""

import subprocess

import dbus, dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

import harness
from harness import wait_until

WATCHER = "org.kde.StatusNotifierWatcher"
# Qt reads IsStatusNotifierHostRegistered through an introspected interface, so the property must
# be in the introspection data, which dbus-python does not generate for properties.
INTROSPECTION = f"""<node><interface name="{WATCHER}">
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
</interface></node>"""


class Watcher(dbus.service.Object):
    """What a panel provides: the watcher, with a host registered, that items register with."""

    def __init__(self, bus):
        super().__init__(bus, "/StatusNotifierWatcher")
        self.items = []  # bus names

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierItem(self, service):
        self.items.append(str(service))

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):  # IsStatusNotifierHostRegistered, the one Qt asks for
        return dbus.Boolean(True)

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s")
    def Introspect(self):
        return INTROSPECTION


def case_menu(s):
    """The item registers with Corvane's icon and menu, and a click on Run Startup Commands sent
    by the host starts a run."""
    bus_daemon = s.spawn(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    address = bus_daemon.stdout.readline().strip()
    s.env["DBUS_SESSION_BUS_ADDRESS"] = address
    s.start_display(tray=False)  # no XEmbed tray: only the StatusNotifierItem host
    s.fake_kitty()

    DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(address)
    watcher = Watcher(bus)
    bus.request_name(WATCHER)
    app = s.start_corvane()

    def registered():  # serves the bus, so that the watcher answers
        while GLib.MainContext.default().iteration(False):
            pass
        return watcher.items
    wait_until("the item to register", registered)

    item = bus.get_object(watcher.items[0], "/StatusNotifierItem")
    props = item.GetAll("org.kde.StatusNotifierItem", dbus_interface=dbus.PROPERTIES_IFACE)
    assert props["ToolTip"][2] == "Corvane", props["ToolTip"]
    assert props["IconName"] or any(len(p[2]) for p in props["IconPixmap"]), "no icon"
    assert s.visible_windows(app) == [], "the fallback window must not show beside a tray"

    menu = dbus.Interface(bus.get_object(watcher.items[0], props["Menu"]), "com.canonical.dbusmenu")
    menu.AboutToShow(0)  # as hosts do before showing a menu
    _, (_, _, children) = menu.GetLayout(0, -1, [])
    # The top level's visible entries by label (a separator has none), with their ids.
    entries = {str(props.get("label", "-")): int(i)
               for i, props, _ in children if props.get("visible", True)}
    assert list(entries) == ["Run Startup Commands", "Edit Commands…", "-", "Check for Updates…",
                             "Quit Corvane"], entries
    menu.Event(entries["Run Startup Commands"], "clicked", dbus.Int32(0, variant_level=1),
               dbus.UInt32(0))
    s.take_starts(2)
    assert app.poll() is None, "corvane exited"


harness.main(globals())
