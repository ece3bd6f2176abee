#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZRDownloadKit.h"

/// The code that the guide shows, as the parts of one player that a test runs.

/// What the player has of its own: a client of its site. Answers may come on any thread.
class Site {
 public:
  struct Film {
    std::string title, url, cover;
    int duration;
    std::int64_t bytes;
  };

  virtual ~Site() = default;
  virtual void askForKey(std::int64_t vid, std::function<void(const std::optional<std::string>& key)> answer) = 0;
  virtual void askForFilm(std::int64_t vid, int version,
                          std::function<void(const std::optional<Film>& film)> answer) = 0;
  virtual std::string decrypt(const std::string& encrypted) = 0;
};

// start.cpp
void introduce(const std::string& serviceURL);
ZRDictionary playerOptions(Site& site, std::ostream& log, std::map<std::int64_t, int>& reports);
void setUp(const ZRDictionary& options);
void goOn();
void endDownloads();
void beginAgain(const ZRDictionary& options);

// callbacks.cpp
ZRFetchMkeyHandler fetchKeyFrom(Site& site);
ZRDecryptionHandler decryptWith(Site& site);
ZRFetch73InfoHandler fetchInfoFrom(Site& site);
ZRLoggerHandler logTo(std::ostream& file);
ZRReportHandler countIn(std::map<std::int64_t, int>& reports);

// tasks.cpp
std::shared_ptr<ZRDownloadTask> makeEpisode();
std::shared_ptr<ZRDownloadTask> makeFilm();
std::shared_ptr<ZRDownloadTask> makeShared(const std::string& device);
std::string add(const std::shared_ptr<ZRDownloadTask>& task);
void removeForGood(const std::shared_ptr<ZRDownloadTask>& task);

// watch.cpp
class DownloadList {
 public:
  using Show = std::function<void(const std::string& id, const std::string& line)>;
  explicit DownloadList(Show show);
  ~DownloadList();
  DownloadList(const DownloadList&) = delete;
  DownloadList& operator=(const DownloadList&) = delete;

 private:
  void look();

  Show show_;
  ZRNotificationCenter::Token finished_;
  ZRRunLoop::DelayedId next_ = 0;
};

// stuck.cpp
class StuckWatch {
 public:
  using Clock = std::chrono::steady_clock;
  bool look(const std::shared_ptr<ZRDownloadTask>& task, Clock::time_point now);

 private:
  Clock::time_point lastLife_;
  float progress_ = -1;
};

// failures.cpp
enum class Offer { FreeSpace, Continue, ContinueAll, TryAgain, WakeDevice, Remove };
Offer offerFor(const ZRError& error);

// poll-loop.cpp
void runWithPoll(ZRDefaultRunLoop& loop, int wakeFd, const std::function<bool()>& isOver);
