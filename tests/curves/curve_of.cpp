// Prints one line for each file: ten gains, the preamp and the error, or why it is refused.
#include <cstdio>

#include "curves/curve_files.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const curves::Result result = curves::import_file(argv[i]);
    if (const auto* const refusal = std::get_if<curves::Refusal>(&result)) {
      std::printf("%s\n", curves::description(*refusal).c_str());
      continue;
    }
    const auto& import = std::get<curves::Import>(result);
    for (const float gain_db : import.curve.gain)
      std::printf("%.9g ", static_cast<double>(gain_db));
    std::printf("%.9g %.9g\n", static_cast<double>(import.curve.preamp), import.rms_db);
  }
  return 0;
}
