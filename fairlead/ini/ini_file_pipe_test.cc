// Tests of INI files that are pipes, and of system calls that signals
// interrupt.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::ini_file_pipe_test {
namespace {

using IniFilePipeTest = IniTest;

TEST_F(IniFilePipeTest, ReadsAPipeToItsEnd) {
  std::string text;  // Far more than a pipe holds.
  for (int i = 0; i < 20'000; ++i)
    text += "key" + std::to_string(i) + "=" + std::to_string(i) + "\n";
  ASSERT_EQ(mkfifo(Path().c_str(), 0600), 0);
  std::thread writer([this, &text] { Write(text); });
  Records records;
  EXPECT_TRUE(CIniFile::Load(Path(), records));
  writer.join();
  ASSERT_EQ(records.size(), 20'000U);
  EXPECT_EQ(records[19'999], (Record{"", ' ', "", "key19999", "19999"}));
}

// Lets another thread interrupt the constructing thread with signals while it
// sleeps in a system call.
class Interrupter {
 public:
  Interrupter() {
    struct sigaction action = {};  // Without SA_RESTART.
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &before_);
  }
  Interrupter(const Interrupter&) = delete;
  Interrupter& operator=(const Interrupter&) = delete;
  ~Interrupter() { sigaction(SIGUSR1, &before_, nullptr); }

  void InterruptSleep() const {
    for (int i = 0; i < 5; ++i) {
      while (!Sleeps()) std::this_thread::yield();
      pthread_kill(thread_, SIGUSR1);
    }
  }

 private:
  // The state follows the name in parentheses.
  bool Sleeps() const {
    std::ifstream in(status_file_);
    const std::string status{std::istreambuf_iterator<char>(in), {}};
    return status.find(") S ") != std::string::npos;
  }

  const pthread_t thread_ = pthread_self();
  const std::string status_file_ =
      "/proc/self/task/" + std::to_string(gettid()) + "/stat";
  struct sigaction before_ = {};
};

TEST_F(IniFilePipeTest, LoadResumesInterruptedCalls) {
  ASSERT_EQ(mkfifo(Path().c_str(), 0600), 0);
  const Interrupter loading;
  std::thread writer([this, &loading] {
    loading.InterruptSleep();  // in open
    std::ofstream out(Path());
    out << "a=1\nb" << std::flush;
    loading.InterruptSleep();  // in read
    out << "=2\n";
  });
  Records records;
  EXPECT_TRUE(CIniFile::Load(Path(), records));
  writer.join();
  EXPECT_EQ(records,
            (Records{{"", ' ', "", "a", "1"}, {"", ' ', "", "b", "2"}}));
}

TEST_F(IniFilePipeTest, SaveResumesInterruptedCalls) {
  ASSERT_EQ(mkfifo(Path().c_str(), 0600), 0);
  const Interrupter saving;
  std::string text;
  std::thread reader([this, &saving, &text] {
    saving.InterruptSleep();  // in open
    std::ifstream in(Path());
    saving.InterruptSleep();  // in write, once the pipe is full
    text.assign(std::istreambuf_iterator<char>(in), {});
  });
  const std::string value(100'000, 'v');
  EXPECT_TRUE(CIniFile::Save(
      Path(), {{"", ' ', "", "a", value}, {"", ' ', "", "b", value}}));
  reader.join();
  EXPECT_EQ(text, "a=" + value + "\nb=" + value + "\n");
}

}  // namespace
}  // namespace fairlead::internal::ini_file_pipe_test
