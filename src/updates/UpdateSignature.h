#pragma once

#include <QByteArray>

namespace brindlet {

// Whether signature (base64, 64 bytes) is the Ed25519 signature of data under publicKey (base64,
// 32 bytes). Anything malformed is simply not a valid signature.
bool verifyEd25519(const QByteArray& data, const QByteArray& signature, const QByteArray& publicKey);

} // namespace brindlet
