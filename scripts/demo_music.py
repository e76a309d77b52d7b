# Two bars of drums, bass and chords that can be repeated for ever, for pictures of a busy spectrum.
import math

from lab.sound import RATE, np

BEAT = RATE // 2  # 120 a minute
CHORDS_HZ = ((110.0, 220.0, 261.63, 329.63), (87.31, 174.61, 220.0, 261.63))  # two beats of bass and chord


# The higher the brightness, the stronger the upper partials.
def tone(brightness, partials, hz, seconds, decay):
    i = np.arange(int(seconds * RATE))
    wave = sum(np.sin(2 * math.pi * k * hz * i / RATE) * k ** (brightness - 2) for k in range(1, partials + 1))
    return wave * np.exp(-decay * i / RATE) * np.minimum(i / 200, 1)


# A skin whose tone falls, and noise; the noise alone, without its low part, is a cymbal.
def drum(seconds, decay, sweep_hz, noise, dice):
    i = np.arange(int(seconds * RATE))
    phase = np.cumsum(2 * math.pi * sweep_hz * (1 + 2 * np.exp(-i / 900)) / RATE)
    hiss = dice.uniform(-1, 1, len(i))
    skin = np.sin(phase) if sweep_hz else 0.0
    return (skin + noise * (hiss - 0.7 * np.concatenate([[0], hiss[:-1]]))) * np.exp(-decay * i / RATE)


# As Player wants it.
def music():
    dice = np.random.default_rng(1)
    mix = np.zeros((8 * BEAT, 2))

    def add(beat, sound, left, right):
        at = (int(beat * BEAT) + np.arange(len(sound))) % len(mix)
        mix[at] += sound[:, None] * (left, right)
    kick, snare, hat = drum(0.3, 9, 46, 0.05, dice), drum(0.25, 18, 180, 1.0, dice), drum(0.12, 40, 0, 1.0, dice)
    for beat in range(8):
        root, *chord = CHORDS_HZ[beat // 4]
        add(beat, kick, 0.9, 0.9)
        if beat % 2:
            add(beat, snare, 0.3, 0.4)
        for half in (0, 0.5):
            add(beat + half, hat, 0.4, 0.3)
            add(beat + half, tone(0.6, 12, root / 2, 0.3, 5), 0.45, 0.45)
        if beat % 2 == 0:
            for i, note in enumerate(chord):
                add(beat + 0.5, tone(1.1, 24, 2 * note, 0.9, 2), 0.10 + 0.03 * i, 0.16 - 0.03 * i)
    mix *= 0.7 / np.abs(mix).max()
    return lambda first, count: mix[(first + np.arange(count)) % len(mix)]
