#include "SCCurlSweeper.h"

#include <new>

#include <curl/curl.h>

namespace {

constexpr std::chrono::seconds kInterval{2};

curl_socket_t refuseSocket(void*, curlsocktype, curl_sockaddr*) {
  return CURL_SOCKET_BAD;
}

}  // namespace

void SCCurlSweeper::Closer::operator()(void* easy) const noexcept {
  curl_easy_cleanup(easy);
}

SCCurlSweeper::SCCurlSweeper(void* multi) : multi_(multi), easy_(curl_easy_init()) {
  if (!easy_) throw std::bad_alloc();
  curl_easy_setopt(easy_.get(), CURLOPT_URL, "http://127.0.0.1/");
  curl_easy_setopt(easy_.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(easy_.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_.get(), CURLOPT_OPENSOCKETFUNCTION, &refuseSocket);
}

SCCurlSweeper::~SCCurlSweeper() {
  ended();
}

void SCCurlSweeper::sweepIfDue(Clock::time_point now) {
  if (now < nextAt_) return;
  nextAt_ = now + kInterval;
  (void)curl_multi_add_handle(multi_, easy_.get());
}

void SCCurlSweeper::ended() {
  curl_multi_remove_handle(multi_, easy_.get());
}
