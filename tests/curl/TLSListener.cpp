#include "curl/TLSListener.h"

#include <openssl/ssl.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "curl/Loopback.h"
#include "platform/posix/FileDescriptor.h"

namespace fliprugair::test {

namespace {

using Context = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;
using Session = std::unique_ptr<SSL, decltype(&SSL_free)>;

/// As lax as the library allows, so that it is the other side that refuses.
Context laxContext(const SSL_METHOD* method) {
  Context context(SSL_CTX_new(method), &SSL_CTX_free);
  SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
  SSL_CTX_set_cipher_list(context.get(), "ALL:@SECLEVEL=0");
  return context;
}

TLSListener::Heard listenTo(int descriptor, const Certificate& certificate, Protocols protocols) {
  const Context context = laxContext(TLS_server_method());
  if (protocols == Protocols::beforeTLS12) SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
  SSL_CTX_use_certificate_file(context.get(), certificate.certificateFile.c_str(), SSL_FILETYPE_PEM);
  SSL_CTX_use_PrivateKey_file(context.get(), certificate.keyFile.c_str(), SSL_FILETYPE_PEM);
  const Session session(SSL_new(context.get()), &SSL_free);
  SSL_set_fd(session.get(), descriptor);
  TLSListener::Heard heard;
  heard.shookHands = SSL_accept(session.get()) == 1;
  std::array<char, 4096> bytes;
  int count = 0;
  while (heard.shookHands && (count = SSL_read(session.get(), bytes.data(), static_cast<int>(bytes.size()))) > 0) {
    heard.bytes += static_cast<std::size_t>(count);
    if (std::string_view(bytes.data(), static_cast<std::size_t>(count)).ends_with('}')) break;  // all has been said
  }
  return heard;
}

}  // namespace

TLSListener::TLSListener(const Certificate& certificate, Protocols protocols)
    : certificate_(certificate), protocols_(protocols), server_([this](RawConnection& connection) {
        heard.put(listenTo(connection.descriptor(), certificate_, protocols_));
      }) {}

bool saysWithoutCare(const std::string& hostname, const std::string& text) {
  const FileDescriptor descriptor(socket(AF_INET, SOCK_STREAM, 0));
  const sockaddr_in address = loopback(std::atoi(hostname.c_str() + hostname.find(':') + 1));
  if (connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
  const Context context = laxContext(TLS_client_method());
  const Session session(SSL_new(context.get()), &SSL_free);
  SSL_set_fd(session.get(), descriptor.get());
  return SSL_connect(session.get()) == 1 && SSL_write(session.get(), text.data(), static_cast<int>(text.size())) > 0;
}

}  // namespace fliprugair::test
