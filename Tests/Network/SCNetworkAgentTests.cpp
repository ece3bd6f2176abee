#include <atomic>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "NetworkFixture.h"
#include "TlsServer.h"

namespace {

std::atomic<bool> systemHasNoThread = false;

}  // namespace

/// The system's, but for a system without threads.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*work)(void*),
                              void* argument) {
  static const auto real = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
  return systemHasNoThread ? EAGAIN : real(thread, attributes, work, argument);
}

namespace {

class SCNetworkAgentTest : public NetworkFixture {
 protected:
  /// One whose time is short.
  static std::shared_ptr<SCNetworkBaseApi> hasty(std::string url) {
    auto request = plain(std::move(url));
    request->setTimeout(2);
    return request;
  }

  Code codeFor(const std::string& url) { return run(plain(url)).code(); }
};

}  // namespace

TEST_F(SCNetworkAgentTest, sendsWhatTheRequestHolds) {
  origin_.serve("/x/../a%20b%0D%0AX:%20y/%41", R"({"n": [1, "x"]})");
  const auto request = plain(origin_.url("/x/../a b\r\nX: y/%41"));
  request->setResponseParser(std::make_shared<SCNetworkJsonResponseParser>());
  request->setQueryParameters({{"vid", 7}, {"name", "x y"}});
  request->setHeader({{"Cookie", "k=v"}, {"X-Empty", ""}, {"X-Blank", " "}, {"X-Colon", "a: "}, {"X-Number", 5}});
  const Recorded recorded = start(request);
  agent().execApi(request);
  const Outcome outcome = finish(recorded);
  settle();
  EXPECT_EQ(recorded->ends, 1) << "it runs once";
  EXPECT_EQ(recorded.use_count(), 1) << "the handlers are dropped";
  EXPECT_EQ(origin_.requests().size(), 2U);
  EXPECT_FALSE(outcome.err);
  const ZRValue::List expected{1U, "x"};
  EXPECT_EQ((*outcome.result.value.asDictionary())["n"], ZRValue(expected));
  const OriginRequest sent = origin_.requests()[0];
  EXPECT_EQ(sent.method, "GET");
  EXPECT_EQ(sent.target, "/x/../a%20b%0D%0AX:%20y/%41?vid=7&name=x%20y");
  EXPECT_EQ(sent.header("Cookie"), "k=v");
  EXPECT_EQ(sent.header("X-Empty"), "");
  EXPECT_EQ(sent.header("X-Blank"), "");
  EXPECT_EQ(sent.header("X-Colon"), "a: ");
  EXPECT_EQ(sent.header("X-Number"), "5");
  EXPECT_THAT(sent.header("Accept-Encoding"), testing::Optional(testing::HasSubstr("gzip")));
}

TEST_F(SCNetworkAgentTest, keepsNoCookieAndNoPassword) {
  origin_.serve("/a", "", 200, {{"Set-Cookie", "k=v; Path=/"}});
  std::string withUser = origin_.url("/a");
  withUser.insert(7, "me:pw@");
  EXPECT_FALSE(run(plain(withUser)).err);
  EXPECT_FALSE(run(plain(origin_.url("/a"))).err);
  EXPECT_TRUE(origin_.requests()[0].header("Authorization"));
  EXPECT_FALSE(origin_.requests()[1].header("Authorization"));
  EXPECT_FALSE(origin_.requests()[1].header("Cookie"));
}

TEST_F(SCNetworkAgentTest, whatCannotBeSentIsReportedByTheHandler) {
  for (const char* url : {"", "no address", "http://", "http://h:99999/", "http://a\r\nX: y/"}) {
    EXPECT_EQ(codeFor(url), Code::BadURL) << url;
  }
  for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1/"}) {
    EXPECT_EQ(codeFor(url), Code::UnsupportedURL) << url;
  }
  for (const auto& [name, value] : {std::pair("Cookie", "a\r\nX-Injected: 1"), {"A B", "v"}, {"", "v"}}) {
    const auto request = plain(origin_.url("/a"));
    request->setHeader({{name, value}});
    EXPECT_EQ(run(request).code(), Code::BadURL) << name;
  }
  EXPECT_TRUE(origin_.requests().empty());
}

