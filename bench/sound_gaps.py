#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
# Sound kept whole under load: a private X server and PulseAudio server whose default source is
# a steady 440 Hz sine; `vorn record` (no camera, 30 fps) records it for SECONDS while SPINNERS
# processes spin, and `parec` records the same source beside it. Each recording's sound is then
# searched for silent runs (gaps) and for breaks in the sine (samples lost or repeated).
#   python3 bench/sound_gaps.py SECONDS [SPINNERS]     (from the repository, build in ./build)
import math, os, signal, subprocess, sys, tempfile, time

from private_servers import start_servers

VORN = os.path.abspath('build/vorn')

RATE = 48000
TONE = 440.0


def samples_of(path, raw):
    subprocess.run(['ffmpeg', '-v', 'error', '-y', '-i', path, '-map', '0:a:0', '-ac', '1', '-ar', str(RATE),
                    '-f', 'f32le', raw], check=True)
    import array
    data = array.array('f')
    with open(raw, 'rb') as f:
        data.frombytes(f.read())
    return data


def faults(data):
    """Silent runs of 5 ms or more, and breaks where the sine does not continue."""
    gaps, breaks = [], 0
    quiet_from = None
    k = 2 * math.cos(2 * math.pi * TONE / RATE)
    skip = RATE // 2  # the take's first half second may open on the encoder's ramp
    for i in range(skip, len(data)):
        if abs(data[i]) < 1e-3 and abs(data[i - 1]) < 1e-3:
            quiet_from = i if quiet_from is None else quiet_from
            continue
        if quiet_from is not None:
            if i - quiet_from >= RATE // 200:
                gaps.append((i - quiet_from) / RATE)
            quiet_from = None
        # A sine obeys x[n] = k x[n-1] - x[n-2]; AAC leaves a small residue, a cut a large one.
        if abs(data[i] - (k * data[i - 1] - data[i - 2])) > 0.25:
            breaks += 1
    return gaps, breaks


def report(name, path, work):
    data = samples_of(path, os.path.join(work, name + '.raw'))
    gaps, breaks = faults(data)
    print('%s: %.1f s of sound, %d gaps totalling %.3f s (longest %.3f s), %d breaks in the sine'
          % (name, len(data) / RATE, len(gaps), sum(gaps), max(gaps, default=0), breaks), flush=True)


def main():
    seconds = float(sys.argv[1])
    spinners = int(sys.argv[2]) if len(sys.argv) > 2 else 2
    work = tempfile.mkdtemp(prefix='vorn-gaps-')
    env, servers = start_servers(work, ['module-null-sink sink_name=speakers',
                                        f'module-sine-source source_name=tone rate={RATE} frequency={int(TONE)}'],
                                 'tone')
    spin = [subprocess.Popen(['sh', '-c', 'while :; do :; done']) for _ in range(spinners)]
    try:
        take = os.path.join(work, 'take.mp4')
        control = os.path.join(work, 'parec.wav')
        parec = subprocess.Popen(['parec', '-d', 'tone', '--file-format=wav', '--format=float32le',
                                  '--channels=1', f'--rate={RATE}', control], env=env)
        run = subprocess.run([VORN, 'record', '--seconds', str(seconds), '--no-camera', '--fps', '30',
                              '--out', take], env=env, capture_output=True, text=True)
        parec.send_signal(signal.SIGINT)
        parec.wait()
        # The take's own lines, without the meter's line a second.
        print('\n'.join(l for l in (run.stdout + run.stderr).splitlines() if not l.startswith('recording ')), flush=True)
        report('vorn', take, work)
        report('parec', control, work)
    finally:
        for p in spin + servers:
            p.kill()
            p.wait()
        subprocess.run(['rm', '-rf', work])


main()
