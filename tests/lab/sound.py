# Playing, recording and measuring. Sound is a numpy array of frames x (left, right) at 48 kHz; levels
# are dB of full scale for the peak of a sine. Streams talk to libpulse directly, because only so a
# recorder can refuse to be moved to another device.
import cmath
import ctypes
import math
import threading
import time

from .server import RECORDER
from .session import Skipped, becomes

try:
    import numpy as np
except ImportError:  # tests can be listed without it
    np = None

RATE = 48000
FRAME = 8  # bytes
SILENCE_DB = -200.0

# ---- What is played: functions of the number of the first frame and the count.


# (hertz, dB), or (hertz, dB, "left" | "right"), summed.
def sines(*parts):
    def generate(first, count):
        out = np.zeros((count, 2), np.float32)
        for hz, db, *channel in parts:
            turns = (hz / RATE * (first + np.arange(count, dtype=np.float64))) % 1.0
            wave = 10 ** (db / 20) * np.sin(2 * np.pi * turns)
            for index, name in enumerate(("left", "right")):
                if channel in ([], [name]):
                    out[:, index] += wave
        return out
    return generate


# A click of 60 ms at the start of every interval, within a tone if one is given. It rises in one
# sample, which is what is measured, and is long enough for any meter.
def clicks(interval_s, db=-6.0, tone=lambda first, count: 0):
    def generate(first, count):
        at = (first + np.arange(count)) % round(interval_s * RATE)
        loud = np.where(at < round(0.06 * RATE), 10 ** (db / 20), 0).astype(np.float32)
        return np.stack([loud, loud], axis=1) + tone(first, count)
    return generate


# Uniform white noise, independent on both channels.
def noise(db=-20.0):
    level = 10 ** (db / 20)
    return lambda first, count: np.random.default_rng(first).uniform(-level, level, (count, 2)).astype(np.float32)


# ---- What is measured


def db_of(amplitude):
    return 20 * math.log10(amplitude) if amplitude > 0 else SILENCE_DB


# Level of a sine in one channel; to 0.01 dB over a quarter of a second, next to other tones too.
def level_db(channel, hz):
    weights = np.hanning(len(channel))
    wave = np.exp(-2j * np.pi * hz / RATE * np.arange(len(channel)))
    return db_of(2 * abs(np.sum(weights * channel * wave)) / np.sum(weights))


def peak(sound):
    return float(np.max(np.abs(sound), initial=0))


# Largest step between two samples of a channel.
def jump(channel):
    return float(np.max(np.abs(np.diff(channel)), initial=0))


# Lengths of the runs of true values: (first, one behind the last) of each.
def runs(mask):
    edges = np.flatnonzero(np.diff(np.concatenate(([0], mask.astype(np.int8), [0]))))
    return list(zip(edges[0::2], edges[1::2]))


