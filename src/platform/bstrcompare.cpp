// VarBstrCmp: string comparison as the automation runtime does it, with an
// approximation of the US English default collation of Windows.
//
// Windows compares in levels: first the letters and digits themselves
// (primary), then diacritics (secondary), then case, width and kana type
// (tertiary); hyphen and apostrophe take part only when everything else is
// equal ("word sort"). Each character here maps to a collation element of
// these weights through a table for ASCII and Latin-1; other characters
// sort after the Latin letters by code point. docs/platform.md records
// where this differs from the Windows tables.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/oleauto.h"

namespace {

enum Kind : unsigned char { Ignored, Symbol, Special, Digit, Letter, Other };

// Diacritic weights (secondary level); 0 is none.
enum Accent : unsigned char { NoAccent, Acute, Grave, Circumflex, Diaeresis, Tilde, Ring, Cedilla, Stroke };

// Tertiary bits: upper case sorts after lower case, full width after
// normal width, katakana after hiragana, as on Windows.
constexpr unsigned char upperCaseBit = 1;
constexpr unsigned char wideBit = 2;
constexpr unsigned char katakanaBit = 4;

struct Element {
    unsigned primary;
    unsigned char secondary;
    unsigned char tertiary;
};

// ASCII punctuation and symbols in the order the Windows default table gives
// them: white space first, then punctuation, then the mathematical signs.
// Hyphen and apostrophe are missing: they are word-sort specials.
constexpr char16_t symbolOrder[] = u"\t\n\v\f\r !\"#$%&()*,./:;?@[\\]^_`{|}~+<=>";

constexpr unsigned symbolBase = 0x100;
constexpr unsigned latin1SymbolBase = 0x200; // Latin-1 signs after the ASCII ones
constexpr unsigned digitBase = 0x300;
constexpr unsigned letterBase = 0x400;
constexpr unsigned otherBase = 0x1000;

// Latin-1 letters U+00C0..U+00FF as base letter (lower case), accent and
// case; 0 as base means "not a simple letter" and is handled separately.
struct Latin1Letter {
    char base;
    Accent accent;
};
constexpr Latin1Letter latin1Letters[64] = {
    { 'a', Grave }, { 'a', Acute }, { 'a', Circumflex }, { 'a', Tilde },   // C0..C3
    { 'a', Diaeresis }, { 'a', Ring }, { 0, NoAccent }, { 'c', Cedilla }, // C4..C7 (C6 is AE)
    { 'e', Grave }, { 'e', Acute }, { 'e', Circumflex }, { 'e', Diaeresis }, // C8..CB
    { 'i', Grave }, { 'i', Acute }, { 'i', Circumflex }, { 'i', Diaeresis }, // CC..CF
    { 'd', Stroke }, { 'n', Tilde }, { 'o', Grave }, { 'o', Acute },      // D0..D3
    { 'o', Circumflex }, { 'o', Tilde }, { 'o', Diaeresis }, { 0, NoAccent }, // D4..D7 (D7 is the sign x)
    { 'o', Stroke }, { 'u', Grave }, { 'u', Acute }, { 'u', Circumflex }, // D8..DB
    { 'u', Diaeresis }, { 'y', Acute }, { 0, NoAccent }, { 0, NoAccent }, // DC..DF (thorn, sharp s)
    { 'a', Grave }, { 'a', Acute }, { 'a', Circumflex }, { 'a', Tilde },   // E0..E3
    { 'a', Diaeresis }, { 'a', Ring }, { 0, NoAccent }, { 'c', Cedilla }, // E4..E7
    { 'e', Grave }, { 'e', Acute }, { 'e', Circumflex }, { 'e', Diaeresis }, // E8..EB
    { 'i', Grave }, { 'i', Acute }, { 'i', Circumflex }, { 'i', Diaeresis }, // EC..EF
    { 'd', Stroke }, { 'n', Tilde }, { 'o', Grave }, { 'o', Acute },      // F0..F3
    { 'o', Circumflex }, { 'o', Tilde }, { 'o', Diaeresis }, { 0, NoAccent }, // F4..F7 (F7 is the sign /)
    { 'o', Stroke }, { 'u', Grave }, { 'u', Acute }, { 'u', Circumflex }, // F8..FB
    { 'u', Diaeresis }, { 'y', Acute }, { 0, NoAccent }, { 'y', Diaeresis }, // FC..FF
};

// Upper-case ranges beyond Latin-1 and the distance to their lower case,
// so that case-insensitive comparison also covers Greek and Cyrillic.
struct CaseRange {
    char16_t first;
    char16_t last;
    char16_t toLower; // 1 with alternating pairs: upper even, lower odd
};
constexpr CaseRange caseRanges[] = {
    { 0x0100, 0x012F, 1 },      // Latin Extended-A, alternating
    { 0x0132, 0x0137, 1 },
    { 0x014A, 0x0177, 1 },
    { 0x0391, 0x03A9, 0x20 },   // Greek capitals
    { 0x0400, 0x040F, 0x50 },   // Cyrillic capitals with diacritics
    { 0x0410, 0x042F, 0x20 },   // basic Cyrillic capitals
    { 0x0460, 0x0481, 1 },      // historic Cyrillic, alternating
    { 0x048A, 0x04BF, 1 },
    { 0x04D0, 0x04FF, 1 },
};

char16_t toLowerBeyondLatin1(char16_t c)
{
    for (const CaseRange &range : caseRanges) {
        if (c < range.first || c > range.last)
            continue;
        if (range.toLower != 1)
            return char16_t(c + range.toLower);
        return (c - range.first) % 2 == 0 ? char16_t(c + 1) : c;
    }
    return c;
}

constexpr unsigned letterWeight(char lower)
{
    return letterBase + unsigned(lower - 'a') * 4;
}
constexpr unsigned thornWeight = letterWeight('z') + 4; // after z, as on Windows

struct Collator {
    ULONG flags;

