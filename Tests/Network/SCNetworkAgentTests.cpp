#include <stdexcept>
#include <thread>

#include "NetworkFixture.h"
#include "SCNetworkAgent.h"
#include "UnansweringPort.h"

using namespace std::chrono_literals;

namespace {

class SCNetworkAgentTest : public NetworkFixture {
 protected:
  static std::shared_ptr<const SCNetworkResponseParser> wholeJson() {
    return std::make_shared<SCNetworkJsonResponseParser>();
  }

  std::int64_t codeFor(const std::string& url) { return run(plain(url)).code(); }
};

}  // namespace

TEST_F(SCNetworkAgentTest, sendsWhatTheRequestHolds) {
  origin_.serve("/a%20b/%41", R"({"n": [1, "x"]})");
  const auto request = plain(origin_.url("/a b/%41"));
  request->setQueryParameters({{"vid", 7}, {"name", "x y"}});
  request->setHeader({{"Cookie", "k=v"}, {"X-Empty", ""}, {"X-Number", 5}});
  request->setResponseParser(wholeJson());
  const Outcome outcome = run(request);
  EXPECT_FALSE(outcome.err);
  EXPECT_EQ(outcome.ends, 1);
  const ZRValue::List expected{1U, "x"};
  EXPECT_EQ((*outcome.result.value.asDictionary())["n"], ZRValue(expected));
  const OriginRequest sent = origin_.requests()[0];
  EXPECT_EQ(sent.method, "GET");
  EXPECT_EQ(sent.target, "/a%20b/%41?vid=7&name=x%20y");
  EXPECT_EQ(sent.header("Cookie"), "k=v");
  EXPECT_EQ(sent.header("X-Empty"), "");
  EXPECT_EQ(sent.header("X-Number"), "5");
}

TEST_F(SCNetworkAgentTest, keepsItsConnectionButNoCookieAndNoPassword) {
  origin_.route("/a", [](const OriginRequest&, OriginConnection& out) {
    out.respond(200, "", {{"Set-Cookie", "k=v; Path=/"}});
  });
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
  origin_.route("/slow", [&](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(200);
  });
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
  EXPECT_EQ(codeFor(""), codeOf(SCURLErrorCode::BadURL));
  EXPECT_EQ(codeFor("no address"), codeOf(SCURLErrorCode::BadURL));
  EXPECT_EQ(codeFor("http://"), codeOf(SCURLErrorCode::BadURL));
  EXPECT_EQ(codeFor("http://h:99999/"), codeOf(SCURLErrorCode::BadURL));
  EXPECT_EQ(codeFor("http://a\r\nX: y/"), codeOf(SCURLErrorCode::BadURL));
  EXPECT_EQ(codeFor("file:///etc/hostname"), codeOf(SCURLErrorCode::UnsupportedURL));
  EXPECT_EQ(codeFor("ftp://127.0.0.1/"), codeOf(SCURLErrorCode::UnsupportedURL));
  const auto request = plain(origin_.url("/a"));
  request->setHeader({{"Cookie", "a\r\nX-Injected: 1"}});
  EXPECT_EQ(run(request).code(), codeOf(SCURLErrorCode::BadURL));
  EXPECT_TRUE(origin_.requests().empty());
}

TEST_F(SCNetworkAgentTest, lineBreaksInAnAddressReachTheServerEscaped) {
  origin_.serve("/a%0D%0AX:%20y", "");
  EXPECT_EQ(run(plain(origin_.url("/a\r\nX: y"))).status, 200);
}

TEST_F(SCNetworkAgentTest, connectFailuresAreToldApart) {
  const std::string refused = "127.0.0.1:" + std::to_string(origin_.refusedPort());
  EXPECT_EQ(codeFor("http://" + refused + "/"), codeOf(SCURLErrorCode::CannotConnectToHost));
  EXPECT_EQ(codeFor("http://" + std::string(70, 'a') + "/"), codeOf(SCURLErrorCode::CannotConnectToHost))
      << "no name is that long";
  const UnansweringPort unanswering;
  limits_.connectTimeout = 200ms;
  agent_.reset();
  EXPECT_EQ(codeFor(unanswering.url()), codeOf(SCURLErrorCode::CannotConnectToHost));
}

TEST_F(SCNetworkAgentTest, noTlsIsNoSecureConnection) {
  origin_.greet("220 no TLS is spoken here\r\n");
  EXPECT_EQ(codeFor("https" + origin_.url("/").substr(4)), codeOf(SCURLErrorCode::SecureConnectionFailed));
}

TEST_F(SCNetworkAgentTest, brokenAnswersCountAsALostConnection) {
  const std::pair<const char*, const char*> cases[] = {
      {"/garbage", "what?\r\n\r\n"},
      {"/nothing", ""},
      {"/length", "HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n"},
      {"/half", "HTTP/1.1 200 OK\r\nContent-Le"},
      {"/chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"},
  };
  for (const auto& [path, answer] : cases) {
    origin_.route(path, [bytes = std::string(answer)](const OriginRequest&, OriginConnection& out) {
      out.send(bytes);
      out.close();
    });
    EXPECT_EQ(codeFor(origin_.url(path)), codeOf(SCURLErrorCode::NetworkConnectionLost)) << path;
  }
}

TEST_F(SCNetworkAgentTest, theRequestsOwnTimeoutCapsAllOfIt) {
  origin_.route("/drip", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n1");
    out.stall();
  });
  const auto request = plain(origin_.url("/drip"));
  request->setTimeout(1);
  EXPECT_EQ(run(request).code(), codeOf(SCURLErrorCode::TimedOut));
}

