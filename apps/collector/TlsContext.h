#pragma once

#include <functional>
#include <string_view>

using SSL = struct ssl_st;
using SSL_CTX = struct ssl_ctx_st;

namespace trovix::collector {

/// Gives a handshake its certificate for the host name (empty when the client names none); false refuses it.
using CertificateChooser = std::function<bool(SSL*, std::string_view host)>;

/// TLS 1.2 and up, HTTP/1.1 alone, no resumption. The chooser is asked in every handshake and must outlive the context.
void prepareTlsContext(SSL_CTX* context, const CertificateChooser& chooser);

}  // namespace trovix::collector