# Frames at which clicks begin.
def onsets(channel, threshold=0.1):
    loud = np.flatnonzero(np.abs(channel) > threshold)
    return [int(i) for n, i in enumerate(loud) if n == 0 or i - loud[n - 1] > RATE // 20]


# What the curve does to a tone: ten peaking filters of Q 1.41 in a row, and the preamp. Written down
# a second time: measured against the program's own arithmetic, an error would never be noticed.
def response_db(curve, hz):
    gains, preamp = curve
    z1 = cmath.exp(-2j * math.pi * hz / RATE)
    total = preamp
    for centre, gain in zip((31, 62, 125, 250, 500, 1000, 2000, 4000, 8000, 16000), gains):
        a = 10 ** (gain / 40)
        w0 = 2 * math.pi * centre / RATE
        alpha, middle = math.sin(w0) / (2 * 1.41), -2 * math.cos(w0) * z1
        above = 1 + alpha * a + middle + (1 - alpha * a) * z1**2
        below = 1 + alpha / a + middle + (1 - alpha / a) * z1**2
        total += db_of(abs(above / below))
    return total


# Gains of the ten bands, and the preamp, dB. As in the menu, in its order.
PRESETS = {
    "standard": ((3, 2.5, 1.5, 0.5, 0, 0, 0.5, 1.5, 2, 2.5), -2),
    "flat": ((0, 0, 0, 0, 0, 0, 0, 0, 0, 0), 0),
    "bass": ((7, 6, 5, 3, 1, 0, 0, 0, 0, 0), -4),
    "treble": ((0, 0, 0, 0, 0, 1, 3, 5, 6, 7), -4),
    "vocal": ((-3, -2, -1, 1, 3, 4, 4, 2, 0, -1), -2),
    "rock": ((5, 4, 2, -1, -2, -1, 2, 3, 4, 5), -3),
    "pop": ((-1, 1, 3, 4, 3, 0, -1, -1, 1, 2), -2),
    "jazz": ((3, 2, 1, 2, -1, -1, 0, 1, 2, 3), -2),
    "classical": ((4, 3, 2, 1, -1, -1, 0, 2, 3, 4), -2),
    "electronic": ((6, 5, 1, 0, -2, 1, 0, 2, 4, 5), -4),
    "loudness": ((6, 4, 1, 0, -1, 0, 0, 1, 3, 5), -4),
}


FLAT = PRESETS["flat"]


def through(curve, *tones):
    return [(hz, db + response_db(curve, hz), *channel) for hz, db, *channel in tones]


# ---- Streams

P, I, S = ctypes.c_void_p, ctypes.c_uint32, ctypes.c_char_p
SIZE = ctypes.c_size_t
READ = ctypes.CFUNCTYPE(None, P, SIZE, P)
DONT_MOVE, ADJUST_LATENCY, NO_AUTOSPAWN = 0x200, 0x2000, 1
FUNCTIONS = {  # name: result, arguments
    "threaded_mainloop_new": (P,), "threaded_mainloop_get_api": (P, P), "threaded_mainloop_start": (I, P),
    "threaded_mainloop_stop": (None, P), "threaded_mainloop_free": (None, P),
    "threaded_mainloop_lock": (None, P), "threaded_mainloop_unlock": (None, P),
    "context_new": (P, P, S), "context_connect": (I, P, S, I, P), "context_get_state": (I, P),
    "context_errno": (I, P), "strerror": (S, I), "context_disconnect": (None, P), "context_unref": (None, P),
    "stream_new": (P, P, S, P, P), "stream_get_state": (I, P), "stream_unref": (None, P),
    "stream_disconnect": (I, P), "stream_set_read_callback": (None, P, READ, P),
    "stream_set_write_callback": (None, P, READ, P), "stream_peek": (I, P, P, P), "stream_drop": (I, P),
    "stream_connect_record": (I, P, S, P, I), "stream_connect_playback": (I, P, S, P, I, P, P),
    "stream_write": (I, P, P, SIZE, P, ctypes.c_int64, I), "stream_cork": (P, P, I, P, P), "operation_unref": (None, P),
}


class Pulse:
    def __getattr__(self, name):
        library = ctypes.CDLL("libpulse.so.0")
        for function, (result, *arguments) in FUNCTIONS.items():
            entry = getattr(library, f"pa_{function}")
            entry.restype, entry.argtypes = result, arguments
            setattr(self, function, entry)
        return self.__dict__[name]


pulse = Pulse()


class SampleSpec(ctypes.Structure):
    _fields_ = [("format", I), ("rate", I), ("channels", ctypes.c_uint8)]


# A stream on a connection of its own, open until close().
class Stream:
    READY = {"context": 4, "stream": 2}
    opened = []  # kept, because the library calls them

    def __init__(self, server, application, name):
        if np is None:
            raise Skipped("not installed: python3-numpy")
        self.loop = pulse.threaded_mainloop_new()
        self.context = pulse.context_new(pulse.threaded_mainloop_get_api(self.loop), application.encode())
        self.stream = None
        pulse.context_connect(self.context, server.address.encode(), NO_AUTOSPAWN, None)
        pulse.threaded_mainloop_start(self.loop)
        self.callback = READ(self.on_data)
        self.opened.append(self)
        try:
            self.wait_ready("context", self.context)
            with self:
                spec = SampleSpec(5, RATE, 2)  # float, little-endian
                self.stream = pulse.stream_new(self.context, name.encode(), ctypes.byref(spec), None)
                self.connect()
            self.wait_ready("stream", self.stream)
        except Exception:
            self.close()
            raise

    def state(self, what, thing):
        with self:
            return getattr(pulse, what + "_get_state")(thing)

    def wait_ready(self, what, thing):
        deadline = time.monotonic() + 5
        while (state := self.state(what, thing)) != self.READY[what]:
            if state > self.READY[what] or time.monotonic() > deadline:
                raise RuntimeError(f"{what}: {pulse.strerror(pulse.context_errno(self.context)).decode()}")
            time.sleep(0.002)

    # Holds the library's lock.
    def __enter__(self):
        pulse.threaded_mainloop_lock(self.loop)

    def __exit__(self, *_):
        pulse.threaded_mainloop_unlock(self.loop)

    # It has ended against its owner's will.
    def failed(self):
        return self.state("stream", self.stream) != self.READY["stream"]

    # Also with a server that is frozen or gone.
    def close(self):
        if self.loop is None:
            return
        pulse.threaded_mainloop_stop(self.loop)
        if self.stream:
            pulse.stream_disconnect(self.stream)
            pulse.stream_unref(self.stream)
        pulse.context_disconnect(self.context)
        pulse.context_unref(self.context)
        pulse.threaded_mainloop_free(self.loop)
        self.loop = None
        self.opened.remove(self)


def buffer_attributes(**sizes):
    fields = ("maxlength", "tlength", "prebuf", "minreq", "fragsize")
    return (I * 5)(*[round(sizes[f] * RATE) * FRAME if f in sizes else 0xFFFFFFFF for f in fields])


# Another program that plays something.
class Player(Stream):
    #   device      name of a sink, "" = the server's default
    #   latency_s   buffer to be kept filled, long enough for a busy machine
    def __init__(self, server, generate, application="Test player", name="tone", device="", latency_s=0.2):
        self.generate, self.device, self.latency_s, self.frames = generate, device, latency_s, 0
        self.application = application
        super().__init__(server, application, name)

    def connect(self):
        pulse.stream_set_write_callback(self.stream, self.callback, None)
        pulse.stream_connect_playback(self.stream, self.device.encode() or None,
                                      buffer_attributes(tlength=self.latency_s), ADJUST_LATENCY, None, None)

    def on_data(self, stream, size, _):
        data = self.generate(self.frames, size // FRAME).astype(np.float32).tobytes()
        self.frames += size // FRAME
        pulse.stream_write(stream, data, len(data), None, 0, 0)

    # It stays where it is, without a sound.
    def pause(self):
        with self:
            pulse.operation_unref(pulse.stream_cork(self.stream, 1, None, None))


# Records a source, e.g. "speakers.monitor", and keeps everything.
class Recorder(Stream):
    def __init__(self, server, source, fragment_s=0.01):
        self.source, self.fragment_s = source, fragment_s
        self.blocks, self.frames, self.forgotten = [], 0, 0
        self.origin = math.inf  # time.monotonic() of frame 0: the earliest that any arrival allows
        self.mutex = threading.Lock()
        super().__init__(server, RECORDER, "record")

    def connect(self):
        pulse.stream_set_read_callback(self.stream, self.callback, None)
        pulse.stream_connect_record(self.stream, self.source.encode(), buffer_attributes(maxlength=2, fragsize=self.fragment_s),
                                    ADJUST_LATENCY | DONT_MOVE)

    def on_data(self, stream, _size, _):
        data, size = P(), SIZE()
        while pulse.stream_peek(stream, ctypes.byref(data), ctypes.byref(size)) == 0 and size.value > 0:
            if data.value:
                block = np.frombuffer(ctypes.string_at(data.value, size.value), np.float32).reshape(-1, 2)
            else:  # the server has lost samples: recorded as silence
                block = np.zeros((size.value // FRAME, 2), np.float32)
            pulse.stream_drop(stream)
            with self.mutex:
                self.blocks.append(block)
                self.frames += len(block)
                self.origin = min(self.origin, time.monotonic() - self.frames / RATE)

    # The frames from `first` on.
    def since(self, first=0):
        with self.mutex:
            if len(self.blocks) > 1:
                self.blocks = [np.concatenate(self.blocks)]
            return self.blocks[0][max(0, first - self.forgotten):] if self.blocks else np.zeros((0, 2), np.float32)

    def newest(self, seconds):
        return self.since(max(0, self.frames - round(seconds * RATE)))

    # What was recorded so far is not kept any longer; frames are counted on, from a new origin: the old one
    # is wrong once a server has lost samples. Returns the number of the next frame.
    def forget(self):
        with self.mutex:
            self.forgotten, self.blocks, self.origin = self.frames, [], math.inf
            return self.frames

    # Waits for new sound of this length. Raises AssertionError when a server does not deliver it.
    def next(self, seconds):
        first, wanted = self.frames, round(seconds * RATE)
        becomes(f"{seconds} s of {self.source}", lambda: self.frames - first >= wanted, limit=seconds + 5)
        return self.since(first)[:wanted]

    # time.monotonic() at which clicks began.
    def click_times(self, first=0):
        return [self.origin + (first + at) / RATE for at in onsets(self.since(first)[:, 0])]


# The delays in ms from each click in one recording to the same click in the other.
def delays_ms(sent, heard, most_ms=250):
    times = np.array(heard)
    found = [next((t for t in times if 0 < t - at < most_ms / 1000), None) for at in sent]
    return [(t - at) * 1000 for t, at in zip(found, sent) if t is not None]
