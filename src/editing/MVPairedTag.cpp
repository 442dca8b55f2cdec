#include "editing/MVPairedTag.h"

#include "editing/MVHTMLData.h"
#include "editing/MVTextScanner.h"

#include <QString>

namespace {

constexpr qsizetype ReadLimit = 1024 * 1024;
constexpr int TagLimit = 10000;
constexpr qsizetype NameLimit = 256;

QString nameAt(MVTextScanner &text, qsizetype from)
{
    QString name;
    for (qsizetype i = from; i < text.length() && name.size() < NameLimit && MVPairedTag::isNameCharacter(text.at(i)); ++i)
        name += text.at(i);
    return name;
}

bool startsWith(MVTextScanner &text, qsizetype at, QLatin1StringView prefix, bool caseSensitive = true)
{
    for (qsizetype i = 0; i < prefix.size(); ++i) {
        const QChar c = text.at(at + i);
        if (caseSensitive ? c != QLatin1Char(prefix[i]) : c.toLower() != QLatin1Char(prefix[i]))
            return false;
    }
    return true;
}

// The first index of prefix at or after from, before end; -1 if none.
qsizetype find(MVTextScanner &text, qsizetype from, qsizetype end, QLatin1StringView prefix, bool caseSensitive = true)
{
    for (qsizetype at = text.indexOf(QLatin1Char(prefix[0]), from, end); at >= 0; at = text.indexOf(QLatin1Char(prefix[0]), at + 1, end)) {
        if (startsWith(text, at, prefix, caseSensitive))
            return at;
    }
    return -1;
}

// The ">" ending the tag that starts at lt, quotes respected; -1 if none.
qsizetype tagEnd(MVTextScanner &text, qsizetype lt, qsizetype end)
{
    QChar quote;
    for (qsizetype i = lt + 1; i < end; ++i) {
        const QChar c = text.at(i);
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            quote = c;
        } else if (c == QLatin1Char('>')) {
            return i;
        } else if (c == QLatin1Char('<')) {
            return -1;
        }
    }
    return -1;
}

bool sameName(const QString &a, const QString &b, bool xml)
{
    return a.compare(b, xml ? Qt::CaseSensitive : Qt::CaseInsensitive) == 0;
}

bool isRawTextElement(const QString &name, bool xml)
{
    return !xml && (name.compare(QLatin1String("script"), Qt::CaseInsensitive) == 0
                    || name.compare(QLatin1String("style"), Qt::CaseInsensitive) == 0);
}

std::optional<MVRange> closingPartner(MVTextScanner &text, const QString &name, qsizetype from, bool xml)
{
    const qsizetype end = qMin(text.length(), from + ReadLimit);
    int depth = 0;
    qsizetype at = from;
    for (int tags = 0; tags < TagLimit; ++tags) {
        const qsizetype lt = text.indexOf(QLatin1Char('<'), at, end);
        if (lt < 0)
            return std::nullopt;
        if (startsWith(text, lt, QLatin1StringView("<!--"))) {
            const qsizetype close = find(text, lt + 4, end, QLatin1StringView("-->"));
            if (close < 0)
                return std::nullopt;
            at = close + 3;
            continue;
        }
        if (text.at(lt + 1) == QLatin1Char('?')) {
            const qsizetype close = find(text, lt + 2, end, QLatin1StringView("?>"));
            if (close < 0)
                return std::nullopt;
            at = close + 2;
            continue;
        }
        if (text.at(lt + 1) == QLatin1Char('/')) {
            const QString closing = nameAt(text, lt + 2);
            if (sameName(closing, name, xml)) {
                if (depth == 0)
                    return MVRange{lt + 2, closing.size()};
                --depth;
            }
            at = lt + 2;
            continue;
        }
        const QString opening = nameAt(text, lt + 1);
        const qsizetype gt = opening.isEmpty() ? -1 : tagEnd(text, lt, end);
        if (gt < 0) {
            at = lt + 1;
            continue;
        }
        if (isRawTextElement(opening, xml)) {
            const QString closer = QStringLiteral("</") + opening.toLower();
            const qsizetype close = find(text, gt + 1, end, QLatin1StringView(closer.toLatin1()), false);
            if (close < 0)
                return std::nullopt;
            at = close;
            if (sameName(opening, name, xml))
                ++depth;
            continue;
        }
        if (sameName(opening, name, xml) && text.at(gt - 1) != QLatin1Char('/'))
            ++depth;
        at = gt + 1;
    }
    return std::nullopt;
}

