#!/usr/bin/python3
"""The tray on StatusNotifierItem desktops (KDE, GNOME with AppIndicator, Xfce): the real corvane
against a StatusNotifierWatcher and host written here, on a private D-Bus session bus.
sni_e2e.py CORVANE_BINARY CASE. Needs Debian's python3-dbus and python3-gi."""

import os, subprocess, time

import dbus, dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

import harness
from harness import wait_until

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
DBUSMENU = "com.canonical.dbusmenu"
# Qt reads IsStatusNotifierHostRegistered through an introspected interface, so the properties
# must be in the introspection data, which dbus-python does not generate for them.
INTROSPECTION = f"""<node>
  <interface name="{WATCHER}">
    <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
    <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
    <signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
    <signal name="StatusNotifierHostRegistered"/>
  </interface>
  <interface name="{dbus.PROPERTIES_IFACE}">
    <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="v" direction="out"/></method>
    <method name="GetAll"><arg type="s" direction="in"/><arg type="a{{sv}}" direction="out"/></method>
  </interface>
  <interface name="{dbus.INTROSPECTABLE_IFACE}">
    <method name="Introspect"><arg type="s" direction="out"/></method>
  </interface>
</node>"""


class Watcher(dbus.service.Object):
    """org.kde.StatusNotifierWatcher with a host always registered: what a panel provides."""

    def __init__(self, bus):
        super().__init__(bus, "/StatusNotifierWatcher")
        self.items = []  # (bus name, object path)

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender):
        # Items name their bus name, or (libappindicator style) only their object path.
        item = (sender, service) if service.startswith("/") else (service, "/StatusNotifierItem")
        self.items.append(tuple(map(str, item)))
        self.StatusNotifierItemRegistered("".join(item))

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        pass

    @dbus.service.signal(WATCHER, signature="s")
    def StatusNotifierItemRegistered(self, item):
        pass

    def properties(self):
        return {"RegisteredStatusNotifierItems": dbus.Array(["".join(i) for i in self.items],
                                                            signature="s"),
                "IsStatusNotifierHostRegistered": dbus.Boolean(True),
                "ProtocolVersion": dbus.Int32(0)}

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.properties()[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return self.properties()

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s")
    def Introspect(self):
        return INTROSPECTION


def serve_until(what, predicate):
    """Runs the bus's main loop (so that the watcher answers) until `predicate` holds."""
    loop, deadline = GLib.MainLoop(), time.monotonic() + harness.TIMEOUT
    def check():
        if predicate() or time.monotonic() > deadline:
            loop.quit()
        return True
    GLib.timeout_add(50, check)
    loop.run()
    assert predicate(), f"timed out waiting for {what}"


def menu_entries(menu):
    """The top level of a dbusmenu as (label or '-', enabled) pairs, hidden entries left out."""
    _, (_, _, children) = menu.GetLayout(0, -1, [])
    entries = []
    for _, props, _ in children:
        if not props.get("visible", True):
            continue
        label = "-" if props.get("type") == "separator" else str(props.get("label", ""))
        entries.append((label, bool(props.get("enabled", True))))
    return entries


def case_menu(s):
    """The item registers, shows Corvane's icon and five entries, and a click on Run Startup
    Commands sent by the host starts a run."""
    bus_daemon = s.spawn(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    address = bus_daemon.stdout.readline().strip()
    s.env["DBUS_SESSION_BUS_ADDRESS"] = address
    s.start_display(tray=False)  # no XEmbed tray: only the StatusNotifierItem host
    s.fake_terminal("kitty")
    s.write_config("kitty", [("one", ["echo one"]), ("two", ["echo two"])])

    DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(address)
    watcher = Watcher(bus)
    bus.request_name(WATCHER)
    bus.request_name(f"org.kde.StatusNotifierHost-{os.getpid()}")
    app = s.start_corvane()
    serve_until("the item to register", lambda: watcher.items)

    name, path = watcher.items[0]
    item = bus.get_object(name, path).GetAll(ITEM, dbus_interface=dbus.PROPERTIES_IFACE)
    assert item["ToolTip"][2] == "Corvane", item["ToolTip"]
    assert item["IconName"] or any(len(p[2]) for p in item["IconPixmap"]), "no icon"
    assert s.visible_windows(app) == [], "the fallback window must not show beside a tray"

    menu = dbus.Interface(bus.get_object(name, item["Menu"]), DBUSMENU)
    menu.AboutToShow(0)  # as hosts do before showing a menu
    entries = menu_entries(menu)
    assert entries == [("Run Startup Commands", True), ("Edit Commands…", True), ("-", True),
                       ("Check for Updates…", False), ("Quit Corvane", True)], entries

    _, (_, _, children) = menu.GetLayout(0, -1, [])
    run_id = next(i for i, props, _ in children if props.get("label") == "Run Startup Commands")
    menu.Event(run_id, "clicked", dbus.Int32(0, variant_level=1), dbus.UInt32(0))
    # A run lasts a pause per window, long enough to be seen.
    wait_until("the entry to read Running…", lambda: ("Running…", False) in menu_entries(menu))
    s.wait_for_starts(2)
    wait_until("the entry to come back", lambda: menu_entries(menu)[0] == entries[0])
    s.alive(app)


harness.main({name[5:]: f for name, f in globals().items() if name.startswith("case_")})
