// The command `log`: timestamps lines from standard input into a file.

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <ios>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/time/the_time.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/io/interruption.h"
#include "tool/io/output.h"
#include "tool/log/log_file.h"
#include "tool/log/repeats.h"

namespace fairlead::tool::log {
namespace {

constexpr std::size_t kBufferSize = 65536;

constexpr Parameter kFile = {
    .name = "file",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kLog,
    .help = "append the lines to FILE, created if it does not exist"};

enum class StampForm { kBracket, kPlain, kNone };

constexpr auto kStamps = std::to_array<Choice>({
    {StampForm::kBracket, "bracket"},
    {StampForm::kPlain, "plain"},
    {StampForm::kNone, "none"},
});

constexpr Parameter kStamp = {
    .name = "stamp",
    .kind = Kind::kChoice,
    .group = Group::kLog,
    .help =
        "the timestamp before a line: [2026.11.14 20:57:54], the same without "
        "brackets, or none; it is the local time of receipt",
    .choices = kStamps,
    .fallback = "bracket"};
constexpr Parameter kOnce = {
    .name = "once",
    .placeholder = "SECONDS",
    .kind = Kind::kNonEmptyText,
    .group = Group::kLog,
    .help =
        "suppress repeats of a line within SECONDS (fractions allowed) and log "
        "their count when they stop; distinct lines stay in memory for that "
        "time"};

constexpr auto kUses =
    Uses(kFile, Optional(kLogCrlf), Optional(kStamp), Optional(kOnce));

using Arguments = tool::Arguments<kUses>;

// The interval of -once.
double Seconds(std::string_view text) {
  double seconds = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] =
      std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
  if (error == std::errc() && rest == end && seconds > 0 &&
      std::isfinite(seconds))
    return seconds;
  throw Failure(kWrongUsage,
                Concat("-once: ", Quoted(text),
                       " is not a positive number of seconds, such as 10 or "
                       "0.5"));
}

// Writes CLog's copy to standard output. A stream swallows exceptions of its
// buffer, so the first failure is kept. If the output blocks, a signal ends the
// wait. If the reader is gone, only the file gets the rest.
class OutputCopy : public std::streambuf {
 public:
  OutputCopy(const Output& output, const Interruption& interruption)
      : output_(output), interruption_(interruption) {}

  const std::optional<Failure>& failure() const { return failure_; }

  // Returns whether the lines that are not read yet can be logged too.
  bool MayContinue() const {
    return !failure_ || failure_->status() == kReaderGone;
  }

 private:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const std::string_view bytes(text, static_cast<std::size_t>(size));
    if (failure_) return 0;
    try {
      if (!output_.AwaitWritable(interruption_.descriptor())) return 0;
      output_.Write(output_.screen().terminal ? Visible(bytes)
                                              : std::string(bytes));
      return size;
    } catch (const Failure& failure) {
      failure_.emplace(failure);
      return 0;
    }
  }

  int_type overflow(int_type c) override {
    const char byte = traits_type::to_char_type(c);
    return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
  }

  const Output& output_;
  const Interruption& interruption_;
  std::optional<Failure> failure_;
};

std::string Stamp(StampForm form) {
  switch (form) {
    case StampForm::kBracket:
      return TheTime().GetStr(true);
    case StampForm::kPlain:
      return TheTime().GetStr(false) + " ";
    case StampForm::kNone:
      return "";
  }
  return {};
}

// Splits pieces of input into lines and logs them.
class LineLogger {
 public:
  LineLogger(LogFile& file, const Arguments& arguments)
      : file_(file), stamp_(arguments.Chosen<StampForm>(kStamp)) {
    if (arguments.Has(kOnce))
      repeats_.emplace(
          Seconds(arguments.Text(kOnce)),
          [this](std::string_view line, std::int64_t count) {
            Write(Concat("repeated ", count,
                         count == 1 ? " time: " : " times: ", line));
          });
  }

  // Takes a piece of the input, of any size.
  void Take(std::string_view piece) {
    for (std::size_t newline = 0;
         (newline = piece.find('\n')) != std::string_view::npos;
         piece.remove_prefix(newline + 1))
      Complete(piece.substr(0, newline));
    begun_ += piece;
  }

  // Ends the input. The last line may lack its newline.
  void End() {
    if (!begun_.empty()) Complete("");
    if (repeats_) repeats_->ReportAll();
  }

  void ReportEnded() {
    if (repeats_) repeats_->ReportEnded();
  }

  int Wait() const { return repeats_ ? repeats_->Wait() : -1; }

 private:
  void Complete(std::string_view rest) {
    if (begun_.empty()) return Line(rest);
    begun_ += rest;
    Line(begun_);
    begun_.clear();
  }

  void Line(std::string_view line) {
    if (!repeats_ || repeats_->Passes(line)) Write(line);
  }

  // Writes in one piece, so that lines of several programs do not mix.
  void Write(std::string_view line) {
    file_.Write(Concat(Stamp(stamp_), line, "\n"));
  }

