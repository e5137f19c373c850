#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
# Picture against sound through a real sound path: every 2 s the root window of a private X
# server turns white and a 1 kHz beep is played into a null sink whose monitor, remapped as a
# source, is the microphone. Both come from one clock: the beep is written right after the X
# server has the white root (`xsetroot` returns after its request is done), into a player
# (`pacat`, 10 ms buffer) that is fed as it reads. `vorn record` records an empty part of the
# root; the offset of each flash from its beep is read back from the take. Beside it, `parec` with a 5 ms buffer shows how long the
# rig's own sound path takes: a beep reaches a recording client that long after its flash.
# Then the same for a take of the studio (VORN_AUTORECORD), on a fresh rig.
#   python3 bench/flash_beep.py [SECONDS] [SPINNERS]    (from the repository, build in ./build)
import array, fcntl, math, os, subprocess, sys, tempfile, termios, threading, time

from private_servers import start_servers

VORN = os.path.abspath('build/vorn')

RATE = 48000
PIECE = RATE // 100  # 10 ms
PERIOD = 2.0
BEEP = 0.2


def start_rig(work):
    env, servers = start_servers(work, [f'module-null-sink sink_name=speakers rate={RATE}',
                                        'module-remap-source source_name=beepmic master=speakers.monitor'],
                                 'beepmic')
    subprocess.run(['xsetroot', '-solid', 'black'], env=env, check=True)
    return env, servers


def queued(pipe):
    """Bytes written to the player that it has not read yet."""
    count = array.array('i', [0])
    fcntl.ioctl(pipe.fileno(), termios.FIONREAD, count)
    return count[0]


def play(env, stop, flashed):
    """Writes silence, and a beep with each flash, in 10 ms pieces as the player takes them."""
    player = subprocess.Popen(['pacat', '--playback', '-d', 'speakers', '--raw', '--format=s16le',
                               f'--rate={RATE}', '--channels=1', '--latency-msec=10'],
                              stdin=subprocess.PIPE, env=env)
    silence = bytes(2 * PIECE)
    beep = array.array('h', (int(12000 * math.sin(2 * math.pi * 1000 * i / RATE))
                             for i in range(int(BEEP * RATE)))).tobytes()
    # Written as the player reads, not by the clock: it reads slowly while its stream starts,
    # and whatever waits in the pipe by then would delay every beep (about 0.6 s).
    next_flash = time.monotonic() + 2.0
    pending, white = b'', False
    while not stop.is_set():
        if time.monotonic() >= next_flash:
            subprocess.run(['xsetroot', '-solid', 'white'], env=env)
            flashed.append(time.monotonic())
            pending, white = beep, True
            next_flash += PERIOD
        elif white and time.monotonic() >= next_flash - PERIOD + 0.5:
            subprocess.run(['xsetroot', '-solid', 'black'], env=env)
            white = False
        if queued(player.stdin) >= 2 * PIECE:
            time.sleep(0.002)
            continue
        piece, pending = (pending[:2 * PIECE], pending[2 * PIECE:]) if pending else (silence, b'')
        player.stdin.write(piece.ljust(2 * PIECE, b'\0'))
        player.stdin.flush()
    player.stdin.close()
    player.wait()


