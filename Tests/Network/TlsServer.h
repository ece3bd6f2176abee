#pragma once

#include <cstdlib>
#include <string>
#include <thread>

#include <httplib.h>

/// An https server with one file, and the certificates for it. It would rather speak HTTP/2, of which it understands
/// nothing.
class TlsServer final {
 public:
  /// Makes in `folder` an authority, `ca.pem`, and what servers on 127.0.0.1 show, all with one key.
  static bool makeCertificates(const std::string& folder) {
    const std::string script =
        "cd " + folder + R"( && exec 2>/dev/null && openssl ecparam -name prime256v1 -genkey -out key
      make() { openssl req -x509 -key key -subj "/CN=$1" -out "$1.pem" -addext "subjectAltName=IP:$2" $3; }
      make ca 127.0.0.3 && make selfSigned 127.0.0.1 && make good 127.0.0.1 '-CA ca.pem -CAkey key' &&
      make wrongName 127.0.0.2 '-CA ca.pem -CAkey key' && cp good.pem expired.pem)";
    return std::system(script.c_str()) == 0;
  }

  TlsServer(const std::string& folder, const std::string& certificate, const std::string& body)
      : server_((folder + "/" + certificate + ".pem").c_str(), (folder + "/key").c_str()) {
    SSL_CTX* const context = server_.ssl_context();
    X509* const shown = SSL_CTX_get0_certificate(context);
    if (certificate == "expired") X509_gmtime_adj(X509_getm_notAfter(shown), -1);
    X509_sign(shown, SSL_CTX_get0_privatekey(context), EVP_sha256());
    SSL_CTX_set_alpn_select_cb(context, preferHttp2, nullptr);
    server_.set_keep_alive_max_count(1);
    server_.Get("/a", [body](const httplib::Request&, httplib::Response& response) {
      response.set_content(body, "video/mp4");
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();  // it cannot be stopped before
  }
  ~TlsServer() {
    server_.stop();
    thread_.join();
  }
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/a"; }

 private:
  static int preferHttp2(SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char* offered,
                         unsigned length, void*) {
    constexpr unsigned char kHttp2[] = {2, 'h', '2'};
    auto* const out = const_cast<unsigned char**>(chosen);
    const int found = SSL_select_next_proto(out, size, kHttp2, sizeof kHttp2, offered, length);
    return found == OPENSSL_NPN_NEGOTIATED ? SSL_TLSEXT_ERR_OK : SSL_TLSEXT_ERR_NOACK;
  }

  httplib::SSLServer server_;
  int port_ = 0;
  std::thread thread_;
};