  LogFile& file_;
  const StampForm stamp_;
  std::string begun_;  // A line without its newline so far.
  std::optional<Repeats> repeats_;
};

enum class Input { kReady, kNotReady, kFailed };

// Waits for input or its end. It is not ready after the wait, in milliseconds,
// or a signal. Sets errno if polling fails.
Input AwaitInput(const Interruption& interruption, int wait) {
  std::array<pollfd, 2> waits = {
      pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
      pollfd{.fd = interruption.descriptor(), .events = POLLIN, .revents = 0}};
  if (poll(waits.data(), waits.size(), wait) == -1 && errno != EINTR)
    return Input::kFailed;
  return waits[0].revents != 0 ? Input::kReady : Input::kNotReady;
}

// Logs until the input ends, a signal arrives or standard output fails; without
// its reader, only the file gets the lines. Returns 0 or the error of a failed
// poll or read.
int LogLines(LineLogger& logger, const Interruption& interruption,
             const OutputCopy& copy) {
  std::vector<char> buffer(kBufferSize);
  while (!Interruption::HasCome() && copy.MayContinue()) {
    const Input input = AwaitInput(interruption, logger.Wait());
    if (input == Input::kFailed) return errno;
    logger.ReportEnded();
    if (input == Input::kNotReady) continue;
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count == 0) return 0;
    if (count > 0)
      logger.Take({buffer.data(), static_cast<std::size_t>(count)});
    else if (errno != EAGAIN && errno != EINTR)
      return errno;
  }
  return 0;
}

// Output to the input file would be read again, endlessly.
void CheckInput(const Output& output) {
  struct stat input = {};
  if (fstat(STDIN_FILENO, &input) == 0 && output.IsFile(input))
    throw Failure(kCannotWrite,
                  "standard output and standard input are the same file; "
                  "redirect standard output (> /dev/null drops the copy)");
}

void CheckFile(const LogFile& file, const std::string& path,
               const Output& output) {
  const struct stat status = file.Status();
  if (IsOfFile(STDIN_FILENO, status))
    throw Failure(kCannotWrite,
                  Concat("-file ", Quoted(path),
                         " is also standard input; choose another file"));
  if (output.IsFile(status))
    throw Failure(kCannotWrite,
                  Concat("-file ", Quoted(path),
                         " is also standard output, so every line would be "
                         "written twice; redirect standard output (> /dev/null "
                         "drops the copy)"));
}

ExitStatus Log(const Arguments& arguments, const Output& output) {
  if (arguments.Has(kOnce)) Seconds(arguments.Text(kOnce));
  CheckInput(output);
  const Interruption interruption;
  OutputCopy copy(output, interruption);
  LogFile file(arguments.Text(kFile), arguments.Has(kLogCrlf), &copy);
  CheckFile(file, arguments.Text(kFile), output);
  LineLogger logger(file, arguments);

  const int error = LogLines(logger, interruption, copy);
  logger.End();
  const std::string missing = file.Missing();
  if (!missing.empty()) PrintError("log", missing);
  if (Interruption::HasCome()) Interruption::End();
  if (!copy.MayContinue()) throw Failure(*copy.failure());
  if (error != 0)
    throw Failure(kCannotRead,
                  Concat("cannot read standard input: ", ErrorText(error)));
  if (!missing.empty()) return kCannotWrite;
  return copy.failure() ? kReaderGone : kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead log -file box.log",
     "Appends each line typed, or received from a pipe, with a timestamp."},
    {"fairlead log -file box.log -once 60 -stamp plain",
     "Writes a repeating line once, and its count a minute after the last."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kCannotWrite, "the file or standard output cannot be written"},
    {kCannotRead, "standard input cannot be read"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace
}  // namespace fairlead::tool::log

namespace fairlead::tool {

constinit const Command kLogCommand = {
    .name = "log",
    .summary =
        "timestamp lines from standard input, to a file and to standard output",
    .description =
        "Reads standard input line by line, and writes each line at once, with "
        "a timestamp before it, to the end of the file and to standard output. "
        "Control bytes are made visible on a terminal. The last line may lack "
        "its newline. Standard input, standard output and the file must be "
        "different files. Several processes may append to one file: no line is "
        "lost or torn. Ends with its input, with the first line that standard "
        "output does not accept, and on Ctrl-C, SIGTERM or SIGHUP: then the "
        "file has what was read, and suppressed repeats are counted. If "
        "only the reader of standard output ends, as in '| head -1', the file "
        "still gets every line up to the end of the input. Lines "
        "that cannot be written to the file, for example because the disk is "
        "full, wait in memory (up to 64 KiB) and are retried; at the end, a "
        "message reports how many bytes are missing, except for a pipe or a "
        "device, or if other programs append as much in the meantime.",
    .action = ActionOf<log::kUses, log::Log>(),
    .examples = log::kExamples,
    .statuses = log::kStatuses,
};

}  // namespace fairlead::tool
