#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "Callbacks.h"
#include "Options.h"
#include "Reporter.h"
#include "ZRDownloadKit.h"

namespace zrdl {

/// The library, set up for this host: its folders and identity, a main loop on the calling thread, and the callbacks
/// through which it asks and tells. One at a time; it ends the library when it is destroyed.
class Host final {
 public:
  /// `reporter` must outlive the host.
  Host(const Options& options, site::Answers answers, Reporter& reporter);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  ZRDownloadManager& manager() const { return *manager_; }
  ZRDefaultRunLoop& loop() { return *loop_; }

  /// Whether the library could open its database; if not, the reporter was told so.
  bool hasStore() const noexcept { return hasStore_; }

  /// The failure that the library logs while `work` runs; empty when it logs none. A reporter for people does not show
  /// it: the caller does.
  std::string failureOf(const std::function<void()>& work);

 private:
  ZRDictionary callbacks();
  void takeLogRecord(const ZRDictionary& record);
  void tellWhyThereIsNoStore();

  Reporter& reporter_;
  const std::shared_ptr<ZRDefaultRunLoop> loop_;
  site::Callbacks site_;
  std::shared_ptr<ZRDownloadManager> manager_;
  bool hasStore_ = true;
  std::string* expectedFailure_ = nullptr;  // of failureOf, while it runs
};

}  // namespace zrdl
