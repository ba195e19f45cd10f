#pragma once

#include <csignal>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

/// Another process, made by fork(2): it runs `body`, says that it has, and waits until it is killed.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<void()>& body) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    number_ = ::fork();
    if (number_ == 0) {
      body();
      if (::write(ends[1], "r", 1) != 1) ::_exit(2);
      for (;;) ::pause();
    }
    ::close(ends[1]);
    char ready = 0;
    EXPECT_EQ(::read(ends[0], &ready, 1), 1) << "the process has ended";
    ::close(ends[0]);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  ~OtherProcess() { kill(); }

  pid_t number() const { return number_; }

  void kill() {
    if (number_ > 0) ::kill(number_, SIGKILL);
    if (number_ > 0) ::waitpid(number_, nullptr, 0);
    number_ = 0;
  }

 private:
  pid_t number_ = 0;
};
