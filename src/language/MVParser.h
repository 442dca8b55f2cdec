#pragma once

#include "language/MVBundleDefinition.h"
#include "platform/MVRange.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <utility>
#include <vector>

class MVAttributeOverlay;
class MVTextAttributes;
class MVBundle;
class MVBundleRepository;
class MVRegex;
class MVTextStorage;
class MVTheme;

// The plain parser of a language: what every "syntax.plist" holds (the
// parser identifier, fold patterns, the texts that open and close the
// language inside another), and the frame the keyword and tag parsers
// build on. It colours nothing itself.
//
// A parser never owns text: parseRange() is handed a range of a storage and
// writes attributes into it. One parser serves every view of its language,
// so parsing keeps its state in local variables and never writes to the
// parser.
class MVParser : public MVBundleDefinition
{
public:
    // Ranges of the storage that another parser colours, with that parser,
    // in text order. An entry with no parser is a gap of the region before
    // it that contains it: a stretch that belongs to a region standing
    // inside that one (server code inside a script), which the region's
    // parser neither reads nor colours.
    using SubparserRanges = std::vector<std::pair<MVRange, MVParser *>>;

    // From the dictionary of "syntax.plist" (an empty one leaves all empty).
    MVParser(MVBundle *bundle, const QVariantMap &plist);
    // An empty parser with an identifier.
    MVParser(MVBundle *bundle, const QString &identifier);
    ~MVParser() override;

    // Called once all languages are loaded, so that a parser can find the
    // languages it refers to by identifier.
    virtual void finishLoad(MVBundleRepository &repository);
    virtual void setTheme(const std::shared_ptr<MVTheme> &theme);
    std::shared_ptr<MVTheme> theme() const { return _theme; }

    MVBundle *bundle() const { return _bundle; }
    QString identifier() const { return _identifier; }
    void setIdentifier(const QString &identifier) { _identifier = identifier; }

    const QStringList &openers() const { return _openers; }
    const QStringList &closers() const { return _closers; }

    // Compiled fold patterns (null if absent or not compilable) and their text,
    // which is kept so that a pattern that does not compile is written back.
    std::shared_ptr<MVRegex> foldOpener() const { return _foldOpener; }
    std::shared_ptr<MVRegex> foldCloser() const { return _foldCloser; }
    QString foldOpenerPattern() const { return _foldOpenerPattern; }
    QString foldCloserPattern() const { return _foldCloserPattern; }
    // An empty pattern leaves the current one.
    void setFoldOpener(const QString &pattern);
    void setFoldCloser(const QString &pattern);

    std::shared_ptr<MVBundleDefinition> codeNavParser() const { return _codeNavParser; }
    void setCodeNavParser(std::shared_ptr<MVBundleDefinition> parser) { _codeNavParser = std::move(parser); }

    // Colours the range of the storage and gives the ranges that sub-parsers
    // are to colour next.
    SubparserRanges parseRange(MVRange range, MVTextStorage &storage) const;
    // The same, with the colours added to overlay (in text order) for the
    // caller to write into the storage in one pass. The base class marks the
    // range as parsed by itself (the Parser attribute) and gives nothing;
    // subclasses colour first and end by calling it.
    virtual SubparserRanges parseRange(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay) const;
    // Colours range as a region inside another language, leaving out gaps
    // (sorted, inside range, not overlapping): they are read as neutral
    // characters and keep their colours. The base class ignores the gaps.
    virtual void parseRegion(MVRange range, const MVTextStorage &storage, MVAttributeOverlay &overlay,
                             const std::vector<MVRange> &gaps) const;
    // Where a region of this language that starts at from in text ends: the
    // first occurrence of end that this language does not hide inside one of
    // its own tokens; -1 if none. The base class skips occurrences inside
    // double quotes (and single ones, when the language uses them) counted
    // from from.
    virtual qsizetype regionEnd(QStringView text, qsizetype from, QStringView end) const;
    // The parsers that can be active inside this one.
    virtual std::vector<MVParser *> subparsers() const { return {}; }
    // Whether single quotes delimit strings in this language.
    virtual bool usesSingleQuotes() const { return false; }

    // Where Tab jumps to after range, searched up to the end of its line:
    // "[*cur]", else between two double quotes in a row, else a "[*"...
    // "*]" placeholder on the line; not found otherwise.
    static MVRange nextSignificantRangeInString(const QString &string, MVRange range);
    // The regions of this language in range: the matches of the openers
    // paired in order with those of the closers (missing closers end at the
    // range's end).
    SubparserRanges rangesInString(const QString &string, MVRange range) const;

    virtual QVariantMap plistRepresentation() const;
    // Writes the navigator's file first (a failure ends it), then "syntax.plist"
    // in the binary form.
    bool commitToPath(const QString &contentsPath) override;

protected:
    // The text of range for a parse: a view into the storage, or into a
    // buffer of the calling thread that the next parse of the same kind
    // reuses (so typing in a long line allocates nothing).
    static QStringView textToParse(const MVTextStorage &storage, MVRange range, QString &threadBuffer);
    // text (which starts at offset in the storage) with the characters of
    // gaps replaced by a character that no language gives a meaning, in
    // threadBuffer; text itself when there are no gaps in it.
    static QStringView maskGaps(QStringView text, qsizetype offset, const std::vector<MVRange> &gaps,
                                QString &threadBuffer);
    // Adds attributes over range except where it crosses gaps (sorted).
    static void addOutsideGaps(MVAttributeOverlay &overlay, const MVTextAttributes &attributes, MVRange range,
                               const std::vector<MVRange> &gaps);

private:
    MVBundle *_bundle;
    QString _identifier;
    std::shared_ptr<MVTheme> _theme;
    std::shared_ptr<MVBundleDefinition> _codeNavParser;
    std::shared_ptr<MVRegex> _foldOpener;
    std::shared_ptr<MVRegex> _foldCloser;
    QString _foldOpenerPattern;
    QString _foldCloserPattern;
    QStringList _openers;
    QStringList _closers;
};
