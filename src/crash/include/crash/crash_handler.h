// The program's side of crash reporting: start-up, the window platform and the audio engine
// describe the run here, so that a report can tell what it looked like.
#pragma once

#include <string>
#include <vector>

namespace crash_handler {

// Makes the process ready to report a crash. Called first of all, before the arguments are looked
// at.
void install();

// Lets the calling thread report its crash, an overflow of its stack included; every thread of ours
// calls it first. Thread: the one to prepare; not for use in time-critical code (system calls).
void prepare_thread();

// Keeps the log of the previous run: renames `path` to `path` + ".1". A missing file is no error.
void rotate_log(const std::string& path);

// The log file whose end goes into a report.
void set_log_path(const std::string& path);

// The report is kept in the folder of `path` (the configuration directory where `path` has no
// folder).
void set_report_path(const std::string& path);
std::string report_path();

// Describes the machine for reports and in the log.
void record_system();

// Describes the sound server's devices for reports. The lines are logged, each as "Audio: " + line,
// when they differ from the last call's. Thread: any.
void record_audio(const std::vector<std::string>& lines);

// Describes the renderer and the displays for reports, beside the graphics adapters. The lines are
// logged, each as "Graphics: " + line. Main thread.
void record_graphics(const std::vector<std::string>& lines);

// Whether a report of an earlier run waits; its text goes to `text` when that is not null.
bool pending_report(std::string* text);

// Hands the waiting report to the person's mail program, and returns at once. The report is not
// offered again, whatever comes of it.
void send_report();

// Deletes the waiting report.
void clear_report();

}  // namespace crash_handler
