# SPDX-License-Identifier: GPL-3.0-or-later
"""A private X server and PulseAudio server for the benches that run `vorn` as a user would."""
import os, subprocess, sys, time


def wait_for(condition, seconds, what):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return
        time.sleep(0.05)
    sys.exit(f'{what} did not start')


def start_servers(work, modules, source):
    """Xvfb (1920 × 1080) and PulseAudio loading `modules`, with `source` as the default source.
    Returns the environment that reaches them (HOME is `work`) and their processes."""
    display = ':%d' % (200 + os.getpid() % 500)
    xvfb = subprocess.Popen(['Xvfb', display, '-screen', '0', '1920x1080x24', '-nolisten', 'tcp'],
                            stderr=subprocess.DEVNULL)
    wait_for(lambda: subprocess.run(['xdpyinfo', '-display', display], capture_output=True).returncode == 0,
             20, 'Xvfb')
    runtime = os.path.join(work, 'pulse')
    os.makedirs(runtime)
    env = dict(os.environ, PULSE_RUNTIME_PATH=runtime, DISPLAY=display, HOME=work,
               XDG_RUNTIME_DIR=runtime, PULSE_SERVER=f'unix:{runtime}/native')
    env.pop('WAYLAND_DISPLAY', None)
    env.pop('XDG_SESSION_TYPE', None)
    loads = [argument for module in ['module-native-protocol-unix'] + modules for argument in ('-L', module)]
    pulse = subprocess.Popen(['pulseaudio', '-n', '--daemonize=no', '--exit-idle-time=-1',
                              '--use-pid-file=no'] + loads, env=env, stderr=subprocess.DEVNULL)
    wait_for(lambda: subprocess.run(['pactl', 'set-default-source', source], env=env,
                                    capture_output=True).returncode == 0, 20, 'PulseAudio')
    return env, [xvfb, pulse]
