# What a user does with mouse and keyboard, and what is heard and remembered of it.
from lab.all import *

SERVERS = ["any"]
# In different bands, and where neighbouring bands have a say too; other ones on each side.
TONES = [(125, -26, "left"), (1000, -26, "left"), (8000, -26, "right"), (500, -26, "right")]
MENU = list(PRESETS)


def with_band(band, gain_db):
    return tuple(gain_db if i == band else 0 for i in range(10)), 0


def choose(window, row):
    window.opens(*PRESETS_BUTTON)
    window.opens(*preset_row(row))


def test_a_dragged_slider_is_heard_and_remembered(lab):
    lab.play(*TONES)
    program, window = lab.open("--preset", "flat")
    lab.hears("speakers", *TONES)
    window.drag(knob(5), knob(5, 6))
    lab.hears("speakers", *TONES, curve=with_band(5, 6))
    becomes("the gain is in the file", lambda: settings(lab.home)["band5"], "6")
    window.wheel(knob(5, 6), -4)
    lab.hears("speakers", *TONES, curve=with_band(5, 4))
    lab.end(program)  # long before the delay of saving is over
    program, window = lab.open()
    lab.hears("speakers", *TONES, curve=with_band(5, 4))
    program.freeze()  # both presses reach it at once
    window.double_click(*knob(5, 4))
    program.thaw()
    lab.hears("speakers", *TONES)


def test_a_chosen_preset_is_heard_and_can_be_kept_under_a_name(lab):
    lab.play(*TONES)
    program, window = lab.open("--preset", "flat")
    choose(window, 1 + MENU.index("rock"))
    lab.hears("speakers", *TONES, curve=PRESETS["rock"])
    window.opens(*SAVE)
    window.type("Evening 2")
    window.key("Return")
    becomes("the preset is in the file", lambda: settings(lab.home)["preset"], "u:Evening 2")
    lab.end(program)
    program, window = lab.open()
    choose(window, 1 + MENU.index("flat"))
    lab.hears("speakers", *TONES)
    choose(window, len(MENU) + 2)  # below both headings
    lab.hears("speakers", *TONES, curve=PRESETS["rock"])


def test_a_file_that_is_named_or_dropped_is_heard_and_kept_where_it_is_saved(lab):
    lab.play(*TONES)
    folder = temp_dir()
    file = folder / "Phones FixedBandEQ.txt"
    file.write_text("Preamp: -6 dB\nFilter 1: ON PK Fc 1000 Hz Gain 6 dB Q 1.41\n")
    phones = with_band(5, 6)[0], -6
    program, window = lab.open("--compact", "--preset", "flat", str(file))
    lab.hears("speakers", *TONES, curve=phones)
    becomes("the full view", window.size, FULL)
    window.key("Escape")
    lab.hears("speakers", *TONES)
    lab.screen.run(tool("drop_file"), window.id, f"file://{folder}/Phones%20FixedBandEQ.txt")
    lab.hears("speakers", *TONES, curve=phones)
    window.key("Return")
    becomes("the preset is in the file", lambda: settings(lab.home)["preset"], "u:Phones")


def test_the_compact_view_takes_the_equalizer_out_and_in_and_mutes_the_device(lab):
    lab.play(*TONES)
    program, window = lab.open("--compact", "--preset", "bass")
    lab.hears("speakers", *TONES, curve=PRESETS["bass"])
    window.click(*MINI_POWER)
    lab.hears("speakers", *TONES)
    lab.default_is("speakers")
    window.click(*MINI_POWER)
    lab.hears("speakers", *TONES, curve=PRESETS["bass"])
    for muted in (True, False):
        window.click(*MINI_MUTE)
        becomes("the speakers are mute or heard", lambda: lab.server.muted("speakers"), muted)
