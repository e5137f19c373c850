#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
# Kill -9 trials: `vorn record` (no camera, the default microphone, 30 fps) is killed at a random
# moment 0.8-3 s into its take, the next run recovers the fragment, and the recovered take's
# picture and sound are measured against how long it recorded. Needs a display and a
# PulseAudio server with a live default source, and ffprobe.
#   python3 bench/kill_trials.py TRIALS [SEED]     (run from the repository, build in ./build)
import subprocess, time, signal, sys, os, random, tempfile
VORN=os.path.abspath('build/vorn')
random.seed(int(sys.argv[2]) if len(sys.argv)>2 else 1)
n=int(sys.argv[1]); folder=tempfile.mkdtemp(prefix='vorn-kill-'); os.makedirs(folder, exist_ok=True)
def dur(f, sel):
    o=subprocess.run(['ffprobe','-v','error','-select_streams',sel,'-show_entries','packet=pts_time,duration_time','-of','csv=p=0',f],capture_output=True,text=True).stdout.split()
    ts=[(float(a.split(',')[0]), float(a.split(',')[1]) if a.split(',')[1] not in ('','N/A') else 0) for a in o if a and a.split(',')[0] not in ('N/A','')]
    if not ts: return 0
    return max(t+d for t,d in ts)
res=[]
for i in range(n):
    for f in os.listdir(folder): os.remove(os.path.join(folder,f))
    out=f'{folder}/k.mp4'
    p=subprocess.Popen([VORN,'record','--seconds','60','--no-camera','--fps','30','--out',out],stdout=subprocess.PIPE,stderr=subprocess.STDOUT,text=True)
    while True:
        l=p.stdout.readline()
        if not l or l.startswith('Recording'): break
    t0=time.monotonic(); k=random.uniform(0.8,3.0)
    time.sleep(k); p.send_signal(signal.SIGKILL); p.wait(); el=time.monotonic()-t0
    subprocess.run([VORN,'record','--seconds','0.3','--no-camera','--no-mic','--out',f'{folder}/next.mp4'],capture_output=True)
    rec=[f for f in os.listdir(folder) if 'recovered' in f or f=='k.mp4']
    v=a=0
    if rec:
        v=dur(f'{folder}/{rec[0]}','v:0'); a=dur(f'{folder}/{rec[0]}','a:0')
    res.append((el,v,a)); print('killed after %.2f s: recovered video %.2f (lost %.2f), audio %.2f'%(el,v,el-v,a), flush=True)
lost=sorted(el-v for el,v,a in res)
print('lost: median %.2f max %.2f; nothing recovered %d/%d; |audio-video| max %.2f'%(lost[len(lost)//2],lost[-1],sum(1 for _,v,_ in res if v==0),n,max(abs(a-v) for _,v,a in res)))
