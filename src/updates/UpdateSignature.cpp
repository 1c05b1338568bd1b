#include "UpdateSignature.h"

#include <openssl/evp.h>

#include <memory>

namespace brindlet {

bool verifyEd25519(const QByteArray& data, const QByteArray& signature, const QByteArray& publicKey)
{
    const auto decodedKey = QByteArray::fromBase64Encoding(publicKey, QByteArray::AbortOnBase64DecodingErrors);
    const auto decodedSignature = QByteArray::fromBase64Encoding(signature, QByteArray::AbortOnBase64DecodingErrors);
    const QByteArray* key = &*decodedKey;
    const QByteArray* sig = &*decodedSignature;
    if (!decodedKey || !decodedSignature || key->size() != 32 || sig->size() != 64)
        return false;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pkey(
        EVP_PKEY_new_raw_public_key(
            EVP_PKEY_ED25519, nullptr, reinterpret_cast<const unsigned char*>(key->constData()), size_t(key->size())),
        &EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!pkey || !context || EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, pkey.get()) != 1)
        return false;
    return EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char*>(sig->constData()),
               size_t(sig->size()), reinterpret_cast<const unsigned char*>(data.constData()), size_t(data.size()))
        == 1;
}

} // namespace brindlet
