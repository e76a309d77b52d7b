// A drawing layer that writes down what is drawn, and in which a character is half as wide as high.
#include "approved.h"
#include "gfx/gfx.h"
#include "recording.h"

namespace recording {

approved::Lines drawn;

}  // namespace recording

namespace gfx {

namespace {

template <class... Numbers>
void note(const char* what, unsigned colour, Numbers... numbers) {
  std::array<char, 16> hex{};
  std::snprintf(hex.data(), hex.size(), "%08x", colour);
  std::string line = "draw "s + what + " #" + hex.data();
  ((line += " " + approved::number(static_cast<double>(numbers))), ...);
  recording::drawn.push_back(std::move(line));
}

void note_text(const char* what, const Rect& r, const std::string& utf8, float size,
               unsigned colour, Align align, int style) {
  note(what, colour, r.x, r.y, r.w, r.h, size, static_cast<int>(align), style);
  recording::drawn.back() += " " + recording::one_line(utf8);
}

int characters(const std::string& utf8) {
  return static_cast<int>(
      std::ranges::count_if(utf8, [](char c) { return (c & '\xC0') != '\x80'; }));
}

}  // namespace

bool init(void*) {
  return true;
}
void shutdown() {}
void set_context(cairo_t*) {}
void set_language(const std::string& code) {
  recording::drawn.push_back("letters of " + code);
}
void resize(int, int) {}
bool begin() {
  return true;
}
void end() {}
std::uint64_t draw_calls() {
  return recording::drawn.size();
}
void clear(unsigned colour) {
  note("clear", colour);
}
void fill_rect(const Rect& r, unsigned colour) {
  note("rect", colour, r.x, r.y, r.w, r.h);
}
void fill_round_rect(const Rect& r, float radius, unsigned colour) {
  note("round", colour, r.x, r.y, r.w, r.h, radius);
}
void stroke_round_rect(const Rect& r, float radius, unsigned colour, float width) {
  note("outline", colour, r.x, r.y, r.w, r.h, radius, width);
}
void fill_circle(float cx, float cy, float r, unsigned colour) {
  note("disc", colour, cx, cy, r);
}
void stroke_circle(float cx, float cy, float r, unsigned colour, float width) {
  note("circle", colour, cx, cy, r, width);
}
void line(float x0, float y0, float x1, float y1, unsigned colour, float width) {
  note("line", colour, x0, y0, x1, y1, width);
}
void fill_triangle(float x0, float y0, float x1, float y1, float x2, float y2, unsigned colour) {
  note("triangle", colour, x0, y0, x1, y1, x2, y2);
}
void stroke_arc(float cx, float cy, float r, float from, float to, unsigned colour, float width) {
  note("arc", colour, cx, cy, r, from, to, width);
}
// Of a curve the ends and every sixteenth point.
void polyline(const float* xy, int n, unsigned colour, float width) {
  note("curve", colour, n, width);
  for (int i = 0; i < n; i += 16)
    recording::drawn.back() +=
        " " + approved::number(xy[2 * i]) + "," + approved::number(xy[2 * i + 1]);
}
void fill_under(const float* xy, int n, float base_y, unsigned top, unsigned bottom) {
  note("under", top, n, base_y, xy[0], xy[1], xy[2 * n - 2], xy[2 * n - 1]);
  note("to", bottom);
}
void fill_rect_vgrad(const Rect& r, unsigned top, unsigned bottom) {
  fill_rect(r, top);
  note("to", bottom);
}
void fill_round_rect_vgrad(const Rect& r, float radius, unsigned top, unsigned bottom) {
  fill_round_rect(r, radius, top);
  note("to", bottom);
}
void push_clip(const Rect& r) {
  note("clip", 0, r.x, r.y, r.w, r.h);
}
void pop_clip() {
  note("unclip", 0);
}
void text(const Rect& r, const std::string& utf8, float size, unsigned colour, Align align,
          bool bold, bool vcenter) {
  note_text("text", r, utf8, size, colour, align, 2 * bold + vcenter);
}
void text_with_halo(const Rect& r, const std::string& utf8, float size, unsigned colour,
                    unsigned halo, Align align, bool bold, bool vcenter) {
  note("halo", halo);
  text(r, utf8, size, colour, align, bold, vcenter);
}
float text_wrapped(const Rect& r, const std::string& utf8, float size, unsigned colour,
                   Align align) {
  note_text("paragraph", r, utf8, size, colour, align, 0);
  return wrapped_height(utf8, size, r.w);
}
float wrapped_height(const std::string& utf8, float size, float width) {
  return utf8.empty() ? 0 : std::ceil(text_width(utf8, size, false) / width) * size * 1.25F;
}
float text_width(const std::string& utf8, float size, bool bold) {
  return static_cast<float>(characters(utf8)) * size * (bold ? 0.55F : 0.5F);
}
int fit_chars(const std::string& utf8, float size, float max_width) {
  std::size_t bytes = 0;
  for (std::size_t i = 1; i <= utf8.size(); ++i)
    if (i == utf8.size() || (utf8[i] & '\xC0') != '\x80')
      if (text_width(utf8.substr(0, i), size, false) <= max_width) bytes = i;
  return static_cast<int>(bytes);
}
void image_png(const unsigned char*, std::size_t, const Rect& r) {
  note("image", 0, r.x, r.y, r.w, r.h);
}

}  // namespace gfx
