# SPDX-License-Identifier: GPL-3.0-or-later
# gnome-input.py STEP...: a person's input in the walkthrough's GNOME session, through mutter's
# RemoteDesktop. Steps: tab space ret down shift esc (keys), move:X,Y (pointer), click, press,
# release.
import sys, time, gi
gi.require_version('Gio', '2.0')
from gi.repository import Gio, GLib
bus = Gio.bus_get_sync(Gio.BusType.SESSION)
def call(path, iface, method, sig=None, args=None):
    return bus.call_sync('org.gnome.Mutter.RemoteDesktop', path, iface, method, GLib.Variant(sig, args) if sig else None, None, 0, -1, None)
s = call('/org/gnome/Mutter/RemoteDesktop', 'org.gnome.Mutter.RemoteDesktop', 'CreateSession').unpack()[0]
call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'Start')
names = {'tab': 0xff09, 'space': 0x20, 'ret': 0xff0d, 'down': 0xff54, 'shift': 0xffe1, 'esc': 0xff1b}
for k in sys.argv[1:]:
    if k.startswith('move:'):
        x, y = map(float, k[5:].split(','))
        call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'NotifyPointerMotionRelative', '(dd)', (5000.0, 5000.0)); time.sleep(0.1)
        call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'NotifyPointerMotionRelative', '(dd)', (x - 1920, y - 1080)); time.sleep(0.2)
        continue
    if k in ('press', 'release'):
        call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'NotifyPointerButton', '(ib)', (0x110, k == 'press')); time.sleep(0.1)
        continue
    if k == 'click':
        for p in (True, False):
            call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'NotifyPointerButton', '(ib)', (0x110, p)); time.sleep(0.05)
        continue
    for p in (True, False):
        call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'NotifyKeyboardKeysym', '(ub)', (names[k], p)); time.sleep(0.05)
    time.sleep(0.3)
call(s, 'org.gnome.Mutter.RemoteDesktop.Session', 'Stop')
