# The engine without the rest of the program, and the sealed settings file as text: see probe.cpp.
import subprocess

from .session import Counts, check, clean_environment, temp_dir, tool
from .sound import PRESETS, np


def probe(home, *words, text=""):
    return subprocess.run([tool("lab_probe"), *words], input=text, text=True, stdout=subprocess.PIPE, check=True,
                          env=clean_environment(XDG_CONFIG_HOME=str(home), HOME=str(home)), timeout=20).stdout


# The settings in a home (XDG_CONFIG_HOME), as texts by key; defaults where there is no file.
def settings(home, *mode, text=""):
    return dict(line.split("=", 1) for line in probe(home, "settings", *mode, text=text).splitlines())


def write_settings(home, **fields):
    (home / "Velmora").mkdir(parents=True, exist_ok=True)
    settings(home, "write", text="".join(f"{key}={value}\n" for key, value in fields.items()))


# The presets of devices by what they are recognised by, as in Settings.preset with their curves; the feature is on.
def write_devices(home, presets):
    (home / "Velmora").mkdir(exist_ok=True)
    lines = ["per_device=1", f"devices={len(presets)}"]
    for index, (device, name) in enumerate(presets.items()):
        gains, preamp = PRESETS[name]
        lines += [f"device{index}={device}", f"device{index}_preset=b:preset_{name}",
                  f"device{index}_curve={','.join(map(str, (*gains, preamp)))}"]
    probe(home, "devices", "write", text="\n".join(lines))


class Engine:
    def __init__(self, server):
        self.counts = Counts()
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", tool("lab_probe")], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            env={**server.environment(), "XDG_CONFIG_HOME": str(temp_dir()), **self.counts.environment})

    # Sends a command and returns its answer.
    def ask(self, *words):
        print(*words, file=self.process.stdin, flush=True)
        return self.process.stdout.readline().rstrip("\n")

    def status(self):
        return dict(word.split("=", 1) for word in self.ask("status").split("\t"))

    # Linear, since the last call: left, right.
    def peaks(self):
        return [float(peak) for peak in self.ask("peaks").split()]

    # The newest frames as the display gets them: whether there are any, rate, serial, frames x 2.
    def tap(self, frames=8192):
        file = temp_dir() / "tap"
        some, rate, serial = self.ask("tap", frames, file).split()
        return some == "1", float(rate), int(serial), np.fromfile(file, np.float32).reshape(2, frames).T

    def curve(self, gains, preamp):
        self.ask("curve", *gains, preamp)

    def device_curve(self, device, gains, preamp):
        self.ask("device_curve", f"{device}|", *gains, preamp)

    # Stops the engine in order. Returns how many requests it has cancelled.
    def close(self):
        self.process.stdin.close()
        check(self.process.wait(30) == 0, "the engine does not stop in order")
        return self.counts.check_released(self.process.pid)
