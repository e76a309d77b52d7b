# A private sound server: PulseAudio, or PipeWire with its session manager and PulseAudio protocol, in
# a temporary directory, with silent sinks in the place of real devices. Its processes are children of
# the test, so that each can be frozen and killed. There is no D-Bus: it would lead outside.
import json
import os
import re
import signal
import subprocess
import threading
from contextlib import contextmanager
from pathlib import Path

from .session import Process, becomes, check, clean_environment, require_programs, temp_dir

PULSEAUDIO, PIPEWIRE = "pulseaudio", "pipewire"
PROGRAMS = {PULSEAUDIO: ["pulseaudio"], PIPEWIRE: ["pipewire", "wireplumber", "pipewire-pulse"]}

PULSEAUDIO_SCRIPT = """.fail
load-module module-device-restore
load-module module-stream-restore
load-module module-card-restore
load-module module-native-protocol-unix auth-anonymous=1 socket={socket}
{sinks}
load-module module-default-device-restore
load-module module-intended-roles
"""

# The devices live in the server itself, as those of a sound card would.
PIPEWIRE_SINK = """{{ factory = adapter args = {{
  factory.name = support.null-audio-sink media.class = Audio/Sink node.name = "{name}"
  node.description = "{description}" audio.rate = 48000 audio.position = [ FL FR ]
  monitor.channel-volumes = true priority.session = {rank} session.suspend-timeout-seconds = {suspend_s}
}} }}
"""
NO_BUS = "context.properties = { support.dbus = false }\n"
NO_HARDWARE = """wireplumber.profiles = { main = {
  hardware.audio = disabled hardware.bluetooth = disabled hardware.video-capture = disabled
} }
"""
NO_HARDWARE_LUA = """alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
"""


RECORDER = "Test recorder"  # the test's ear, which does not count


# Arguments of a sink that is as near to a sound card as a silent one can be. Float, so that the level
# at the monitor is the level that was played; without rewinds, because an idle null sink otherwise
# runs 2 s ahead, which no card does.
def sink_arguments(name, description=""):
    arguments = [f"sink_name={name}", "rate=48000", "channels=2", "format=float32le", "norewinds=true"]
    if description:
        arguments.append(f"sink_properties=\"device.description='{description}'\"")
    return arguments


