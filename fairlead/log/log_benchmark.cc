// One flushed line to a file and to standard output, by one thread and by four,
// beside other loggers. Two bare writes under a lock are the lower limit for a
// log that flushes every line.
//
// All write the same bytes, and append to two files.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/log/log.h"
#include "fairlead/testing/temp_folder.h"

#ifdef FAIRLEAD_PEER_SPDLOG
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#endif
#ifdef FAIRLEAD_PEER_GLOG
#include <glog/logging.h>
#endif

namespace {

constexpr std::string_view kText =
    "[2026.11.21 20:57:54] connected to localhost:7000, 1796 bytes received";

// The files of one run, removed at its end.
class Files {
 public:
  std::string Log() const { return folder_.Path("log"); }
  std::string Output() const { return folder_.Path("output"); }

 private:
  fairlead::internal::TempFolder folder_;
};

// Redirects a descriptor to a file until the end of its scope. Used only around
// the loops, so that the report is printed.
class Redirection {
 public:
  Redirection(int descriptor, const std::string& name)
      : descriptor_(descriptor) {
    std::fflush(stdout);
    saved_ = dup(descriptor);
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (saved_ < 0 || file < 0 || dup2(file, descriptor) < 0) std::abort();
    close(file);
  }
  ~Redirection() {
    std::fflush(stdout);
    dup2(saved_, descriptor_);
    close(saved_);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  int descriptor_;
  int saved_;
};

// Each implementation is constructed with the name of its file, and writes
// kText and a newline there and to kDescriptor.

class Fairlead {
 public:
  static constexpr int kDescriptor = STDOUT_FILENO;
  explicit Fairlead(const std::string& name) : log_(name, false) {}
  void Write() { log_ << line_; }

 private:
  fairlead::CLog log_;
  const std::string line_ = std::string(kText) + "\n";
};

class BareWrites {
 public:
  static constexpr int kDescriptor = STDOUT_FILENO;
  explicit BareWrites(const std::string& name)
      : file_(open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600)) {}
  ~BareWrites() { close(file_); }
  BareWrites(const BareWrites&) = delete;
  BareWrites& operator=(const BareWrites&) = delete;

  void Write() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (write(file_, line_.data(), line_.size()) < 0) std::abort();
    if (write(kDescriptor, line_.data(), line_.size()) < 0) std::abort();
  }

 private:
  std::mutex mutex_;
  const int file_;
  const std::string line_ = std::string(kText) + "\n";
};

// What most programs write by hand: two stdio files, flushed after every line.
class Stdio {
 public:
  static constexpr int kDescriptor = STDOUT_FILENO;
  explicit Stdio(const std::string& name)
      : file_(std::fopen(name.c_str(), "a")) {
    if (file_ == nullptr) std::abort();
  }
  ~Stdio() { std::fclose(file_); }
  Stdio(const Stdio&) = delete;
  Stdio& operator=(const Stdio&) = delete;

  void Write() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (std::FILE* const file : {file_, stdout}) {
      std::fwrite(line_.data(), 1, line_.size(), file);
      std::fflush(file);
    }
  }

 private:
  std::mutex mutex_;
  std::FILE* const file_;
  const std::string line_ = std::string(kText) + "\n";
};

// The same with streams.
class Iostream {
 public:
  static constexpr int kDescriptor = STDOUT_FILENO;
  explicit Iostream(const std::string& name) : file_(name, std::ios::app) {}

  void Write() {
    const std::lock_guard<std::mutex> lock(mutex_);
    file_ << line_ << std::flush;
    std::cout << line_ << std::flush;
  }

 private:
  std::mutex mutex_;
  std::ofstream file_;
  const std::string line_ = std::string(kText) + "\n";
};

#ifdef FAIRLEAD_PEER_SPDLOG
// One sink whose lock covers both files, as in CLog, so that both have the same
// order of lines.
std::vector<spdlog::sink_ptr> OneLock(const std::string& name) {
  return {std::make_shared<spdlog::sinks::dist_sink_mt>(
      std::vector<spdlog::sink_ptr>{
          std::make_shared<spdlog::sinks::basic_file_sink_st>(name),
          std::make_shared<spdlog::sinks::stdout_sink_st>()})};
}

