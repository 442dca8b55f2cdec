#pragma once

#include <QColor>
#include <QHashFunctions>
#include <QtGlobal>

// The attributes the editor puts on characters. Attribute sets are small
// values: the storage interns each distinct set once and keeps a 32-bit id
// per run, so a parser can write millions of runs cheaply.
enum class MVAttribute : quint8 {
    Parser = 0,          // the parser that last parsed the characters (opaque pointer)
    MultiLine = 1,       // true on quotes and block comments that may span lines
    ForegroundColor = 2, // text colour
    BackgroundColor = 3, // background colour
    FontTraits = 4,      // bold, italic, underline (MVFontTrait bits)
    Attachment = 5,      // a fold's attachment; kept by the storage, not in the set
};

namespace MVFontTrait {
inline constexpr quint8 Bold = 1;
inline constexpr quint8 Italic = 2;
inline constexpr quint8 Underline = 4;
}

// The value of one attribute: whether it is set, and its raw value (pointer,
// colour as QRgb, trait bits, or 1 for a true flag).
struct MVAttributeValue
{
    bool isSet = false;
    quint64 raw = 0;

    friend bool operator==(const MVAttributeValue &, const MVAttributeValue &) = default;
    const void *pointer() const { return reinterpret_cast<const void *>(quintptr(raw)); }
    QColor color() const { return isSet ? QColor::fromRgba(QRgb(raw)) : QColor(); }
};

class MVTextAttributes
{
public:
    MVTextAttributes() = default;

    bool has(MVAttribute key) const { return _present & bit(key); }
    bool isEmpty() const { return _present == 0; }

    const void *parser() const { return _parser; }
    bool isMultiLine() const { return has(MVAttribute::MultiLine); }
    QRgb foreground() const { return _foreground; }
    QRgb background() const { return _background; }
    quint8 traits() const { return _traits; }

    MVTextAttributes &setParser(const void *parser) { _parser = parser; _present |= bit(MVAttribute::Parser); return *this; }
    MVTextAttributes &setMultiLine() { _present |= bit(MVAttribute::MultiLine); return *this; }
    MVTextAttributes &setForeground(QColor color) { _foreground = color.rgba(); _present |= bit(MVAttribute::ForegroundColor); return *this; }
    MVTextAttributes &setBackground(QColor color) { _background = color.rgba(); _present |= bit(MVAttribute::BackgroundColor); return *this; }
    MVTextAttributes &setTraits(quint8 traits) { _traits = traits; _present |= bit(MVAttribute::FontTraits); return *this; }

    MVAttributeValue value(MVAttribute key) const
    {
        if (!has(key))
            return {};
        switch (key) {
        case MVAttribute::Parser: return {true, quint64(quintptr(_parser))};
        case MVAttribute::MultiLine: return {true, 1};
        case MVAttribute::ForegroundColor: return {true, _foreground};
        case MVAttribute::BackgroundColor: return {true, _background};
        case MVAttribute::FontTraits: return {true, _traits};
        case MVAttribute::Attachment: break;
        }
        return {};
    }

    // The attributes set in other replace those here; the rest stay.
    void add(const MVTextAttributes &other)
    {
        if (other.has(MVAttribute::Parser)) _parser = other._parser;
        if (other.has(MVAttribute::ForegroundColor)) _foreground = other._foreground;
        if (other.has(MVAttribute::BackgroundColor)) _background = other._background;
        if (other.has(MVAttribute::FontTraits)) _traits = other._traits;
        _present |= other._present;
    }

    void remove(MVAttribute key)
    {
        _present &= ~bit(key);
        switch (key) {
        case MVAttribute::Parser: _parser = nullptr; break;
        case MVAttribute::ForegroundColor: _foreground = 0; break;
        case MVAttribute::BackgroundColor: _background = 0; break;
        case MVAttribute::FontTraits: _traits = 0; break;
        default: break;
        }
    }

    friend bool operator==(const MVTextAttributes &, const MVTextAttributes &) = default;
    friend size_t qHash(const MVTextAttributes &a, size_t seed = 0)
    {
        return qHashMulti(seed, quintptr(a._parser), a._foreground, a._background, a._traits, a._present);
    }

private:
    static constexpr quint8 bit(MVAttribute key) { return quint8(1u << quint8(key)); }

    const void *_parser = nullptr;
    QRgb _foreground = 0;
    QRgb _background = 0;
    quint8 _traits = 0;
    quint8 _present = 0;
};
