#include "platform/linux/internet_certificates.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include "platform/linux/environment.h"

namespace qvant::platform {

namespace {

int FaultIndex() {
    static const int nIndex = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return nIndex;
}

bool IsForgiven(int nFault) {
    switch (nFault) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_CERT_NOT_YET_VALID:
        case X509_V_ERR_CERT_REVOKED:
        case X509_V_ERR_UNABLE_TO_GET_CRL:
        case X509_V_ERR_CRL_HAS_EXPIRED:
        case X509_V_ERR_CRL_NOT_YET_VALID:
            return true;
        default:
            return false;
    }
}

// Asked for each fault of a chain, so that a second one shows behind a date that was forgiven.
int DecideOnFault(int nGood, X509_STORE_CTX* pStore) {
    if (nGood) return nGood;
    if (IsForgiven(X509_STORE_CTX_get_error(pStore))) {
        X509_STORE_CTX_set_error(pStore, X509_V_OK);
        return 1;
    }
    const auto* pSsl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(pStore, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* pFault = static_cast<CertificateFault*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(pSsl), FaultIndex()));
    if (pFault) pFault->bRefused = true;
    return 0;
}

CURLcode SetUpContext(CURL*, void* pContext, void* pFault) {
    auto* pSslContext = static_cast<SSL_CTX*>(pContext);
    SSL_CTX_set_ex_data(pSslContext, FaultIndex(), pFault);
    SSL_CTX_set_verify(pSslContext, SSL_VERIFY_PEER, &DecideOnFault);
    return CURLE_OK;
}

}  // namespace

void CheckCertificates(CURL* hEasy, CertificateFault& fault) {
    const auto strFile = GetVariable("SSL_CERT_FILE");
    const auto strFolder = GetVariable("SSL_CERT_DIR");
    if (strFile || strFolder) {
        curl_easy_setopt(hEasy, CURLOPT_CAINFO, strFile ? strFile->c_str() : nullptr);
        curl_easy_setopt(hEasy, CURLOPT_CAPATH, strFolder ? strFolder->c_str() : nullptr);
    }
    curl_easy_setopt(hEasy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(hEasy, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(hEasy, CURLOPT_SSL_CTX_FUNCTION, &SetUpContext);
    curl_easy_setopt(hEasy, CURLOPT_SSL_CTX_DATA, &fault);
}

}  // namespace qvant::platform
