// What the guard makes of the lines it reads.

#include "audio/guard_protocol.h"
#include "test.h"

namespace guard {
namespace {

TEST(GuardProtocol, lines_in_any_pieces_are_understood_and_anything_else_changes_nothing) {
  constexpr std::uint32_t kNone = audio::kNoIndex;
  const std::string overlong = "A " + std::string(200000, 'x') + "\n";
  const std::tuple<std::string, bool, bool, std::string, std::uint32_t> cases[] = {
      {"A speakers\nM 23\nA headset with blanks\n", true, false, "headset with blanks", 23},
      {"A speakers\nM 23\nD\n", false, false, "", kNone},
      {"A speakers\nQ\nA headset\n", true, true, "headset", kNone},
      {"A speakers\nA\nAspeakers\nM\nM x\nM 12x\nM 99999999999\nM -1\nQQ\nDD\n\nq\nD", true, false,
       "speakers", kNone},
      {"A speakers\n" + overlong + "M 5\n", true, false, "speakers", 5}};
  for (const auto& [lines, armed, quit, device, module] : cases) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::string::npos}) {
      LineReader reader;
      for (std::size_t at = 0; at < lines.size(); at += std::min(piece, lines.size() - at)) {
        const std::string part = lines.substr(at, piece);
        reader.feed(part.data(), part.size());
      }
      const Orders& orders = reader.orders();
      EXPECT_EQ(std::tie(orders.armed, orders.quit, orders.device, orders.module),
                std::tie(armed, quit, device, module))
          << lines.substr(0, 100) << " in pieces of " << piece;
    }
  }
}

}  // namespace
}  // namespace guard
