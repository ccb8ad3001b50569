#include "net/test_certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace qvant::test {

namespace {

using Key = std::unique_ptr<EVP_PKEY, PkeyFree>;
using Certificate = std::unique_ptr<X509, X509Free>;

Key MakeKey() { return Key(EVP_EC_gen("P-256")); }

void AddExtension(X509* pCertificate, X509* pIssuer, int nId, const std::string& strValue) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, pIssuer, pCertificate, nullptr, nullptr, 0);
    X509_EXTENSION* pExtension = X509V3_EXT_conf_nid(nullptr, &context, nId, strValue.c_str());
    X509_add_ext(pCertificate, pExtension, -1);
    X509_EXTENSION_free(pExtension);
}

Certificate MakeCertificate(EVP_PKEY* pKey, const char* pszName, const Identity& identity) {
    static long nSerial = 1000;
    Certificate pCertificate(X509_new());
    X509_set_version(pCertificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(pCertificate.get()), ++nSerial);
    X509_gmtime_adj(X509_getm_notBefore(pCertificate.get()), identity.nNotBefore);
    X509_gmtime_adj(X509_getm_notAfter(pCertificate.get()), identity.nNotAfter);
    X509_set_pubkey(pCertificate.get(), pKey);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(pCertificate.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(pszName), -1, -1, 0);
    return pCertificate;
}

ContextPointer MakeContext(X509* pCertificate, EVP_PKEY* pKey) {
    ContextPointer pContext(SSL_CTX_new(TLS_server_method()));
    SSL_CTX_use_certificate(pContext.get(), pCertificate);
    SSL_CTX_use_PrivateKey(pContext.get(), pKey);
    return pContext;
}

}  // namespace

CAuthority::CAuthority(const Identity& identity)
    : m_pKey(MakeKey()), m_pCertificate(MakeCertificate(m_pKey.get(), "Authority", identity)) {
    X509_set_issuer_name(m_pCertificate.get(), X509_get_subject_name(m_pCertificate.get()));
    AddExtension(m_pCertificate.get(), m_pCertificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(m_pCertificate.get(), m_pCertificate.get(), NID_key_usage, "critical,keyCertSign");
    X509_sign(m_pCertificate.get(), m_pKey.get(), EVP_sha256());
}

std::string CAuthority::GetPem() const {
    BIO* pMemory = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(pMemory, m_pCertificate.get());
    char* pBytes = nullptr;
    const long nSize = BIO_get_mem_data(pMemory, &pBytes);
    std::string strPem(pBytes, static_cast<std::size_t>(nSize));
    BIO_free(pMemory);
    return strPem;
}

ContextPointer CAuthority::MakeServer(const Identity& identity) const {
    const Key pKey = MakeKey();
    const Certificate pCertificate = MakeCertificate(pKey.get(), "Server", identity);
    X509_set_issuer_name(pCertificate.get(), X509_get_subject_name(m_pCertificate.get()));
    AddExtension(pCertificate.get(), m_pCertificate.get(), NID_subject_alt_name, identity.strAlternativeName);
    if (!identity.strUse.empty())
        AddExtension(pCertificate.get(), m_pCertificate.get(), NID_ext_key_usage, identity.strUse);
    X509_sign(pCertificate.get(), m_pKey.get(), EVP_sha256());
    if (identity.bChangedAfter) X509_gmtime_adj(X509_getm_notAfter(pCertificate.get()), identity.nNotAfter + 1);
    return MakeContext(pCertificate.get(), pKey.get());
}

ContextPointer CAuthority::MakeServerOfAServer() const {
    const Key pMiddleKey = MakeKey();
    const Certificate pMiddle = MakeCertificate(pMiddleKey.get(), "Middle", {});
    X509_set_issuer_name(pMiddle.get(), X509_get_subject_name(m_pCertificate.get()));
    AddExtension(pMiddle.get(), m_pCertificate.get(), NID_basic_constraints, "critical,CA:FALSE");
    X509_sign(pMiddle.get(), m_pKey.get(), EVP_sha256());
    const Key pKey = MakeKey();
    const Certificate pCertificate = MakeCertificate(pKey.get(), "Server", {});
    X509_set_issuer_name(pCertificate.get(), X509_get_subject_name(pMiddle.get()));
    AddExtension(pCertificate.get(), pMiddle.get(), NID_subject_alt_name, Identity{}.strAlternativeName);
    X509_sign(pCertificate.get(), pMiddleKey.get(), EVP_sha256());
    ContextPointer pContext = MakeContext(pCertificate.get(), pKey.get());
    SSL_CTX_add1_chain_cert(pContext.get(), pMiddle.get());
    return pContext;
}

ContextPointer MakeSelfSignedServer(const Identity& identity) {
    const Key pKey = MakeKey();
    const Certificate pCertificate = MakeCertificate(pKey.get(), "Alone", identity);
    X509_set_issuer_name(pCertificate.get(), X509_get_subject_name(pCertificate.get()));
    AddExtension(pCertificate.get(), pCertificate.get(), NID_subject_alt_name, identity.strAlternativeName);
    X509_sign(pCertificate.get(), pKey.get(), EVP_sha256());
    return MakeContext(pCertificate.get(), pKey.get());
}

}  // namespace qvant::test
