// The command `log`: timestamps lines from standard input into a file.

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ios>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/parameters.h"
#include "tool/io/interruption.h"
#include "tool/io/output.h"
#include "tool/log/line_logger.h"
#include "tool/log/log_file.h"

namespace fairlead::tool::log {
namespace {

constexpr std::size_t kBufferSize = 65536;

constexpr Parameter kFile = {
    .name = "file",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kLog,
    .help = "append the lines to FILE, created if it does not exist"};

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
    .placeholder = "TIME",
    .kind = Kind::kDuration,
    .group = Group::kLog,
    .help =
        "suppress repeats of a line within TIME and log their count when they "
        "stop; distinct lines stay in memory for that time",
    .range = kTimeRange};

constexpr auto kUses =
    Uses(kFile, Optional(kLogCrlf), Optional(kStamp), Optional(kOnce));

using Arguments = tool::Arguments<kUses>;

// Returns the interval of -once in seconds.
std::optional<double> Interval(const Arguments& arguments) {
  const auto interval = arguments.Duration(kOnce);
  if (!interval) return std::nullopt;
  return std::chrono::duration<double>(*interval).count();
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
  const std::optional<double> interval = Interval(arguments);
  CheckInput(output);
  const Interruption interruption;
  OutputCopy copy(output, interruption);
  LogFile file(arguments.Text(kFile), arguments.Has(kLogCrlf), &copy);
  CheckFile(file, arguments.Text(kFile), output);
  LineLogger logger(arguments.Chosen<StampForm>(kStamp), interval,
                    [&](const std::string& line) { file.Write(line); });

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
        "lost or torn.\n"
        "Ends with its input, with the first line that standard output does "
        "not accept, and on Ctrl-C, SIGTERM or SIGHUP: then the file has what "
        "was read, and suppressed repeats are counted. If only the reader of "
        "standard output ends, as in '| head -1', the file still gets every "
        "line up to the end of the input.\n"
        "Lines that cannot be written to the file, for example because the "
        "disk is full, wait in memory (up to 64 KiB) and are retried; at the "
        "end, a message reports how many bytes are missing, except for a pipe "
        "or a device, or if other programs append as much in the meantime.",
    .action = ActionOf<log::kUses, log::Log>(),
    .examples = log::kExamples,
    .statuses = log::kStatuses,
};

}  // namespace fairlead::tool
