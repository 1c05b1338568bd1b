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

JsonWriter& JsonWriter::null()
{
    separate();
    out_ += "null";
    return *this;
}

void JsonWriter::appendString(QByteArray& out, const QString& value)
{
    static constexpr char hex[] = "0123456789abcdef";
    const char16_t* in = reinterpret_cast<const char16_t*>(value.constData());
    const qsizetype size = value.size();
    // Six bytes per UTF-16 unit is the most any unit can take (a \u00xx escape); write through
    // a raw pointer and trim afterwards: prompts can be megabytes long.
    const qsizetype start = out.size();
    out.resize(start + size * 6 + 2);
    char* p = out.data() + start;
    *p++ = '"';
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = in[i];
        if (c >= 0x20 && c < 0x80 && c != u'"' && c != u'\\' && c != u'/') {
            *p++ = static_cast<char>(c);
            continue;
        }
        if (c < 0x80) {
            *p++ = '\\';
            switch (c) {
            case u'"': *p++ = '"'; break;
            case u'\\': *p++ = '\\'; break;
            case u'/': *p++ = '/'; break;
            case u'\n': *p++ = 'n'; break;
            case u'\r': *p++ = 'r'; break;
            case u'\t': *p++ = 't'; break;
            case u'\b': *p++ = 'b'; break;
            case u'\f': *p++ = 'f'; break;
            default:
                *p++ = 'u';
                *p++ = '0';
                *p++ = '0';
                *p++ = hex[c >> 4];
                *p++ = hex[c & 0xF];
            }
            continue;
        }
        char32_t code = c;
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < size && in[i + 1] >= 0xDC00 && in[i + 1] <= 0xDFFF) {
            code = 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(in[i + 1]) - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            code = 0xFFFD;
        }
        if (code < 0x800) {
            *p++ = static_cast<char>(0xC0 | (code >> 6));
            *p++ = static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            *p++ = static_cast<char>(0xE0 | (code >> 12));
            *p++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            *p++ = static_cast<char>(0x80 | (code & 0x3F));
        } else {
            *p++ = static_cast<char>(0xF0 | (code >> 18));
            *p++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            *p++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            *p++ = static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    *p++ = '"';
    out.truncate(p - out.constData());
}

} // namespace brindlet