// A sink and a lock for each file: two threads can write at once, and the files
// may differ in the order of lines.
std::vector<spdlog::sink_ptr> TwoLocks(const std::string& name) {
  return {std::make_shared<spdlog::sinks::basic_file_sink_mt>(name),
          std::make_shared<spdlog::sinks::stdout_sink_mt>()};
}

template <auto MakeSinks>
class Spdlog {
 public:
  static constexpr int kDescriptor = STDOUT_FILENO;
  explicit Spdlog(const std::string& name) : logger_("benchmark") {
    logger_.sinks() = MakeSinks(name);
    logger_.set_pattern("%v");
    logger_.flush_on(spdlog::level::info);
  }
  void Write() {
    logger_.log(spdlog::level::info,
                spdlog::string_view_t(kText.data(), kText.size()));
  }

 private:
  spdlog::logger logger_;
};
#endif

#ifdef FAIRLEAD_PEER_GLOG
// glog can copy its lines to standard error only. Its prefix is switched off;
// the lines at the start of its file cannot be.
class Glog {
 public:
  static constexpr int kDescriptor = STDERR_FILENO;
  explicit Glog(const std::string& name) {
    static const bool initialized = [] {
      google::InitGoogleLogging("benchmark");
      return true;
    }();
    benchmark::DoNotOptimize(initialized);
    FLAGS_log_prefix = false;
    FLAGS_timestamp_in_logfile_name = false;
    FLAGS_alsologtostderr = true;
    FLAGS_logbufsecs = 0;
    FLAGS_logbuflevel = -1;  // Flush every line.
    google::SetLogDestination(google::GLOG_INFO, name.c_str());
  }
  ~Glog() { google::SetLogDestination(google::GLOG_INFO, ""); }
  Glog(const Glog&) = delete;
  Glog& operator=(const Glog&) = delete;

  void Write() { LOG(INFO) << kText; }
};
#endif

// Checks that every line is in both files before the next one is written.
template <typename Competitor>
bool WritesTheLines() {
  const Files files;
  const Redirection redirection(Competitor::kDescriptor, files.Output());
  Competitor competitor(files.Log());
  std::string lines;
  for (int i = 0; i < 3; ++i) {
    competitor.Write();
    lines += std::string(kText) + "\n";
    if (!fairlead::internal::ReadFile(files.Log()).ends_with(lines))
      return false;
    if (fairlead::internal::ReadFile(files.Output()) != lines) return false;
  }
  return true;
}

// The first thread creates the log before the others start, and deletes it
// last.
template <typename Competitor>
void LogLine(benchmark::State& state) {
  static std::unique_ptr<Files> files;
  static std::unique_ptr<Redirection> redirection;
  static std::unique_ptr<Competitor> competitor;
  if (state.thread_index() == 0) {
    files = std::make_unique<Files>();
    redirection =
        std::make_unique<Redirection>(Competitor::kDescriptor, files->Output());
    competitor = std::make_unique<Competitor>(files->Log());
  }
  for (auto _ : state) competitor->Write();
  if (state.thread_index() == 0) {
    competitor.reset();
    redirection.reset();
    files.reset();
  }
}

template <typename Competitor>
bool Enter(const char* name) {
  if (!WritesTheLines<Competitor>()) {
    std::fprintf(stderr, "%s does not write the same lines\n", name);
    std::abort();
  }
  for (const int threads : {1, 4})
    benchmark::RegisterBenchmark(name, LogLine<Competitor>)
        ->Arg(threads)
        ->Threads(threads)
        ->UseRealTime();
  return true;
}

[[maybe_unused]] const bool kEntered[] = {
    Enter<Fairlead>("LogLine/fairlead"),
    Enter<BareWrites>("LogLine/bare_writes"),
    Enter<Stdio>("LogLine/stdio"),
    Enter<Iostream>("LogLine/iostream"),
#ifdef FAIRLEAD_PEER_SPDLOG
    Enter<Spdlog<OneLock>>("LogLine/spdlog"),
    Enter<Spdlog<TwoLocks>>("LogLine/spdlog_in_any_order"),
#endif
#ifdef FAIRLEAD_PEER_GLOG
    Enter<Glog>("LogLine/glog"),
#endif
};

}  // namespace
