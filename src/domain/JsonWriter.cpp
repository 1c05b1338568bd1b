#include "JsonWriter.h"

#include <QLocale>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

JsonWriter& JsonWriter::number(double value)
{
    separate();
    out_ += std::isfinite(value) ? QByteArray::number(value, 'g', QLocale::FloatingPointShortest) : "null";
    return *this;
}

JsonWriter& JsonWriter::null()
{
    separate();
    out_ += "null";
    return *this;
}

namespace {

bool isSurrogate(char16_t c)
{
    return (c & 0xF800) == 0xD800;
}

bool needsEscape(char16_t c)
{
    return c < 0x20 || c == u'"' || c == u'\\' || c == u'/' || isSurrogate(c);
}

// The letter of a two-unit escape, or 0 where the unit needs \u00xx.
char16_t shortEscape(char16_t c)
{
    switch (c) {
    case u'"': return u'"';
    case u'\\': return u'\\';
    case u'/': return u'/';
    case u'\n': return u'n';
    case u'\r': return u'r';
    case u'\t': return u't';
    case u'\b': return u'b';
    case u'\f': return u'f';
    default: return 0;
    }
}

// Escapes one unit (two for a surrogate pair) that needs more than a copy; returns the new end.
char16_t* escapeOne(const char16_t*& in, const char16_t* end, char16_t* p)
{
    static constexpr char16_t hex[] = u"0123456789abcdef";
    const char16_t c = *in++;
    if (isSurrogate(c)) {
        // A high surrogate followed by a low one is a character; any other surrogate is
        // replaced, since UTF-8 cannot carry it.
        if (c < 0xDC00 && in < end && (*in & 0xFC00) == 0xDC00) {
            *p++ = c;
            *p++ = *in++;
        } else {
            *p++ = 0xFFFD;
        }
    } else if (const char16_t letter = shortEscape(c)) {
        *p++ = u'\\';
        *p++ = letter;
    } else {
        for (const char16_t unit : { u'\\', u'u', u'0', u'0', hex[c >> 4], hex[c & 0xF] })
            *p++ = unit;
    }
    return p;
}

#if defined(__x86_64__)
// Eight units at a time with byte shuffles: each unit that takes a two-unit escape becomes a
// backslash and its letter, in one table lookup by the mask of such units. A block holding
// another control character or a surrogate that is not half of a pair inside it leaves the rest
// to the caller.
struct Expansion {
    alignas(16) std::uint8_t shuffle[2][16];
    alignas(16) std::uint16_t backslashes[2][8];
    std::uint8_t length;
};

const std::array<Expansion, 256>& expansions()
{
    static const auto table = [] {
        std::array<Expansion, 256> all {};
        for (int mask = 0; mask < 256; ++mask) {
            Expansion& e = all[mask];
            int slot = 0;
            auto put = [&](int lane, bool backslash) {
                std::uint8_t* bytes = e.shuffle[slot / 8] + (slot % 8) * 2;
                bytes[0] = backslash ? 0x80 : std::uint8_t(lane * 2);
                bytes[1] = backslash ? 0x80 : std::uint8_t(lane * 2 + 1);
                e.backslashes[slot / 8][slot % 8] = backslash ? u'\\' : 0;
                ++slot;
            };
            for (int lane = 0; lane < 8; ++lane) {
                if (mask & (1 << lane))
                    put(lane, true);
                put(lane, false);
            }
            e.length = std::uint8_t(slot);
            for (; slot < 16; ++slot)
                e.shuffle[slot / 8][(slot % 8) * 2] = e.shuffle[slot / 8][(slot % 8) * 2 + 1] = 0x80;
        }
        return all;
    }();
    return table;
}

__attribute__((target("ssse3"))) void escapeBlocks(const char16_t*& from, const char16_t* end, char16_t*& to)
{
    // Locals, so that the stores through the output cannot be taken to change them.
    const char16_t* in = from;
    char16_t* out = to;
    const Expansion* table = expansions().data();
    const __m128i zero = _mm_setzero_si128();
    const __m128i controlLimit = _mm_set1_epi16(0x1F);
    const __m128i surrogateMask = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogateBase = _mm_set1_epi16(static_cast<short>(0xD800));
    const __m128i pairMask = _mm_set1_epi16(static_cast<short>(0xFC00));
    const __m128i highBase = surrogateBase;
    const __m128i quote = _mm_set1_epi16('"'), backslash = _mm_set1_epi16('\\'), slash = _mm_set1_epi16('/');
    // The controls with a letter, and their letters.
    const __m128i controls[5] = { _mm_set1_epi16('\n'), _mm_set1_epi16('\r'), _mm_set1_epi16('\t'),
        _mm_set1_epi16('\b'), _mm_set1_epi16('\f') };
    const __m128i controlLetters[5]
        = { _mm_set1_epi16('n'), _mm_set1_epi16('r'), _mm_set1_epi16('t'), _mm_set1_epi16('b'), _mm_set1_epi16('f') };
    while (end - in >= 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
        const __m128i control = _mm_cmpeq_epi16(_mm_subs_epu16(units, controlLimit), zero);
        const __m128i surrogate = _mm_cmpeq_epi16(_mm_and_si128(units, surrogateMask), surrogateBase);
        __m128i escaped = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(units, quote), _mm_cmpeq_epi16(units, backslash)),
            _mm_cmpeq_epi16(units, slash));
        __m128i letters = units;
        if (_mm_movemask_epi8(control)) {
            for (int i = 0; i < 5; ++i) {
                const __m128i is = _mm_cmpeq_epi16(units, controls[i]);
                escaped = _mm_or_si128(escaped, is);
                letters = _mm_or_si128(_mm_andnot_si128(is, letters), _mm_and_si128(is, controlLetters[i]));
            }
        }
        if (_mm_movemask_epi8(_mm_andnot_si128(escaped, control)))
            break;
        if (_mm_movemask_epi8(surrogate)) {
            // Pass pairs that lie wholly in the block; anything else is the caller's.
            const __m128i high = _mm_cmpeq_epi16(_mm_and_si128(units, pairMask), highBase);
            const int highs = _mm_movemask_epi8(_mm_packs_epi16(high, zero));
            const int lows = _mm_movemask_epi8(_mm_packs_epi16(_mm_andnot_si128(high, surrogate), zero));
            if (lows != ((highs << 1) & 0xFF) || (highs & 0x80))
                break;
        }
        const int mask = _mm_movemask_epi8(_mm_packs_epi16(escaped, zero));
        if (!mask) { // nearly half the blocks of ordinary prose: a plain copy
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), units);
            in += 8;
            out += 8;
            continue;
        }
        const Expansion& e = table[mask];
        const __m128i low = _mm_shuffle_epi8(letters, _mm_load_si128(reinterpret_cast<const __m128i*>(e.shuffle[0])));
        const __m128i high = _mm_shuffle_epi8(letters, _mm_load_si128(reinterpret_cast<const __m128i*>(e.shuffle[1])));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
            _mm_or_si128(low, _mm_load_si128(reinterpret_cast<const __m128i*>(e.backslashes[0]))));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8),
            _mm_or_si128(high, _mm_load_si128(reinterpret_cast<const __m128i*>(e.backslashes[1]))));
        in += 8;
        out += e.length;
    }
    from = in;
    to = out;
}

