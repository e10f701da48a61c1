// The log of an exchange, in this process.

#include "tool/traffic/exchange_log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "tool/base/failure.h"
#include "tool/traffic/exchange_log_testing.h"

namespace fairlead::tool::exchange_log_test {
namespace {

using ExchangeLogTest = LogFileTest;

TEST_F(ExchangeLogTest, ThreadsMayAddEvents) {
  ExchangeLog log(path_, false);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) log.Add("an event of some thread");
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_NO_THROW(log.Check());
  EXPECT_EQ(Events(),
            std::vector<std::string>(2000, "an event of some thread"));
}

TEST_F(ExchangeLogTest, RestoresStandardOutput) {
  testing::internal::CaptureStdout();
  {
    ExchangeLog log(path_, false);
    log.Add("an event");
    std::cout << "dropped\n";
  }
  std::cout << "printed" << std::flush;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "printed");
}

TEST_F(ExchangeLogTest, ATruncatedFileIsReported) {
  ExchangeLog log(path_, false);
  log.Add("an event");
  EXPECT_NO_THROW(log.Check());
  std::filesystem::resize_file(path_, 3);
  EXPECT_THROW(log.Check(), Failure);
}

TEST_F(ExchangeLogTest, APipeThatNobodyReadsIsReported) {
  signal(SIGPIPE, SIG_IGN);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ExchangeLog log(path_, true);
  log.Add("an event");
  EXPECT_NO_THROW(log.Check());
  close(reader);
  log.Add("another one");
  try {
    log.Check();
    ADD_FAILURE() << "nothing is reported";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kCannotWrite);
    EXPECT_EQ(failure.what(), "35 of 67 bytes written to '" + path_ +
                                  "' are missing: no program reads it");
  }
}

}  // namespace
}  // namespace fairlead::tool::exchange_log_test
