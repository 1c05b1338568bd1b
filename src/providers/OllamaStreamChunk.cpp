#include "OllamaStreamChunk.h"

#include <QStringDecoder>

#include <array>

namespace brindlet {

namespace {

constexpr int maxDepth = 1024; // as deep as Qt's own JSON reader goes

// Bytes that stand for themselves inside a string: not the quote, the backslash or a control.
constexpr auto plainStringBytes = [] {
    std::array<bool, 256> table {};
    for (int byte = 0x20; byte < 256; ++byte)
        table[size_t(byte)] = byte != '"' && byte != '\\';
    return table;
}();

// Short fixed words compared in place: a library call per member name or literal cost more than
// the rest of the line's reading.
bool sameBytes(const char* text, QByteArrayView word)
{
    for (qsizetype i = 0; i < word.size(); ++i) {
        if (text[i] != word[i])
            return false;
    }
    return true;
}

// Decoded in place at the end of text, with no string of its own in between: a stream's lines
// land straight on the text so far.
void appendUtf8(QString& text, const char* bytes, qsizetype size)
{
    const qsizetype before = text.size();
    text.resize(before + size); // never fewer UTF-8 bytes than UTF-16 units
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QChar* end = decoder.appendToBuffer(text.data() + before, QByteArrayView(bytes, size));
    text.truncate(end - text.constData());
}

bool is(QByteArrayView name, QByteArrayView word)
{
    return name.size() == word.size() && sameBytes(name.data(), word);
}

// A cursor over JSON text. Every reader returns false on anything RFC 8259 does not allow.
class JsonReader {
public:
    explicit JsonReader(QByteArrayView text)
        : p_(text.data())
        , end_(text.data() + text.size())
    {
    }

    bool atEnd()
    {
        skipSpace();
        return p_ == end_;
    }
    bool take(char c)
    {
        skipSpace();
        if (p_ == end_ || *p_ != c)
            return false;
        ++p_;
        return true;
    }
    bool peek(char c)
    {
        skipSpace();
        return p_ != end_ && *p_ == c;
    }
    bool literal(QByteArrayView word)
    {
        skipSpace();
        if (end_ - p_ < word.size() || !sameBytes(p_, word))
            return false;
        p_ += word.size();
        return true;
    }

    // A member's name, as it stands in the text unless it holds escapes.
    bool name(QByteArrayView* out)
    {
        if (!peek('"'))
            return false;
        const char* start = p_ + 1;
        const char* stop = plainRunFrom(start);
        if (stop != end_ && *stop == '"') {
            *out = QByteArrayView(start, stop - start);
            p_ = stop + 1;
            return true;
        }
        QString decoded;
        if (!string(&decoded))
            return false;
        scratch_ = decoded.toUtf8();
        *out = scratch_;
        return true;
    }

    // A string, decoded onto the end of out when out is given.
    bool string(QString* out)
    {
        if (!take('"'))
            return false;
        const char* start = p_;
        p_ = plainRunFrom(p_);
        if (p_ != end_ && *p_ == '"') { // the common case: nothing to unescape
            if (out)
                appendUtf8(*out, start, p_ - start);
            ++p_;
            return true;
        }
        QString scratch;
        QString& decoded = out ? *out : scratch;
        appendUtf8(decoded, start, p_ - start);
        while (p_ != end_ && *p_ != '"') {
            const char c = *p_++;
            if (static_cast<unsigned char>(c) < 0x20)
                return false;
            if (c != '\\') {
                const char* run = p_ - 1;
                p_ = plainRunFrom(p_);
                appendUtf8(decoded, run, p_ - run);
                continue;
            }
            if (p_ == end_)
                return false;
            switch (*p_++) {
            case '"': decoded += u'"'; break;
            case '\\': decoded += u'\\'; break;
            case '/': decoded += u'/'; break;
            case 'b': decoded += u'\b'; break;
            case 'f': decoded += u'\f'; break;
            case 'n': decoded += u'\n'; break;
            case 'r': decoded += u'\r'; break;
            case 't': decoded += u'\t'; break;
            case 'u': {
                if (end_ - p_ < 4)
                    return false;
                bool ok = false;
                const ushort unit = QByteArrayView(p_, 4).toUShort(&ok, 16);
                if (!ok)
                    return false;
                p_ += 4;
                decoded += QChar(unit);
                break;
            }
            default: return false;
            }
        }
        if (p_ == end_)
            return false;
        ++p_;
        return true;
    }

    bool number()
    {
        skipSpace();
        const char* start = p_;
        if (p_ != end_ && *p_ == '-')
            ++p_;
        if (p_ != end_ && *p_ == '0')
            ++p_;
        else if (!digits())
            return false;
        if (p_ != end_ && *p_ == '.' && (++p_, !digits()))
            return false;
        if (p_ != end_ && (*p_ == 'e' || *p_ == 'E')) {
            ++p_;
            if (p_ != end_ && (*p_ == '+' || *p_ == '-'))
                ++p_;
            if (!digits())
                return false;
        }
        return p_ != start;
    }

    // Any value, checked and dropped.
    bool skipValue(int depth = 0)
    {
        if (depth > maxDepth)
            return false;
        if (peek('"'))
            return string(nullptr);
        if (take('{'))
            return members([&](QByteArrayView) { return skipValue(depth + 1); });
        if (take('[')) {
            if (take(']'))
                return true;
            do {
                if (!skipValue(depth + 1))
                    return false;
            } while (take(','));
            return take(']');
        }
        if (literal("true") || literal("false") || literal("null"))
            return true;
        return number();
    }

    // The members of an object whose '{' was taken, each value read by readValue(name).
    template <class ReadValue> bool members(ReadValue readValue)
    {
        if (take('}'))
            return true;
        do {
            QByteArrayView key;
            if (!name(&key) || !take(':') || !readValue(key))
                return false;
        } while (take(','));
        return take('}');
    }

private:
    const char* plainRunFrom(const char* p) const
    {
        while (p != end_ && plainStringBytes[static_cast<unsigned char>(*p)])
            ++p;
        return p;
    }
    void skipSpace()
    {
        while (p_ != end_ && (*p_ == ' ' || *p_ == '\t' || *p_ == '\n' || *p_ == '\r'))
            ++p_;
    }
    bool digits()
    {
        const char* start = p_;
        while (p_ != end_ && *p_ >= '0' && *p_ <= '9')
            ++p_;
        return p_ != start;
    }

    const char* p_;
    const char* end_;
    QByteArray scratch_; // a name that had escapes, decoded
};

} // namespace

std::optional<OllamaStreamChunk> parseOllamaStreamChunk(QByteArrayView line, QString& text)
{
    JsonReader reader(line);
    OllamaStreamChunk chunk;
    const qsizetype before = text.size();
    // A name given twice counts with its last value, as in any JSON object.
    auto readMember = [&](QByteArrayView name) {
        const bool isResponse = is(name, "response");
        if (isResponse || is(name, "error")) {
            QString& target = isResponse ? text : chunk.error;
            target.truncate(isResponse ? before : 0);
            return reader.literal("null") || reader.string(&target);
        }
        if (is(name, "done")) {
            chunk.done = reader.literal("true");
            return chunk.done || reader.literal("false") || reader.literal("null");
        }
        return reader.skipValue(1);
    };
    if (!reader.take('{') || !reader.members(readMember) || !reader.atEnd()) {
        text.truncate(before);
        return std::nullopt;
    }
    chunk.responseLength = text.size() - before;
    return chunk;
}

} // namespace brindlet
