#pragma once

#include <string>

#include <sys/types.h>

/// The soak's server, in a process of its own: it answers well, late, in part, wrongly or not at all, until it is told
/// to be good. Main thread.
class SoakOrigin final {
 public:
  /// Starts this program again as a server, which draws its faults by `seed`.
  explicit SoakOrigin(unsigned seed);
  ~SoakOrigin();
  SoakOrigin(const SoakOrigin&) = delete;
  SoakOrigin& operator=(const SoakOrigin&) = delete;

  std::string url(const std::string& path) const { return "http://127.0.0.1:" + port_ + path; }

  /// From now on every answer is right.
  void beGood() const;

  /// What the server's process does, until its standard input ends: prints its port, serves.
  static int serve(unsigned seed);

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  std::string port_;
};