std::optional<MVRange> openingPartner(MVTextScanner &text, const QString &name, qsizetype before, bool xml)
{
    const qsizetype stop = qMax<qsizetype>(0, before - ReadLimit);
    int depth = 0;
    qsizetype at = before;
    for (int tags = 0; tags < TagLimit && at > stop; ++tags) {
        const qsizetype gt = text.lastIndexOf(QLatin1Char('>'), at, at - stop);
        if (gt < 0)
            return std::nullopt;
        qsizetype lt = -1;
        if (text.at(gt - 1) == QLatin1Char('-') && text.at(gt - 2) == QLatin1Char('-')) {
            // A comment: back to its start.
            for (qsizetype i = text.lastIndexOf(QLatin1Char('<'), gt, gt - stop); i >= 0; i = text.lastIndexOf(QLatin1Char('<'), i, i - stop)) {
                if (startsWith(text, i, QLatin1StringView("<!--"))) {
                    lt = i;
                    break;
                }
            }
        } else if (text.at(gt - 1) == QLatin1Char('?')) {
            for (qsizetype i = text.lastIndexOf(QLatin1Char('<'), gt, gt - stop); i >= 0; i = text.lastIndexOf(QLatin1Char('<'), i, i - stop)) {
                if (text.at(i + 1) == QLatin1Char('?')) {
                    lt = i;
                    break;
                }
            }
        } else {
            lt = text.lastIndexOf(QLatin1Char('<'), gt, gt - stop);
        }
        if (lt < 0)
            return std::nullopt;
        at = lt;
        if (text.at(lt + 1) == QLatin1Char('/')) {
            const QString closing = nameAt(text, lt + 2);
            if (isRawTextElement(closing, xml)) {
                // Back over the element's contents to its opening tag.
                const QString opener = QStringLiteral("<") + closing.toLower();
                qsizetype open = -1;
                for (qsizetype i = text.lastIndexOf(QLatin1Char('<'), lt, lt - stop); i >= 0; i = text.lastIndexOf(QLatin1Char('<'), i, i - stop)) {
                    if (startsWith(text, i, QLatin1StringView(opener.toLatin1()), false) && !MVPairedTag::isNameCharacter(text.at(i + opener.size()))) {
                        open = i;
                        break;
                    }
                }
                if (open < 0)
                    return std::nullopt;
                at = open;
                if (sameName(closing, name, xml)) {
                    if (depth == 0)
                        return MVRange{open + 1, closing.size()};
                }
                continue;
            }
            if (sameName(closing, name, xml))
                ++depth;
            continue;
        }
        const QString opening = nameAt(text, lt + 1);
        if (sameName(opening, name, xml) && text.at(gt - 1) != QLatin1Char('/')) {
            if (depth == 0)
                return MVRange{lt + 1, opening.size()};
            --depth;
        }
    }
    return std::nullopt;
}

} // namespace

namespace MVPairedTag {

bool isNameCharacter(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('-') || c == QLatin1Char('_') || c == QLatin1Char(':') || c == QLatin1Char('.');
}

std::optional<Tag> tagAround(MVTextScanner &text, MVRange range)
{
    qsizetype start = range.location;
    while (start > 0 && range.location - start < NameLimit && isNameCharacter(text.at(start - 1)))
        --start;
    for (qsizetype i = range.location; i < range.end(); ++i) {
        if (!isNameCharacter(text.at(i)))
            return std::nullopt;
    }
    qsizetype end = range.end();
    while (end < text.length() && end - start < NameLimit && isNameCharacter(text.at(end)))
        ++end;
    Tag tag;
    if (start > 0 && text.at(start - 1) == QLatin1Char('<')) {
        tag.closing = false;
    } else if (start > 1 && text.at(start - 1) == QLatin1Char('/') && text.at(start - 2) == QLatin1Char('<')) {
        tag.closing = true;
    } else {
        return std::nullopt;
    }
    if (end == start)
        return std::nullopt;
    tag.name = MVRange{start, end - start};
    return tag;
}

std::optional<MVRange> partnerOf(MVTextScanner &text, const Tag &tag, bool xml)
{
    const QString name = nameAt(text, tag.name.location);
    if (tag.closing) {
        // Only a complete closing tag has a partner.
        if (text.at(tag.name.end()) != QLatin1Char('>'))
            return std::nullopt;
        return openingPartner(text, name, tag.name.location - 2, xml);
    }
    const qsizetype gt = tagEnd(text, tag.name.location - 1, qMin(text.length(), tag.name.end() + NameLimit * 64));
    if (gt < 0 || text.at(gt - 1) == QLatin1Char('/'))
        return std::nullopt;
    if (!xml && MVHTMLData::tagKind(name) == MVHTMLData::Empty)
        return std::nullopt;
    if (isRawTextElement(name, xml))
        return std::nullopt;
    return closingPartner(text, name, gt + 1, xml);
}

} // namespace MVPairedTag