TEST_F(SCNetworkAgentTest, connectFailuresAreToldApart) {
  limits_.connectTimeout = 200ms;
  const auto withPort = [](std::uint16_t port) { return "http://127.0.0.1:" + std::to_string(port) + "/"; };
  EXPECT_EQ(codeFor(withPort(origin_.unansweringPort())), Code::CannotConnectToHost);
  limits_.connectTimeout = SCNetworkLimits().connectTimeout;
  agent_.reset();
  EXPECT_EQ(codeFor(withPort(origin_.refusedPort())), Code::CannotConnectToHost);
  EXPECT_EQ(codeFor("http://" + std::string(70, 'a') + "/"), Code::CannotConnectToHost) << "no name is that long";
}

TEST_F(SCNetworkAgentTest, plainRequestsTakeTurnsAndTheirTimeCountsFromThen) {
  LoopbackOrigin other;
  for (LoopbackOrigin* const origin : {&origin_, &other}) origin->serveFile("/a", {.bytes = body_});
  other.route("/drip", [](const OriginRequest&, OriginConnection& out) { out.stall(); });
  serveLater("/slow", gate_);
  std::vector<Recorded> slow;
  for (int i = 0; i < 6; ++i) slow.push_back(start(plain(origin_.url("/slow"))));
  const Recorded seventh = start(hasty(origin_.url("/a?7")));
  const auto cancelled = plain(origin_.url("/a?8"));
  const Recorded eighth = start(cancelled);
  const Recorded ninth = start(plain(origin_.url("/a?9")));
  EXPECT_FALSE(run(download(origin_.url("/a"))).err) << "a download has no turn to wait for";
  EXPECT_EQ(run(hasty(other.url("/drip"))).code(), Code::TimedOut) << "nor has what goes elsewhere";
  ASSERT_TRUE(origin_.waitForRequests(6 + 1));
  EXPECT_EQ(origin_.requests().size(), 6U + 1U);
  cancelled->cancel();
  gate_.open();
  for (const Recorded& outcome : slow) EXPECT_FALSE(finish(outcome).err);
  EXPECT_FALSE(finish(seventh).err) << "it was called before the one whose time is up";
  EXPECT_FALSE(finish(ninth).err);
  EXPECT_EQ(eighth->ends, 0);
  EXPECT_EQ(origin_.requestsTo("/a").size(), 3U);
}

TEST_F(SCNetworkAgentTest, aRequestIsSentOnceMoreWhenItsOldConnectionEnds) {
  serveLater("/slow", gate_);
  origin_.route("/ends", [](const OriginRequest&, OriginConnection& out) { out.close(); });
  std::vector<Recorded> three;
  for (int i = 0; i < 3; ++i) three.push_back(start(plain(origin_.url("/slow"))));
  ASSERT_TRUE(origin_.waitForRequests(3));
  gate_.open();
  for (const Recorded& outcome : three) EXPECT_FALSE(finish(outcome).err);
  const Recorded ended = start(plain(origin_.url("/ends")));
  EXPECT_EQ(finish(ended).code(), Code::NetworkConnectionLost);
  EXPECT_EQ(origin_.requestsTo("/ends").size(), 2U);
  EXPECT_EQ(ended->ends, 1);
}

TEST_F(SCNetworkAgentTest, closesWhatTheServerClosedWhileADownloadRuns) {
  origin_.route("/a", [this](const OriginRequest&, OriginConnection& out) {
    out.respond(200);
    out.hangUp();
    out.stall();  // until the client closes too
    gate_.open();
  });
  serveInTwo("/v", gate_, body_);
  const Recorded file = start(download(origin_.url("/v")));
  EXPECT_FALSE(run(plain(origin_.url("/a"))).err);
  EXPECT_FALSE(finish(file).err);
}

TEST_F(SCNetworkAgentTest, aLimitHoldsDownloadsAloneAndOnlyAsLongAsItIsSet) {
  origin_.serveFile("/v", {.bytes = body_});
  limits_.stallTimeout = 100ms;
  agent().setMaxBytesPerSecond(1);
  const Recorded file = start(download(origin_.url("/v")));
  serveRaw("/drip", "", &OriginConnection::stall);
  EXPECT_EQ(codeFor(origin_.url("/drip")), Code::NetworkConnectionLost);
  EXPECT_EQ(file->chunks, 0) << "and a stall it is not";
  agent().setMaxBytesPerSecond(0);
  EXPECT_FALSE(finish(file).err);
  EXPECT_EQ(file->chunks, 5000);
}

