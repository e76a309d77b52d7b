// What the guard makes of the lines it reads.

#include "guard_protocol.h"

#include <gtest/gtest.h>

#include <string>

namespace guard {
namespace {

Orders after(const std::string& lines, std::size_t piece = std::string::npos) {
  LineReader reader;
  for (std::size_t at = 0; at < lines.size(); at += std::min(piece, lines.size() - at)) {
    const std::string part = lines.substr(at, piece);
    reader.feed(part.data(), part.size());
  }
  return reader.orders();
}

TEST(GuardProtocol, the_same_lines_in_any_pieces_mean_the_same) {
  const std::string lines = "A speakers\nM 23\nA headset with blanks\n";
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{3}, std::size_t{7}, std::string::npos}) {
    const Orders orders = after(lines, piece);
    EXPECT_TRUE(orders.armed);
    EXPECT_FALSE(orders.quit);
    EXPECT_EQ(orders.device, "headset with blanks");
    EXPECT_EQ(orders.module, 23U);
  }
}

TEST(GuardProtocol, disarmed_forgets_device_and_module_and_quit_lasts) {
  Orders orders = after("A speakers\nM 23\nD\n");
  EXPECT_FALSE(orders.armed);
  EXPECT_EQ(orders.module, audio::kNoIndex);
  orders = after("A speakers\nQ\nA headset\n");
  EXPECT_TRUE(orders.quit);
}

TEST(GuardProtocol, what_is_no_message_changes_nothing) {
  const Orders orders =
      after("A speakers\nA\nAspeakers\nM\nM x\nM 12x\nM 99999999999\nM -1\nQQ\nDD\n\nq\nD");
  EXPECT_TRUE(orders.armed);
  EXPECT_FALSE(orders.quit);
  EXPECT_EQ(orders.device, "speakers");
  EXPECT_EQ(orders.module, audio::kNoIndex);
}

TEST(GuardProtocol, a_line_without_end_is_ignored_and_the_next_one_is_not) {
  const Orders orders = after("A speakers\nA " + std::string(200000, 'x') + "\nM 5\n", 4096);
  EXPECT_EQ(orders.device, "speakers");
  EXPECT_EQ(orders.module, 5U);
}

}  // namespace
}  // namespace guard
