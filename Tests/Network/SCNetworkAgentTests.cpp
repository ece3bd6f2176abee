#include <stdexcept>
#include <thread>

#include "NetworkFixture.h"

namespace {

class SCNetworkAgentTest : public NetworkFixture {
 protected:
  /// A request whose answer is parsed.
  static std::shared_ptr<SCNetworkBaseApi> parsed(std::string url) {
    auto request = plain(std::move(url));
    request->setResponseParser(std::make_shared<SCNetworkJsonResponseParser>());
    return request;
  }

  Code codeFor(const std::string& url) { return run(plain(url)).code(); }
};

}  // namespace

TEST_F(SCNetworkAgentTest, sendsWhatTheRequestHolds) {
  origin_.serve("/a%20b%0D%0AX:%20y/%41", R"({"n": [1, "x"]})");
  const auto request = parsed(origin_.url("/a b\r\nX: y/%41"));
  request->setQueryParameters({{"vid", 7}, {"name", "x y"}});
  request->setHeader({{"Cookie", "k=v"}, {"X-Empty", ""}, {"X-Number", 5}});
  const Outcome outcome = run(request);
  EXPECT_FALSE(outcome.err);
  EXPECT_EQ(outcome.ends, 1);
  const ZRValue::List expected{1U, "x"};
  EXPECT_EQ((*outcome.result.value.asDictionary())["n"], ZRValue(expected));
  const OriginRequest sent = origin_.requests()[0];
  EXPECT_EQ(sent.method, "GET");
  EXPECT_EQ(sent.target, "/a%20b%0D%0AX:%20y/%41?vid=7&name=x%20y");
  EXPECT_EQ(sent.header("X"), std::nullopt);
  EXPECT_EQ(sent.header("Cookie"), "k=v");
  EXPECT_EQ(sent.header("X-Empty"), "");
  EXPECT_EQ(sent.header("X-Number"), "5");
}

TEST_F(SCNetworkAgentTest, keepsItsConnectionButNoCookieAndNoPassword) {
  origin_.serve("/a", "", 200, {{"Set-Cookie", "k=v; Path=/"}});
  std::string withUser = origin_.url("/a");
  withUser.insert(7, "me:pw@");
  EXPECT_FALSE(run(plain(withUser)).err);
  EXPECT_FALSE(run(plain(origin_.url("/a"))).err);
  EXPECT_EQ(origin_.connections(), 1U);
  EXPECT_TRUE(origin_.requests()[0].header("Authorization"));
  EXPECT_FALSE(origin_.requests()[1].header("Authorization"));
  EXPECT_FALSE(origin_.requests()[1].header("Cookie"));
}

TEST_F(SCNetworkAgentTest, requestsRunSideBySideAndARequestRunsOnce) {
  serveLater("/slow", gate_);
  origin_.serve("/fast", "");
  const auto request = plain(origin_.url("/slow"));
  const Recorded slow = start(request);
  agent().execApi(request);
  EXPECT_FALSE(run(plain(origin_.url("/fast"))).err);
  EXPECT_EQ(slow->ends, 0);
  gate_.open();
  EXPECT_FALSE(finish(slow).err);
  settle();
  EXPECT_EQ(slow->ends, 1);
  EXPECT_EQ(origin_.requestsTo("/slow").size(), 1U);
  EXPECT_EQ(slow.use_count(), 1) << "the handlers are dropped";
}

TEST_F(SCNetworkAgentTest, aRequestThatItsOwnHandlerHoldsGoesWithItsEnd) {
  origin_.serve("/a", "");
  auto request = plain(origin_.url("/a"));
  const std::weak_ptr<SCNetworkBaseApi> watched = request;
  bool ended = false;
  request->setResponseHandler([request, &ended](const auto&, const auto&) { ended = true; });
  agent().execApi(request);
  request.reset();
  EXPECT_FALSE(watched.expired());
  ASSERT_TRUE(runUntil([&] { return ended && watched.expired(); }));
}

TEST_F(SCNetworkAgentTest, whatCannotBeSentIsReportedByTheHandler) {
  for (const char* url : {"", "no address", "http://", "http://h:99999/", "http://a\r\nX: y/"}) {
    EXPECT_EQ(codeFor(url), Code::BadURL) << url;
  }
  for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1/"}) {
    EXPECT_EQ(codeFor(url), Code::UnsupportedURL) << url;
  }
  const auto request = plain(origin_.url("/a"));
  request->setHeader({{"Cookie", "a\r\nX-Injected: 1"}});
  EXPECT_EQ(run(request).code(), Code::BadURL);
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
  EXPECT_EQ(codeFor("https" + origin_.url("/").substr(4)), Code::SecureConnectionFailed);
}

