// The stations of a sample's path, without a server: equalizer, fade, tap and play queue.

#include "app/logger.h"
#include "audio/audio_private.h"
#include "audio/equalizer.h"
#include "audio/fade.h"
#include "audio/play_queue.h"
#include "audio/stream_path.h"
#include "audio/tap.h"
#include "test.h"

namespace audio {
namespace {

constexpr std::size_t kBlock = 960;  // samples of 10 ms

std::vector<float> tone(std::size_t frames, double hz = 100) {
  std::vector<float> samples;
  for (std::size_t i = 0; i < frames; ++i) {
    const double phase = 2 * std::numbers::pi * hz * static_cast<double>(i) / 48000;
    samples.insert(samples.end(), 2, static_cast<float>(0.25 * std::sin(phase)));
  }
  return samples;
}

float largest_step(std::span<const float> samples) {
  float step = 0;
  for (std::size_t i = 2; i < samples.size(); ++i)
    step = std::max(step, std::abs(samples[i] - samples[i - 2]));
  return step;
}

TEST(Equalizer, goes_from_curve_to_curve_without_a_step_and_arrives_at_the_newest) {
  Equalizer equalizer;
  equalizer.restart();
  std::vector<float> sound = tone(4800, 110);  // not through zero where the curve changes
  const std::vector<float> source = sound;
  for (std::size_t block = 0; block < 10; ++block) {
    eq::Curve curve;
    if (block == 3) curve.preamp = 12;  // never heard: the next one is newer
    if (block == 3) equalizer.set_curve(curve);
    curve.preamp = -6;
    if (block == 3) equalizer.set_curve(curve);
    equalizer.process(std::span(sound).subspan(block * kBlock, kBlock));
  }
  EXPECT_TRUE(std::equal(sound.begin(), sound.begin() + 3 * kBlock, source.begin()));
  for (std::size_t i = 4 * kBlock; i < sound.size(); ++i)
    ASSERT_NEAR(sound[i], source[i] * 0.501187F, 1e-6F) << i;
  EXPECT_LT(largest_step(sound), largest_step(source) * 1.2F);
}

TEST(Equalizer, counts_as_silent_after_ten_seconds_and_forgets_what_rang) {
  Equalizer equalizer;
  equalizer.restart();
  eq::Curve curve;
  curve.gain[0] = 12;
  equalizer.set_curve(curve);
  std::vector<float> sound = tone(480, 31);
  equalizer.process(sound);
  for (int block = 0; block < 1000; ++block) {
    EXPECT_FALSE(equalizer.silent());
    std::ranges::fill(sound, 0.0F);
    equalizer.process(sound);
  }
  EXPECT_TRUE(equalizer.silent());
  equalizer.restart();
  EXPECT_TRUE(equalizer.silent()) << "a new capture wakes no sleeping device";
  sound[0] = 1e-20F;
  equalizer.process(sound);
  EXPECT_FALSE(equalizer.silent());
  EXPECT_LT(std::abs(sound[2]), 1e-19F);
}

TEST(Fade, fades_in_what_comes_within_two_seconds_and_out_for_good) {
  const auto ones = [] { return std::vector<float>(kBlock, 1.0F); };
  for (const int seconds : {0, 1, 3}) {
    Fade fade;
    fade.restart();
    std::vector<float> silence(kBlock);
    for (int i = 0; i < seconds * 100; ++i)
      fade.apply(silence);
    std::vector<float> sound = ones();
    fade.apply(sound);
    EXPECT_EQ(sound[0] < 0.01F, seconds < 2);
    EXPECT_TRUE(std::ranges::is_sorted(sound));
    EXPECT_EQ(sound[480], 1.0F) << "5 ms";
    EXPECT_EQ(sound[300], sound[301]) << "both channels alike";

    fade.begin_out();
    sound = ones();
    EXPECT_FALSE(fade.gone());
    fade.apply(sound);
    EXPECT_TRUE(fade.gone());
    EXPECT_TRUE(std::ranges::is_sorted(sound, std::greater()));
    EXPECT_GT(sound[1], 0.99F);
    EXPECT_EQ(sound[480], 0.0F);
    sound = ones();
    fade.apply(sound);
    EXPECT_EQ(sound, silence);
    fade.restart();
    EXPECT_FALSE(fade.gone());
  }
}

TEST(Tap, gives_the_newest_frames_oldest_first_and_each_peak_once) {
  Tap tap;
  std::vector<float> left(Tap::kFrames, 7.0F);
  std::vector<float> right(Tap::kFrames, 7.0F);
  std::uint64_t serial = 1;
  EXPECT_FALSE(tap.copy(left.data(), right.data(), 4, &serial));
  EXPECT_EQ(serial, 0U);
  EXPECT_EQ(left[0], 7.0F);
  for (int i = 0; i < 10001; ++i)
    tap.push(std::array{static_cast<float>(i), static_cast<float>(-2 * i)});
  ASSERT_TRUE(tap.copy(left.data(), right.data(), 100000, &serial));
  EXPECT_EQ(serial, 10001U);
  for (int i = 0; i < Tap::kFrames; ++i) {
    const auto at = static_cast<std::size_t>(i);
    ASSERT_EQ(left[at], static_cast<float>(10001 - Tap::kFrames + i));
    ASSERT_EQ(right[at], -2 * left[at]);
  }
  ASSERT_TRUE(tap.copy(left.data(), right.data(), 2, nullptr));
  EXPECT_EQ(left[0], 9999.0F);
  EXPECT_EQ(left[2], static_cast<float>(10001 - Tap::kFrames + 2)) << "no more than asked for";
  float l = 0;
  float r = 0;
  tap.consume_peaks(&l, &r);
  EXPECT_EQ(std::pair(l, r), std::pair(10000.0F, 20000.0F));
  tap.consume_peaks(&l, &r);
  EXPECT_EQ(std::pair(l, r), std::pair(0.0F, 0.0F));
}

// A play queue and a device that plays from it: whenever it has nothing left, it takes a period.
// The server answers after a while, and fragments come when the machine finds time.
struct Line {
  PlayQueue queue;
  PlayQueue::Clock::time_point now{std::chrono::hours(1)};
  std::vector<float> written;
  double fill = 0;    // ms in the stream
  double device = 0;  // ms taken by the device
  double own = 0;     // ms that it delays everything
  double extra = 0;   // ms that the server reports too much, until the stream is flushed
  int flushes = 0;
  double period = 20;
  double speed = 1;  // of its clock
  int fragments = 0;
  int unanswered = 0;  // fragments at first
  std::int64_t late_us = 0;
  std::vector<std::pair<PlayQueue::Timing, PlayQueue::Clock::time_point>> answers{};

