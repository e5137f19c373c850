#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""How postable vorncut's reels are, against takes whose truth is known.

    python3 bench/reel_quality.py [BUILD_DIR] [--keep] [--script-only] [TAKE...]

--keep leaves the takes, reels and each take's truth (NAME.truth.json) in a folder it names;
--script-only skips the runs that listen freely.

Each take is a story of about 1.5 minutes that espeak-ng reads (through libespeak-ng, so every
word's place in the sound is known) with fillers, a false start, an off-topic aside and long
pauses; its picture numbers itself, so repeated pictures can be counted. The takes: plain, over a
steady hiss, said far from the microphone, over a loud fan, over a music bed, over a softer fan.
Each is cut twice, listening freely and with the script (the story without the fillers, the
false start and the aside).

Per reel: word error of the words heard against what was said (and of the sure words against
the words read from the script); sentence starts against their
sound (median, worst); the share of the reel's pictures whose lit caption word is not being said while the picture
is up (and of moments, farther than 100 ms from it);
the hook, punchline and aside; cut edges inside a spoken word; repeated pictures; integrated
loudness and true peak; caption words burned in under the confidence threshold.
"""
import ctypes
import glob
import json
import math
import multiprocessing
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import wave

SURE = 0.6  # kSureConfidence in src/cut/Words.h
RATE = 22050
FPS = 30  # the takes' picture rate, and so the reels'
LEAD, GAP, LONG_GAP, TAIL = 1.0, 1.2, 3.5, 1.5

# The story as said. [Bracketed] words are said but not in the script; a line starting with
# "aside:" is said and not in the script at all. The first line is the hook; the last pays it off.
STORY = [
    "The worst email I ever sent got me promoted.",
    "[So um,] it was my first week at a new job in a big office.",
    "My manager asked me to send the weekly report to the whole team.",
    "I wrote it late at night, [you know,] tired and in a hurry.",
    "I attached the wrong file, [uh,] a spreadsheet with everybody's salary.",
    "[I sent the] I sent the whole report with that file to forty people.",
    "aside: By the way, my cat once knocked a full glass of juice onto my keyboard.",
    "aside: Anyway.",
    "The next morning my manager called me into her office.",
    "I was sure she would fire me on the spot.",
    "Instead she said the salaries were unfair and nobody had dared to say it.",
    "[I mean,] the team had been asking about pay for two years.",
    "Within a month everybody on the team got a raise.",
    "My manager told the director that my report started it.",
    "[Okay so,] three months later I was leading the team myself.",
    "So check your attachments, but never be afraid of an honest mistake.",
    "And that is how the worst email I ever sent got me promoted.",
]
# After these lines the speaker pauses long.
LONG_PAUSE_AFTER = {4, 11}

def pink(amplitude):
    return f"anoisesrc=c=pink:seed=3:r={RATE}:a={amplitude}"


# A music bed about 14 dB under the voice: a chord every 2 s (C, A minor, F, G: root, third,
# fifth) over a kick drum on every half second.
_ROOT = "if(eq(mod(floor(t/2),4),0),261.63,if(eq(mod(floor(t/2),4),1),220,if(eq(mod(floor(t/2),4),2),174.61,196)))"
_THIRD = "if(eq(mod(floor(t/2),4),1),1.19,1.26)"
MUSIC = (f"aevalsrc='0.05*((sin(2*PI*{_ROOT}*t)+0.6*sin(2*PI*{_ROOT}*{_THIRD}*t)"
         f"+0.5*sin(2*PI*{_ROOT}*1.5*t))/2.1+0.8*sin(2*PI*60*t)*exp(-12*mod(t,0.5)))':s={RATE}")

TAKES = [
    # name, espeak voice, words a minute, voice gain (dB), the sound under the voice (none)
    ("plain", "en-us", 160, 0, None),
    ("hiss", "en", 170, 0, pink(0.02)),
    ("far", "en-us+m3", 150, -24, None),
    ("fan", "en+f3", 165, 0, pink(0.25)),
    ("music", "en-us+f2", 155, 0, MUSIC),
    ("softfan", "en+f3", 165, 0, pink(0.1)),
]


# -- the take ------------------------------------------------------------------------------------

class EspeakEvent(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("unique_identifier", ctypes.c_uint),
                ("text_position", ctypes.c_int), ("length", ctypes.c_int),
                ("audio_position", ctypes.c_int), ("sample", ctypes.c_int),
                ("user_data", ctypes.c_void_p), ("id", ctypes.c_char * 8)]


Callback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(ctypes.c_short), ctypes.c_int,
                            ctypes.POINTER(EspeakEvent))
WORD_EVENT, END_EVENT = 1, 5


class Espeak:
    def __init__(self):
        self.lib = ctypes.CDLL("libespeak-ng.so.1")
        if self.lib.espeak_Initialize(2, 0, None, 0) != RATE:  # synchronous output
            raise SystemExit("libespeak-ng did not start at 22050 Hz")
        self.callback = Callback(self._receive)
        self.lib.espeak_SetSynthCallback(self.callback)

    def _receive(self, wav, count, events):
        if wav and count > 0:
            self.samples.extend(wav[:count])
        i = 0
        while events[i].type != 0:
            e = events[i]
            self.events.append((e.type, e.text_position - 1, e.length, e.sample))
            i += 1
        return 0

    def say(self, text, voice, rate):
        """The samples of `text` said, and (start sample, character offset, length) per word."""
        self.samples, self.events = [], []
        self.lib.espeak_SetVoiceByName(voice.encode())
        self.lib.espeak_SetParameter(1, rate, 0)
        data = text.encode()
        self.lib.espeak_Synth(data, len(data) + 1, 0, 1, 0, 1, None, None)
        self.lib.espeak_Synchronize()
        words = [(s, at, n) for kind, at, n, s in self.events if kind == WORD_EVENT and n > 0]
        ends = sorted(s for kind, at, n, s in self.events if kind in (WORD_EVENT, END_EVENT))
        return list(self.samples), words, ends


def norm(word):
    """A word as compared: lower case, no punctuation, no possessive (espeak's word events
    leave the "'s" out of the word)."""
    word = re.sub(r"[^a-z0-9']", "", word.lower().replace("’", "'")).strip("'")
    return word[:-2] if word.endswith("'s") else word


def loud(samples, at, end, floor=300):
    return any(abs(v) > floor for v in samples[at:end])


def word_spans(samples, words, bounds):
    """Each word from its first loud 5 ms to its last before the next word or clause end."""
    spans = []
    hop = RATE // 200
    for start, _, _ in words:
        stop = next((b for b in bounds if b > start), len(samples))
        stop = min(stop, len(samples))
        first = start
        while first + hop < stop and not loud(samples, first, first + hop):
            first += hop
        last = stop
        while last - hop > first and not loud(samples, last - hop, last):
            last -= hop
        spans.append((first, last))
    return spans


def said_words(said, events, spans):
    """Each word of `said` with its character position and span. espeak-ng reports no event for
    some unstressed words ("at a new job", "had been asking", "an honest"); their sound lies
    between the word before and the next event, so that word's span is shared between them by
    their letters."""
    timed = {pos: span for (_, pos, _), span in zip(events, spans)}
    groups = []  # per timed word: its span and [(text, pos)] of it and the untimed words after
    for match in re.finditer(r"\S+", said):
        text = norm(match.group())
        if not text:
            continue
        if match.start() in timed or not groups:
            groups.append((timed.get(match.start(), (0, 0)), []))
        groups[-1][1].append((text, match.start()))
    out = []
    for (first, last), members in groups:
        letters = sum(len(text) for text, _ in members)
        at = first
        for text, pos in members:
            end = at + (last - first) * len(text) // letters
            out.append((text, pos, at, end))
            at = end
    return out


def parse_line(line):
    """The said text, its script text, and per said character whether it is off the script."""
    aside = line.startswith("aside:")
    line = line[len("aside:"):].strip() if aside else line
    said, off = "", []
    for part in re.split(r"(\[[^\]]*\])", line):
        bracketed = part.startswith("[")
        part = part[1:-1] if bracketed else part
        said += part
        off += [aside or bracketed] * len(part)
    script = "" if aside else re.sub(r"\s+", " ", re.sub(r"\[[^\]]*\]", "", line)).strip()
    return said, script, off, aside


def say_all(lines, voice, rate):
    """Each line said in a fresh espeak-ng: its output depends on the voices and rates it said
    before, so a take would come out differently run alone and after the others."""
    espeak = Espeak()
    return [espeak.say(line, voice, rate) for line in lines]


def make_take(folder, name, voice, rate, gain, bed):
    truth = []  # dicts: text, start, end, sentence, off
    sentences = []  # per line: said start, end, aside
    pieces = []
    at = LEAD
    pieces.append([0] * int(LEAD * RATE))
    script_lines = []
    with multiprocessing.get_context("fork").Pool(1) as speaker:
        spoken = speaker.apply(say_all, ([parse_line(line)[0] for line in STORY], voice, rate))
    for index, line in enumerate(STORY):
        said, script, off, aside = parse_line(line)
        if script:
            script_lines.append(script)
        samples, words, bounds = spoken[index]
        spans = word_spans(samples, words, bounds)
        for text, pos, first, last in said_words(said, words, spans):
            truth.append({"text": text, "start": at + first / RATE, "end": at + last / RATE,
                          "sentence": index, "off": off[pos]})
        sentences.append({"start": at, "end": at + len(samples) / RATE, "aside": aside})
        pieces.append(samples)
        pause = TAIL if index + 1 == len(STORY) else LONG_GAP if index in LONG_PAUSE_AFTER else GAP
        pieces.append([0] * int(pause * RATE))
        at += (len(samples) + int(pause * RATE)) / RATE
    voice_wav = os.path.join(folder, name + ".wav")
    with wave.open(voice_wav, "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(RATE)
        out.writeframes(b"".join(ctypes.string_at((ctypes.c_short * len(p))(*p), 2 * len(p))
                                 for p in pieces))
    duration = at
    take = os.path.join(folder, name + ".mp4")
    audio = f"[1]volume={gain}dB[voice];"
    audio += (f"{bed}:d={duration}[bed];[voice][bed]amix=inputs=2:normalize=0[mix];" if bed
              else "[voice]anull[mix];")
    # The picture numbers itself: 20 + 4 × (N mod 50) on the left, 20 + 4 × (N / 50) on the right.
    grey = ("geq=lum='if(lt(X,W/2),20+4*mod(N,50),20+4*floor(N/50))':cb=128:cr=128,"
            "scale=540:960:flags=neighbor")
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                    f"color=c=black:s=16x16:r={FPS}:d={duration},format=yuv420p,{grey}",
                    "-i", voice_wav, "-filter_complex", audio + "[mix]aresample=48000[a]",
                    "-map", "0:v", "-map", "[a]", "-c:v", "libx264", "-preset", "ultrafast",
                    "-qp", "0", "-c:a", "aac", "-b:a", "128k", "-shortest", take], check=True)
    script = os.path.join(folder, name + ".script.txt")
    with open(script, "w") as out:
        out.write("\n".join(script_lines) + "\n")
    return {"take": take, "script": script, "truth": truth, "sentences": sentences,
            "duration": duration}


# -- reading a run back --------------------------------------------------------------------------

def read_words(path):
    words = []
    for line in open(path, encoding="utf-8"):
        start, end, confidence, text = line.rstrip("\n").split(" ", 3)
        words.append({"text": norm(text), "start": float(start), "end": float(end),
                      "confidence": float(confidence)})
    return words


def read_cuts(path):
    return [tuple(map(float, line.split())) for line in open(path) if line.strip()]


def clock(text):
    h, m, s = text.split(":")
    return int(h) * 3600 + int(m) * 60 + float(s)


def read_captions(path):
    """Each caption moment: reel start, reel end, the lit word."""
    shown = []
    for line in open(path, encoding="utf-8"):
        if not line.startswith("Dialogue:") or ",Words," not in line:
            continue
        fields = line.split(",", 9)
        lit = re.search(r"\\c&H0000D7FF&\}([^{]*)", fields[9])
        if lit:
            shown.append((clock(fields[1]), clock(fields[2]), norm(lit.group(1))))
    return shown


def take_time(cuts, reel_time):
    before = 0.0
    for start, end in cuts:
        if reel_time <= before + end - start:
            return start + reel_time - before
        before += end - start
    return cuts[-1][1] if cuts else 0.0


def reel_time(cuts, moment):
    before = 0.0
    for start, end in cuts:
        if moment < start:
            return before
        if moment <= end:
            return before + moment - start
        before += end - start
    return before


def alignment(truth, heard):
    """Levenshtein over words: the edit count and, per truth word, the heard index it lines up
    with (a match or a substitution), else None."""
    n, m = len(truth), len(heard)
    cost = [[0] * (m + 1) for _ in range(n + 1)]
    for i in range(n + 1):
        cost[i][0] = i
    for j in range(m + 1):
        cost[0][j] = j
    for i in range(1, n + 1):
        for j in range(1, m + 1):
            same = truth[i - 1] == heard[j - 1]
            cost[i][j] = min(cost[i - 1][j - 1] + (0 if same else 1), cost[i - 1][j] + 1,
                             cost[i][j - 1] + 1)
    pairs = [None] * n
    i, j = n, m
    while i > 0 and j > 0:
        same = truth[i - 1] == heard[j - 1]
        if cost[i][j] == cost[i - 1][j - 1] + (0 if same else 1):
            pairs[i - 1] = j - 1
            i, j = i - 1, j - 1
        elif cost[i][j] == cost[i - 1][j] + 1:
            i -= 1
        else:
            j -= 1
    return cost[n][m], pairs


def said_at(truth, moment, linger=0.6, cuts=None):
    """The word being said at a moment of the take, else the one said last if it ended within
    `linger` seconds before, in the reel's time when `cuts` are given (a caption stays up a
    moment after its sentence, across a cut; a word cut out of the reel was never heard)."""
    last = None
    for word in truth:
        if word["start"] <= moment <= word["end"]:
            return word["text"]
        if word["end"] < moment and (not cuts or inside(cuts, word["end"], word["end"])):
            last = word
    if not last:
        return None
    since = (reel_time(cuts, moment) - reel_time(cuts, last["end"]) if cuts
             else moment - last["end"])
    return last["text"] if since <= linger else None


def caption_frames_wrong(truth, cuts, captions):
    """The share of the reel's pictures with a lit caption word that show it while it is not
    said: a caption can change only from one picture to the next, so a picture is right when
    its word is said (or just said) at some time while it is up."""
    shown = lit_words = 0
    last = max((end for _, end, _ in captions), default=0.0)
    for frame in range(int(last * FPS) + 1):
        t = frame / FPS
        lit = next((word for start, end, word in captions if start <= t < end), None)
        if lit is None:
            continue
        lit_words += 1
        said = {said_at(truth, take_time(cuts, t + k / FPS / 4), cuts=cuts) for k in range(4)}
        shown += lit not in said
    return shown / lit_words if lit_words else 0.0


def inside(cuts, start, end, slack=0.02):
    return any(s - slack <= start and end <= e + slack for s, e in cuts)


def loudness(reel):
    report = subprocess.run(["ffmpeg", "-hide_banner", "-nostats", "-i", reel, "-af",
                             "ebur128=peak=true", "-f", "null", "-"],
                            capture_output=True, text=True).stderr
    value = lambda label: float(report[report.rfind(label) + len(label):].split()[0])
    return value("I:"), value("Peak:")


def repeated_pictures(reel):
    pixels = subprocess.run(["ffmpeg", "-v", "error", "-i", reel, "-vf",
                             "scale=54:96:flags=area", "-f", "rawvideo", "-pix_fmt", "yuv420p",
                             "-"], capture_output=True, check=True).stdout
    size = 54 * 96 * 3 // 2
    digit = lambda grey: round((grey - 20) / 4)
    numbers = [digit(pixels[at + 48 * 54 + 40]) * 50 + digit(pixels[at + 48 * 54 + 13])
               for at in range(0, len(pixels) - size + 1, size)]
    repeats = sum(1 for a, b in zip(numbers, numbers[1:]) if a == b)
    jumps = sum(1 for a, b in zip(numbers, numbers[1:]) if b != a + 1)
    return repeats, jumps


def measure(made, reel, work):
    truth = made["truth"]
    heard = read_words(os.path.join(work, "words.txt"))
    cuts = read_cuts(os.path.join(work, "cuts.txt"))
    captions = read_captions(os.path.join(work, "captions.ass"))
    edits, pairs = alignment([w["text"] for w in truth], [w["text"] for w in heard])
    row = {"wer": edits / len(truth)}
    # The words read from the script against those of the sure words heard (with a script:
    # how well it was laid; talk off it is never sure).
    read = [w["text"] for w in truth if not w["off"]]
    sure = [w["text"] for w in heard if w["confidence"] >= SURE]
    row["read_wer"] = alignment(read, sure)[0] / len(read)
    # Sentence starts: the first script word of each line read from the script.
    errors, missing = [], 0
    for index, sentence in enumerate(made["sentences"]):
        first = next((i for i, w in enumerate(truth) if w["sentence"] == index and not w["off"]),
                     None)
        if first is None:
            continue
        if pairs[first] is None:
            missing += 1
        else:
            errors.append(abs(heard[pairs[first]]["start"] - truth[first]["start"]))
    row["start_median"] = statistics.median(errors) if errors else math.nan
    row["start_worst"] = max(errors) if errors else math.nan
    row["start_missing"] = missing
    # Caption moments, every 20 ms of each lit word: those farther than 100 ms from any time
    # their word is said (or just said, in a pause).
    moments = far = 0
    for start, end, lit in captions:
        t = start
        while t < end:
            moments += 1
            moment = take_time(cuts, t)
            far += lit not in (said_at(truth, moment + shift, cuts=cuts)
                               for shift in (-0.1, -0.05, 0, 0.05, 0.1))
            t += 0.02
    row["caption_far"] = far / moments if moments else 0.0
    row["caption_wrong"] = caption_frames_wrong(truth, cuts, captions)
    # Burned-in words under the threshold: each lit word found in the words heard.
    unsure = 0
    for start, end, lit in captions:
        # A little into the caption: it lights half a picture early, maybe before a cut.
        moment = take_time(cuts, min(start + 0.05, (start + end) / 2))
        near = [w["confidence"] for w in heard
                if w["text"] == lit and w["start"] - 0.1 <= moment <= w["end"] + 0.1]
        unsure += not near or max(near) < SURE
    row["unsure_burned"] = unsure
    row["caption_words"] = len(captions)
    kept = lambda index: all(inside(cuts, w["start"], w["end"])
                             for w in truth if w["sentence"] == index)
    row["hook"] = kept(0)
    row["punchline"] = kept(len(STORY) - 1)
    row["aside_out"] = not any(inside(cuts, w["start"], w["end"])
                               for w in truth if made["sentences"][w["sentence"]]["aside"])
    edges = [e for s, e in cuts] + [s for s, e in cuts]
    row["edges_in_words"] = sum(1 for e in edges for w in truth
                                if w["start"] + 0.01 < e < w["end"] - 0.01)
    row["lufs"], row["peak"] = loudness(reel)
    row["repeats"], row["jumps"] = repeated_pictures(reel)
    starts = [heard[j]["start"] - truth[i]["start"] for i, j in enumerate(pairs)
              if j is not None and heard[j]["text"] == truth[i]["text"]]
    row["bias"] = statistics.median(starts) if starts else math.nan
    row["segments"] = len(cuts)
    row["reel"] = sum(e - s for s, e in cuts)
    return row


def run(build, made, folder, name, script):
    reel = os.path.join(folder, name + " · Reel.mp4")
    env = dict(os.environ, HOME=folder, XDG_CONFIG_HOME=os.path.join(folder, "config"),
               XDG_CACHE_HOME=os.path.join(folder, "cache"),
               XDG_STATE_HOME=os.path.join(folder, "state"))
    command = [os.path.join(build, "vorncut"), "promo", made["take"], "--jsonl", "--brain",
               "device", "--out", reel] + (["--script", made["script"]] if script else [])
    result = subprocess.run(command, env=env, capture_output=True, text=True)
    last = json.loads(result.stdout.strip().splitlines()[-1])
    if last.get("event") != "done":
        return {"error": last.get("message", result.stderr[-200:])}
    work = glob.glob(os.path.join(folder, "cache", "vorn", "reels", name + " · Reel-*"))[0]
    return measure(made, reel, work)


def show(name, row):
    if "error" in row:
        print(f"{name:14} error: {row['error']}")
        return
    print(f"{name:14} WER {row['wer']:5.1%} (read {row['read_wer']:5.1%})  starts {row['start_median'] * 1000:5.0f}/"
          f"{row['start_worst'] * 1000:5.0f} ms (missing {row['start_missing']})  "
          f"captions wrong {row['caption_wrong']:5.1%} of pictures ({row['caption_far']:4.1%} beyond 100 ms)  unsure burned {row['unsure_burned']}/"
          f"{row['caption_words']}  hook {'yes' if row['hook'] else 'NO'}  punchline "
          f"{'yes' if row['punchline'] else 'NO'}  aside {'out' if row['aside_out'] else 'IN'}  "
          f"edges in words {row['edges_in_words']}  repeats {row['repeats']} (jumps "
          f"{row['jumps']}, {row['segments']} segments)  {row['lufs']:.1f} LUFS "
          f"{row['peak']:.1f} dBTP  reel {row['reel']:.1f} s  words early by "
          f"{-row['bias'] * 1000:.0f} ms", flush=True)


def main():
    args = [a for a in sys.argv[1:] if not a.startswith("--")]
    build = os.path.realpath(args[0] if args else "build")
    chosen = set(args[1:]) or {take[0] for take in TAKES}
    folder = tempfile.mkdtemp(prefix="vorn-reel-quality-")
    try:
        for name, voice, rate, gain, bed in (t for t in TAKES if t[0] in chosen):
            made = make_take(folder, name, voice, rate, gain, bed)
            # Kept with the take, for looking into a run afterwards.
            with open(os.path.join(folder, name + ".truth.json"), "w") as truth:
                json.dump(made, truth)
            print(f"{name}: {made['duration']:.1f} s, {len(made['truth'])} words said",
                  flush=True)
            for script in (True,) if "--script-only" in sys.argv else (False, True):
                label = name + (" script" if script else " free")
                show(label, run(build, made, folder, label.replace(" ", "-"), script))
    finally:
        if "--keep" in sys.argv:
            print("kept", folder)
        else:
            shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