TEST_F(SCNetworkAgentTest, brokenAnswersCountAsALostConnection) {
  for (const char* answer :
       {"what?\r\n\r\n", "", "HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Le",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"}) {
    serveRaw("/a", answer);
    EXPECT_EQ(codeFor(origin_.url("/a")), Code::NetworkConnectionLost) << answer;
  }
}

TEST_F(SCNetworkAgentTest, theRequestsOwnTimeoutCapsAllOfIt) {
  serveRaw("/drip", OriginConnection::head(9) + "1", &OriginConnection::stall);
  const auto request = plain(origin_.url("/drip"));
  request->setTimeout(1);
  EXPECT_EQ(run(request).code(), Code::TimedOut);
}

TEST_F(SCNetworkAgentTest, aPlainBodyHasALimit) {
  limits_.maxPlainBody = 1000;
  origin_.serve("/fits", std::string(1000, 'x'));
  origin_.serve("/told", std::string(1001, 'x'));
  serveRaw("/untold", "HTTP/1.1 200 OK\r\n\r\n" + std::string(1001, 'x'), &OriginConnection::stall);
  EXPECT_FALSE(run(plain(origin_.url("/fits"))).err);
  for (const char* path : {"/told", "/untold"}) {
    EXPECT_EQ(codeFor(origin_.url(path)), Code::DataLengthExceedsMaximum) << path;
  }
}

TEST_F(SCNetworkAgentTest, aRefusedStatusIsNotParsed) {
  origin_.serve("/a", R"({"status": 200})", 503);
  const Outcome outcome = run(parsed(origin_.url("/a")));
  EXPECT_EQ(outcome.refusedStatus(), 503);
  EXPECT_EQ(outcome.status, 503);
  EXPECT_TRUE(outcome.result.value.isAbsent());
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
  origin_.redirect("/3", "/2");
  origin_.redirect("/2", "/1");
  origin_.redirect("/1", "/0");
  origin_.serve("/0", "");
  EXPECT_EQ(run(plain(origin_.url("/3"))).status, 200);
}

TEST_F(SCNetworkAgentTest, goesAtOnceWhateverAServerDoes) {
  serveInTwo("/v", gate_, body_);
  const auto request = download(origin_.url("/v"));
  const Recorded file = start(request);
  const auto port = std::to_string(origin_.unansweringPort());
  const Recorded connecting = start(plain("http://127.0.0.1:" + port));
  ASSERT_TRUE(runUntil([&] { return file->chunks == 1000; }));
  agent_.reset();
  EXPECT_TRUE(files().empty());
  EXPECT_EQ(file.use_count(), 1) << "the handlers are dropped";
  EXPECT_EQ(connecting.use_count(), 1);
  request->cancel();
  loop_->drain();
  EXPECT_EQ(file->ends + connecting->ends, 0);
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
  request->setProgressHandler([&calls](const auto& itself, std::int64_t, std::int64_t, std::int64_t) {
    ++calls;
    itself->cancel();
  });
  ASSERT_TRUE(runUntil([&] { return calls > 0; }));
  settle();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(outcome->ends, 0);
}

TEST_F(SCNetworkAgentTest, theHostsObjectsGoOnTheLoopsThread) {
  struct Throwing final : SCNetworkResponseParser {
    std::variant<SCParserResult, ZRError> parse(std::string_view) const override { throw std::runtime_error("host"); }
  };
  std::set<std::thread::id> threads;
  int gone = 0;
  const auto parsing = [&] {
    const auto request = plain(origin_.url("/a"));
    request->setResponseParser(std::shared_ptr<const Throwing>(new Throwing, [&](const Throwing* parser) {
      threads.insert(std::this_thread::get_id());
      ++gone;
      delete parser;
    }));
    return request;
  };
  origin_.serve("/a", "{}");
  EXPECT_EQ(run(parsing()).code(), Code::CannotParseResponse);
  auto cancelled = parsing();
  agent().execApi(cancelled);
  cancelled->cancel();
  cancelled.reset();  // what the agent holds is the last of it
  ASSERT_TRUE(runUntil([&] { return gone == 2; }));
  EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
}

TEST(SCNetworkBaseApi, descriptionHoldsNoKey) {
  SCNetworkDownloadApi request;
  request.setUrlString("https://me:pw@h/p.mp4?mkey=K");
  EXPECT_EQ(request.description(), "SCNetworkDownloadApi GET https://h/p.mp4");
  request.cancel();
}
