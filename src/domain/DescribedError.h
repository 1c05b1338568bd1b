#pragma once

#include <QByteArray>
#include <QString>

#include <exception>

namespace brindlet {

// A failure the user reads. Its description goes to `statusMessage` as it stands.
class DescribedError : public std::exception {
public:
    virtual QString description() const = 0;
    const char* what() const noexcept override;

private:
    mutable QByteArray what_;
};

// A failure reported by the platform (network, decoder) in its own words.
class PlatformError : public DescribedError {
public:
    explicit PlatformError(QString message)
        : message_(std::move(message))
    {
    }
    QString description() const override { return message_; }

private:
    QString message_;
};

// The description of any error: a DescribedError's own words, else what() as UTF-8.
QString describe(const std::exception_ptr& error);

} // namespace brindlet
