#include "HttpReplyReader.h"

#include "NetworkError.h"

namespace brindlet {

HttpReplyReader::HttpReplyReader(QNetworkReply* reply)
    : reply_(reply)
{
    auto wake = [this] {
        if (activity_) {
            auto pending = std::exchange(activity_, nullptr);
            pending->resolve(true);
        }
    };
    QObject::connect(reply, &QNetworkReply::readyRead, reply, wake);
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, wake);
    QObject::connect(reply, &QNetworkReply::finished, reply, [this, wake] {
        finished_ = true;
        wake();
    });
    finished_ = reply->isFinished();
}

HttpReplyReader::~HttpReplyReader()
{
    if (reply_) {
        reply_->disconnect();
        reply_->abort();
        reply_->deleteLater();
    }
}

void HttpReplyReader::abort()
{
    if (reply_)
        reply_->abort();
}

Task<void> HttpReplyReader::waitForActivity()
{
    auto completion = std::make_shared<Completion<bool>>();
    activity_ = completion;
    co_await completion->wait();
}

std::optional<int> HttpReplyReader::knownStatus() const
{
    const QVariant value = reply_ ? reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute) : QVariant();
    if (!value.isValid())
        return std::nullopt;
    return value.toInt();
}

void HttpReplyReader::throwIfFailed() const
{
    if (!reply_)
        throw PlatformError(QStringLiteral("The network request was released."));
    // An HTTP error status is for the caller to judge; only transport failures throw here.
    if (reply_->error() != QNetworkReply::NoError && !knownStatus())
        throw NetworkError(reply_->error(), reply_->errorString());
}

Task<std::optional<int>> HttpReplyReader::status()
{
    while (!knownStatus() && !finished_)
        co_await waitForActivity();
    throwIfFailed();
    co_return knownStatus();
}

Task<std::optional<QByteArray>> HttpReplyReader::nextLine()
{
    for (;;) {
        qsizetype newline = buffer_.indexOf('\n');
        while (newline < 0 && reply_ && reply_->bytesAvailable() > 0) {
            const qsizetype scanFrom = buffer_.size();
            buffer_ += reply_->read(64 * 1024);
            newline = buffer_.indexOf('\n', scanFrom);
        }
        if (newline >= 0) {
            QByteArray line = buffer_.left(newline);
            buffer_.remove(0, newline + 1);
            if (line.endsWith('\r'))
                line.chop(1);
            if (line.isEmpty())
                continue;
            co_return line;
        }
        if (finished_) {
            if (reply_ && reply_->error() != QNetworkReply::NoError)
                throw NetworkError(reply_->error(), reply_->errorString());
            if (buffer_.endsWith('\r'))
                buffer_.chop(1);
            if (buffer_.isEmpty())
                co_return std::nullopt;
            co_return std::exchange(buffer_, {});
        }
        co_await waitForActivity();
    }
}

Task<QByteArray> HttpReplyReader::readAll()
{
    while (!finished_)
        co_await waitForActivity();
    throwIfFailed();
    co_return buffer_ + (reply_ ? reply_->readAll() : QByteArray());
}

} // namespace brindlet