def listen(env, stop, heard):
    """The monotonic times at which beeps reach a recording client."""
    client = subprocess.Popen(['parec', '-d', 'beepmic', '--raw', '--format=s16le', f'--rate={RATE}',
                               '--channels=1', '--latency-msec=5'], stdout=subprocess.PIPE, env=env)
    loud_at = -1e9
    while not stop.is_set():
        data = client.stdout.read1(2 * PIECE)
        now = time.monotonic()
        samples = array.array('h')
        samples.frombytes(data[:len(data) // 2 * 2])
        if samples and max(abs(x) for x in samples) > 3000:
            if now - loud_at > 0.5:
                heard.append(now)
            loud_at = now
    client.kill()
    client.wait()


def onsets(times, values, threshold, gap):
    """The times where values first rise over threshold after at least `gap` seconds under it."""
    found, last_high = [], -1e9
    for t, v in zip(times, values):
        if v > threshold:
            if t - last_high > gap:
                found.append(t)
            last_high = t
    return found


def flashes(take):
    out = subprocess.run(['ffprobe', '-v', 'error', '-f', 'lavfi', f'movie={take},signalstats',
                          '-show_entries', 'frame=pts_time:frame_tags=lavfi.signalstats.YAVG',
                          '-of', 'csv=p=0'], capture_output=True, text=True, check=True).stdout
    rows = [line.split(',') for line in out.split() if line.count(',') == 1]
    return onsets([float(t) for t, _ in rows], [float(y) for _, y in rows], 128, 0.5)


def beeps(take, work):
    start = float(subprocess.run(['ffprobe', '-v', 'error', '-select_streams', 'a:0', '-show_entries',
                                  'stream=start_time', '-of', 'csv=p=0', take],
                                 capture_output=True, text=True, check=True).stdout.strip())
    raw = os.path.join(work, 'sound.raw')
    subprocess.run(['ffmpeg', '-v', 'error', '-y', '-i', take, '-map', '0:a:0', '-ac', '1',
                    '-ar', str(RATE), '-f', 'f32le', raw], check=True)
    data = array.array('f')
    with open(raw, 'rb') as f:
        data.frombytes(f.read())
    window = RATE // 1000  # 1 ms of the envelope
    times, levels = [], []
    for i in range(0, len(data) - window, window):
        times.append(start + i / RATE)
        levels.append(max(abs(x) for x in data[i:i + window]))
    return onsets(times, levels, 0.1, 0.5)


def record(env, work, seconds):
    take = os.path.join(work, 'record.mp4')
    run = subprocess.run([VORN, 'record', '--seconds', str(seconds), '--no-camera', '--fps', '30',
                          '--layout', 'screen', '--style', 'floating', '--area', '100,100,540,960',
                          '--out', take], env=env, capture_output=True, text=True)
    return take if run.returncode == 0 else sys.exit(run.stdout + run.stderr)


def studio(env, work, seconds):
    """A take of the studio (its own frame, screen and floating card at 30 fps, no camera)."""
    config = os.path.join(work, 'config', 'Vorn')
    os.makedirs(config, exist_ok=True)
    with open(os.path.join(config, 'Vorn.conf'), 'w') as f:
        f.write('[General]\nprefs="@ByteArray({\\"layout\\":\\"screen\\",\\"style\\":\\"floating\\",'
                '\\"cameraOn\\":false,\\"micOn\\":true,\\"fps\\":30,\\"follow\\":false})"\n')
    run = subprocess.run([VORN], env=dict(env, VORN_AUTORECORD=str(seconds), QT_QPA_PLATFORM='xcb',
                                          XDG_CONFIG_HOME=os.path.join(work, 'config')),
                         capture_output=True, text=True, timeout=seconds + 120)
    takes = [line[6:] for line in run.stdout.splitlines() if line.startswith('take: ')]
    return takes[0] if takes else sys.exit(run.stdout + run.stderr)


def measure(name, take_of, seconds, spinners):
    work = tempfile.mkdtemp(prefix='vorn-flash-beep-')
    env, servers = start_rig(work)
    spin = [subprocess.Popen(['sh', '-c', 'while :; do :; done']) for _ in range(spinners)]
    stop = threading.Event()
    flashed, arrived = [], []
    player = threading.Thread(target=play, args=(env, stop, flashed))
    client = threading.Thread(target=listen, args=(env, stop, arrived))
    try:
        player.start()
        client.start()
        take = take_of(env, work, seconds)
        stop.set()
        player.join()
        client.join()
        path = sorted(1000 * min((b - f for b in arrived if b >= f), default=1e9) for f in flashed)
        path = [p for p in path if p < 1000]
        if path:
            print('%s: the rig\'s beeps reach parec %.1f–%.1f ms after their flash (median %.1f)'
                  % (name, path[0], path[-1], path[len(path) // 2]))
        seen, heard = flashes(take), beeps(take, work)
        offsets = sorted(f - b for f in seen for b in heard if abs(f - b) < 1.0)
        print(f'{name}: {len(seen)} flashes, {len(heard)} beeps, {len(offsets)} paired')
        if offsets:
            print(f'{name}: picture after sound (ms): ' + ' '.join('%.1f' % (1000 * o) for o in offsets))
            print('%s: min %.1f, median %.1f, max %.1f ms' % (name, 1000 * offsets[0],
                  1000 * offsets[len(offsets) // 2], 1000 * offsets[-1]), flush=True)
    finally:
        stop.set()
        player.join()
        client.join()
        for p in spin + servers:
            p.kill()
            p.wait()
        if not os.environ.get('KEEP'):
            subprocess.run(['rm', '-rf', work])
        else:
            print(work)


def main():
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 20
    spinners = int(sys.argv[2]) if len(sys.argv) > 2 else 0
    measure('vorn record', record, seconds, spinners)
    measure('studio', studio, seconds, spinners)


main()
