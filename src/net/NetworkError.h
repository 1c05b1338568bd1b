#pragma once

#include "domain/DescribedError.h"

#include <QNetworkReply>

namespace brindlet {

// A transport failure of an HTTP request, in Qt's words, with its kind kept for decisions.
class NetworkError : public PlatformError {
public:
    NetworkError(QNetworkReply::NetworkError code, QString message)
        : PlatformError(std::move(message))
        , code_(code)
    {
    }
    QNetworkReply::NetworkError code() const { return code_; }
    // Nothing answered at the address: no server listens there, or the host does not exist.
    bool isUnreachable() const
    {
        return code_ == QNetworkReply::ConnectionRefusedError || code_ == QNetworkReply::HostNotFoundError;
    }

private:
    QNetworkReply::NetworkError code_;
};

} // namespace brindlet
