#!/usr/bin/python3
# Photographs Velmora's window in every state, while music plays on a private sound server.
#
#   scripts/screenshots.py [DIRECTORY]    every state; DIRECTORY: build/screenshots if none is given
#   scripts/screenshots.py --readme       the pictures of the README, into docs/pictures
#
# Needs build/Velmora (./run.sh builds it), or another program in VELMORA, and what
# scripts/install-deps.sh --tests installs. Looking at the pictures is up to you.
import os
import signal
import sys
import time
from pathlib import Path

from private_session import ROOT, session  # first: it finds the lab

from lab.screen import DEVICE, LANGUAGE, POWER, PRESETS_BUTTON, SAVE
from lab.session import temp_dir
from lab.sound import Player

from demo_music import music
from moving_picture import FRAME_RATE, write_png

# Left to right and right to left, long words, tall letters, and many scripts.
LANGUAGES = "en de ar he hi bn ja zh_TW th ru el".split()
SETTLE_S = 0.7  # the bars rise, and a menu is painted


class Photographer:
    def __init__(self, lab, out):
        self.lab, self.out = lab, out

    # A run of the program, ended when its picture is taken.
    #   click     where, before the picture
    #   nobody    without a sound server
    #   crashed   the question after a crash
    #   muted     with the device muted
    #   frames    so many pictures that follow one another
    def shot(self, name, language, *switches, click=None, nobody=False, crashed=False, muted=False, frames=1):
        home = temp_dir()
        options = {"home": home, "TRSL_LANG": language, "expect": [""]}
        if nobody:
            options["PULSE_SERVER"] = "unix:/nonexistent/velmora"
        program, window = self.lab.open(*switches, **options)
        if crashed:
            program.signal(signal.SIGSEGV)
            program.wait()
            self.lab.programs.remove(program)
            program, window = self.lab.open(*switches, **options)
        if not nobody:
            self.lab.routed_to("speakers")
        if muted:
            self.lab.server.set_mute("speakers", True)
        time.sleep(SETTLE_S)
        if click:
            window.click(*click)
            window.pointer_away()
            time.sleep(SETTLE_S)
        pictures, began = [], time.monotonic()
        for number in range(frames):
            time.sleep(max(0, began + number / FRAME_RATE - time.monotonic()))
            pictures.append(window.picture())
        write_png(self.out / f"{name}.png", pictures)
        print(name)
        program.stop()
        self.lab.programs.remove(program)
        self.lab.server.set_mute("speakers", False)

    def views_of(self, theme):
        def shot(name, *switches, **options):
            self.shot(f"{name}-{theme}-en", "en", "--theme", theme, *switches, **options)
        rock = ("--preset", "rock")
        shot("full", *rock)
        shot("collapsed", *rock, "--collapsed")
        shot("compact", *rock, "--compact")
        shot("settings", "--settings")
        shot("off", *rock, click=POWER)
        shot("presets", *rock, click=PRESETS_BUTTON)
        shot("save", *rock, click=SAVE)
        shot("devices", click=DEVICE)
        shot("languages", "--settings", click=LANGUAGE)
        shot("no-server", nobody=True)
        shot("no-server-compact", "--compact", nobody=True)
        shot("crash", crashed=True)
        shot("muted", muted=True)
        shot("muted-compact", "--compact", muted=True)

    def every_state(self):
        for theme in ("dark", "light"):
            self.views_of(theme)
        rock = ("--preset", "rock")
        self.shot("zoom-1.25-dark-en", "en", "--size", "1200x800", *rock)
        self.shot("zoom-1.5-light-en", "en", "--size", "1440x960", *rock, "--theme", "light")
        self.shot("zoom-2-dark-en", "en", "--size", "1920x1280", *rock)
        self.shot("zoom-2-compact-dark-en", "en", "--compact", "--size", "840x264", *rock)
        for language in LANGUAGES[1:]:
            self.shot(f"full-dark-{language}", language, *rock)
            self.shot(f"compact-dark-{language}", language, *rock, "--compact")
            self.shot(f"settings-light-{language}", language, "--theme", "light", "--settings")
            self.shot(f"crash-dark-{language}", language, crashed=True)

    def for_readme(self):
        rock = ("--preset", "rock")
        self.shot("full-dark", "en", *rock)
        self.shot("full-light", "en", *rock, "--theme", "light")
        self.shot("compact", "en", *rock, "--compact")
        self.shot("spectrum", "en", *rock, "--collapsed", "--size", "720x255", frames=48)


def main(words):
    readme = words == ["--readme"]
    out = ROOT / "docs/pictures" if readme else Path(words[0]) if words else ROOT / "build/screenshots"
    out.mkdir(parents=True, exist_ok=True)
    with session(os.environ.get("VELMORA", ROOT / "build/Velmora"), (2000, 1400), devices=("speakers",)) as lab:
        lab.players.append(Player(lab.server, music()))
        photographer = Photographer(lab, out)
        photographer.for_readme() if readme else photographer.every_state()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
