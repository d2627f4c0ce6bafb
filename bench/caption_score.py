#!/usr/bin/env python3
"""Runs Pictavia's recogniser (caption_bench) and the plain pocketsphinx_continuous on the
corpus of caption_corpus.sh and prints their word error rates and real-time factors.

    caption_score.py BUILD_DIR CORPUS_DIR [--sets tuning,judging] [--kinds clean,noisy] [--no-plain]
                     [--no-clean] [--jobs N] [-- CAPTION_BENCH_OPTIONS...]

Word error rate: word-level edit distance (substitutions, insertions, deletions) over the number
of words said, after both texts are brought to one form (lower case, no punctuation, numbers
written as words). Real-time factor: processor seconds (user and system) per second of sound,
each file in a process of its own so that both load their models once per file. Clock: seconds
on the clock per second of sound, which only means something with --jobs 1 (the recogniser
uses both processors itself).
"""

import os
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
import time

VOICES = ["festival-slt-hts", "festival-kal", "flite-kal16", "flite-slt", "flite-rms", "flite-awb"]
ONES = "zero one two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen " \
       "sixteen seventeen eighteen nineteen".split()
TENS = "_ _ twenty thirty forty fifty sixty seventy eighty ninety".split()


def spoken_number(n):
    if n < 20:
        return ONES[n]
    if n < 100:
        return TENS[n // 10] + ("" if n % 10 == 0 else " " + ONES[n % 10])
    if n < 1000:
        rest = n % 100
        return ONES[n // 100] + " hundred" + ("" if rest == 0 else " " + spoken_number(rest))
    return " ".join(ONES[int(d)] for d in str(n))


def words(text):
    text = re.sub(r"\(\d+\)", " ", text.lower())  # the decoder's alternate pronunciations
    text = re.sub(r"\d+", lambda m: " " + spoken_number(int(m.group())) + " ", text)
    text = text.replace("-", " ")
    text = re.sub(r"[^a-z' ]", " ", text)
    return [w.strip("'") for w in text.split() if w.strip("'")]


def errors(reference, heard):
    """Word-level edit distance."""
    previous = list(range(len(heard) + 1))
    for i, r in enumerate(reference, 1):
        current = [i] + [0] * len(heard)
        for j, h in enumerate(heard, 1):
            current[j] = min(previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (r != h))
        previous = current
    return previous[-1]


def run(command):
    """(output, processor seconds, wall seconds) of a command run to its end: the processor time
    is the command's own, so that two can run at once."""
    start = time.monotonic()
    with tempfile.TemporaryFile() as err:
        child = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=err)
        out = child.stdout.read().decode()
        child.stdout.close()
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        wall = time.monotonic() - start
        if child.returncode != 0:
            err.seek(0)
            sys.exit("caption bench: %s failed: %s" % (command[0], err.read().decode().strip()))
    return out, usage.ru_utime + usage.ru_stime, wall


def duration(wav):
    return float(subprocess.run(["soxi", "-D", wav], stdout=subprocess.PIPE, text=True, check=True).stdout)


def ours(build, wav, options, clean=False):
    out, cpu, wall = run([os.path.join(build, "bench", "caption_bench")] + (["--clean"] if clean else []) +
                         options + [wav])
    heard = out.rstrip("\n").split("\t")[-1]
    return (None if heard == "cleaning not available" else heard), cpu, wall


def plain(wav16):
    out, cpu, wall = run(["pocketsphinx_continuous", "-infile", wav16, "-time", "yes", "-logfn", "/dev/null"])
    heard = []
    for line in out.splitlines():
        fields = line.split()
        # "word start end confidence"; fillers are <s>, </s>, <sil>, [NOISE]...
        if len(fields) == 4 and fields[0][0] not in "<[+":
            heard.append(fields[0])
    return " ".join(heard), cpu, wall


class Tally:
    def __init__(self):
        self.errors = self.words = 0
        self.cpu = self.wall = self.sound = 0.0

    def add(self, reference, heard, cpu, wall, sound):
        self.errors += errors(reference, words(heard))
        self.words += len(reference)
        self.cpu += cpu
        self.wall += wall
        self.sound += sound

    def wer(self):
        return self.errors / self.words if self.words else float("nan")

    def rtf(self):
        return self.cpu / self.sound if self.sound else float("nan")

    def clock(self):
        return self.wall / self.sound if self.sound else float("nan")


def main():
    args = sys.argv[1:]
    options = []
    if "--" in args:
        options = args[args.index("--") + 1:]
        args = args[:args.index("--")]
    build, corpus = args[0], args[1]
    sets = ["tuning", "judging"]
    if "--sets" in args:
        sets = args[args.index("--sets") + 1].split(",")
    kinds = ["clean", "noisy"]
    if "--kinds" in args:
        kinds = args[args.index("--kinds") + 1].split(",")
    with_plain = "--no-plain" not in args
    with_clean = "--no-clean" not in args
    jobs_at_once = int(args[args.index("--jobs") + 1]) if "--jobs" in args else 2

    # Every recognition of every file, two at a time by default (this machine has two processors).
    jobs = []
    for s in sets:
        for voice in VOICES:
            for kind in kinds:
                base = os.path.join(corpus, "%s-%s-%s" % (voice, s, kind))
                jobs.append((("ours", s, kind, voice), lambda b=base: ours(build, b + ".wav", options)))
                if with_plain:
                    jobs.append((("plain", s, kind, voice), lambda b=base: plain(b + ".16k.wav")))
                if with_clean and kind == "noisy":
                    jobs.append((("cleaned", s, kind, voice),
                                 lambda b=base: ours(build, b + ".wav", options, clean=True)))
    with ThreadPoolExecutor(max_workers=jobs_at_once) as pool:
        results = list(pool.map(lambda job: (job[0], job[1]()), jobs))

    tallies = {}
    cleaning_available = True
    for key, (heard, cpu, wall) in results:
        who, s, kind, voice = key
        if heard is None:
            cleaning_available = False
            continue
        reference = words(open(os.path.join(corpus, "%s-%s.txt" % (voice, s))).read())
        sound = duration(os.path.join(corpus, "%s-%s-%s.wav" % (voice, s, kind)))
        tallies.setdefault(key, Tally()).add(reference, heard, cpu, wall, sound)

    def total(who, s, kind, voices=VOICES):
        t = Tally()
        for v in voices:
            part = tallies.get((who, s, kind, v))
            if part:
                for field in ["errors", "words", "cpu", "wall", "sound"]:
                    setattr(t, field, getattr(t, field) + getattr(part, field))
        return t

    print("Word error rate (WER) and processor seconds per second of sound (RTF, lower is faster)")
    for s in sets:
        for kind in kinds:
            print("\n%s set, %s speech (%.0f s of sound per recogniser):" % (s, kind, total("ours", s, kind).sound))
            print("  %-18s %8s %8s %8s %9s %9s %9s" % ("voice", "WER ours", "plain", "ratio", "RTF ours", "plain",
                                                       "clock"))
            for voice in VOICES + ["all"]:
                selected = VOICES if voice == "all" else [voice]
                o, p = total("ours", s, kind, selected), total("plain", s, kind, selected)
                if with_plain:
                    ratio = o.wer() / p.wer() if p.wer() > 0 else float("nan")
                    print("  %-18s %7.1f%% %7.1f%% %8.2f %9.3f %9.3f %9.3f" %
                          (voice, 100 * o.wer(), 100 * p.wer(), ratio, o.rtf(), p.rtf(), o.clock()))
                else:
                    print("  %-18s %7.1f%% %8s %8s %9.3f %9s %9.3f" % (voice, 100 * o.wer(), "-", "-", o.rtf(), "-",
                                                                     o.clock()))
    cleaned_sets = sets if with_clean and "noisy" in kinds else []
    for s in cleaned_sets:
        print("\nNoisy %s set, before and after voice cleaning (Pictavia's recogniser):" % s)
        if not cleaning_available:
            print("  cleaning not available")
            continue
        print("  %-18s %8s %8s" % ("voice", "before", "after"))
        for voice in VOICES + ["all"]:
            selected = VOICES if voice == "all" else [voice]
            before, after = total("ours", s, "noisy", selected), total("cleaned", s, "noisy", selected)
            print("  %-18s %7.1f%% %7.1f%%" % (voice, 100 * before.wer(), 100 * after.wer()))
    # One line for tuning scripts to read.
    summary = ["%s-%s=%.4f" % (s, kind, total("ours", s, kind).wer()) for s in sets for kind in kinds]
    if cleaning_available:
        summary += ["%s-cleaned=%.4f" % (s, total("cleaned", s, "noisy").wer()) for s in cleaned_sets]
    summary.append("hts-clean=%.4f" % total("ours", sets[0], "clean", ["festival-slt-hts"]).wer())
    summary.append("rtf=%.3f" % (sum(total("ours", s, k).cpu for s in sets for k in kinds) /
                                 sum(total("ours", s, k).sound for s in sets for k in kinds)))
    print("\nsummary " + " ".join(summary))


if __name__ == "__main__":
    main()
