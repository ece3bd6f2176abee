#pragma once

#include <cstdlib>
#include <filesystem>

#include <gmock/gmock.h>

#include "LoopbackOrigin.h"
#include "SCNetworkAgent.h"
#include "SCNetworkErrors.h"
#include "TemporaryFolder.h"
#include "ZRDefaultRunLoop.h"
#include "ZRHost.h"

using namespace std::chrono_literals;
using Code = SCURLErrorCode;

/// What the handlers of one request told.
struct Outcome {
  int ends = 0;
  std::optional<ZRError> err;
  int status = 0;
  SCParserResult result;
  std::int64_t chunks = 0;  ///< all of them added up
  std::int64_t received = 0;
  std::int64_t expected = 0;

  /// The code of an error of that domain; 0 without one.
  std::int64_t codeIn(std::string_view domain) const { return err && err->domain() == domain ? err->code() : 0; }
  Code code() const { return static_cast<Code>(codeIn(kSCURLErrorDomain)); }
  std::int64_t refusedStatus() const { return codeIn(kSCHTTPErrorDomain); }
};

/// An agent with short limits on a loop of its own, an origin and a folder.
class NetworkFixture : public testing::Test {
 protected:
  using Recorded = std::shared_ptr<Outcome>;

  NetworkFixture() {
    ZRRunLoop::setMain(loop_);
    for (const char* variable : {"http_proxy", "https_proxy", "all_proxy"}) ::setenv(variable, "http://127.0.0.1:1", 1);
    ::setenv("no_proxy", "*", 1);  // none of this is ours to obey
  }
  ~NetworkFixture() override {
    agent_.reset();
    ZRHost::setCurrent(ZRHostInfo::defaults());
    ZRRunLoop::setMain(nullptr);
  }

  SCNetworkAgent& agent() {
    if (!agent_) agent_ = std::make_unique<SCNetworkAgent>(limits_);
    return *agent_;
  }

  static std::shared_ptr<SCNetworkBaseApi> plain(std::string url) {
    auto request = std::make_shared<SCNetworkBaseApi>();
    request->setUrlString(std::move(url));
    return request;
  }

  std::shared_ptr<SCNetworkDownloadApi> download(std::string url, bool resume = false) const {
    auto request = std::make_shared<SCNetworkDownloadApi>();
    request->setUrlString(std::move(url));
    request->setDownloadFilePath(file_);
    request->setUseBreakpointContinuous(resume);
    return request;
  }

  /// The next agent is one of the host `host_`.
  void becomeHost() {
    agent_.reset();
    ZRHost::setCurrent(host_);
  }

  /// Starts the request with handlers that write down what they are told.
  Recorded start(const std::shared_ptr<SCNetworkBaseApi>& request) {
    auto outcome = std::make_shared<Outcome>();
    if (const auto file = std::dynamic_pointer_cast<SCNetworkDownloadApi>(request)) {
      file->setProgressHandler(
          [outcome](const auto&, std::int64_t chunk, std::int64_t received, std::int64_t expected) {
            EXPECT_EQ(outcome->ends, 0) << "progress after the end";
            outcome->chunks += chunk;
            outcome->received = received;
            outcome->expected = expected;
          });
    }
    request->setResponseHandler([outcome](const auto&, const auto& response) {
      ++outcome->ends;
      outcome->err = response.err();
      outcome->status = response.statusCode();
      outcome->result = response.parserResult();
    });
    agent().execApi(request);
    return outcome;
  }

  [[nodiscard]] bool runUntil(const std::function<bool()>& predicate) {
    return loop_->runUntil(predicate, ZRDefaultRunLoop::Clock::now() + 20s);
  }

  Outcome finish(const Recorded& outcome) {
    EXPECT_TRUE(runUntil([&] { return outcome->ends > 0; })) << "no response";
    return *outcome;
  }

  Outcome run(const std::shared_ptr<SCNetworkBaseApi>& request) { return finish(start(request)); }

  /// Waits until the agent's thread has obeyed every earlier call.
  void settle() {
    origin_.serve("/settle", "");
    EXPECT_EQ(run(plain(origin_.url("/settle"))).status, 200);
  }

  /// Answers with these bytes as they are, then closes the connection, or what else is told.
  void serveRaw(const std::string& path, const std::string& bytes,
                void (OriginConnection::*then)() = &OriginConnection::close) {
    origin_.route(path, [=](const OriginRequest&, OriginConnection& out) {
      out.send(bytes);
      (out.*then)();
    });
  }

  /// Answers with a whole body once the gate is open.
  void serveLater(const std::string& path, OriginGate& gate) {
    origin_.route(path, [this, &gate](const OriginRequest&, OriginConnection& out) {
      out.wait(gate);
      out.respond(200, body_);
    });
  }

  /// Answers with the first bytes, and with the rest once the gate is open, or at once to a request for it.
  void serveInTwo(const std::string& path, OriginGate& gate, const std::string& body, std::size_t first = 1000) {
    origin_.route(path, [=, &gate](const OriginRequest& request, OriginConnection& out) {
      if (request.header("Range")) return out.respondFile(request, {.bytes = body, .etag = "\"v1\""});
      out.send(OriginConnection::head(body.size()) + body.substr(0, first));
      out.wait(gate);
      out.send(body.substr(first));
    });
  }

  /// The names of what lies in the folder.
  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) names.insert(entry.path().filename());
    return names;
  }

  std::shared_ptr<ZRDefaultRunLoop> loop_ = std::make_shared<ZRDefaultRunLoop>();
  TemporaryFolder folder_;
  // These outlive the origin, whose handlers use them.
  OriginGate gate_;
  OriginGate laterGate_;
  const std::string body_ = patternBytes(5000);
  const std::string old_ = patternBytes(1000, 7);

  LoopbackOrigin origin_;
  const std::string file_ = folder_ / "v.mp4";
  const std::string versionFile_ = folder_ / ".v.mp4.resume";
  SCNetworkLimits limits_;
  ZRHostInfo host_ = ZRHostInfo::defaults();
  std::unique_ptr<SCNetworkAgent> agent_;
};