    bool ignoreCase() const { return flags & NORM_IGNORECASE; }
    bool ignoreAccents() const { return flags & NORM_IGNORENONSPACE; }
    bool ignoreSymbols() const { return flags & NORM_IGNORESYMBOLS; }
    bool ignoreWidth() const { return flags & NORM_IGNOREWIDTH; }
    bool ignoreKana() const { return flags & NORM_IGNOREKANATYPE; }

    // Collation elements of a string and the word-sort specials with their
    // positions, ready for a level-by-level comparison.
    struct Keys {
        std::vector<Element> elements;
        std::vector<std::pair<size_t, unsigned>> specials;
    };

    void add(Keys &keys, unsigned primary, Accent accent, unsigned char tertiary) const
    {
        keys.elements.push_back({ primary, static_cast<unsigned char>(ignoreAccents() ? NoAccent : accent),
                                  static_cast<unsigned char>(ignoreCase() ? tertiary & ~upperCaseBit : tertiary) });
    }

    void addLetter(Keys &keys, char lower, Accent accent, bool upper) const
    {
        add(keys, letterWeight(lower), accent, upper ? upperCaseBit : 0);
    }

    Keys keysOf(const OLECHAR *text, UINT length) const
    {
        Keys keys;
        keys.elements.reserve(length);
        for (UINT i = 0; i < length; ++i) {
            char16_t c = text[i];
            unsigned char extra = 0;
            // Full-width forms of ASCII and katakana compare as their plain
            // forms, differing only at the tertiary level.
            if (c >= 0xFF01 && c <= 0xFF5E) {
                c = char16_t(c - 0xFF01 + 0x21);
                extra |= ignoreWidth() ? 0 : wideBit;
            }
            if (c >= 0x30A1 && c <= 0x30F6) {
                c = char16_t(c - 0x60);
                extra |= ignoreKana() ? 0 : katakanaBit;
            }
            if (c == 0 || (c < 0x20 && (c < 0x09 || c > 0x0D)) || c == 0x7F || (c >= 0x80 && c < 0xA0) || c == 0xAD)
                continue; // control characters and soft hyphen carry no weight
            if (c == u'-' || c == u'\'') {
                if (!ignoreSymbols())
                    keys.specials.emplace_back(keys.elements.size(), unsigned(c));
                continue;
            }
            if (c >= u'0' && c <= u'9') {
                add(keys, digitBase + unsigned(c - u'0'), NoAccent, extra);
            } else if (c >= u'a' && c <= u'z') {
                addLetter(keys, char(c), NoAccent, false);
                keys.elements.back().tertiary |= extra;
            } else if (c >= u'A' && c <= u'Z') {
                addLetter(keys, char(c - u'A' + u'a'), NoAccent, true);
                keys.elements.back().tertiary |= extra;
            } else if (c < 0x80 || (c >= 0xA0 && c < 0xC0) || c == 0xD7 || c == 0xF7) {
                if (ignoreSymbols())
                    continue;
                const char16_t *found = std::char_traits<char16_t>::find(symbolOrder, std::size(symbolOrder) - 1, c);
                const unsigned weight = found ? symbolBase + unsigned(found - symbolOrder) : latin1SymbolBase + c;
                add(keys, weight, NoAccent, extra);
            } else if (c < 0x100) {
                addLatin1Letter(keys, c);
            } else {
                const char16_t lower = toLowerBeyondLatin1(c);
                add(keys, otherBase + lower, NoAccent, static_cast<unsigned char>(extra | (lower != c ? upperCaseBit : 0)));
            }
        }
        return keys;
    }