TEST_F(SCNetworkAgentTest, requestsWaitForDescriptors) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer takes an object for none when it has no pipe to look at it through";
#endif
  origin_.serve("/a", "");
  const auto tooLong = hasty("http://" + std::string(70, 'a') + "/");  // looked up, and found nowhere
  (void)agent();
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowestFree = ::dup(STDIN_FILENO);
  ::close(lowestFree);
  const rlimit none{static_cast<rlim_t>(lowestFree), before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(run(tooLong).code(), Code::TimedOut) << "a failed look-up does not tell why";
  const Recorded hastyOne = start(hasty(origin_.url("/a")));
  const Recorded waiting = start(plain(origin_.url("/a")));
  EXPECT_EQ(finish(hastyOne).code(), Code::TimedOut);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(finish(waiting).status, 200);
  EXPECT_EQ(run(plain(origin_.url("/a"))).status, 200) << "what wakes the thread lacks its descriptors still";
}

TEST_F(SCNetworkAgentTest, whatADownloadHoldsOpenIsNotInherited) {
  const auto inherited = [] {
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd) count += ::fcntl(fd, F_GETFD) == 0 ? 1 : 0;
    return count;
  };
  const int before = inherited();
  serveInTwo("/v", gate_, body_);
  const Recorded file = start(download(origin_.url("/v")));
  ASSERT_TRUE(runUntil([&] { return file->chunks == 1000; }));
  EXPECT_EQ(inherited() - before, 2) << "what wakes libcurl, which lets children inherit that";
}

TEST_F(SCNetworkAgentTest, trustsTheHostsAuthorityAlone) {
  ASSERT_TRUE(TlsServer::makeCertificates(folder_.path()));
  for (const auto& [shown, authority] : {std::pair("good", "ca.pem"),
                                         {"good", ""},
                                         {"good", "missing.pem"},
                                         {"wrongName", "ca.pem"},
                                         {"selfSigned", "ca.pem"},
                                         {"expired", "ca.pem"}}) {
    SCOPED_TRACE(std::string(shown) + authority);
    const bool isTrusted = shown == std::string("good") && authority == std::string("ca.pem");
    const TlsServer server(folder_.path(), shown, body_);
    host_.caFile = *authority == '\0' ? authority : folder_ / authority;
    becomeHost();
    const Outcome outcome = run(download(server.url()));
    EXPECT_EQ(outcome.code(), isTrusted ? Code{} : Code::SecureConnectionFailed);
    EXPECT_EQ(outcome.chunks, isTrusted ? 5000 : 0);
  }
}

TEST_F(SCNetworkAgentTest, aHandshakeThatBreaksIsNoneThatIsRefused) {
  const std::string secure = "https" + origin_.url("/").substr(4);
  const auto codeWhen = [&](const LoopbackOrigin::Handler& greeted) {
    origin_.route(LoopbackOrigin::kTls, greeted);
    return codeFor(secure);
  };
  const auto alert = [](const OriginRequest&, OriginConnection& out) {
    out.send(std::string_view("\x15\3\3\0\2\2\x28", 7));  // RFC 8446, section 6: fatal, handshake failure
  };
  EXPECT_EQ(codeWhen([](const auto&, OriginConnection& out) { out.close(); }), Code::NetworkConnectionLost);
  EXPECT_EQ(codeWhen([](const auto&, OriginConnection& out) { out.reset(); }), Code::NetworkConnectionLost);
  EXPECT_EQ(codeWhen(alert), Code::SecureConnectionFailed) << "whatever the exchange before it met";
  EXPECT_EQ(codeWhen([](const auto&, OriginConnection& out) { out.respond(400); }), Code::SecureConnectionFailed);
}

