#include "JsonWriter.h"

namespace brindlet {

void JsonWriter::separate()
{
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!needsComma_.empty()) {
        if (needsComma_.back())
            out_ += ',';
        needsComma_.back() = true;
    }
}

JsonWriter& JsonWriter::beginObject()
{
    separate();
    out_ += '{';
    needsComma_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endObject()
{
    out_ += '}';
    needsComma_.pop_back();
    return *this;
}

JsonWriter& JsonWriter::beginArray()
{
    separate();
    out_ += '[';
    needsComma_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endArray()
{
    out_ += ']';
    needsComma_.pop_back();
    return *this;
}

JsonWriter& JsonWriter::key(const char* name)
{
    separate();
    appendString(out_, QString::fromUtf8(name));
    out_ += ':';
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::string(const QString& value)
{
    separate();
    appendString(out_, value);
    return *this;
}

JsonWriter& JsonWriter::boolean(bool value)
{
    separate();
    out_ += value ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::integer(std::int64_t value)
{
    separate();
    out_ += QByteArray::number(static_cast<qlonglong>(value));
    return *this;
}

void JsonWriter::appendString(QByteArray& out, const QString& value)
{
    static constexpr char hex[] = "0123456789abcdef";
    const char16_t* data = reinterpret_cast<const char16_t*>(value.constData());
    const qsizetype size = value.size();
    out.reserve(out.size() + size + size / 8 + 2);
    out += '"';
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = data[i];
        if (c < 0x80) {
            switch (c) {
            case u'"': out += "\\\""; break;
            case u'\\': out += "\\\\"; break;
            case u'/': out += "\\/"; break;
            case u'\n': out += "\\n"; break;
            case u'\r': out += "\\r"; break;
            case u'\t': out += "\\t"; break;
            case u'\b': out += "\\b"; break;
            case u'\f': out += "\\f"; break;
            default:
                if (c < 0x20) {
                    out += "\\u00";
                    out += hex[c >> 4];
                    out += hex[c & 0xF];
                } else {
                    out += static_cast<char>(c);
                }
            }
            continue;
        }
        char32_t code = c;
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < size && data[i + 1] >= 0xDC00 && data[i + 1] <= 0xDFFF) {
            code = 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(data[i + 1]) - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            code = 0xFFFD;
        }
        if (code < 0x800) {
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            out += static_cast<char>(0xE0 | (code >> 12));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (code >> 18));
            out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    out += '"';
}

}  // namespace brindlet
