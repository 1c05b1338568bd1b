#pragma once

// Writes JSON with keys in the order given (QJsonObject would sort them) and with the escaping
// of the platform's default JSON encoder: `\"`, `\\`, `\/`, the short escapes for the common
// control characters and `\u00xx` for the others; everything beyond ASCII stays UTF-8.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

namespace brindlet {

class JsonWriter {
public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& key(const char* name);
    JsonWriter& string(const QString& value);
    JsonWriter& boolean(bool value);
    JsonWriter& integer(std::int64_t value);
    // The shortest text that reads back as the same double; JSON has no infinity or NaN: null.
    JsonWriter& number(double value);
    JsonWriter& null();

    QByteArray take() { return std::move(out_); }

    // Appends value as a quoted JSON string. Lone UTF-16 surrogates, which UTF-8 cannot carry,
    // become U+FFFD.
    static void appendString(QByteArray& out, const QString& value);
    // The same escaping without the quotes, kept in UTF-16: the prompt is a QString.
    static void appendEscaped(QString& out, QStringView value);

private:
    void separate();
    QByteArray out_;
    std::vector<bool> needsComma_;
    bool afterKey_ = false;
};

} // namespace brindlet
