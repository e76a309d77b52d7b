// A small library of its own for programs that would rather not die in silence: it writes a report
// when a fatal signal arrives, finds it again at the next start, and hands it to the person's mail
// program. It knows nothing of the program around it but what an App record says.
//
// Order of use: install first of all; rotate_log before the log file is opened; set_log_file and
// set_report_dir as soon as both are known; record_* whenever there is something to describe;
// pending, then send or discard, when there is somebody to ask. Without a remark, a function
// belongs to the main thread, reports no errors and leaves things as they are when it fails.
#pragma once

#include <string>
#include <vector>

namespace faultline {

// Texts must live as long as the process.
struct App {
  const char* name = nullptr;     // as people know it; also part of the early report's file name
  const char* version = nullptr;  // "1.2.3"
  const char* build = nullptr;
  const char* mail_to = nullptr;       // where reports are sent
  const char* package_name = nullptr;  // what package managers call it

  // Both may be called from any thread, also while the process ends. Either may be null.
  void (*log)(const char* level, const std::string& message) = nullptr;  // "INFO" or "WARN"
  void (*open_uri)(const std::string& address) = nullptr;
};

// What a report describes beside the crash itself.
enum Context { kGraphics = 0, kAudio = 1, kSystem = 2 };

// Catches SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL and SIGTRAP from here on, and prepares the
// calling thread. Until set_report_dir, a report goes to "<name>_crash.txt" in $XDG_RUNTIME_DIR,
// else $TMPDIR, else /tmp.
void install(const App& app);

// Gives the calling thread a stack of its own for the report, so that an overflow of the ordinary
// stack can be reported too, and lets the caught signals through. The stack is given back when the
// thread ends. Thread: the one to prepare; not
// for use in time-critical code (system calls).
void prepare_thread();

// The log file whose last lines go into a report.
void set_log_file(const std::string& path);

// Reports are kept in `dir` from here on, as "crash_report.txt"; one that was written before `dir`
// was known is moved there.
void set_report_dir(const std::string& dir);
std::string report_path();
// Where the log of the run that crashed is kept, beside the report.
std::string crash_log_path();

// Keeps the previous run's log: renames `log_path` to `log_path` + ".1". Returns the new name,
// empty when there was no such file.
std::string rotate_log(const std::string& log_path);

// Replaces one context's text; at most 2047 bytes are kept, cut between characters. A crash at any
// moment reports either the old text or the new one. Thread: any, one per context at a time.
void set_context(Context context, const std::string& text);

// Describe the machine and its package; log each line as "System: " + line.
void record_system();
// Describes the sound system. The lines are logged, each as "Audio: " + line, when they differ from
// the last call's. Thread: any.
void record_audio(const std::vector<std::string>& lines);
// Describes the graphics adapters and, with `lines`, what the program made of them; logs each as
// "Graphics: " + line.
void record_graphics(const std::vector<std::string>& lines);

// One line each, without a line end. They read files, environment variables and at most one
// package manager's answer; what cannot be read is said in the line. Thread: any.
std::vector<std::string> system_lines();
std::vector<std::string> gpu_lines();  // one per graphics adapter
std::string package_line();

// Whether a report of an earlier run waits; its text, at most 256 KiB, goes to `text` when that is
// not null. Also puts the log of that run into safety, as crash_log_path().
bool pending(std::string* text);

// Removes the report and the log beside it.
void discard();

// Hands the report to the person's mail program, with the logs attached (`log_path` is this run's,
// or empty), and returns at once; a thread of its own does the work and logs how it went. The
// report counts as delivered from here on, whatever comes of it: its files are renamed to
// "...-sent.txt" and kept.
void send(const std::string& log_path);

}  // namespace faultline
