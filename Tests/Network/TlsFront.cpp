#include "TlsFront.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <future>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr long kDay = 24 * 3600;

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  name.sin_port = htons(port);
  return name;
}

int newSocket() {
  return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

X509* newCertificate(EVP_PKEY* key, const char* name, long lastsFor) {
  static std::atomic<long> serial = 1;
  X509* const certificate = X509_new();
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial++);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -2 * kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate), lastsFor);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
  X509_set_pubkey(certificate, key);
  return certificate;
}

void extend(X509* certificate, int kind, const std::string& value) {
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

X509* sign(X509* certificate, X509* issuer, EVP_PKEY* key) {
  X509_set_issuer_name(certificate, X509_get_subject_name(issuer));
  X509_sign(certificate, key, EVP_sha256());
  return certificate;
}

/// A server that would rather speak HTTP/2, which nobody behind it understands.
int preferHttp2(SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char* offered, unsigned length,
                void*) {
  constexpr unsigned char kHttp2[] = {2, 'h', '2'};
  auto* const out = const_cast<unsigned char**>(chosen);
  const int found = SSL_select_next_proto(out, size, kHttp2, sizeof kHttp2, offered, length);
  return found == OPENSSL_NPN_NEGOTIATED ? SSL_TLSEXT_ERR_OK : SSL_TLSEXT_ERR_NOACK;
}

}  // namespace

TestAuthority::TestAuthority() : key_(EVP_EC_gen("P-256")), certificate_(newCertificate(key_, "authority", kDay)) {
  extend(certificate_, NID_basic_constraints, "critical,CA:TRUE");
  sign(certificate_, certificate_, key_);
}

TestAuthority::~TestAuthority() {
  X509_free(certificate_);
  EVP_PKEY_free(key_);
}

void TestAuthority::write(const std::string& path) const {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  PEM_write_X509(file, certificate_);
  std::fclose(file);
}

X509* TestAuthority::certificateFor(Server kind) const {
  X509* const certificate = newCertificate(key_, "server", kind == Server::Expired ? -kDay : kDay);
  extend(certificate, NID_subject_alt_name, kind == Server::WrongName ? "IP:127.0.0.2" : "IP:127.0.0.1");
  return sign(certificate, kind == Server::SelfSigned ? certificate : certificate_, key_);
}

TlsFront::TlsFront(const TestAuthority& authority, TestAuthority::Server kind, std::uint16_t portBehind)
    : kind_(kind), portBehind_(portBehind), context_(SSL_CTX_new(TLS_server_method())), listener_(newSocket()) {
  if (kind != TestAuthority::Server::Alerts) {  // which has nothing to show
    X509* const certificate = authority.certificateFor(kind);
    SSL_CTX_use_certificate(context_, certificate);
    SSL_CTX_use_PrivateKey(context_, authority.key());
    X509_free(certificate);
  }
  SSL_CTX_set_alpn_select_cb(context_, preferHttp2, nullptr);
  sockaddr_in name = loopback(0);
  socklen_t size = sizeof name;
  ::bind(listener_, reinterpret_cast<sockaddr*>(&name), size);
  ::listen(listener_, SOMAXCONN);
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&name), &size);
  port_ = ntohs(name.sin_port);
  thread_ = std::thread([this] { acceptLoop(); });
}

TlsFront::~TlsFront() {
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
  ::close(listener_);
  SSL_CTX_free(context_);
}

std::string TlsFront::url(const std::string& path) const {
  return "https://127.0.0.1:" + std::to_string(port_) + path;
}

void TlsFront::acceptLoop() {
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  std::vector<std::future<void>> connections;  // each ends when the client or the server behind goes
  for (int socket = 0; (socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    connections.push_back(std::async(std::launch::async, [this, socket] { serve(socket); }));
  }
}

void TlsFront::serve(int socket) const {
  const int behind = newSocket();
  SSL* const tls = SSL_new(context_);
  SSL_set_fd(tls, socket);
  std::array<char, 4096> greeting{};
  const sockaddr_in name = loopback(portBehind_);
  if (kind_ == TestAuthority::Server::HangsUp) {
    (void)::recv(socket, greeting.data(), greeting.size(), 0);
  } else if (kind_ == TestAuthority::Server::Resets) {  // as closing does while a greeting is unread
    (void)::recv(socket, greeting.data(), 1, MSG_PEEK);
  } else if (SSL_accept(tls) == 1 && ::connect(behind, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0) {
    relay(tls, socket, behind);
  }
  SSL_free(tls);
  ::close(behind);
  ::close(socket);
}

void TlsFront::relay(SSL* tls, int client, int behind) const {
  std::array<char, 16384> bytes{};
  for (;;) {
    std::array<pollfd, 3> fds{{{client, POLLIN, 0}, {behind, POLLIN, 0}, {listener_, 0, 0}}};
    if (SSL_pending(tls) == 0) ::poll(fds.data(), fds.size(), -1);
    if (fds[2].revents != 0) return;
    if (SSL_pending(tls) > 0 || fds[0].revents != 0) {
      const int count = SSL_read(tls, bytes.data(), bytes.size());
      if (count <= 0 || ::send(behind, bytes.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL) != count) return;
    }
    if (fds[1].revents != 0) {
      const ssize_t count = ::recv(behind, bytes.data(), bytes.size(), 0);
      if (count <= 0 || SSL_write(tls, bytes.data(), static_cast<int>(count)) <= 0) return;
    }
  }
}
