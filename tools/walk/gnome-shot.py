# SPDX-License-Identifier: GPL-3.0-or-later
# gnome-shot.py OUT.png: a screenshot of the walkthrough's GNOME session through mutter's own
# ScreenCast (no dialog), read with GStreamer's pipewiresrc. Walkthrough aid, not a test.
import sys, subprocess, gi
gi.require_version('Gio', '2.0')
from gi.repository import Gio, GLib
bus = Gio.bus_get_sync(Gio.BusType.SESSION)
loop = GLib.MainLoop()
def call(path, iface, method, sig=None, args=None):
    return bus.call_sync('org.gnome.Mutter.ScreenCast', path, iface, method, GLib.Variant(sig, args) if sig else None, None, 0, -1, None)
s = call('/org/gnome/Mutter/ScreenCast', 'org.gnome.Mutter.ScreenCast', 'CreateSession', '(a{sv})', ({},)).unpack()[0]
st = call(s, 'org.gnome.Mutter.ScreenCast.Session', 'RecordMonitor', '(sa{sv})', ('', {'cursor-mode': GLib.Variant('u', 1)})).unpack()[0]
def added(conn, snd, p, iface, sig, params):
    node = params.unpack()[0]
    subprocess.run(['gst-launch-1.0', '-q', 'pipewiresrc', 'path=%d' % node, 'num-buffers=3', '!', 'videoconvert', '!', 'pngenc', 'snapshot=true', '!', 'filesink', 'location=' + sys.argv[1]], timeout=20)
    loop.quit()
bus.signal_subscribe(None, 'org.gnome.Mutter.ScreenCast.Stream', 'PipeWireStreamAdded', st, None, 0, added)
call(s, 'org.gnome.Mutter.ScreenCast.Session', 'Start')
loop.run()
call(s, 'org.gnome.Mutter.ScreenCast.Session', 'Stop')