TEST_F(SCNetworkAgentTest, aPlainBodyHasALimit) {
  limits_.maxPlainBody = 1000;
  origin_.serve("/fits", std::string(1000, 'x'));
  origin_.serve("/told", std::string(1001, 'x'));
  origin_.route("/untold", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\n\r\n" + std::string(1001, 'x'));
    out.stall();
  });
  EXPECT_FALSE(run(plain(origin_.url("/fits"))).err);
  for (const char* path : {"/told", "/untold"}) {
    EXPECT_EQ(codeFor(origin_.url(path)), codeOf(SCURLErrorCode::DataLengthExceedsMaximum)) << path;
  }
}

TEST_F(SCNetworkAgentTest, aRefusedStatusIsNotParsed) {
  origin_.serve("/a", R"({"status": 200})", 503);
  const auto request = plain(origin_.url("/a"));
  request->setResponseParser(wholeJson());
  const Outcome outcome = run(request);
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
  const auto cookieAt = [&](const char* path) {
    const auto request = plain(origin_.url(path));
    request->setHeader({{"Cookie", "k=v"}});
    EXPECT_EQ(run(request).status, 200) << path;
    auto last = origin_.requestsTo("/c");
    return last.empty() ? std::nullopt : last.back().header("Cookie");
  };
  EXPECT_EQ(cookieAt("/inside"), "k=v");
  EXPECT_EQ(origin_.requestsTo("/c").back().target, "/c?x=1");
  EXPECT_EQ(cookieAt("/back"), std::nullopt) << "once dropped they stay dropped";
  EXPECT_EQ(other.requestsTo("/b2").at(0).header("Cookie"), std::nullopt);
  (void)cookieAt("/outside");
  EXPECT_EQ(other.requestsTo("/here").at(0).header("Cookie"), std::nullopt);
}

TEST_F(SCNetworkAgentTest, aRedirectLeadsToNoOtherSchemeAndNotForEver) {
  limits_.maxRedirects = 3;
  origin_.redirect("/file", "file:///etc/hostname");
  origin_.redirect("/ftp", "ftp://127.0.0.1/");
  origin_.redirect("/bad", "http://");
  origin_.redirect("/loop", "/loop");
  origin_.redirect("/3", "/2");
  origin_.redirect("/2", "/1");
  origin_.redirect("/1", "/0");
  origin_.serve("/0", "");
  EXPECT_EQ(codeFor(origin_.url("/file")), codeOf(SCURLErrorCode::UnsupportedURL));
  EXPECT_EQ(codeFor(origin_.url("/ftp")), codeOf(SCURLErrorCode::UnsupportedURL));
  EXPECT_EQ(codeFor(origin_.url("/bad")), codeOf(SCURLErrorCode::BadURL));
  EXPECT_EQ(codeFor(origin_.url("/loop")), codeOf(SCURLErrorCode::TooManyRedirects));
  EXPECT_EQ(origin_.requestsTo("/loop").size(), 4U);
  EXPECT_EQ(run(plain(origin_.url("/3"))).status, 200);
}

TEST_F(SCNetworkAgentTest, aRangeFollowsARedirect) {
  LoopbackOrigin other;
  other.serveFile("/v", {.bytes = "0123456789", .etag = "\"v1\""});
  origin_.redirect("/v", other.url("/v"));
  writeFile(file_, "01234");
  writeFile(validatorFile_, "ETag: \"v1\"\n");
  EXPECT_FALSE(run(download(origin_.url("/v"), true)).err);
  EXPECT_EQ(other.requests().at(0).header("Range"), "bytes=5-");
  EXPECT_EQ(other.requests().at(0).header("If-Range"), "\"v1\"");
  EXPECT_EQ(readFile(file_), "0123456789");
}

TEST_F(SCNetworkAgentTest, goesAtOnceWhateverAServerDoes) {
  origin_.route("/v", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n1234");
    out.wait(gate_);
  });
  const UnansweringPort unanswering;
  const auto request = download(origin_.url("/v"));
  const Recorded file = start(request);
  const Recorded connecting = start(plain(unanswering.url()));
  ASSERT_TRUE(runUntil([&] { return file->chunks == 4; }));
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
  class Watched final : public SCNetworkResponseParser {
   public:
    explicit Watched(std::thread::id& last) : last_(last) {}
    ~Watched() override { last_ = std::this_thread::get_id(); }
    std::variant<SCParserResult, ZRError> parse(std::string_view) const override { throw std::runtime_error("host"); }

   private:
    std::thread::id& last_;
  };
  origin_.serve("/a", "{}");
  std::thread::id last;
  auto request = plain(origin_.url("/a"));
  request->setResponseParser(std::make_shared<Watched>(last));
  EXPECT_EQ(run(std::exchange(request, nullptr)).code(), codeOf(SCURLErrorCode::CannotParseResponse));
  ASSERT_TRUE(runUntil([&] { return last != std::thread::id(); }));
  EXPECT_EQ(last, std::this_thread::get_id());
}

TEST(SCNetworkBaseApi, descriptionHoldsNoKey) {
  SCNetworkDownloadApi request;
  request.setUrlString("https://me:pw@h/p.mp4?mkey=K");
  EXPECT_EQ(request.description(), "SCNetworkDownloadApi GET https://h/p.mp4");
  request.cancel();
}