// Thirty-two units at a time where AVX-512 can expand words: the units that take a two-unit
// escape get a backslash inserted before them by one masked expansion, the mask made with one
// bit deposit and one bit extraction. The same units as above are left to the caller.
__attribute__((target("avx512f,avx512bw,avx512vbmi2,bmi2,popcnt"))) void escapeWideBlocks(
    const char16_t*& from, const char16_t* end, char16_t*& to)
{
    const char16_t* in = from;
    char16_t* out = to;
    const __m512i lanes = _mm512_set_epi16(31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13,
        12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i backslashes = _mm512_set1_epi16('\\');
    const __m512i quote = _mm512_set1_epi16('"'), backslash = backslashes, slash = _mm512_set1_epi16('/');
    const __m512i controlLimit = _mm512_set1_epi16(0x20);
    const __m512i surrogateMask = _mm512_set1_epi16(static_cast<short>(0xF800));
    const __m512i pairMask = _mm512_set1_epi16(static_cast<short>(0xFC00));
    const __m512i surrogateBase = _mm512_set1_epi16(static_cast<short>(0xD800));
    // For each unit below 0x20, the letter of its escape, or 0 where it needs \u00xx.
    const __m512i controlLetters = _mm512_set_epi16(
        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'r', 'f', 0, 'n', 't', 'b', 0, 0, 0, 0, 0, 0, 0, 0);
    constexpr std::uint64_t evenBits = 0x5555555555555555ULL;
    constexpr std::uint64_t oddBits = 0xAAAAAAAAAAAAAAAAULL;
    while (end - in >= 32) {
        const __m512i units = _mm512_loadu_si512(in);
        __mmask32 escaped = _mm512_cmpeq_epi16_mask(units, quote) | _mm512_cmpeq_epi16_mask(units, backslash)
            | _mm512_cmpeq_epi16_mask(units, slash);
        __m512i letters = units;
        if (const __mmask32 control = _mm512_cmplt_epu16_mask(units, controlLimit)) {
            const __m512i controlLetter = _mm512_permutexvar_epi16(units, controlLetters);
            const __mmask32 lettered = control & _mm512_test_epi16_mask(controlLetter, controlLetter);
            if (control & ~lettered)
                break;
            escaped |= lettered;
            letters = _mm512_mask_mov_epi16(letters, lettered, controlLetter);
        }
        const __mmask32 surrogate = _mm512_cmpeq_epi16_mask(_mm512_and_si512(units, surrogateMask), surrogateBase);
        if (surrogate) {
            // Pass pairs that lie wholly in the block; anything else is the caller's.
            const std::uint32_t highs = _mm512_cmpeq_epi16_mask(_mm512_and_si512(units, pairMask), surrogateBase);
            const std::uint32_t lows = surrogate & ~highs;
            if (lows != (highs << 1) || (highs >> 31))
                break;
        }
        if (!escaped) {
            _mm512_storeu_si512(out, units);
            in += 32;
            out += 32;
            continue;
        }
        // Each unit is a cell of two output bits: an escaped one is "backslash, unit", any
        // other just "unit". The output slots that take a unit are the cells' kept bits.
        const std::uint64_t cells = _pdep_u64(~std::uint64_t(escaped), evenBits) | oddBits;
        const std::uint64_t kept = evenBits | _pdep_u64(escaped, oddBits);
        const std::uint64_t takesUnit = _pext_u64(cells, kept);
        const auto firstHalf = static_cast<__mmask32>(takesUnit);
        _mm512_storeu_si512(out, _mm512_mask_expand_epi16(backslashes, firstHalf, letters));
        const int added = _mm_popcnt_u32(escaped);
        // What did not fit in the first 32 output units follows in a second expansion.
        const int used = _mm_popcnt_u32(firstHalf);
        const __m512i rest = _mm512_permutexvar_epi16(_mm512_add_epi16(lanes, _mm512_set1_epi16(short(used))), letters);
        _mm512_storeu_si512(
            out + 32, _mm512_mask_expand_epi16(backslashes, static_cast<__mmask32>(takesUnit >> 32), rest));
        in += 32;
        out += 32 + added;
    }
    from = in;
    to = out;
}

const bool canShuffle = __builtin_cpu_supports("ssse3");
const bool canExpand
    = __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi2");
#endif

} // namespace