class Server:
    #   devices     sinks at 48 kHz stereo; the first is the default
    #   suspend_s   seconds after which an unused device sleeps, 0 = never
    def __init__(self, kind, devices=("speakers", "headset"), suspend_s=0):
        require_programs("pactl", *PROGRAMS[kind])
        self.kind, self.devices = kind, devices
        self.directory = temp_dir()
        self.processes, self.surprises = [], []
        self.started_before = False
        for folder in ("home", "config", "state", "cache", "data"):
            (self.directory / folder).mkdir()
        (self.directory / "run").mkdir(mode=0o700)
        (self.directory / "run/pulse").mkdir(mode=0o700)
        self.address = f"unix:{self.directory}/run/pulse/native"
        self.write("client.conf", "autospawn = no\n")
        if kind == PULSEAUDIO:
            sinks = "\n".join(" ".join(["load-module module-null-sink", *sink_arguments(d, d.capitalize())])
                              for d in devices)
            script = PULSEAUDIO_SCRIPT.format(socket=f"{self.directory}/run/pulse/native", sinks=sinks)
            if suspend_s:
                script += f"load-module module-suspend-on-idle timeout={suspend_s}\n"
            self.write("server.pa", script)
            return
        sinks = "".join(PIPEWIRE_SINK.format(name=d, description=d.capitalize(), rank=1100 - i, suspend_s=suspend_s)
                        for i, d in enumerate(devices))
        self.write("config/pipewire/pipewire.conf.d/50-devices.conf", f"{NO_BUS}context.objects = [\n{sinks}]\n")
        for folder in ("pipewire-pulse.conf.d", "wireplumber.conf.d"):
            self.write(f"config/pipewire/{folder}/50-alone.conf", NO_BUS)
        # WirePlumber 0.4 is configured in Lua, which 0.5 no longer reads.
        self.write("config/wireplumber/wireplumber.conf.d/80-no-hardware.conf", NO_HARDWARE)
        self.write("config/wireplumber/main.lua.d/80-no-hardware.lua", NO_HARDWARE_LUA)
        self.write("config/wireplumber/bluetooth.lua.d/80-no-hardware.lua", "bluez_monitor.enabled = false\n")

    def write(self, name, text):
        path = self.directory / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    # For the programs that are to use this server.
    def environment(self):
        root = self.directory
        folders = {f"XDG_{name.upper()}_HOME": f"{root}/{name}" for name in ("config", "state", "cache", "data")}
        buses = {f"DBUS_{name}_BUS_ADDRESS": f"unix:path={root}/no-bus" for name in ("SESSION", "SYSTEM")}
        return clean_environment(
            PULSE_SERVER=self.address, PULSE_CLIENTCONFIG=f"{root}/client.conf", PULSE_COOKIE=f"{root}/cookie",
            XDG_RUNTIME_DIR=f"{root}/run", HOME=f"{root}/home", **folders, **buses)

    # Starts the server and waits until a stream can be played on its default device: the first one at
    # the first start, later the one that the server remembers.
    def start(self):
        if self.kind == PULSEAUDIO:
            self.launch("pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
                        "--log-target=stderr", f"--file={self.directory}/server.pa")
        else:
            # The other two give up where nobody listens yet; a killed server leaves its socket.
            socket = self.directory / "run/pipewire-0"
            socket.unlink(missing_ok=True)
            self.launch("pipewire")
            becomes("PipeWire listens", socket.exists)
            self.launch("wireplumber")
            self.launch("pipewire-pulse")
        becomes("the sound server is ready", self.is_ready, limit=20)
        self.started_before = True
        # What looks for sound cards, headsets and cameras, whether or not there are any here.
        for pid in self.pids():
            outside = re.search(r"\S*(libspa-(alsa|bluez5|v4l2|libcamera)|module-(udev|alsa|bluez))\S*",
                                Path(f"/proc/{pid}/maps").read_text())
            check(outside is None, f"the private server looks for hardware: {outside}")

    def launch(self, *command):
        self.processes.append(Process(command, self.environment(), self.directory / f"{command[0]}.log"))

    def is_ready(self):
        if not all(process.running() for process in self.processes):
            raise RuntimeError("a process has ended: " + self.logs())
        if not set(self.devices) <= set(self.sinks()):
            return False
        if not self.started_before and self.default() != self.devices[0]:
            self.set_default(self.devices[0])
            return False
        # A session manager that does not know the device yet refuses the stream.
        subprocess.run(["pacat", "--playback", f"--device={self.devices[0]}", "/dev/null"], check=True, timeout=5,
                       env=self.environment(), stderr=subprocess.DEVNULL)
        return True

    def stop(self):
        self.thaw()
        while self.processes:  # clients of the first process go before it, as at the end of a session
            self.processes.pop().stop(3)

    def kill(self):
        for process in self.processes:  # all at once: a survivor would write its own end into the log
            process.signal(signal.SIGKILL)
        while self.processes:
            self.processes.pop().wait()

    def freeze(self):
        for process in self.processes:
            process.freeze()

    def thaw(self):
        for process in self.processes:
            process.thaw()

    def pids(self):
        return [process.pid for process in self.processes]

    def logs(self):
        paths = [self.directory / f"{program}.log" for program in PROGRAMS[self.kind]]
        return "".join(f"---- {path.name}\n{path.read_text()[-4000:]}" for path in paths if path.exists())

    # ---- What a desktop's sound settings would do. Raises RuntimeError with the server's answer.

    def pactl(self, *arguments):
        done = subprocess.run(["pactl", *map(str, arguments)], env=self.environment(), timeout=6, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, errors="replace")
        if done.returncode != 0:
            raise RuntimeError(f"pactl {' '.join(map(str, arguments))[:200]}: {done.stderr}")
        # A stream that is listed may still be opening, and its device gone at that moment is reported.
        if arguments[0] == "unload-module":
            self.surprises = ["Cannot play to", "Cannot record from"]
        return done.stdout.strip()

    def list(self, what=""):
        return json.loads(self.pactl("-f", "json", "list", *what.split()), strict=False)

    def default(self):
        return self.pactl("get-default-sink")

    # By name, as pactl describes them.
    def sinks(self):
        return {sink["name"]: sink for sink in self.list("sinks")}

    # Percent, per channel.
    def volume(self, name):
        return volume_of(self.sinks()[name])

    def muted(self, name):
        return self.sinks()[name]["mute"]

    # Where the streams of a program are, sorted: (sink name, ...), and (source name, ...).
    def playing(self, application):
        return places(self.list(), "sink", application)

    def recording(self, application):
        return places(self.list(), "source", application)

    def set_default(self, name):
        self.pactl("set-default-sink", name)

    def set_volume(self, name, *percents):
        self.pactl("set-sink-volume", name, *[f"{percent}%" for percent in percents])

    def set_mute(self, name, mute):
        self.pactl("set-sink-mute", name, int(mute))

    def load(self, module, *arguments):
        return int(self.pactl("load-module", module, *arguments))

    # Plugs a device in, or pulls it out, and waits until that is so.
    def add_sink(self, name, description=""):
        module = self.load("module-null-sink", *sink_arguments(name, description))
        becomes(f"there is a sink {name}", lambda: name in self.sinks())
        return module

    def remove_sink(self, name):
        self.pactl("unload-module", self.sinks()[name]["owner_module"])
        becomes(f"there is no sink {name}", lambda: name not in self.sinks())

    @contextmanager
    def clients_coming_and_going(self):
        ended = threading.Event()

        def come_and_go():
            while not ended.is_set():
                self.default()
        threads = [threading.Thread(target=come_and_go) for _ in range(4)]
        for thread in threads:
            thread.start()
        try:
            yield
        finally:
            ended.set()
            for thread in threads:
                thread.join()

    # What a user would notice of the server, and what must be the same after the program as before.
    def state(self):
        everything = self.list()
        state = {"default": self.default(),
                 "modules": sorted(f"{m['name']} {m['argument']}" for m in everything["modules"])}
        for sink in everything["sinks"]:
            state[sink["name"]] = {key: sink[key] for key in ("description", "mute")} | {"volume": volume_of(sink)}
        for device in ("sink", "source"):
            for application in {application_of(s) for s in everything[streams_of(device)]} - {RECORDER}:
                state[f"{application} at {device}"] = places(everything, device, application)
        return state


def streams_of(device):
    return "sink_inputs" if device == "sink" else "source_outputs"


def application_of(stream):
    return stream["properties"].get("application.name", "")


def places(everything, device, application):
    names = {d["index"]: d["name"] for d in everything[device + "s"]}
    return tuple(sorted(names.get(s[device], "") for s in everything[streams_of(device)]
                        if application_of(s) == application))


def volume_of(sink):
    return [int(channel["value_percent"].strip("%")) for channel in sink["volume"].values()]


# What differs between two states, a line each.
def difference(before, now):
    return "".join(f"\n  {key}: {before.get(key)} -> {now.get(key)}"
                   for key in sorted(before.keys() | now.keys()) if before.get(key) != now.get(key))
