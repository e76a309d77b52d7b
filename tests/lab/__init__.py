# The lab: a private sound server, screen and copy of the program for every server, display and soak test.
#
# A case is a function test_NAME(lab) in a *_test.py beside its subject; its name is a promise. ctest
# knows it as FOLDER.FILE.NAME.SERVER; "from lab.all import *" is all that it imports. After a change of names run cmake again (building does). By hand:
#
#   tests/lab/run.py tests/audio/routing_test.py NAME --server pipewire
#
#   def test_follows_when_the_user_switches_the_default(lab):
#       lab.play()                            # another program plays TONES, on the default device
#       program = lab.start("--preset", "rock")     # the program, routed to "speakers"
#       lab.choose("headset")                 # the user's new default; expected to stay
#       lab.routed_to("headset")              # sink, both streams and the default
#       lab.hears("headset", curve=PRESETS["rock"])  # levels, and silence in the other channel
#
# Nothing else is needed: when the case returns, the lab ends every program and checks that it holds no
# more descriptors, threads and memory than when it started, left no process, no odd file, no broken,
# unexpected or missing line in its log (expect=["part of a warning"] allows one), and settings that can
# be opened; and that default, devices, volumes of each channel, mutes, streams and modules are as they
# were at the last play() or remember(), but for what choose() and expect() have announced.
#
# Wait with becomes(what, look, wanted), never for a time. A file may set SERVERS, DEVICES and SUSPEND_S;
# a case of its own server sets them as attributes. On a screen: lab.open(), see screen.py.
