// Watches a file until it is interrupted, and reports on standard output and in
// a log when the file begins to change and when it has stopped changing:
//
//     watch -file data.bin -log watch.log -every 200 -rest 2000
//
// Times are in milliseconds. A missing file is reported once a minute.

#include <fairlead/fairlead.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

namespace {

volatile std::sig_atomic_t interrupted = 0;

std::optional<std::uint64_t> SizeOf(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

std::string Readable(std::uint64_t size) {
  fairlead::CFilePos position;
  position.position.__pos = static_cast<std::int64_t>(size);
  return position.GetText();
}

// CLog adds nothing to a text, and never mixes those of several threads.
void Report(fairlead::CLog& log, const std::string& text) {
  log << fairlead::TheTime().GetStr(true) + text + "\n";
}

class Watch {
 public:
  Watch(std::string file, double rest, fairlead::CLog& log)
      : file_(std::move(file)), size_(SizeOf(file_)), rest_(rest), log_(log) {}

  void Look() {
    const std::optional<std::uint64_t> size = SizeOf(file_);
    if (!size && missing_.Start(file_, 60)) Report(log_, file_ + " is missing");
    if (size != size_) {
      begins_.Update(file_);
      ends_.Update(file_);
    }
    size_ = size;

    if (begins_.Start(file_, rest_)) Report(log_, file_ + " begins to change");
    if (ends_.Start(file_, rest_))
      Report(log_, file_ + " rests at " + Readable(size_.value_or(0)));
  }

 private:
  std::string file_;
  std::optional<std::uint64_t> size_;  // None while the file is missing.
  double rest_;                        // Seconds without a change.
  fairlead::CLog& log_;
  fairlead::COnlyOnce missing_{fairlead::OnceThrottle};
  fairlead::COnlyOnce begins_{fairlead::OnceWaveStart};
  fairlead::COnlyOnce ends_{fairlead::OnceWaveEnd};
};

}  // namespace

int main(int argc, char** argv) {
  const fairlead::CSimpleCmdLine args(argc, argv);
  if (!args.PresentParam("file")) {
    std::fputs("usage: watch -file FILE [-log LOG] [-every MS] [-rest MS]\n",
               stderr);
    return 2;
  }
  const std::string file = args.GetStrParam("file");
  std::signal(SIGINT, [](int) { interrupted = 1; });

  fairlead::CLog log(args.GetStrParam("log", "watch.log"), false);
  Watch watch(file, args.GetIntParam("rest", 2000) / 1000.0, log);
  Report(log, "watching " + file);
  while (interrupted == 0) {
    watch.Look();
    fairlead::sleep_ms(args.GetIntParam("every", 200));
  }
  Report(log, "stopped watching");
  return 0;
}
