/// Certificates made while the tests run.
#pragma once

#include <memory>
#include <string>

#include <openssl/ssl.h>

namespace qvant::test {

struct PkeyFree {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
};
struct X509Free {
    void operator()(X509* p) const { X509_free(p); }
};
struct ContextFree {
    void operator()(SSL_CTX* p) const { SSL_CTX_free(p); }
};
using ContextPointer = std::unique_ptr<SSL_CTX, ContextFree>;

/// What a server's certificate says of itself. Times are seconds from now.
struct Identity {
    std::string strAlternativeName = "IP:127.0.0.1";
    long nNotBefore = -3600;
    long nNotAfter = 3600;
    std::string strUse{};        ///< what the certificate is for, such as "clientAuth"; empty: anything
    bool bChangedAfter = false;  ///< something in it was changed behind the authority's back
};

/// An authority of its own, that signs the certificates of servers.
class CAuthority {
public:
    CAuthority() : CAuthority(Identity{}) {}
    /// @param identity  its times count
    explicit CAuthority(const Identity& identity);
    /// The authority's certificate as PEM.
    std::string GetPem() const;
    /// A server context with a certificate that the authority signed.
    ContextPointer MakeServer(const Identity& identity) const;
    /// One whose certificate another server of the authority signed, which isn't its to do.
    ContextPointer MakeServerOfAServer() const;

private:
    std::unique_ptr<EVP_PKEY, PkeyFree> m_pKey;
    std::unique_ptr<X509, X509Free> m_pCertificate;
};

/// A server context with a certificate that only vouches for itself.
ContextPointer MakeSelfSignedServer(const Identity& identity);

}  // namespace qvant::test
