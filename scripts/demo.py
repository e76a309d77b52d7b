#!/usr/bin/python3
# Shows that Velmora works, on any machine: no desktop, sound card or sound server of the user is needed or
# touched.
#
# A private sound server with one silent output device plays pink noise. What arrives at that device is
# recorded twice, first without and then with Velmora, and compared band by band with the preset. Velmora's
# window is on a virtual screen; a picture of it is left in build/demo. At the end the program has to leave
# the server as it found it.
#
#   scripts/demo.py [PROGRAM]    PROGRAM: build/Velmora if none is given
#
# Exit status 0 if everything was as expected. Needs what scripts/install-deps.sh --tests installs.
import math
import statistics
import sys

from private_session import ROOT, session

from lab.sound import PRESETS, RATE, Player, Recorder, db_of, np, response_db

PERIOD = 65536  # frames after which the noise repeats itself, which no filter changes: a spectrum over
# exactly one period shows every partial on its own, wherever in the noise it begins
PERIODS = 3  # compared; a disturbance in one of them does not count
PEAK = 0.25  # -12 dB: the boosted sound stays below the limiter's knee
KNEE = 0.891
ALLOWED_DB = 1.0
CENTRES_HZ = (31, 62, 125, 250, 500, 1000, 2000, 4000, 8000, 16000)
BAND_WIDTH = 2 ** (1 / 24)  # a band is measured within this factor of its centre


# From 20 Hz to 20 kHz, the same energy in every octave, independent on both channels.
def pink_noise():
    bins = np.arange(round(20 * PERIOD / RATE), round(20000 * PERIOD / RATE))
    spectrum = np.zeros((PERIOD // 2 + 1, 2), complex)
    turns = np.random.default_rng(1).uniform(0, 2 * np.pi, (len(bins), 2))
    spectrum[bins] = np.exp(1j * turns) / np.sqrt(bins)[:, None]
    sound = np.fft.irfft(spectrum, axis=0)
    sound *= PEAK / np.abs(sound).max()
    return lambda first, count: sound[(first + np.arange(count)) % PERIOD]


def record(lab):
    recorder = Recorder(lab.server, "speakers.monitor")
    recorder.next(2)  # its start may still be the sound before it
    sound = recorder.next(PERIODS * PERIOD / RATE)
    recorder.close()
    return sound


# For each period: the power of every partial, left and right together.
def powers(sound):
    return [(np.abs(np.fft.rfft(period, axis=0)) ** 2).sum(axis=1) for period in np.split(sound, PERIODS)]


# Prints the table; returns the largest difference in dB.
def compare(before, after):
    worst = 0.0
    print("       Band       Asked    Measured  Difference")
    for centre in CENTRES_HZ:
        band = range(math.ceil(centre / BAND_WIDTH * PERIOD / RATE), math.floor(centre * BAND_WIDTH * PERIOD / RATE) + 1)
        gains = [10 ** (response_db(PRESETS["rock"], k * RATE / PERIOD) / 10) for k in band]
        asked = db_of((before[-1][band] @ gains) / before[-1][band].sum()) / 2
        was, now = (statistics.median(period[band].sum() for period in periods) for periods in (before, after))
        measured = db_of(now / was) / 2
        worst = max(worst, abs(measured - asked))
        print(f"  {centre:6d} Hz  {asked:+7.2f} dB  {measured:+7.2f} dB  {measured - asked:+7.2f} dB")
    return worst


def main(program):
    with session(program, (1280, 800), devices=("speakers",)) as lab:
        version = lab.launch("--version")
        version.wait()
        lab.programs.remove(version)
        print(f'{version.output().strip()}: preset "rock" on pink noise, on a private sound server and screen')
        lab.players.append(Player(lab.server, pink_noise()))
        print("Recording what reaches the output device without Velmora ...")
        before = record(lab)
        _, window = lab.open("--preset", "rock")
        lab.routed_to("speakers")
        print("Recording what reaches it with Velmora ...")
        after = record(lab)
        shot = ROOT / "build/demo/velmora.png"
        shot.parent.mkdir(parents=True, exist_ok=True)
        lab.screen.save(shot, window.picture())
        lab.finish()
    print("Velmora has ended; default device, streams and devices are as they were before.\n")
    loudest = float(np.abs(after).max())
    if loudest > KNEE:
        print(f"The sound reaches {loudest:.2f}: the limiter is at work and would be measured too.")
        return 1
    worst = compare(powers(before), powers(after))
    print(f"\n{'As' if worst <= ALLOWED_DB else 'NOT as'} asked: {worst:.2f} dB off at worst, "
          f"{ALLOWED_DB:.0f} dB is allowed.")
    print(f"The window: {shot}")
    return int(worst > ALLOWED_DB)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build/Velmora"))
