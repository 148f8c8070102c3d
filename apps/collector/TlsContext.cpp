#include "collector/TlsContext.h"

#include <openssl/ssl.h>

namespace trovix::collector {
namespace {

int chooseCertificate(SSL* connection, void* chooser) {
  const char* host = SSL_get_servername(connection, TLSEXT_NAMETYPE_host_name);
  return (*static_cast<const CertificateChooser*>(chooser))(connection, host != nullptr ? host : "") ? 1 : 0;
}

int chooseProtocol(SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char* offered,
                   unsigned int offeredSize, void*) {
  static constexpr unsigned char spoken[] = "\x08http/1.1";
  unsigned char* found = nullptr;
  if (SSL_select_next_proto(&found, size, spoken, sizeof(spoken) - 1, offered, offeredSize) != OPENSSL_NPN_NEGOTIATED)
    return SSL_TLSEXT_ERR_NOACK;
  *chosen = found;
  return SSL_TLSEXT_ERR_OK;
}

}  // namespace

void prepareTlsContext(SSL_CTX* context, const CertificateChooser& chooser) {
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_cert_cb(context, chooseCertificate, const_cast<CertificateChooser*>(&chooser));
  SSL_CTX_set_alpn_select_cb(context, chooseProtocol, nullptr);
  // A resumed session shows no certificate, and a faulty one has to be seen.
  SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(context, 0);
}

}  // namespace trovix::collector