TEST_F(SCNetworkAgentTest, goesThroughTheHostsProxyAlone) {
  LoopbackOrigin proxy;
  proxy.serve(origin_.url("/a"), "");
  proxy.route(origin_.url("").substr(7), [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 Established\r\n\r\n");
    out.close();
  });
  host_.proxy = proxy.url("");
  host_.userAgent = "Player/5";
  becomeHost();
  EXPECT_EQ(run(plain(origin_.url("/a"))).status, 200);
  EXPECT_EQ(proxy.requests()[0].header("User-Agent"), "Player/5");
  const Outcome tunnelled = run(plain("https" + origin_.url("/a").substr(4)));
  EXPECT_EQ(tunnelled.code(), Code::NetworkConnectionLost);
  EXPECT_EQ(tunnelled.status, 0) << "the proxy's answer is not the server's";
  EXPECT_EQ(proxy.requests().back().method, "CONNECT");
  host_.proxy = "socks5h://127.0.0.1:" + std::to_string(proxy.refusedPort());
  becomeHost();
  EXPECT_EQ(codeFor(origin_.url("/a")), Code::CannotConnectToHost);
  EXPECT_TRUE(origin_.requests().empty());
}

TEST_F(SCNetworkAgentTest, aPlainBodyHasALimit) {
  limits_.maxPlainBody = 1000;
  origin_.serve("/fits", std::string(1000, 'x'));
  origin_.serve("/told", std::string(1001, 'x'));
  serveRaw("/untold", "HTTP/1.1 200 OK\r\n\r\n" + std::string(1001, 'x'), &OriginConnection::stall);
  const std::string_view packed(
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xed\xc1\x31\x01\x00\x00\x00\xc2\xa0\x4a\xeb\x9f\xce\x14\x7e\x40\x01\x00"
      "\x00\x00\x00\x6f\x03\x04\x3d\xfc\xa8\x88\x13\x00\x00",
      41);
  origin_.serve("/packed", std::string(packed), 200, {{"Content-Encoding", "gzip"}});  // 5,000 times the same
  EXPECT_FALSE(run(plain(origin_.url("/fits"))).err);
  for (const char* path : {"/told", "/untold", "/packed"}) {
    const Outcome outcome = run(plain(origin_.url(path)));
    EXPECT_EQ(outcome.code(), Code::CannotParseResponse) << path;
    EXPECT_EQ(outcome.err->userInfo()["reason"], ZRValue("answerTooLarge"));
  }
}

TEST_F(SCNetworkAgentTest, followsRedirectsWithTheCallersHeadersInsideAnOriginOnly) {
  LoopbackOrigin other;
  other.redirect("/b", "/b2", 303);
  other.redirect("/b2", origin_.url("/c"), 307);
  other.serve("/here", "");
  origin_.serve("/c", "");
  origin_.redirect("/inside", "c?x=1", 301);
  origin_.redirect("/outside", other.url("/here"), 308);
  origin_.redirect("/back", other.url("/b"));
  const auto requestFrom = [&](const char* path, const LoopbackOrigin& last, const char* lastPath) {
    const auto request = plain(origin_.url(path));
    request->setHeader({{"Cookie", "k=v"}});
    EXPECT_EQ(run(request).status, 200) << path;
    return last.requestsTo(lastPath).back();
  };
  const OriginRequest inside = requestFrom("/inside", origin_, "/c");
  EXPECT_EQ(inside.target, "/c?x=1");
  EXPECT_EQ(inside.header("Cookie"), "k=v");
  EXPECT_EQ(requestFrom("/outside", other, "/here").header("Cookie"), std::nullopt);
  EXPECT_EQ(requestFrom("/back", origin_, "/c").header("Cookie"), std::nullopt) << "once dropped they stay dropped";
  EXPECT_EQ(other.requestsTo("/b2").at(0).header("Cookie"), std::nullopt);
}

TEST_F(SCNetworkAgentTest, aRedirectLeadsToNoOtherSchemeAndNotForEver) {
  limits_.maxRedirects = 3;
  const std::pair<const char*, Code> table[] = {{"file:///etc/hostname", Code::UnsupportedURL},
                                                {"ftp://127.0.0.1/", Code::UnsupportedURL},
                                                {"http://", Code::BadURL},
                                                {"/a", Code::TooManyRedirects}};
  for (const auto& [target, code] : table) {
    origin_.redirect("/a", target);
    EXPECT_EQ(codeFor(origin_.url("/a")), code) << target;
  }
  EXPECT_EQ(origin_.requestsTo("/a").size(), 3U + 4U);
}

