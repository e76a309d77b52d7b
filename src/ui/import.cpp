// DESIGN: an imported curve is provisional until the user has saved it under a name. The previous
// curve is kept in the save dialog and comes back however the dialog is closed.
#include "import.h"

#include <algorithm>
#include <utility>

#include "app/logger.h"
#include "curves/curve_files.h"
#include "i18n/i18n.h"
#include "platform/platform.h"
#include "state.h"
#include "text.h"
#include "ui/theme.h"

namespace ui {

namespace {

constexpr float kText = 14.0F;
constexpr float kNameWidth = 300.0F;
constexpr std::uint64_t kNoticeMs = 5000;

std::string g_at_start;  // asked for before init

std::string file_name(const std::string& path) {
  return one_line(path.substr(path.rfind('/') + 1));
}

const char* reason_key(curves::Reason reason) {
  switch (reason) {
    case curves::Reason::kUnreadable:
      return "import_unreadable";
    case curves::Reason::kTooLarge:
      return "import_too_large";
    case curves::Reason::kNoEqualizer:
      return "import_no_equalizer";
    case curves::Reason::kUnsupported:
      return "import_unsupported";
    case curves::Reason::kMalformed:
      return "import_malformed";
  }
  return "";
}

void show_refusal(const std::string& path, const curves::Refusal& refusal) {
  logger::warn("Not imported: " + one_line(path) + ": " + curves::description(refusal));
  const std::string name = shorten(file_name(path), kText, kNameWidth);
  Notice& notice = state().look.notice;
  notice.title = with_argument(i18n::T("import_failed"), isolated(name));
  notice.reason = with_argument(i18n::T(reason_key(refusal.reason)), std::to_string(refusal.line));
  notice.until_ms = platform::ticks_ms() + kNoticeMs;
}

}  // namespace

void begin_import(const curves::Import& import) {
  State& s = state();
  if (s.settings->compact) set_compact(false);
  s.look.drag = kHitNone;
  s.look.hover = kHitNone;
  s.look.notice = {};
  open_save_imported(import.name);
  start_glide(import.curve);
}

void import_file(const std::string& path) {
  const curves::Result result = curves::import_file(path);
  if (const auto* const refusal = std::get_if<curves::Refusal>(&result)) {
    show_refusal(path, *refusal);
    return;
  }
  const auto& import = std::get<curves::Import>(result);
  logger::info("Imported: " + one_line(path) + ": " + curves::description(import));
  begin_import(import);
}

void import_at_start(const std::string& path) {
  g_at_start = path;
}

void import_pending(std::uint64_t now) {
  if (!g_at_start.empty()) import_file(std::exchange(g_at_start, ""));
  Notice& notice = state().look.notice;
  if (now >= notice.until_ms) notice = {};
}

void draw_notice() {
  const State& s = state();
  const Notice& notice = s.look.notice;
  if (notice.title.empty()) return;
  const theme::Colors& c = *theme::colors();
  const Rect& area = s.settings->compact ? s.view.bars : s.view.spectrum;
  const std::string text = notice.title + "\n" + notice.reason;
  const float widest = std::max(gfx::text_width(notice.title, kText, false),
                                gfx::text_width(notice.reason, kText, false));
  const float width = note_width(area, widest);
  const float height = gfx::wrapped_height(text, kText, width - 32.0F);
  Rect card = note_card(area, width, height);
  // Below the note about the engine if there is room, else over it.
  if (s.note.h > 0.0F) card.y = std::min(s.note.y + s.note.h + 8.0F, area.y + area.h - card.h);
  gfx::fill_round_rect(card, 8.0F, c.panel);
  gfx::stroke_round_rect(card, 8.0F, c.warning, 1.0F);
  gfx::text_wrapped({card.x + 16.0F, card.y + 9.0F, card.w - 32.0F, height}, text, kText, c.text,
                    Align::Center);
}

}  // namespace ui