    void addLatin1Letter(Keys &keys, char16_t c) const
    {
        const bool upper = c < 0xE0;
        const Latin1Letter &letter = latin1Letters[c - 0xC0];
        if (letter.base) {
            addLetter(keys, letter.base, letter.accent, upper && c != 0xDF);
        } else if (c == 0xC6 || c == 0xE6) { // AE ligature expands to two letters
            addLetter(keys, 'a', NoAccent, upper);
            addLetter(keys, 'e', NoAccent, upper);
        } else if (c == 0xDF) { // sharp s expands to ss
            addLetter(keys, 's', NoAccent, false);
            addLetter(keys, 's', NoAccent, false);
        } else { // thorn
            add(keys, thornWeight, NoAccent, upper ? upperCaseBit : 0);
        }
    }
};

template <typename Field>
int compareLevel(const std::vector<Element> &left, const std::vector<Element> &right, Field field)
{
    const size_t common = std::min(left.size(), right.size());
    for (size_t i = 0; i < common; ++i) {
        const unsigned a = field(left[i]);
        const unsigned b = field(right[i]);
        if (a != b)
            return a < b ? -1 : 1;
    }
    return left.size() == right.size() ? 0 : left.size() < right.size() ? -1 : 1;
}

// Compares two texts with the approximated default collation; <0, 0, >0.
int collate(const OLECHAR *left, UINT leftLength, const OLECHAR *right, UINT rightLength, ULONG flags)
{
    const Collator collator{ flags };
    const Collator::Keys a = collator.keysOf(left, leftLength);
    const Collator::Keys b = collator.keysOf(right, rightLength);
    if (int c = compareLevel(a.elements, b.elements, [](const Element &e) { return e.primary; }))
        return c;
    if (int c = compareLevel(a.elements, b.elements, [](const Element &e) { return e.secondary; }))
        return c;
    if (int c = compareLevel(a.elements, b.elements, [](const Element &e) { return e.tertiary; }))
        return c;
    // Word sort: a string with hyphens or apostrophes sorts after the same
    // string without them.
    if (a.specials != b.specials)
        return a.specials < b.specials ? -1 : 1;
    return 0;
}

HRESULT toVarCmp(int comparison)
{
    return comparison < 0 ? VARCMP_LT : comparison > 0 ? VARCMP_GT : VARCMP_EQ;
}

} // namespace

/// VarBstrCmp: compares two strings.
///   left, right [in]: the strings; null counts as empty. Emptiness is by
///                     length: a string of NUL units is not empty.
///   lcid [in]: 0 compares the bytes (then a longer string of equal prefix
///              is greater); any other locale compares with the US English
///              default collation, in which NUL units carry no weight.
///   flags [in]: NORM_IGNORECASE, NORM_IGNORENONSPACE, NORM_IGNORESYMBOLS,
///               NORM_IGNOREWIDTH, NORM_IGNOREKANATYPE; others are ignored.
/// Returns VARCMP_LT, VARCMP_EQ or VARCMP_GT; never VARCMP_NULL (nor does
/// Windows, whatever its documentation says).
/// Differs from Windows: the collation is an approximation of the Windows
/// tables (docs/platform.md), and every non-zero locale uses it.
PLATFORM_API HRESULT VarBstrCmp(BSTR left, BSTR right, LCID lcid, ULONG flags)
{
    const bool binary = lcid == 0;
    const UINT leftLength = binary ? SysStringByteLen(left) : SysStringLen(left);
    const UINT rightLength = binary ? SysStringByteLen(right) : SysStringLen(right);
    if (!leftLength || !rightLength)
        return toVarCmp(int(leftLength != 0) - int(rightLength != 0));
    if (binary) {
        const int c = std::memcmp(left, right, std::min(leftLength, rightLength));
        return toVarCmp(c ? c : leftLength < rightLength ? -1 : leftLength > rightLength ? 1 : 0);
    }
    return toVarCmp(collate(left, leftLength, right, rightLength, flags));
}
