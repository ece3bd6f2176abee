#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include <openssl/ssl.h>

/// A certificate authority that lives as long as the test, and what it signs.
class TestAuthority final {
 public:
  TestAuthority();
  ~TestAuthority();
  TestAuthority(const TestAuthority&) = delete;
  TestAuthority& operator=(const TestAuthority&) = delete;

  /// Writes the authority's own certificate, for those who trust it.
  void write(const std::string& path) const;

  /// What a server shows of itself, or does instead.
  enum class Server { Good, WrongName, SelfSigned, Expired, Alerts, HangsUp, Resets };
  X509* certificateFor(Server kind) const;
  EVP_PKEY* key() const { return key_; }

 private:
  EVP_PKEY* const key_;
  X509* const certificate_;
};

/// The TLS end of a plain server on loopback: what arrives at a port of its own goes on to the one behind. Its end ends
/// every connection.
class TlsFront final {
 public:
  TlsFront(const TestAuthority& authority, TestAuthority::Server kind, std::uint16_t portBehind);
  ~TlsFront();
  TlsFront(const TlsFront&) = delete;
  TlsFront& operator=(const TlsFront&) = delete;

  std::string url(const std::string& path) const;

 private:
  void acceptLoop();
  void serve(int socket) const;
  void relay(SSL* tls, int client, int behind) const;

  const TestAuthority::Server kind_;
  const std::uint16_t portBehind_;
  SSL_CTX* const context_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::thread thread_;
};