  void restart(PlayQueue::Start why) {
    queue.restart(why, now);
    written.clear();
    answers.clear();
    fill = device = 0;
  }
  void pass(std::int64_t us) {
    now += std::chrono::microseconds(us);
    device -= static_cast<double>(us) / 1000 * speed;
    if (device > 0) return;
    if (fill == 0) device = 0;
    const double taken = std::min(fill, period);
    fill -= taken;
    device += taken;
  }
  // Fragments of 10 ms, some of them late by up to 7 ms, or all of them at once.
  void run(int count, int every_us = 10000) {
    static const std::vector<float> kSound = tone(480);
    for (int i = 0; i < count; ++i) {
      const std::int64_t jitter_us = every_us > 0 ? fragments++ % 3 * 3500 : late_us;
      for (std::int64_t us = every_us + jitter_us - std::exchange(late_us, jitter_us); us > 0;
           us -= 500)
        pass(500);
      for (const auto& [timing, at] : std::exchange(answers, {})) {
        queue.report(timing, at + std::chrono::milliseconds(fragments % 4));
        if (!queue.miscounted(timing)) continue;
        EXPECT_NEAR(static_cast<double>(queue.held_us(now)) / 1000, fill + device, 20);
        extra = 0;
        ++flushes;
        restart(PlayQueue::Start::kWoken);
      }
      std::vector<float> block = kSound;
      queue.put(block, 0, now, [this](std::span<const float> out) {
        written.insert(written.end(), out.begin(), out.end());
        fill += static_cast<double>(out.size()) / 96;
      });
      if (!queue.wants_report() || fragments < unanswered) continue;
      const std::int64_t fill_us = std::llround((fill + extra) * 1000);
      answers.push_back({{fill_us, std::llround((device + own) * 1000), device > 0}, now});
    }
  }
  // Where no fragment is late.
  [[nodiscard]] double delay_ms() const {
    return fill + device + own + static_cast<double>(late_us) / 1000;
  }
};

TEST(PlayQueue, has_one_delay_whatever_happened_to_it) {
  for (const double own : {0.0, 150.0}) {
    for (const double period : {5.0, 20.0}) {
      Line line;
      line.own = own;
      line.period = period;
      const auto check = [&](const char* what) {
        line.run(100);
        // How much of it is the device's own is known less exactly.
        EXPECT_NEAR(line.delay_ms(), 60 + own, own > 0 ? 5 : 2)
            << what << ", " << own << ", " << period;
      };
      for (const auto why : {PlayQueue::Start::kOpened, PlayQueue::Start::kWoken}) {
        line.restart(why);
        check("the start");
        line.restart(PlayQueue::Start::kRanDry);
        check("an underrun");
        for (const double extra : {800.0, 800.0, 0.0, 800.0, 800.0}) {
          line.extra = extra;
          line.restart(PlayQueue::Start::kRanDry);
          line.run(5);
        }
        EXPECT_EQ(line.flushes, 0);
        line.restart(PlayQueue::Start::kRanDry);
        check("a server that lost count");
        EXPECT_EQ(std::exchange(line.flushes, 0), 1);
        for (const double lost : {12.0, -12.0}) {
          line.fill += lost;
          line.pass(50000);  // a hiccup, and what came meanwhile
          line.fill += 50;
          check("a hiccup");
        }
      }
      // What a burst brings too much is counted, and so is the silence before it.
      line.queue.take_counts();
      line.restart(PlayQueue::Start::kRanDry);
      line.run(20, 0);
      const auto [lost, inserted] = line.queue.take_counts();
      EXPECT_GE(lost, 5 * kBlock);
      EXPECT_GT(inserted, 0U);
      EXPECT_NEAR(static_cast<double>(line.written.size() + lost - inserted), 20.0 * kBlock, 100);
    }
  }
}

TEST(PlayQueue, follows_a_clock_within_three_milliseconds_and_leaves_equal_clocks_alone) {
  for (const double ppm : {-200, 0, 200}) {
    Line line;
    line.speed = 1 + ppm * 1e-6;
    line.restart(PlayQueue::Start::kOpened);
    line.run(100);
    for (int minute = 0; minute < 5; ++minute) {
      line.run(6000);
      EXPECT_NEAR(line.delay_ms(), 60, 3) << ppm << ", minute " << minute;
    }
    // At equal speed each period of the tone is the same to the bit.
    EXPECT_EQ(std::equal(line.written.end() - 9600, line.written.end(), line.written.end() - 19200),
              ppm == 0);
  }
}

TEST(PlayQueue, forgets_everything_when_a_stream_is_opened) {
  Line old;
  old.speed = 1.0004;
  old.own = 400;
  old.restart(PlayQueue::Start::kOpened);
  old.run(3000);
  old.fill += 120;  // and an excess that is being trimmed
  old.run(430);
  Line fresh;
  for (Line* line : {&old, &fresh}) {
    line->speed = 1;
    line->own = 150;
    line->fragments = 0;
    line->unanswered = 30;
    line->late_us = 0;
    line->restart(PlayQueue::Start::kOpened);
    line->run(3000);
  }
  EXPECT_EQ(old.written, fresh.written);
}

TEST(Arrivals, tell_late_sound_from_a_late_program_and_both_from_a_server_that_lost_cycles) {
  using enum DryMoment::Cause;
  struct Case {
    std::vector<int> blocks_ms;
    int dry_ms;
    DryMoment::Cause cause;
    int late_ms;
  };
  const Case cases[] = {{{}, 500, kServer, 0},
                        {{500, 510, 520}, 525, kServer, 0},
                        {{500, 510, 520}, 590, kLateRecord, 70},
                        {{500, 510, 580, 580, 580}, 581, kLatePlayback, 70},
                        {{500, 510, 580, 590, 600, 650, 700}, 705, kLatePlayback, 50},
                        {{500, 510, 580, 600, 620, 640, 660, 680, 700}, 705, kServer, 0}};
  for (const Case& c : cases) {
    const auto at = [](int ms) { return Clock::time_point(std::chrono::milliseconds(ms)); };
    Arrivals arrivals;
    for (const int ms : c.blocks_ms)
      arrivals.arrived(at(ms));
    const DryMoment dry = arrivals.explain(at(c.dry_ms));
    EXPECT_EQ(std::pair(dry.cause, dry.late_us), std::pair(c.cause, c.late_ms * std::int64_t{1000}))
        << &c - cases;
  }
}

TEST(PathStats, report_what_is_new_once) {
  const auto report = [] {
    const std::size_t before = logger::tail(500).size();
    report_stats();
    const std::vector<std::string> lines = logger::tail(500);
    return lines.size() == before ? "" : lines.back().substr(15);
  };
  EXPECT_EQ(report(), "");
  count_underrun({});
  count_underrun({});
  EXPECT_EQ(report(), "Audio path last minute: 0x dropped, 2x buffer underrun");
  EXPECT_EQ(report(), "");
  count_underrun({});
  count_lost(tone(480));
  count_lost(std::vector<float>(kBlock, 1e-30F));  // a sound that has ended, to the filters
  EXPECT_EQ(report(), "Audio path last minute: 1x dropped, 1x buffer underrun");
  count_inserted(kBlock);
  EXPECT_EQ(report(), "Audio path last minute: 1x silence inserted");
  const auto at = Clock::now();
  for (const int s : {0, 1, 59, 61}) {
    const std::size_t before = logger::tail(500).size();
    count_underrun({DryMoment::Cause::kLateRecord, 70000});
    report_dry_moment(at + std::chrono::seconds(s));
    report_dry_moment(at + std::chrono::seconds(s));
    EXPECT_EQ(logger::tail(500).size() - before, s == 0 || s == 61 ? 1U : 0U) << s;
  }
  EXPECT_THAT(logger::tail(1)[0], testing::EndsWith("ran dry: no sound was recorded for 70 ms"));
}

}  // namespace
}  // namespace audio
