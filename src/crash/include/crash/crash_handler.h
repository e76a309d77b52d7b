// The program's side of crash reporting. Start-up, the window platform and the audio engine
// describe the run here, so that a report can include it.
#pragma once

#include <string>
#include <vector>

namespace crash_handler {

// Makes the process ready to report a crash. Call it before anything else.
void install();

// Lets the calling thread report its crash, including a stack overflow. Every thread of the program
// calls it first. Not for time-critical code: it makes system calls.
void prepare_thread();

// Keeps the previous run's log: renames `path` to `path` + ".1". A missing file is not an error.
void rotate_log(const std::string& path);

// Sets the log file whose last lines go into a report.
void set_log_path(const std::string& path);

// Reports are kept in the folder of `path`; without one, in the configuration directory.
void set_report_path(const std::string& path);
std::string report_path();

// Describes the machine, for reports and in the log.
void record_system();

// Describes the sound server's devices for reports. If they differ from the last call's, the lines
// are logged, each as "Audio: " + line. Thread: any.
void record_audio(const std::vector<std::string>& lines);

// Describes the renderer and the displays for reports, in addition to the graphics adapters. The
// lines are logged, each as "Graphics: " + line. Main thread.
void record_graphics(const std::vector<std::string>& lines);

// Whether there is a report of an earlier run. `text` receives it; may be null.
bool pending_report(std::string* text);

// Hands the waiting report to the user's mail program, and returns at once. The report is not
// offered again, even if that fails later.
void send_report();

// Deletes the waiting report.
void clear_report();

}  // namespace crash_handler
