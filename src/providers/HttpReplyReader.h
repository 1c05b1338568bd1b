#pragma once

// Awaitable reading of a QNetworkReply as it arrives: the status once the headers are in, then
// line after line, without ever holding more of the body than one unfinished line.

#include "Completion.h"
#include "Task.h"

#include <QByteArray>
#include <QNetworkReply>
#include <QPointer>

#include <memory>
#include <optional>

namespace brindlet {

class HttpReplyReader {
public:
    // Takes ownership of the reply; it is aborted and released when the reader goes.
    explicit HttpReplyReader(QNetworkReply* reply);
    ~HttpReplyReader();
    HttpReplyReader(const HttpReplyReader&) = delete;
    HttpReplyReader& operator=(const HttpReplyReader&) = delete;

    // The HTTP status, once known; nullopt when the request ended without an HTTP answer.
    // A transport failure before any answer is thrown as NetworkError with Qt's words.
    Task<std::optional<int>> status();
    // The next line of the body without its terminator ("\n", or "\r\n"); empty lines are
    // skipped. nullopt at the end of the body. A transport failure is thrown as NetworkError.
    Task<std::optional<QByteArray>> nextLine();
    // The rest of the body.
    Task<QByteArray> readAll();

    void abort();

private:
    Task<void> waitForActivity();
    std::optional<int> knownStatus() const;
    void throwIfFailed() const;

    QPointer<QNetworkReply> reply_;
    std::shared_ptr<Completion<bool>> activity_;
    QByteArray buffer_;
    bool finished_ = false;
};

} // namespace brindlet