void JsonWriter::appendEscaped(QString& out, QStringView value)
{
    const char16_t* in = value.utf16();
    const char16_t* const end = in + value.size();
    // Write through a raw pointer: prompts can be megabytes long. Two units per input unit is
    // room for every escape but \u00xx; those make the buffer grow when they eat the slack.
    qsizetype written = out.size();
    char16_t* p = nullptr;
    auto keepRoom = [&] {
        const qsizetype needed = written + 2 * (end - in) + 16;
        if (out.size() < needed)
            out.resize(std::max(needed, out.size() + out.size() / 2));
        p = reinterpret_cast<char16_t*>(out.data()) + written;
    };
    keepRoom();
    while (in < end) {
#if defined(__x86_64__)
        if (canExpand)
            escapeWideBlocks(in, end, p);
        if (canShuffle)
            escapeBlocks(in, end, p);
#endif
        // What the blocks left: a surrogate, a rare control character, or the last few units.
        for (int i = 0; i < 8 && in < end; ++i)
            p = needsEscape(*in) ? escapeOne(in, end, p) : (*p++ = *in++, p);
        written = p - reinterpret_cast<const char16_t*>(out.constData());
        keepRoom();
    }
    out.truncate(written);
}

void JsonWriter::appendString(QByteArray& out, const QString& value)
{
    QString escaped;
    escaped.reserve(value.size() + 2);
    escaped += u'"';
    appendEscaped(escaped, value);
    escaped += u'"';
    out += escaped.toUtf8();
}

} // namespace brindlet
