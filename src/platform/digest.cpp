#include "platform/digest.h"

#include <memory>

#include <openssl/evp.h>

#include "base/failure.h"

namespace qvant::platform {

std::string Md5Hex(std::string_view strBytes) {
    // "-fips": a system that is restricted to approved algorithms lends this one too when nothing is to be guarded.
    const std::unique_ptr<EVP_MD, void (*)(EVP_MD*)> pMd5(EVP_MD_fetch(nullptr, "MD5", "-fips"), &EVP_MD_free);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int nLength = 0;
    if (!pMd5 || EVP_Digest(strBytes.data(), strBytes.size(), digest, &nLength, pMd5.get(), nullptr) != 1) {
        throw CFailure(CFailure::UNSPECIFIED);
    }
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string strHex;
    strHex.reserve(std::size_t{2} * nLength);
    for (unsigned int i = 0; i < nLength; ++i) {
        strHex += DIGITS[digest[i] >> 4U];
        strHex += DIGITS[digest[i] & 0xFU];
    }
    return strHex;
}

}  // namespace qvant::platform
