#include "audio.h"
#include "guard.h"
#include "platform.h"
#include "settings.h"
int main() {
  guard::start();
  Settings s;
  audio::set_curve(s.curve);
  audio::set_active(true);
  audio::start(true);
  const int rc = run_gui(&s);
  audio::stop();
  guard::stop();
  return rc;
}
