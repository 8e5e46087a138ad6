# A dbusmock template: GeoClue with one client and one place. It wants to know who asks and how
# exactly, as the real one does.
BUS_NAME = "org.freedesktop.GeoClue2"
MAIN_OBJ = "/org/freedesktop/GeoClue2/Manager"
MAIN_IFACE = "org.freedesktop.GeoClue2.Manager"
SYSTEM_BUS = True

CLIENT = "org.freedesktop.GeoClue2.Client"
START = f"""
wants = self.props["{CLIENT}"]
if wants["DesktopId"] != "shop" or wants["RequestedAccuracyLevel"] != 8:
    raise dbus.DBusException("not exactly asked", name="org.freedesktop.DBus.Error.AccessDenied")
self.props["{CLIENT}"]["Location"] = dbus.ObjectPath("/location")
"""


def load(mock, _parameters):
    import dbus

    mock.AddProperty(MAIN_IFACE, "AvailableAccuracyLevel", dbus.UInt32(8))
    mock.AddMethod(MAIN_IFACE, "GetClient", "", "o", "ret = dbus.ObjectPath('/client')")
    client = {"DesktopId": "", "TimeThreshold": dbus.UInt32(0),
              "RequestedAccuracyLevel": dbus.UInt32(0), "Location": dbus.ObjectPath("/")}
    mock.AddObject("/client", CLIENT, client, [("Start", "", "", START), ("Stop", "", "", "")])
    place = {"Latitude": 48.5, "Longitude": 2.25, "Accuracy": 10.0, "Altitude": 35.0,
             "Speed": -1.0, "Heading": -1.0,
             "Timestamp": dbus.Struct((dbus.UInt64(1700000000), dbus.UInt64(0)), signature="tt")}
    mock.AddObject("/location", "org.freedesktop.GeoClue2.Location", place, [])
