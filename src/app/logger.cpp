#include "logger.h"
#include <cstdio>
namespace logger {
void info(const std::string& msg) { std::fprintf(stderr, "INFO  %s\n", msg.c_str()); }
void warn(const std::string& msg) { std::fprintf(stderr, "WARN  %s\n", msg.c_str()); }
void error(const std::string& msg) { std::fprintf(stderr, "ERROR %s\n", msg.c_str()); }
}  // namespace logger
