// What the parts of the play queue decide at and around their limits, run by run.
#include "approved.h"
#include "audio/cushion.h"
#include "audio/drift.h"
#include "audio/fade.h"

namespace audio {
namespace {

using approved::number;

class Parts {
 public:
  std::string act(approved::Action& action) {
    const int times = action.next();
    const auto a = action.next<double>();
    const auto b = action.next<double>();
    const auto c = action.next<double>();
    if (action.is("restart")) {
      cushion_.restart(), drift_.restart(), fade_.restart();
      queue_us_ = 0;
      return "";
    }
    if (action.is("forget")) return drift_.forget(), "";
    if (action.is("dry")) return cushion_.ran_dry(static_cast<std::int64_t>(a)), "";
    if (action.is("queue")) return queue_us_ = a, "";
    if (action.is("feed")) return feed(times, a, b, std::max(1, static_cast<int>(c)));
    if (action.is("align")) return cushion_.align(static_cast<std::int64_t>(a)), "";
    if (action.is("out")) return fade_.begin_out(), "";
    // Runs of equal decisions.
    std::string text;
    std::string before;
    int same = 0;
    const auto end_run = [&] {
      if (same > 0) text += before + " x" + std::to_string(same) + "\n";
    };
    for (int i = 0; i < times; ++i) {
      const std::string now = decide(action, a, b, c);
      if (now != before) end_run();
      same = std::exchange(before, now) == now ? same + 1 : 1;
    }
    end_run();
    return approved::beginning(text, 12);
  }

 private:
  // A tone, or silence, into a queue that is played meanwhile, in blocks of 10 ms, `group` of them
  // together each time. The largest step is that between neighbouring samples, silence put in left
  // out where it follows a gap.
  std::string feed(int times, double elapsed_ms, double level, int group) {
    std::size_t frames = 0;
    int pad_frames = 0;
    int dropped = 0;
    float step = 0;
    std::optional<float> last;
    std::array<float, 960> block{};
    for (int n = 0; n < times; ++n) {
      for (std::size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<float>(level * std::sin(2 * std::numbers::pi * 440 / 48000 *
                                                       static_cast<double>(time_ + i / 2)));
      time_ += block.size() / 2;
      const auto out = cushion_.shape(block, static_cast<std::int64_t>(queue_us_));
      if (out.pad_frames > 0) last = 0;
      for (std::size_t i = 0; i < out.samples.size(); i += 2)
        step = std::max(step, std::abs(out.samples[i] - last.value_or(out.samples[i]))),
        last = out.samples[i];
      frames += out.samples.size() / 2;
      pad_frames += out.pad_frames;
      dropped += out.dropped ? 1 : 0;
      queue_us_ += (out.pad_frames + static_cast<double>(out.samples.size()) / 2) / 0.048;
      queue_us_ -= n % group == 0 ? std::min(queue_us_, group * elapsed_ms * 1000) : 0;
    }
    return "pad " + std::to_string(pad_frames) + ", " + std::to_string(frames) + " frames, " +
           std::to_string(dropped) + " dropped, largest step " +
           number(static_cast<double>(step), 3) + ", queue " + number(queue_us_ / 1000) +
           " ms, target " + std::to_string(cushion_.target_us()) +
           (cushion_.steady() ? ", steady" : "") + "\n";
  }

  // Blocks of `frames` come at a queue of `queue_us`; what is played is a ramp or silence.
  std::string decide(approved::Action& action, double a, double b, double c) {
    if (action.is("drift")) {
      const double speed = drift_.update(a, b);
      return "speed " + number(speed * 1e6) + " ppm";
    }
    std::vector<float> block(static_cast<std::size_t>(2 * b));
    for (std::size_t i = 0; i < block.size(); ++i)
      block[i] = static_cast<float>(c * (1 + static_cast<double>(i % 100) / 100));
    if (action.is("fade")) {
      fade_.apply(block);
      return "from " + number(block.front(), 3) + " to " + number(block.back(), 3) +
             (fade_.gone() ? ", gone" : "");
    }
    if (!action.is("block")) return "";
    const auto out = cushion_.shape(block, static_cast<std::int64_t>(a));
    double sum = 0;
    for (const float x : out.samples)
      sum += static_cast<double>(x);
    return "pad " + std::to_string(out.pad_frames) + ", " + std::to_string(out.samples.size() / 2) +
           " frames of sum " + number(sum) + (out.dropped ? ", dropped" : "") + ", target " +
           std::to_string(cushion_.target_us()) + (cushion_.steady() ? ", steady" : "");
  }

  double queue_us_ = 0;
  std::size_t time_ = 0;  // frames
  Cushion cushion_;
  DriftControl drift_;
  Fade fade_;
};

TEST(Parts, decide_as_they_did) {
  Parts parts;
  approved::expect("parts.txt", [&](approved::Action& a) { return parts.act(a); });
}

}  // namespace
}  // namespace audio