TEST_F(SCNetworkAgentTest, goesAtOnceWhateverAServerDoes) {
  serveInTwo("/v", gate_, body_);
  const auto request = download(origin_.url("/v"));
  const Recorded file = start(request);
  ASSERT_TRUE(runUntil([&] { return file->chunks == 1000; }));
  agent_.reset();
  EXPECT_TRUE(files().empty());
  EXPECT_EQ(file.use_count(), 1) << "the handlers are dropped";
  request->cancel();
  loop_->drain();
  EXPECT_EQ(file->ends, 0);
}

TEST_F(SCNetworkAgentTest, goesInsideAHandler) {
  origin_.serve("/a", "");
  const Recorded other = start(plain(origin_.url("/a")));
  const auto request = plain(origin_.url("/a"));
  request->setResponseHandler([this](const auto&, const auto&) { agent_.reset(); });
  agent().execApi(request);
  ASSERT_TRUE(runUntil([&] { return agent_ == nullptr; }));
  EXPECT_LE(other->ends, 1);
}

TEST_F(SCNetworkAgentTest, cancelInsideAProgressHandlerIsTheLastCall) {
  origin_.serve("/v", patternBytes(100));
  const auto request = download(origin_.url("/v"));
  const Recorded outcome = start(request);
  int calls = 0;
  request->setProgressHandler([&calls](const auto& itself, auto...) {
    ++calls;
    itself->cancel();
  });
  ASSERT_TRUE(runUntil([&] { return calls > 0; }));
  settle();
  EXPECT_EQ(calls + outcome->ends, 1);
}

TEST_F(SCNetworkAgentTest, withoutAThreadRequestsEndAndTheNextOneTriesAgain) {
  origin_.serve("/a", "");
  const auto request = plain(origin_.url("/a"));
  const auto afterwards = plain(origin_.url("/a"));
  EXPECT_EQ(run(plain(origin_.url("/a"))).status, 200);  // the origin has its thread
  agent_.reset();
  systemHasNoThread = true;
  const Outcome outcome = run(request);
  systemHasNoThread = false;
  EXPECT_EQ(outcome.codeIn(kZRErrorDomain), 103);
  EXPECT_EQ(outcome.err->userInfo()["reason"], ZRValue("noThread"));
  EXPECT_EQ(run(afterwards).status, 200);
}

TEST_F(SCNetworkAgentTest, parsesOnItsThreadsAndLeavesFaultsAndObjectsToTheHost) {
  struct Noting final : SCNetworkResponseParser {
    std::variant<SCParserResult, ZRError> parse(std::string_view body) const override {
      if (body.empty()) throw std::runtime_error("host");
      sigset_t blocked;
      pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
      EXPECT_TRUE(sigismember(&blocked, SIGTERM));
      for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGPROF}) {
        EXPECT_FALSE(sigismember(&blocked, fault)) << fault;
      }
      return SCParserResult{ZRValue(std::to_string(::gettid())), nullptr};
    }
  };
  int gone = 0;
  const auto parsing = [&] {
    const auto request = plain(origin_.url("/a"));
    request->setResponseParser(std::shared_ptr<const Noting>(new Noting, [&](const Noting* parser) {
      EXPECT_TRUE(loop_->isLoopThread());
      ++gone;
      delete parser;
    }));
    return request;
  };
  std::set<std::string> threads;
  for (const std::size_t size : {1U, 1U << 20U}) {
    origin_.serve("/a", std::string(size, ' '));
    threads.insert(run(parsing()).result.value.textValue().value_or(""));
  }
  EXPECT_EQ(threads.size(), 2U) << "a large answer is parsed aside";
  origin_.serve("/a", "");
  EXPECT_EQ(run(parsing()).code(), Code::CannotParseResponse);
  auto cancelled = parsing();
  agent().execApi(cancelled);
  cancelled->cancel();
  cancelled.reset();  // what the agent holds is the last of it
  EXPECT_TRUE(runUntil([&] { return gone == 4; }));
}
