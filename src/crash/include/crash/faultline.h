// A small library for crash reports: it writes a report when a fatal signal arrives, finds it at
// the next start, and hands it to the user's mail program. It knows nothing of the program but an
// App record.
//
// Order of use: install first of all; rotate_log before the log file is opened; set_log_file and
// set_report_dir as soon as both are known; record_* whenever the state to be described changes;
// pending, then send or discard, once the user can be asked. Unless noted, a function belongs to
// the main thread, reports no errors, and changes nothing when it fails.
#pragma once

#include <string>
#include <vector>

namespace faultline {

// Texts must live as long as the process.
struct App {
  // Shown to users; also part of the early report's file name.
  const char* name = nullptr;
  const char* version = nullptr;  // "1.2.3"
  const char* build = nullptr;
  const char* mail_to = nullptr;       // recipient of reports
  const char* package_name = nullptr;  // as package managers know it

  // Called from any thread, also while the process ends. Each may be null.
  void (*log)(const char* level, const std::string& message) = nullptr;  // "INFO" or "WARN"
  void (*open_uri)(const std::string& address) = nullptr;
};

// The contexts that a report describes in addition to the crash itself.
enum Context { kGraphics = 0, kAudio = 1, kSystem = 2 };

// From here on catches SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL and SIGTRAP, and prepares the
// calling thread. Until set_report_dir, a report goes to "<name>_crash.txt" in $XDG_RUNTIME_DIR,
// else $TMPDIR, else /tmp.
void install(const App& app);

// Gives the calling thread a second stack for the report, so that an overflow of the ordinary one
// can be reported too, and unblocks the caught signals. The stack is freed when the thread ends.
// Not for time-critical code: it makes system calls.
void prepare_thread();

// Sets the log file whose last lines go into a report.
void set_log_file(const std::string& path);

// Reports are kept in `dir` from here on, as "crash_report.txt". One that was written before `dir`
// was known is moved there, if it is this user's and of a report's size. Paths of 1024 bytes or
// more are refused and logged; there is no report then.
void set_report_dir(const std::string& dir);
std::string report_path();
// Where the crashed run's log is kept, beside the report.
std::string crash_log_path();

// Keeps the previous run's log: renames `log_path` to `log_path` + ".1". Returns the new name,
// empty when there was no such file.
std::string rotate_log(const std::string& log_path);

// Replaces one context's text; at most 2047 bytes are kept, cut between characters. A crash at any
// moment reports either the old text or the new one. Threads: any, one per context at a time.
void set_context(Context context, const std::string& text);

// Describes the machine and its package; logs each line as "System: " + line. If a package manager
// must be asked, a thread of its own does all this after the call.
void record_system();
// Describes the sound system. Logs each line as "Audio: " + line if they differ from the last
// call's. Thread: any.
void record_audio(const std::vector<std::string>& lines);
// Describes the graphics adapters and, with `lines`, how the program uses them; logs each line as
// "Graphics: " + line.
void record_graphics(const std::vector<std::string>& lines);

// Lines without line ends, read from files, environment variables and at most one package manager,
// within 2 s. Values that cannot be read are "unknown" or a short explanation. Thread: any.
std::vector<std::string> system_lines();
std::vector<std::string> gpu_lines();  // one per graphics adapter
std::string package_line();

// Whether there is a report of an earlier run. `text` receives it, at most 256 KiB; may be null.
// Also copies that run's log to crash_log_path(), before later starts overwrite it.
bool pending(std::string* text);

// Removes the report and the log beside it.
void discard();

// Hands the report to the user's mail program, with the logs attached (`log_path` is this run's, or
// empty), and returns at once; a thread does the work and logs the outcome. From then on the report
// counts as delivered: its files are renamed to "...-sent.txt" and kept. Only if no thread can be
// started, which is logged, is it offered again.
void send(const std::string& log_path);

}  // namespace faultline
